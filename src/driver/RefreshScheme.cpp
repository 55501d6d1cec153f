#include "RefreshScheme.h"

#include "GlobalObjects.h"
#include "HeldMutex.h"
#include "LogFile.h"
#include "NamedEvent.h"
#include "RequestSchemes.h"

namespace
{
void LogBeginning(const Run& run)
{
    if (run.options.mode == CmdLineOptionsEnum::OnDemandAutoConfigRefresh)
    {
        run.log.WriteFormat(L"# Processing on-demand auto-configuration: %s", run.invoker);
    }
    else
    {
        run.log.WriteFormat(L"# Processing a periodic refresh event: %s", run.invoker);
    }
}

/// Runs a pass for each pending request. True if there was one.
bool ProcessRequests(const Run& run, NamedEvent& request)
{
    bool processed = false;
    while (request.Consume())
    {
        if (processed)
        {
            run.log.Write(
                L"Processing queued configuration request from a periodic refresh event.");
        }
        ServeEverything(run);
        processed = true;
    }
    return processed;
}
} // namespace

int RunRefresh(const Run& run)
{
    NamedEvent request(MakeGlobalObjectName(GlobalObjects::RefreshRequestEvent), true);
    const KernelHandle mutex =
        CreateGlobalMutex(MakeGlobalObjectName(GlobalObjects::RefreshInstanceMutex));
    HeldMutex instance(mutex.Get(), 0);
    if (instance.Outcome() == MutexWait::TimedOut)
    {
        TellRedundant(run, L"Refresh event", L"a periodic refresh event");
        request.Set();
        return 1;
    }
    LogBeginning(run);
    // Every pass counts as queued work, the first one too.
    if (ProcessRequests(run, request))
    {
        FinishRequests(run);
    }
    run.log.Write(L"Refresh event done...exiting.");
    // Do not release the mutex: until this copy ends, every other copy is redundant and posts its
    // request. Closing the last handle deletes the mutex, and the next copy creates a new one.
    // While another copy has it open, this thread owns it until the thread ends and abandons it.
    instance.KeepUntilThreadEnds();
    return 0;
}
