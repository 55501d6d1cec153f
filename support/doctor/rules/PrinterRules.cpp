#include "FindingKinds.h"
#include "Format.h"
#include "ReportText.h"
#include "Rules.h"
#include "SupportedPrinters.h"

#include <algorithm>

namespace
{
constexpr DWORD SupportedDriverModel = 4;

/// Why a printer whose parts could all be read is not supported; empty when it is.
std::wstring WhyNot(const PrinterFact& printer)
{
    if (printer.driverVersion != SupportedDriverModel)
    {
        return Format(L"its driver is of version %lu", printer.driverVersion);
    }
    if (printer.manifest.empty())
    {
        return L"its driver names no manifest";
    }
    return IsSupportedPlatform(printer.platform)
               ? std::wstring()
               : Format(L"its manifest names the platform \"%s\"", printer.platform);
}

/// Whether it is the line of a run for the printer, or of one for all of them.
bool IsRunFor(const std::wstring& printer, const std::wstring& message)
{
    return message.starts_with(L"Processing queued ") ||
           (message.starts_with(L"# Proc") && (message.ends_with(L" for '" + printer + L"'.") ||
                                               message.find(L" for '") == std::wstring::npos));
}

std::wstring LastEvent(const std::wstring& printer, const ChannelFacts& channel)
{
    const auto event = channel.lastEvents.find(printer);
    if (event == channel.lastEvents.end())
    {
        return L"it has no event";
    }
    return Format(L"its last event is %I64u and %s", event->second,
                  std::wstring(event->second <= channel.position ? L"was dealt with" : L"waits"));
}

std::wstring LastRun(const std::wstring& printer, const LogFacts& log)
{
    const auto newest = std::ranges::find_if(log.entries.rbegin(), log.entries.rend(),
                                             [&](const LogEntry& entry)
                                             { return IsRunFor(printer, entry.message); });
    return newest == log.entries.rend()
               ? L"the log has no run for it"
               : L"the last run for it or for all began at " + TimeText(newest->time);
}

void TellPrinter(const PrinterFact& printer, const Facts& facts, Report& report)
{
    const std::wstring reason = WhyNot(printer);
    report.Tell(L"printer",
                Format(L"\"%s\" is %s; %s; %s.", printer.name,
                       reason.empty() ? L"supported" : L"not supported: " + reason,
                       LastEvent(printer.name, facts.channel), LastRun(printer.name, facts.log)));
}

void JudgePrinter(const PrinterFact& printer, const Facts& facts, Report& report)
{
    if (printer.openError != 0)
    {
        report.Find(FindingKinds::PrinterNotOpened,
                    Format(L"The printer \"%s\" cannot be opened: error %lu.", printer.name,
                           printer.openError));
    }
    else if (FAILED(printer.driverRead))
    {
        report.Find(FindingKinds::PrinterDriverUnknown,
                    Format(L"The driver of \"%s\" cannot be read: 0x%08lX.", printer.name,
                           static_cast<unsigned long>(printer.driverRead)));
    }
    else if (printer.manifestError != 0)
    {
        report.Find(FindingKinds::PrinterManifest,
                    Format(L"The manifest %s of \"%s\" cannot be read: error %lu.",
                           printer.manifest, printer.name, printer.manifestError));
    }
    else
    {
        TellPrinter(printer, facts, report);
    }
}
} // namespace

void JudgePrinters(const Facts& facts, Report& report)
{
    if (facts.printers.listError == RPC_S_SERVER_UNAVAILABLE)
    {
        report.Find(
            FindingKinds::SpoolerUnreachable,
            Format(L"The print spooler cannot be reached: error %lu.", facts.printers.listError));
    }
    else if (facts.printers.listError != 0)
    {
        report.NotSeen(L"printers",
                       Format(L"They cannot be listed: error %lu.", facts.printers.listError));
    }
    for (const PrinterFact& printer : facts.printers.printers)
    {
        JudgePrinter(printer, facts, report);
    }
}
