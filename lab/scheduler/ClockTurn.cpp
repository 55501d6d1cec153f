// The lab's time passes: daily triggers and time limits.
#include "LabLock.h"
#include "TaskDemand.h"

#include "LabState.h"

#include <algorithm>

namespace PalvoLab
{
namespace
{

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

// The program's time is not the lab's: what runs gets the grace, whoever started it.
void PassTime(LabTime to, bool isStartNext, const ClockTurn& turn)
{
    const auto meetsLimit = [to](const TaskInstance& instance)
    { return instance.limit != 0 && to - instance.started >= instance.limit; };
    std::vector<TaskInstance> running;
    {
        const LabLock lock(kSchedulerLock);
        running = LiveInstances();
    }
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
    const LabLock lock(kSchedulerLock);
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

std::vector<TaskStart> TurnClock(LabTime to, const ClockTurn& turn)
{
    if (!IsServiceRunning())
    {
        SetClock(to);
        return {};
    }
    if (turn.isMachineOff)
    {
        return TurnClockWhileOff(to);
    }
    std::vector<TaskStart> starts;
    while (ClockNow() < to)
    {
        const auto next = EarliestNext(ClockNow());
        const bool isStartNext = next && *next <= to;
        PassTime(isStartNext ? *next : to, isStartNext, turn);
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

void SetClockBack(std::uint32_t seconds)
{
    const LabLock lock(kSchedulerLock);
    SetClock(ClockNow() - seconds);
    CreateStateKey(L"Clock").SetNumber(L"SetBack", SecondsSetBack() + seconds);
    for (TaskInstance& instance : LiveInstances())
    {
        instance.started -= seconds;
        SaveInstance(instance);
    }
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

} // namespace PalvoLab
