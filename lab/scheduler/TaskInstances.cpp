#include "TaskInstances.h"

#include "LabLock.h"
#include "NewProcess.h"
#include "SchedulerResults.h"
#include "Text.h"

#include <algorithm>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kInstanceKey[] = L"TaskInstances";
constexpr wchar_t kStartKey[] = L"TaskStarts"; // process ids, for whoever waits for a start
constexpr wchar_t kHostProgram[] = L"palvotaskhost.exe";

std::wstring KeyOf(std::uint32_t id)
{
    return std::wstring(kInstanceKey) + L"\\" + std::to_wstring(id);
}

// A name that no instance had before, not even in a lab that was reset since.
std::wstring NewEventName()
{
    LARGE_INTEGER counter = {};
    QueryPerformanceCounter(&counter);
    return L"Global\\PalvoLabTask-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
           std::to_wstring(counter.QuadPart);
}

bool IsAlive(const TaskInstance& instance)
{
    return static_cast<bool>(KernelHandle(OpenEventW(SYNCHRONIZE, FALSE, instance.event.c_str())));
}

std::wstring HostProgram()
{
    std::vector<wchar_t> path(32768);
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    const std::wstring program = path.data();
    return program.substr(0, program.rfind(L'\\') + 1) + kHostProgram;
}

std::uint32_t NextId()
{
    const LabKey key = CreateStateKey(kInstanceKey);
    const std::uint32_t id = key.Number(L"NextId").value_or(1);
    key.SetNumber(L"NextId", id + 1);
    return id;
}

// A host that was killed stored nothing.
void ForgetLost(const TaskInstance& instance)
{
    RemoveInstance(instance.id);
    const auto task = LoadTask(instance.task);
    if (task && task->serial == instance.serial)
    {
        TaskHistory history = LoadHistory(task->name);
        history.lastResult =
            static_cast<std::uint32_t>(SchedulerResult::FromWindows(ERROR_PROCESS_ABORTED));
        SaveHistory(task->name, history);
    }
    LogScheduler(L"lost: " + instance.task);
}

// Until the instance's program runs, or its host gave up.
void AwaitStarted(const TaskInstance& instance)
{
    const KernelHandle started(OpenEventW(SYNCHRONIZE, FALSE, instance.event.c_str()));
    const KernelHandle host(OpenProcess(SYNCHRONIZE, FALSE, instance.hostId));
    if (started && host)
    {
        const HANDLE either[] = {started.Get(), host.Get()};
        WaitForMultipleObjects(2, either, FALSE, INFINITE);
    }
}

} // namespace

std::vector<TaskInstance> LiveInstances()
{
    std::vector<TaskInstance> live;
    const LabKey key = OpenStateKey(kInstanceKey);
    for (const std::wstring& name : key ? key.SubkeyNames() : std::vector<std::wstring>())
    {
        const auto instance =
            LoadInstance(static_cast<std::uint32_t>(ParseNumber(name).value_or(0)));
        if (instance && IsAlive(*instance))
        {
            live.push_back(*instance);
        }
        else if (instance)
        {
            ForgetLost(*instance);
        }
    }
    std::sort(live.begin(), live.end(),
              [](const TaskInstance& left, const TaskInstance& right)
              { return left.id < right.id; });
    return live;
}

std::vector<TaskInstance> LiveInstancesOf(const std::wstring& task)
{
    std::vector<TaskInstance> own;
    for (TaskInstance& instance : LiveInstances())
    {
        if (EqualNoCase(instance.task, task))
        {
            own.push_back(std::move(instance));
        }
    }
    return own;
}

std::optional<TaskInstance> LoadInstance(std::uint32_t id)
{
    const LabKey key = OpenStateKey(KeyOf(id));
    if (!key)
    {
        return std::nullopt;
    }
    TaskInstance instance;
    instance.id = id;
    instance.task = key.String(L"Task").value_or(L"");
    instance.serial = key.Number(L"Serial").value_or(0);
    instance.reason = key.String(L"Reason").value_or(L"");
    instance.program = key.String(L"Program").value_or(L"");
    instance.commandLine = key.String(L"CommandLine").value_or(L"");
    instance.directory = key.String(L"Directory").value_or(L"");
    instance.account = key.String(L"Account").value_or(L"");
    instance.started = ParseBoundary(key.String(L"Started").value_or(L"")).value_or(0);
    instance.limit = ParseNumber(key.String(L"Limit").value_or(L"")).value_or(0);
    instance.mayTerminate = key.Number(L"MayTerminate").value_or(1) != 0;
    instance.isTerminated = key.Number(L"Terminated").value_or(0) != 0;
    instance.hostId = key.Number(L"HostId").value_or(0);
    instance.processId = key.Number(L"ProcessId").value_or(0);
    instance.event = key.String(L"Event").value_or(L"");
    return instance;
}

