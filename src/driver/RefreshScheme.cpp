#include "RefreshScheme.h"

#include "DesktopAppGuids.h"
#include "GlobalObjects.h"
#include "HeldMutex.h"
#include "LogFile.h"
#include "NamedEvent.h"
#include "StandardOutput.h"
#include "WriterLaunch.h"

namespace
{
int LeaveRequest(const Run& run, NamedEvent& request)
{
    const std::wstring text = Format(
        L"-Redundant instance for Refresh event: An instance is already running to process a "
        L"periodic refresh event...Queuing request and exiting this instance [%s].",
        run.invoker);
    StandardOutput::Write(text);
    run.log.Write(text);
    request.Set();
    return 1;
}

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
        WriterRequest everything;
        everything.mode = run.options.mode;
        LaunchWriterForRequest(everything, run.invoker, run.paths, run.log);
        processed = true;
    }
    return processed;
}
} // namespace

int RunRefresh(const Run& run)
{
    NamedEvent request(MakeGlobalObjectName(GlobalObjects::RefreshRequestEvent), true);
    const KernelHandle mutex(CreateMutexW(
        nullptr, FALSE, MakeGlobalObjectName(GlobalObjects::RefreshInstanceMutex).c_str()));
    HeldMutex instance(mutex.Get(), 0);
    if (instance.Outcome() == MutexWait::TimedOut)
    {
        return LeaveRequest(run, request);
    }
    LogBeginning(run);
    // Every pass counts as queued work, the first one too.
    if (ProcessRequests(run, request))
    {
        run.log.Write(L"Update UserPropertyBags With Desktop GUIDs before exiting after processing "
                      L"queued request(s)");
        UpdateDesktopAppGuids();
    }
    run.log.Write(L"Refresh event done...exiting.");
    // Do not release the mutex: until this copy ends, every other copy is redundant and posts its
    // request. Closing the last handle deletes the mutex, and the next copy creates a new one.
    // While another copy has it open, this thread owns it until the thread ends and abandons it.
    instance.KeepUntilThreadEnds();
    return 0;
}
