#include "NewOrChangedScheme.h"

#include "GlobalObjects.h"
#include "HeldMutex.h"
#include "LogFile.h"
#include "NamedEvent.h"
#include "PrinterEventScan.h"
#include "RequestSchemes.h"
#include "ScanPosition.h"

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
        const KernelHandle mutex =
            CreateGlobalMutex(MakeGlobalObjectName(GlobalObjects::NewOrChangedInstanceMutex));
        HeldMutex instance(mutex.Get(), 0);
        if (instance.Outcome() == MutexWait::TimedOut)
        {
            TellRedundant(run, fromTask ? L"a NewOrChanged event" : L"a special NewOrChanged event",
                          L"a NewOrChanged event");
            return 1;
        }
        ProcessRequests();
        instance.Release(); // if that fails, the end of this run does it
        if (passes > 0)
        {
            FinishRequests(run);
        }
        return 0;
    }

private:
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
        ServeEverything(run);
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
        Serve(run, found.onePrinter, found.printerName);
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
