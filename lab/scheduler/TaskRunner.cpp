#include "TaskRunner.h"

#include "EventChannel.h"
#include "LabLock.h"
#include "SchedulerResults.h"
#include "Subscription.h"
#include "TaskDemand.h"
#include "TaskStart.h"
#include "Text.h"

#include <set>

namespace PalvoLab
{
namespace
{

struct EventTrigger
{
    std::shared_ptr<TriggerData> data;
    Subscription subscription;
};

std::vector<EventTrigger> EventTriggersOf(const StoredTask& task)
{
    std::vector<EventTrigger> triggers;
    for (const auto& trigger : task.data.triggers)
    {
        const auto text = trigger->properties.Text(L"Subscription");
        auto subscription = text ? Subscription::Parse(*text) : std::nullopt;
        if (subscription)
        {
            triggers.push_back({trigger, std::move(*subscription)});
        }
    }
    return triggers;
}

std::set<std::wstring> ChannelsOf(const std::vector<EventTrigger>& triggers)
{
    std::set<std::wstring> channels;
    for (const EventTrigger& trigger : triggers)
    {
        for (const std::wstring& channel : trigger.subscription.Channels())
        {
            channels.insert(EventChannel::Find(channel)->Name());
        }
    }
    return channels;
}

// The events of a channel that a task has not seen yet; from now on it has.
std::vector<Event> TakeNewEvents(const StoredTask& task, const std::wstring& channel)
{
    // One look, so that what is logged meanwhile is left for the next.
    const XPath query = *XPath::ParseQuery(L"Event/System[EventRecordID > " +
                                           std::to_wstring(SeenRecord(task.name, channel)) + L"]");
    std::vector<Event> events = EventChannel::Find(channel)->Select(&query);
    if (!events.empty())
    {
        SetSeenRecord(task.name, channel, events.back().recordId);
    }
    return events;
}

std::vector<Demand> TakeEventDemands()
{
    std::vector<Demand> demands;
    for (const StoredTask& task : LoadTasks())
    {
        const auto triggers = EventTriggersOf(task);
        for (const std::wstring& channel : ChannelsOf(triggers))
        {
            for (const Event& event : TakeNewEvents(task, channel))
            {
                for (const EventTrigger& trigger : triggers)
                {
                    if (IsEnabled(*trigger.data) && trigger.subscription.Selects(event, channel))
                    {
                        demands.push_back({task, ReasonOf(*trigger.data, L"event"),
                                           trigger.data->properties.Text(L"ExecutionTimeLimit")});
                    }
                }
            }
        }
    }
    return demands;
}

} // namespace

std::vector<TaskStart> RunDueTasks()
{
    if (!IsServiceRunning())
    {
        SkipDueTasks();
        return {};
    }
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

void FinishInstance(const TaskInstance& instance, std::uint32_t result)
{
    const LabLock lock(kSchedulerLock);
    const auto stored = LoadInstance(instance.id);
    const bool wasTerminated = stored && stored->isTerminated;
    RemoveInstance(instance.id);
    result = wasTerminated ? static_cast<std::uint32_t>(SchedulerResult::Terminated) : result;
    LogScheduler(L"finished: " + instance.task + L": process " +
                 std::to_wstring(instance.processId) + L": " + Hex(result));
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
