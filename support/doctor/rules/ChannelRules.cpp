#include "FindingKinds.h"
#include "Format.h"
#include "PrintServiceChannel.h"
#include "Rules.h"

#include <algorithm>
#include <array>

namespace
{
constexpr DWORD ChannelNotFound = 15007;
constexpr std::uint64_t SizeOfInstallation = 1052672;

void JudgeConfiguration(const ChannelFacts& channel, Report& report)
{
    if (!channel.enabled)
    {
        report.Find(FindingKinds::ChannelOff,
                    Format(L"The channel %s is off.", std::wstring(PrintServiceChannel)));
    }
    if (channel.maximumSize < SizeOfInstallation)
    {
        report.Find(FindingKinds::ChannelSmall,
                    Format(L"The channel holds only %I64u bytes.", channel.maximumSize));
    }
    if (channel.retains)
    {
        report.Find(FindingKinds::ChannelRetention, L"The channel keeps its oldest events.");
    }
}

void JudgePosition(const ChannelFacts& channel, Report& report)
{
    if (channel.position == 0)
    {
        return;
    }
    if (channel.newest.record == 0)
    {
        report.Find(
            FindingKinds::ChannelLostPosition,
            Format(L"The channel is empty; event %I64u was dealt with last.", channel.position));
    }
    else if (channel.position > channel.newest.record)
    {
        report.Find(FindingKinds::PositionBeyond,
                    Format(L"The stored position %I64u is beyond the newest event %I64u.",
                           channel.position, channel.newest.record));
    }
    else if (channel.position < channel.oldest.record)
    {
        const std::wstring text =
            Format(L"The channel begins with event %I64u; event %I64u was dealt with last.",
                   channel.oldest.record, channel.position);
        // Jobs alone push the position out of a channel that is as -IT left it, and nobody can
        // tell whether a printer's event went with them.
        if (channel.enabled && channel.maximumSize >= SizeOfInstallation)
        {
            report.Tell(L"channel", text);
        }
        else
        {
            report.Find(FindingKinds::ChannelLostPosition, text);
        }
    }
}
} // namespace

bool IsWaiting(const Facts& facts, const EventFact& event)
{
    // Passes for all printers store no position.
    static constexpr std::array Passes = {L"# Procesing ", L"# Processing on-demand ",
                                          L"# Processing a periodic refresh "};
    const std::uint64_t localTime = event.time + facts.localTime - facts.utcTime;
    const auto isLaterPass = [localTime](const LogEntry& entry)
    {
        return entry.time >= localTime &&
               std::ranges::any_of(Passes, [&entry](const std::wstring& pass)
                                   { return entry.message.starts_with(pass); });
    };
    return event.record > facts.channel.position &&
           std::ranges::none_of(facts.log.entries, isLaterPass);
}

void JudgeChannel(const Facts& facts, Report& report)
{
    const ChannelFacts& channel = facts.channel;
    if (channel.openError == ChannelNotFound)
    {
        report.Find(FindingKinds::ChannelMissing,
                    Format(L"There is no channel %s.", std::wstring(PrintServiceChannel)));
        return;
    }
    if (channel.openError != 0)
    {
        report.NotSeen(L"channel",
                       Format(L"Its settings cannot be read: error %lu.", channel.openError));
    }
    else
    {
        JudgeConfiguration(channel, report);
    }
    if (channel.queryError != 0)
    {
        report.NotSeen(L"channel",
                       Format(L"Its events cannot be read: error %lu.", channel.queryError));
        return;
    }
    JudgePosition(channel, report);
    const EventFact& newest = channel.newestPrinterEvent;
    if (IsWaiting(facts, newest) && facts.utcTime >= newest.time &&
        facts.utcTime - newest.time >= facts.hungAfter)
    {
        report.Find(FindingKinds::EventsWaiting,
                    Format(L"Printer event %I64u has been waiting for %I64u minutes.",
                           newest.record,
                           static_cast<std::uint64_t>((facts.utcTime - newest.time) / Minute)));
    }
}
