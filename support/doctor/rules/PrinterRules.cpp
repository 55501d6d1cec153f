#include "FindingKinds.h"
#include "Format.h"
#include "Rules.h"
#include "SupportedPrinters.h"

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

void TellPrinter(const PrinterFact& printer, const ChannelFacts& channel, Report& report)
{
    const std::wstring reason = WhyNot(printer);
    const auto event = channel.lastEvents.find(printer.name);
    report.Tell(L"printer", Format(L"\"%s\" is %s; %s.", printer.name,
                                   reason.empty() ? L"supported" : L"not supported: " + reason,
                                   event == channel.lastEvents.end()
                                       ? std::wstring(L"it has no event")
                                       : Format(L"its last event is %I64u", event->second)));
}

void JudgePrinter(const PrinterFact& printer, const ChannelFacts& channel, Report& report)
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
        TellPrinter(printer, channel, report);
    }
}
} // namespace

void JudgePrinters(const Facts& facts, Report& report)
{
    if (facts.printers.listError == RPC_S_SERVER_UNAVAILABLE)
    {
        report.Find(FindingKinds::SpoolerUnreachable,
                    Format(L"The print spooler cannot be reached: error %lu.",
                           facts.printers.listError));
    }
    else if (facts.printers.listError != 0)
    {
        report.NotSeen(L"printers",
                       Format(L"They cannot be listed: error %lu.", facts.printers.listError));
    }
    for (const PrinterFact& printer : facts.printers.printers)
    {
        JudgePrinter(printer, facts.channel, report);
    }
}
