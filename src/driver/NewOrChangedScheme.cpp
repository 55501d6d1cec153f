#include "NewOrChangedScheme.h"

#include "DesktopAppGuids.h"
#include "GlobalObjects.h"
#include "HeldMutex.h"
#include "LogFile.h"
#include "NamedEvent.h"
#include "PrinterEventScan.h"
#include "ScanPosition.h"
#include "StandardOutput.h"
#include "WriterLaunch.h"

namespace
{
constexpr DWORD SettleMilliseconds = 500;

/// One copy's part in the scheme.
class NewOrChangedCopy
{
public:
    explicit NewOrChangedCopy(const Run& thisRun)
        : run(thisRun),
          normalRequest(MakeGlobalObjectName(GlobalObjects::NormalRequestEvent), false),
          specialRequest(MakeGlobalObjectName(GlobalObjects::SpecialRequestEvent), false),
          fromTask(thisRun.options.eventType == NewOrChangedEventTypeEnum::NewOrChangedTask)
    {
    }

    int Work()
    {
        (fromTask ? normalRequest : specialRequest).Set();
        const KernelHandle mutex(
            CreateMutexW(nullptr, FALSE,
                         MakeGlobalObjectName(GlobalObjects::NewOrChangedInstanceMutex).c_str()));
        {
            const HeldMutex instance(mutex.Get(), 0);
            if (instance.Outcome() == MutexWait::TimedOut)
            {
                TellRedundant();
                return 1;
            }
            ProcessRequests();
        }
        if (passes > 0)
        {
            run.log.Write(L"Update UserPropertyBags With Desktop GUIDs before exiting after "
                          L"processing queued request(s)");
            UpdateDesktopAppGuids();
        }
        return 0;
    }

private:
    void TellRedundant()
    {
        const std::wstring text =
            fromTask
                ? Format(L"-Redundant instance for a NewOrChanged event: An instance is already "
                         L"running to process a NewOrChanged event...Queuing request and "
                         L"exiting this instance [%s].",
                         run.invoker)
                : Format(L"-Redundant instance for a special NewOrChanged event: An instance is "
                         L"already running to process a NewOrChanged event...Queuing request "
                         L"and exiting this instance [%s].",
                         run.invoker);
        StandardOutput::Write(text);
        run.log.Write(text);
    }

    /// Runs passes until no request is pending. Looking for a request takes it.
    void ProcessRequests()
    {
        for (;;)
        {
            const bool normal = normalRequest.Consume();
            const bool special = specialRequest.Consume();
            if (special)
            {
                // This serves the normal request too.
                ProcessSpecialRequest();
            }
            else if (normal)
            {
                ProcessNormalRequest();
            }
            else
            {
                return;
            }
            ++passes;
        }
    }

    void ProcessSpecialRequest()
    {
        run.log.Write(passes == 0 ? L"# Procesing a special NewOrChanged event."
                                  : L"# Procesing a queued special NewOrChanged event.");
        WriterRequest everything;
        everything.mode = run.options.mode;
        LaunchWriterForRequest(everything, run.invoker, run.paths, run.log);
    }

    void ProcessNormalRequest()
    {
        if (passes == 0)
        {
            // Printers are often added several at a time: wait for the events of the others.
            Sleep(SettleMilliseconds);
        }
        PrinterEventScanResult found;
        ScanForPrinterEvents(run.log, found);
        // Store it before the programs run: otherwise a printer that makes the run end would be
        // tried again at every event. The next refresh does what such a run left undone.
        StoreScanPosition(found.newestRecordId);
        if (passes > 0 && found.noPertinentPrinter)
        {
            run.log.Write(
                L"## Skipping queued configuration request from a NewOrChanged event event "
                L"because that printer has already been processed after that request "
                L"occurred.");
            return;
        }
        LogNormalRequest(found);
        LaunchWriterForRequest({run.options.mode, found.onePrinter, found.printerName}, run.invoker,
                               run.paths, run.log);
    }

    void LogNormalRequest(const PrinterEventScanResult& found)
    {
        if (passes == 0 && found.onePrinter)
        {
            run.log.WriteFormat(
                L"# Processing a configuration request from a NewOrChanged event event for '%s'.",
                found.printerName);
        }
        else if (passes == 0)
        {
            run.log.Write(
                L"# Processing a configuration request from a NewOrChanged event event for "
                L"multiple printers.");
        }
        else if (found.onePrinter)
        {
            run.log.WriteFormat(L"# Processing a Queued configuration request from a NewOrChanged "
                                L"event event for '%s'.",
                                found.printerName);
        }
        else
        {
            run.log.Write(L"# Processing Queued configuration request from a NewOrChanged event "
                          L"event for multiple printers.");
        }
    }

    const Run& run;
    NamedEvent normalRequest;
    NamedEvent specialRequest;
    bool fromTask;
    unsigned passes = 0; ///< the completed ones; each counts as queued work
};
} // namespace

int RunNewOrChanged(const Run& run)
{
    try
    {
        run.log.WriteFormat(L"-Processing NewOrChanged event: %s", run.invoker);
        if (NewOrChangedCopy(run).Work() != 0)
        {
            return 1;
        }
    }
    catch (...)
    {
        // One bad request must not make the task count as failed.
        run.log.Write(L"An exception occurred while looping for NewOrChanged event processing.");
    }
    run.log.Write(L"NewOrChanged event done...exiting.");
    run.log.Write(L"");
    run.log.Write(L"");
    return 0;
}