void SaveInstance(const TaskInstance& instance)
{
    const LabKey key = CreateStateKey(KeyOf(instance.id));
    key.SetString(L"Task", instance.task);
    key.SetNumber(L"Serial", instance.serial);
    key.SetString(L"Reason", instance.reason);
    key.SetString(L"Program", instance.program);
    key.SetString(L"CommandLine", instance.commandLine);
    key.SetString(L"Directory", instance.directory);
    key.SetString(L"Account", instance.account);
    key.SetString(L"Started", FormatLabTime(instance.started));
    key.SetString(L"Limit", std::to_wstring(instance.limit));
    key.SetNumber(L"MayTerminate", instance.mayTerminate ? 1 : 0);
    key.SetNumber(L"Terminated", instance.isTerminated ? 1 : 0);
    key.SetNumber(L"HostId", instance.hostId);
    key.SetNumber(L"ProcessId", instance.processId);
    key.SetString(L"Event", instance.event);
}

void RemoveInstance(std::uint32_t id)
{
    RemoveStateKey(KeyOf(id));
}

std::optional<StartingInstance> StartHost(TaskInstance instance)
{
    instance.id = NextId();
    StartingInstance starting;
    starting.id = instance.id;
    instance.event = NewEventName();
    starting.started = KernelHandle(CreateEventW(nullptr, TRUE, FALSE, instance.event.c_str()));
    const std::wstring program = HostProgram();
    std::wstring commandLine = L"\"" + program + L"\" " + std::to_wstring(instance.id);
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION made = {};
    // Without handles of this process: nobody who reads its output waits for the task.
    if (!CreateProcessUnderWine(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE,
                                CREATE_SUSPENDED | DETACHED_PROCESS, nullptr, nullptr, &startup,
                                &made))
    {
        return std::nullopt;
    }
    starting.host = KernelHandle(made.hProcess);
    const KernelHandle thread(made.hThread);
    HANDLE inHost = nullptr;
    DuplicateHandle(GetCurrentProcess(), starting.started.Get(), made.hProcess, &inHost, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    instance.hostId = made.dwProcessId;
    SaveInstance(instance);
    ResumeThread(thread.Get());
    return starting;
}

std::optional<std::uint32_t> AwaitStart(const StartingInstance& instance)
{
    const HANDLE either[] = {instance.started.Get(), instance.host.Get()};
    WaitForMultipleObjects(2, either, FALSE, INFINITE);
    // The instance itself may have ended already.
    const LabKey key = CreateStateKey(kStartKey);
    const std::wstring name = std::to_wstring(instance.id);
    const auto processId = key.Number(name);
    key.Remove(name);
    return processId;
}

std::size_t Terminate(const std::vector<TaskInstance>& instances)
{
    for (const TaskInstance& instance : instances)
    {
        AwaitStarted(instance);
    }
    std::vector<TaskInstance> ended;
    {
        const LabLock lock(kSchedulerLock);
        for (const TaskInstance& instance : instances)
        {
            auto stored = LoadInstance(instance.id);
            if (!stored || !stored->mayTerminate || stored->processId == 0)
            {
                continue;
            }
            stored->isTerminated = true;
            SaveInstance(*stored);
            const KernelHandle process(OpenProcess(PROCESS_TERMINATE, FALSE, stored->processId));
            TerminateProcess(process.Get(), 1);
            LogScheduler(L"terminated: " + stored->task);
            ended.push_back(*stored);
        }
    }
    AwaitEnd(ended, INFINITE);
    return ended.size();
}

bool AwaitEnd(const std::vector<TaskInstance>& instances, std::uint32_t milliseconds)
{
    const std::uint64_t begin = GetTickCount64();
    for (const TaskInstance& instance : instances)
    {
        const KernelHandle host(OpenProcess(SYNCHRONIZE, FALSE, instance.hostId));
        if (!host || !IsAlive(instance))
        {
            continue;
        }
        const std::uint64_t passed = GetTickCount64() - begin;
        const DWORD left = milliseconds == INFINITE ? INFINITE
                           : passed < milliseconds  ? static_cast<DWORD>(milliseconds - passed)
                                                    : 0;
        if (WaitForSingleObject(host.Get(), left) != WAIT_OBJECT_0)
        {
            return false;
        }
    }
    return true;
}

void ReportStarted(const TaskInstance& instance)
{
    if (instance.processId != 0)
    {
        CreateStateKey(kStartKey).SetNumber(std::to_wstring(instance.id), instance.processId);
    }
    const KernelHandle event(OpenEventW(EVENT_MODIFY_STATE, FALSE, instance.event.c_str()));
    SetEvent(event.Get());
}

} // namespace PalvoLab
