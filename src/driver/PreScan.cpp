#include "PreScan.h"

#include "GlobalObjects.h"
#include "HeldMutex.h"
#include "LogFile.h"
#include "PrinterEventScan.h"
#include "ScanPosition.h"

namespace
{
constexpr DWORD ScanWaitMilliseconds = 600000;

bool IsPrinterEventRun(const CmdLineOptions& options)
{
    return options.mode == CmdLineOptionsEnum::NewOrChangedEvent &&
           options.eventType == NewOrChangedEventTypeEnum::NewOrChangedTask;
}
} // namespace

bool PreScanFindsNothingToDo(const Run& run)
{
    if (!IsPrinterEventRun(run.options))
    {
        return false;
    }
    const KernelHandle mutex =
        CreateGlobalMutex(MakeGlobalObjectName(GlobalObjects::ScanCheckMutex));
    HeldMutex held(mutex.Get(), ScanWaitMilliseconds);
    // Scan even if the wait failed: it only limits how many copies scan at once.
    PrinterEventScanResult found;
    ScanForPrinterEvents(run.log, found);
    held.Release();
    if (!found.noPertinentPrinter)
    {
        return false;
    }
    StoreScanPosition(found.newestRecordId);
    run.log.Write(L"- No supported printers need to be processed. Done. Exiting.");
    return true;
}
