#include "TaskStart.h"

#include "LabLock.h"
#include "SchedulerResults.h"
#include "Text.h"

#include <algorithm>

namespace PalvoLab
{
namespace
{

// What Windows takes when a task does not say.
constexpr std::uint64_t kDefaultLimit = 72 * 60 * 60;

struct Plan
{
    BegunStart begun;
    std::vector<TaskInstance> toStop;
};

std::wstring ActionText(const StoredTask& task, const wchar_t* property)
{
    return task.data.actions.empty()
               ? L""
               : task.data.actions[0]->properties.Text(property).value_or(L"");
}

std::wstring Expanded(const std::wstring& text)
{
    std::vector<wchar_t> expanded(32768);
    ExpandEnvironmentStringsW(text.c_str(), expanded.data(), static_cast<DWORD>(expanded.size()));
    return expanded.data();
}

// The program's path without quotes that the action may have around it.
std::wstring ProgramOf(const StoredTask& task)
{
    std::wstring path = Expanded(ActionText(task, L"Path"));
    if (path.size() > 1 && path.front() == L'"' && path.back() == L'"')
    {
        path = path.substr(1, path.size() - 2);
    }
    return path;
}

// The shorter of the task's limit and the trigger's; 0 for none.
std::uint64_t LimitOf(const StoredTask& task, const std::optional<std::wstring>& triggerLimit)
{
    const auto own = task.data.settings.Text(L"ExecutionTimeLimit");
    const std::uint64_t limit = own ? ParseDuration(*own).value_or(0) : kDefaultLimit;
    const std::uint64_t other = triggerLimit ? ParseDuration(*triggerLimit).value_or(0) : 0;
    return limit == 0 || other == 0 ? std::max(limit, other) : std::min(limit, other);
}

// "NT AUTHORITY\SYSTEM" as the lab's own name for the account.
std::wstring AccountOf(const StoredTask& task)
{
    const std::wstring user = task.registration.Text(L"UserId").value_or(L"");
    return user.substr(user.find(L'\\') + 1);
}

TaskInstance MakeInstance(const StoredTask& task, const std::wstring& reason, std::uint64_t limit)
{
    TaskInstance instance;
    instance.task = task.name;
    instance.serial = task.serial;
    instance.reason = reason;
    instance.program = ProgramOf(task);
    instance.commandLine = CommandLineOf(task);
    instance.directory = Expanded(ActionText(task, L"WorkingDirectory"));
    instance.account = AccountOf(task);
    instance.started = ClockNow();
    instance.limit = limit;
    instance.mayTerminate = task.data.settings.IsTrue(L"AllowHardTerminate", true);
    return instance;
}

void StartNow(const StoredTask& task, const std::wstring& reason, std::uint64_t limit,
              BegunStart& begun)
{
    TaskHistory history = LoadHistory(task.name);
    history.lastRun = FormatLabTime(ClockNow());
    begun.starting = StartHost(MakeInstance(task, reason, limit));
    history.lastResult = static_cast<std::uint32_t>(
        begun.starting ? SchedulerResult::Running : SchedulerResult::FromWindows(GetLastError()));
    SaveHistory(task.name, history);
    begun.start.outcome = begun.starting ? StartOutcome::Started : StartOutcome::NoProgram;
    begun.start.instance = begun.starting ? begun.starting->id : 0;
}

void Queue(const StoredTask& task, Plan& plan)
{
    TaskHistory history = LoadHistory(task.name);
    ++history.queued;
    SaveHistory(task.name, history);
    plan.begun.start.outcome = StartOutcome::Queued;
}

// Whether the task is still the one that was to start.
bool IsRegistered(const StoredTask& task)
{
    const auto stored = LoadTask(task.name);
    return stored && stored->serial == task.serial;
}

// With the lock held: decides, and starts what may start at once.
void Decide(const StoredTask& task, std::uint64_t limit, Plan& plan)
{
    if (!IsRegistered(task))
    {
        plan.begun.start.outcome = StartOutcome::Disabled;
        return;
    }
    const PropertyBag& settings = task.data.settings;
    const bool isOnBattery = Setting(L"Battery") == L"on";
    if (!settings.IsTrue(L"Enabled", true) ||
        (isOnBattery && settings.IsTrue(L"DisallowStartIfOnBatteries", true)))
    {
        plan.begun.start.outcome = StartOutcome::Disabled;
        return;
    }
    const auto running = LiveInstancesOf(task.name);
    const auto policy = settings.Number(L"MultipleInstances").value_or(TASK_INSTANCES_IGNORE_NEW);
    if (!running.empty() && policy == TASK_INSTANCES_QUEUE)
    {
        Queue(task, plan);
    }
    else if (!running.empty() && policy == TASK_INSTANCES_IGNORE_NEW)
    {
        plan.begun.start.outcome = StartOutcome::Ignored;
    }
    else if (!running.empty() && policy == TASK_INSTANCES_STOP_EXISTING)
    {
        plan.toStop = running;
    }
    else
    {
        StartNow(task, plan.begun.start.reason, limit, plan.begun);
    }
}

std::wstring OutcomeText(StartOutcome outcome)
{
    switch (outcome)
    {
    case StartOutcome::Started:
        return L"started: ";
    case StartOutcome::Queued:
        return L"queued: ";
    case StartOutcome::Ignored:
        return L"ignored: ";
    case StartOutcome::Disabled:
        return L"disabled: ";
    case StartOutcome::NoProgram:
        break;
    }
    return L"not started: ";
}

} // namespace

BegunStart BeginStart(const StoredTask& task, const std::wstring& reason,
                      const std::optional<std::wstring>& triggerLimit)
{
    Plan plan;
    plan.begun.start = {task.name, reason, StartOutcome::Disabled, 0, 0, CommandLineOf(task)};
    const std::uint64_t limit = LimitOf(task, triggerLimit);
    {
        const LabLock lock(kSchedulerLock);
        Decide(task, limit, plan);
        if (plan.toStop.empty())
        {
            LogScheduler(OutcomeText(plan.begun.start.outcome) + task.name + L": " + reason);
            return std::move(plan.begun);
        }
    }
    Terminate(plan.toStop);
    const LabLock lock(kSchedulerLock);
    if (IsRegistered(task))
    {
        StartNow(task, reason, limit, plan.begun);
    }
    LogScheduler(OutcomeText(plan.begun.start.outcome) + task.name + L": " + reason);
    return std::move(plan.begun);
}

TaskStart FinishStart(BegunStart begun)
{
    if (begun.starting)
    {
        const auto processId = AwaitStart(*begun.starting);
        begun.start.processId = processId.value_or(0);
        begun.start.outcome = processId ? StartOutcome::Started : StartOutcome::NoProgram;
    }
    return begun.start;
}

TaskStart StartTask(const StoredTask& task, const std::wstring& reason,
                    const std::optional<std::wstring>& triggerLimit)
{
    return FinishStart(BeginStart(task, reason, triggerLimit));
}

void StartQueued(const StoredTask& task)
{
    BegunStart begun;
    StartNow(task, L"queued start", LimitOf(task, std::nullopt), begun);
    LogScheduler(OutcomeText(begun.start.outcome) + task.name + L": queued start");
}

std::wstring CommandLineOf(const StoredTask& task)
{
    const std::wstring program = ProgramOf(task);
    const std::wstring arguments = ActionText(task, L"Arguments");
    const bool hasBlanks = program.find(L' ') != std::wstring::npos;
    return (hasBlanks ? L"\"" + program + L"\"" : program) +
           (arguments.empty() ? L"" : L" " + arguments);
}

} // namespace PalvoLab
