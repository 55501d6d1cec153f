#include "FindingKinds.h"
#include "Format.h"
#include "ReportText.h"
#include "Rules.h"

#include <algorithm>
#include <array>
#include <map>

namespace
{
constexpr std::uint64_t Hour = 60 * Minute;
constexpr std::uint64_t Recent = 7 * 24 * Hour;
constexpr std::uint64_t LongSilence = 26 * Hour;
constexpr std::uint64_t ClockTolerance = 2 * Minute;
constexpr std::uint64_t MostUntrimmed = 6ULL << 20;
constexpr std::uint64_t LeastFree = 16ULL << 20;
constexpr unsigned ManyRedundant = 3;

bool BeginsWith(const std::wstring& text, const std::wstring& begin)
{
    return text.compare(0, begin.size(), begin) == 0;
}

/// Whether more lines of the same run must follow this one. "Resolved Args" is not among them: it
/// is the last one of a run that only shows its help.
bool IsWithinWork(const std::wstring& message)
{
    static constexpr std::array Beginnings = {
        L"# Called with", L"Found ",      L"# Processing ",    L"# Procesing ",
        L"-Processing ",  L"Processing ", L"Updated UserProp", L"Update UserProp"};
    return std::ranges::any_of(Beginnings, [&message](const wchar_t* begin)
                               { return BeginsWith(message, begin); });
}

std::vector<const LogEntry*> RecentEntries(const Facts& facts)
{
    std::vector<const LogEntry*> recent;
    for (const LogEntry& entry : facts.log.entries)
    {
        if (entry.time + Recent >= facts.localTime)
        {
            recent.push_back(&entry);
        }
    }
    return recent;
}

using Entries = std::vector<const LogEntry*>;

void JudgeErrors(const Entries& entries, Report& report)
{
    unsigned count = 0;
    std::wstring last;
    for (const LogEntry* entry : entries)
    {
        if (BeginsWith(entry->message, L"ERROR: ") ||
            BeginsWith(entry->message, L"An exception occurred"))
        {
            ++count;
            last = entry->message;
        }
    }
    if (count != 0)
    {
        report.Find(
            FindingKinds::LogErrors,
            Format(L"Failures in the log within a week: %u, the last \"%s\".", count, last));
    }
}

void JudgeEnds(const Entries& entries, const std::vector<DWORD>& live, Report& report)
{
    std::map<DWORD, const LogEntry*> last; // by process
    unsigned unfinished = 0;
    const LogEntry* example = nullptr;
    const auto count = [&](const LogEntry& entry)
    {
        if (IsWithinWork(entry.message) && std::ranges::find(live, entry.process) == live.end())
        {
            ++unfinished;
            example = &entry;
        }
    };
    for (const LogEntry* entry : entries)
    {
        // A process id is used again by a later run.
        const auto before = last.find(entry->process);
        if (before != last.end() && BeginsWith(entry->message, L"# Called with"))
        {
            count(*before->second);
        }
        last[entry->process] = entry;
    }
    for (const auto& [process, entry] : last)
    {
        count(*entry);
    }
    if (unfinished != 0)
    {
        report.Find(FindingKinds::RunUnfinished,
                    Format(L"Runs without an end within a week: %u; process %lu stopped after "
                           L"\"%s\".",
                           unfinished, example->process, example->message));
    }
}

void JudgeRedundancy(const Entries& entries, std::uint64_t hungAfter, Report& report)
{
    unsigned count = 0;
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    for (const LogEntry* entry : entries)
    {
        if (BeginsWith(entry->message, L"-Redundant instance"))
        {
            first = count == 0 ? entry->time : first;
            last = entry->time;
            ++count;
        }
        else if (BeginsWith(entry->message, L"# Process") ||
                 entry->message.ends_with(L"done...exiting."))
        {
            count = 0;
        }
    }
    if (count >= ManyRedundant && last >= first && last - first >= hungAfter)
    {
        report.Find(FindingKinds::RunsRedundant,
                    Format(L"The last %u runs were redundant, for %I64u minutes.", count,
                           static_cast<std::uint64_t>((last - first) / Minute)));
    }
}

void JudgeClock(const Entries& entries, Report& report)
{
    std::uint64_t previous = 0;
    std::uint64_t largest = 0;
    for (const LogEntry* entry : entries)
    {
        if (entry->time + ClockTolerance < previous)
        {
            largest = std::max(largest, previous - entry->time);
        }
        previous = entry->time;
    }
    if (largest != 0)
    {
        report.Find(FindingKinds::ClockBack,
                    Format(L"The log's time goes back by %I64u minutes within a week.",
                           static_cast<std::uint64_t>(largest / Minute)));
    }
}

/// Windows was up all the time, and awake for long: nobody knows when it slept.
bool IsSilence(std::uint64_t begin, std::uint64_t end, const LogFacts& log)
{
    return end > begin && end - begin > LongSilence + log.asleep;
}

void JudgeSilence(const Facts& facts, Report& report)
{
    const LogFacts& log = facts.log;
    const std::uint64_t start = facts.localTime - std::min(facts.localTime, log.upTime);
    std::optional<std::uint64_t> previous;
    for (const LogEntry& entry : log.entries)
    {
        const std::uint64_t begin = std::max(previous.value_or(entry.time), start);
        if (IsSilence(begin, entry.time, log) && entry.time + Recent >= facts.localTime)
        {
            report.Find(FindingKinds::LogSilent, Format(L"The log has no line from %s to %s.",
                                                        TimeText(begin), TimeText(entry.time)));
        }
        previous = entry.time;
    }
    if (previous && IsSilence(std::max(*previous, start), facts.localTime, log))
    {
        report.Find(FindingKinds::LogSilent,
                    Format(L"The log's last line is %I64u hours old.",
                           static_cast<std::uint64_t>((facts.localTime - *previous) / Hour)));
    }
}

void JudgeDeviceId(const Entries& entries, Report& report)
{
    const auto newest = std::ranges::find_if(
        entries.rbegin(), entries.rend(),
        [](const LogEntry* entry)
        { return BeginsWith(entry->message, L"Updated UserPropertyBags: DeviceId="); });
    if (newest != entries.rend() && (*newest)->message.find(L"Src=' :  : ") != std::wstring::npos)
    {
        report.Find(FindingKinds::DeviceIdBlank,
                    L"The last run made the DeviceId without the hardware's identity.");
    }
}

void JudgeLines(const Facts& facts, Report& report)
{
    const Entries recent = RecentEntries(facts);
    if (facts.log.foreignLines != 0)
    {
        report.Find(FindingKinds::LogForeignLines,
                    Format(L"Lines that are none of the log's: %u.",
                           static_cast<unsigned>(facts.log.foreignLines)));
    }
    JudgeErrors(recent, report);
    JudgeEnds(recent, facts.log.liveProcesses, report);
    JudgeRedundancy(recent, facts.hungAfter, report);
    JudgeClock(recent, report);
    JudgeSilence(facts, report);
    JudgeDeviceId(recent, report);
}

void JudgeFile(const LogFacts& log, Report& report)
{
    if (log.isReadOnly)
    {
        report.Find(FindingKinds::LogReadOnly, Format(L"%s is read-only.", log.path));
    }
    if (log.size > MostUntrimmed)
    {
        report.Find(FindingKinds::LogUntrimmed, Format(L"%s has %I64u bytes.", log.path, log.size));
    }
    if (log.hasLeftover)
    {
        report.Find(FindingKinds::LogLeftover, Format(L"There is a file %s.plvold.", log.path));
    }
    if (log.freeBytes && *log.freeBytes < LeastFree)
    {
        report.Find(FindingKinds::DiskFull,
                    Format(L"The log's disk has %I64u bytes left.", *log.freeBytes));
    }
}
} // namespace

void JudgeLog(const Facts& facts, Report& report)
{
    const LogFacts& log = facts.log;
    if (log.path.empty())
    {
        report.Find(FindingKinds::LogUnknownFolder, L"The log's folder cannot be had.");
        return;
    }
    JudgeRights(log.rights, FindingKinds::LogFolderWritable, report);
    JudgeFile(log, report);
    if (log.isFolder || !log.isProper)
    {
        report.Find(FindingKinds::LogNotAFile,
                    Format(L"%s is no ordinary file of its own.", log.path));
    }
    else if (log.openError == ERROR_FILE_NOT_FOUND || log.openError == ERROR_PATH_NOT_FOUND)
    {
        report.Find(FindingKinds::LogMissing, Format(L"There is no %s.", log.path));
    }
    else if (log.openError == ERROR_SHARING_VIOLATION)
    {
        report.Find(FindingKinds::LogHeld, Format(L"%s cannot be shared.", log.path));
    }
    else if (log.openError != 0)
    {
        report.NotSeen(L"log", Format(L"It cannot be read: error %lu.", log.openError));
    }
    else
    {
        JudgeLines(facts, report);
    }
}
