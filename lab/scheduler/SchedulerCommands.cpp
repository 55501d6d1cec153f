#include "SchedulerCommands.h"

#include "LabLock.h"
#include "SchedulerResults.h"
#include "TaskInstances.h"
#include "TaskRunner.h"
#include "TaskStart.h"
#include "TaskXml.h"
#include "Text.h"

#include <algorithm>

namespace PalvoLab
{
namespace
{

constexpr std::uint32_t kDefaultWait = 60000;

std::wstring ResultText(std::uint32_t result)
{
    switch (result)
    {
    case static_cast<std::uint32_t>(SchedulerResult::HasNotRun):
        return Hex(result) + L" (has not run)";
    case static_cast<std::uint32_t>(SchedulerResult::Running):
        return Hex(result) + L" (running)";
    case static_cast<std::uint32_t>(SchedulerResult::Terminated):
        return Hex(result) + L" (terminated)";
    default:
        return Hex(result);
    }
}

std::wstring RawText(const PropertyBag& bag, const wchar_t* name)
{
    const auto number = bag.Number(name);
    return number ? std::to_wstring(*number) : L"not put";
}

std::wstring TriggerText(const TriggerData& trigger)
{
    const std::wstring id = L" \"" + trigger.properties.Text(L"Id").value_or(L"") + L"\"";
    if (trigger.type == TASK_TRIGGER_EVENT)
    {
        return L"event" + id + L" " + trigger.properties.Text(L"Subscription").value_or(L"");
    }
    return L"daily" + id + L" from " + trigger.properties.Text(L"StartBoundary").value_or(L"") +
           L" every " + trigger.repetition.Text(L"Interval").value_or(L"day");
}

std::wstring RunningText(const std::wstring& task)
{
    std::wstring text;
    for (const TaskInstance& instance : LiveInstancesOf(task))
    {
        text += (text.empty() ? L"" : L", ") + std::wstring(L"process ") +
                std::to_wstring(instance.processId) + L" since " + FormatLabTime(instance.started);
    }
    return text.empty() ? L"none" : text;
}

void ShowTask(const StoredTask& task)
{
    const PropertyBag& settings = task.data.settings;
    const TaskHistory history = LoadHistory(task.name);
    Print(L"task: " + task.name);
    Print(L"  enabled: " + RawText(settings, L"Enabled") + L"  hidden: " +
          RawText(settings, L"Hidden") + L"  instances: " +
          RawText(settings, L"MultipleInstances"));
    Print(L"  account: " + task.registration.Text(L"UserId").value_or(L"") + L"  run level: " +
          RawText(task.data.principal, L"RunLevel"));
    Print(L"  action: " + CommandLineOf(task));
    for (const auto& trigger : task.data.triggers)
    {
        Print(L"  trigger: " + TriggerText(*trigger));
    }
    const auto next = NextRun(task, ClockNow());
    Print(L"  next run: " + (next ? FormatLabTime(*next) : std::wstring(L"none")));
    Print(L"  last run: " + history.lastRun.value_or(L"never"));
    Print(L"  last result: " + ResultText(history.lastResult));
    Print(L"  missed runs: " + std::to_wstring(history.missedRuns) + L"  queued: " +
          std::to_wstring(history.queued));
    Print(L"  running: " + RunningText(task.name));
}

void ShowBag(const std::wstring& part, const PropertyBag& bag)
{
    for (const auto& [name, value] : bag.All())
    {
        const auto* text = std::get_if<std::wstring>(&value);
        Print(part + L"." + name + L"=" +
              (text != nullptr ? *text : std::to_wstring(std::get<std::int32_t>(value))));
    }
}

void ShowRaw(const StoredTask& task)
{
    ShowBag(L"Registration", task.registration);
    ShowBag(L"RegistrationInfo", task.data.registrationInfo);
    ShowBag(L"Principal", task.data.principal);
    ShowBag(L"Settings", task.data.settings);
    for (std::size_t i = 0; i < task.data.triggers.size(); ++i)
    {
        const std::wstring part = L"Trigger" + std::to_wstring(i);
        Print(part + L".Type=" + std::to_wstring(task.data.triggers[i]->type));
        ShowBag(part, task.data.triggers[i]->properties);
        ShowBag(part + L".Repetition", task.data.triggers[i]->repetition);
    }
    for (std::size_t i = 0; i < task.data.actions.size(); ++i)
    {
        const std::wstring part = L"Action" + std::to_wstring(i);
        Print(part + L".Type=" + std::to_wstring(task.data.actions[i]->type));
        ShowBag(part, task.data.actions[i]->properties);
    }
}

int WaitForTasks(std::uint32_t milliseconds)
{
    const std::uint64_t begin = GetTickCount64();
    while (true)
    {
        std::vector<TaskInstance> running;
        {
            const LabLock lock(kSchedulerLock);
            running = LiveInstances();
        }
        if (running.empty())
        {
            return kDone;
        }
        // A queued start takes the place of one that ends, so one look is not enough.
        const std::uint64_t passed = GetTickCount64() - begin;
        if (passed >= milliseconds ||
            !AwaitEnd(running, static_cast<std::uint32_t>(milliseconds - passed)))
        {
            return Complain(L"tasks still run", kTimedOut);
        }
    }
}

int StopTask(const std::wstring& name)
{
    std::vector<TaskInstance> running;
    {
        const LabLock lock(kSchedulerLock);
        running = LiveInstancesOf(name);
    }
    Terminate(running);
    return kDone;
}

// The same task once more under another name, as a sibling component might have registered it.
int CopyTask(StoredTask task, const std::wstring& name)
{
    if (!IsTaskName(name))
    {
        return Complain(L"'" + name + L"' cannot be the name of a task");
    }
    task.name = name;
    SaveTask(task);
    return kDone;
}

// The bag that "Settings.Enabled" and the like begin with; null for a part that cannot be edited.
PropertyBag* BagOf(StoredTask& task, const std::wstring& part)
{
    if (part == L"Registration")
    {
        return &task.registration;
    }
    if (part == L"Settings")
    {
        return &task.data.settings;
    }
    return part == L"Action0" && !task.data.actions.empty() ? &task.data.actions[0]->properties
                                                            : nullptr;
}

// An edit as an administrator makes one: what became of the task's runs is kept.
int PutProperty(StoredTask task, const std::wstring& property, const std::wstring& value)
{
    const std::size_t dot = property.find(L'.');
    PropertyBag* bag = BagOf(task, property.substr(0, dot));
    if (dot == std::wstring::npos || bag == nullptr)
    {
        return Misused(L"tasks");
    }
    const std::wstring name = property.substr(dot + 1);
    if (bag->Number(name))
    {
        const auto number = ParseNumber(value);
        if (!number)
        {
            return Misused(L"tasks");
        }
        bag->Put(name, static_cast<std::int32_t>(*number));
    }
    else
    {
        bag->Put(name, value);
    }
    const LabLock lock(kSchedulerLock);
    const TaskHistory history = LoadHistory(task.name);
    SaveTask(task);
    SaveHistory(task.name, history);
    return kDone;
}

// Commands on one task.
int RunOnTask(const std::wstring& what, const StoredTask& task)
{
    if (what == L"xml")
    {
        for (const std::wstring& line : Split(TaskXml(task), L'\n'))
        {
            if (!line.empty())
            {
                Print(line);
            }
        }
        return kDone;
    }
    if (what == L"raw")
    {
        ShowRaw(task);
        return kDone;
    }
    if (what == L"run")
    {
        const TaskStart start = RunTaskNow(task);
        PrintStarts({start});
        return start.outcome == StartOutcome::Started || start.outcome == StartOutcome::Queued
                   ? kDone
                   : kFailed;
    }
    if (what == L"stop")
    {
        return StopTask(task.name);
    }
    if (what == L"delete")
    {
        return RemoveTask(task.name) ? kDone : kFailed;
    }
    if (what == L"protect" || what == L"release")
    {
        ProtectTask(task.name, what == L"protect");
        return kDone;
    }
    return Misused(L"tasks");
}

} // namespace

int RunTasks(const Arguments& arguments)
{
    const std::size_t count = arguments.size();
    if (count == 0)
    {
        for (const StoredTask& task : LoadTasks())
        {
            ShowTask(task);
        }
        return kDone;
    }
    if (arguments[0] == L"history" && count == 1)
    {
        for (const std::string& line : SchedulerLog())
        {
            PrintBytes(line + "\n");
        }
        return kDone;
    }
    if (arguments[0] == L"wait" && count <= 2)
    {
        const auto limit =
            count == 2 ? ParseNumber(arguments[1]) : std::optional<std::uint64_t>(kDefaultWait);
        return limit && *limit < INFINITE ? WaitForTasks(static_cast<std::uint32_t>(*limit))
                                          : Misused(L"tasks");
    }
    const bool isCopy = arguments[0] == L"copy" && count == 3;
    const bool isPut = arguments[0] == L"put" && count == 4;
    if (count != 2 && !isCopy && !isPut)
    {
        return Misused(L"tasks");
    }
    const auto task = LoadTask(ReplaceEscapes(arguments[1]));
    if (task && isCopy)
    {
        return CopyTask(*task, ReplaceEscapes(arguments[2]));
    }
    if (task && isPut)
    {
        return PutProperty(*task, arguments[2], arguments[3]);
    }
    return task ? RunOnTask(arguments[0], *task)
                : Complain(L"there is no task '" + arguments[1] + L"'");
}

} // namespace PalvoLab
