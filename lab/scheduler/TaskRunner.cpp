#include "TaskRunner.h"

#include "Accounts.h"
#include "EventChannel.h"
#include "Subscription.h"
#include "TaskSchedulerInterfaces.h"
#include "TaskStart.h"
#include "Text.h"

#include <algorithm>

namespace PalvoLab
{
namespace
{

// One reason to start one task.
struct Demand
{
    StoredTask task;
    std::wstring reason;
    std::optional<std::wstring> limit; // the trigger's own time limit
};

bool IsEnabled(const TriggerData& trigger)
{
    return trigger.properties.IsTrue(L"Enabled", true);
}

std::wstring ReasonOf(const TriggerData& trigger, const wchar_t* kind)
{
    return std::wstring(kind) + L" \"" + trigger.properties.Text(L"Id").value_or(L"") + L"\"";
}

// A look at the channels: every event that no look has shown to its tasks yet.
std::vector<Demand> TakeEventDemands()
{
    std::vector<Demand> demands;
    for (const StoredTask& task : LoadTasks())
    {
        std::vector<std::wstring> channels;
        for (const auto& trigger : task.data.triggers)
        {
            const auto subscription =
                Subscription::Parse(trigger->properties.Text(L"Subscription").value_or(L""));
            for (const std::wstring& name :
                 subscription ? subscription->Channels() : std::vector<std::wstring>())
            {
                const std::uint64_t seen = SeenRecord(task.name, name);
                const XPath query = *XPath::ParseQuery(L"Event/System[EventRecordID > " +
                                                       std::to_wstring(seen) + L"]");
                for (const Event& event : EventChannel::Find(name)->Select(&query))
                {
                    if (IsEnabled(*trigger) && subscription->Selects(event, name))
                    {
                        demands.push_back({task, ReasonOf(*trigger, L"event"),
                                           trigger->properties.Text(L"ExecutionTimeLimit")});
                    }
                }
                channels.push_back(name);
            }
        }
        for (const std::wstring& name : channels)
        {
            const auto events = EventChannel::Find(name)->Select(nullptr);
            if (!events.empty())
            {
                SetSeenRecord(task.name, name, events.back().recordId);
            }
        }
    }
    return demands;
}

std::vector<TaskStart> StartAll(const std::vector<Demand>& demands)
{
    std::vector<TaskStart> starts;
    for (const Demand& demand : demands)
    {
        starts.push_back(StartTask(demand.task, demand.reason, demand.limit));
    }
    return starts;
}

// The earliest moment after `after` at which some daily trigger fires.
std::optional<LabTime> EarliestNext(LabTime after)
{
    std::optional<LabTime> earliest;
    for (const StoredTask& task : LoadTasks())
    {
        const auto next = NextRun(task, after);
        earliest = next && (!earliest || *next < *earliest) ? next : earliest;
    }
    return earliest;
}

std::vector<Demand> DemandsAt(LabTime time)
{
    std::vector<Demand> demands;
    for (const StoredTask& task : LoadTasks())
    {
        for (const auto& trigger : task.data.triggers)
        {
            if (IsEnabled(*trigger) && NextTime(*trigger, time - 1) == time)
            {
                demands.push_back({task, ReasonOf(*trigger, L"time"),
                                   trigger->properties.Text(L"ExecutionTimeLimit")});
            }
        }
    }
    return demands;
}

std::vector<TaskInstance> Overdue(LabTime now)
{
    const LabLock lock(kSchedulerLock);
    std::vector<TaskInstance> overdue;
    for (const TaskInstance& instance : LiveInstances())
    {
        if (instance.limit != 0 && now - instance.started >= instance.limit)
        {
            overdue.push_back(instance);
        }
    }
    return overdue;
}

// Those of `starts` that still run.
std::vector<TaskInstance> StillRunning(const std::vector<TaskStart>& starts)
{
    const LabLock lock(kSchedulerLock);
    std::vector<TaskInstance> running;
    for (const TaskInstance& instance : LiveInstances())
    {
        for (const TaskStart& start : starts)
        {
            if (start.instance == instance.id)
            {
                running.push_back(instance);
            }
        }
    }
    return running;
}

void PassTime(LabTime to, const std::vector<TaskStart>& startedThisTurn, bool isStartNext,
              const ClockTurn& turn)
{
    const auto meetsLimit = [to](const TaskInstance& instance)
    { return instance.limit != 0 && to - instance.started >= instance.limit; };
    const auto running = StillRunning(startedThisTurn);
    if (isStartNext || std::any_of(running.begin(), running.end(), meetsLimit))
    {
        AwaitEnd(running, turn.graceMilliseconds);
    }
    SetClock(to);
    Terminate(Overdue(to));
}

// A task whose time passed while the machine was off.
std::vector<Demand> MissedDemands(LabTime from, LabTime to)
{
    std::vector<Demand> demands;
    for (const StoredTask& task : LoadTasks())
    {
        std::uint32_t missed = 0;
        for (auto next = NextRun(task, from); next && *next <= to; next = NextRun(task, *next))
        {
            ++missed;
        }
        if (missed == 0)
        {
            continue;
        }
        if (task.data.settings.IsTrue(L"StartWhenAvailable", false))
        {
            demands.push_back({task, L"missed start", std::nullopt});
            --missed;
        }
        TaskHistory history = LoadHistory(task.name);
        history.missedRuns += missed;
        SaveHistory(task.name, history);
    }
    return demands;
}

std::vector<TaskStart> TurnClockWhileOff(LabTime to)
{
    std::vector<TaskInstance> running;
    {
        const LabLock lock(kSchedulerLock);
        running = LiveInstances();
    }
    Terminate(running);
    const LabTime from = ClockNow();
    SetClock(to);
    return StartAll(MissedDemands(from, to));
}

} // namespace

std::vector<TaskStart> RunDueTasks()
{
    std::vector<Demand> demands;
    {
        const LabLock lock(kSchedulerLock);
        demands = TakeEventDemands();
    }
    return StartAll(demands);
}

void SkipDueTasks()
{
    const LabLock lock(kSchedulerLock);
    TakeEventDemands();
}

TaskStart RunTaskNow(const StoredTask& task)
{
    if (!task.data.settings.IsTrue(L"AllowDemandStart", true))
    {
        return {task.name, L"demand", StartOutcome::Disabled, 0, 0, L""};
    }
    return StartTask(task, L"demand", std::nullopt);
}

std::vector<TaskStart> TurnClock(LabTime to, const ClockTurn& turn)
{
    if (turn.isMachineOff)
    {
        return TurnClockWhileOff(to);
    }
    std::vector<TaskStart> starts;
    while (ClockNow() < to)
    {
        const auto next = EarliestNext(ClockNow());
        const bool isStartNext = next && *next <= to;
        PassTime(isStartNext ? *next : to, starts, isStartNext, turn);
        if (isStartNext)
        {
            for (TaskStart& start : StartAll(DemandsAt(*next)))
            {
                starts.push_back(std::move(start));
            }
        }
    }
    return starts;
}

std::optional<LabTime> NextRun(const StoredTask& task, LabTime after)
{
    std::optional<LabTime> earliest;
    if (task.data.settings.IsTrue(L"Enabled", true))
    {
        for (const auto& trigger : task.data.triggers)
        {
            const auto next = IsEnabled(*trigger) ? NextTime(*trigger, after) : std::nullopt;
            earliest = next && (!earliest || *next < *earliest) ? next : earliest;
        }
    }
    return earliest;
}

void FinishInstance(const TaskInstance& instance, std::uint32_t result)
{
    const LabLock lock(kSchedulerLock);
    const auto stored = LoadInstance(instance.id);
    const bool wasTerminated = stored && stored->isTerminated;
    RemoveInstance(instance.id);
    result = wasTerminated ? static_cast<std::uint32_t>(SchedulerResult::Terminated) : result;
    LogScheduler(L"finished: " + instance.task + L": " + Hex(result));
    const auto task = LoadTask(instance.task);
    if (!task || task->serial != instance.serial)
    {
        return; // deleted or replaced while it ran
    }
    TaskHistory history = LoadHistory(task->name);
    history.lastResult = result;
    const bool isQueued = history.queued != 0;
    history.queued -= isQueued ? 1 : 0;
    SaveHistory(task->name, history);
    if (isQueued)
    {
        StartQueued(*task);
    }
}

void ResetScheduler()
{
    std::vector<TaskInstance> running;
    {
        const LabLock lock(kSchedulerLock);
        RemoveAllTasks();
        running = LiveInstances();
        for (TaskInstance& instance : running)
        {
            instance.mayTerminate = true;
            SaveInstance(instance);
        }
    }
    Terminate(running);
    RemoveStateKey(L"TaskInstances");
    RemoveStateKey(L"TaskStarts");
    RemoveAllTasks();
    ResetClock();
}

} // namespace PalvoLab
