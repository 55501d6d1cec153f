#include "ComOwners.h"
#include "Looks.h"
#include "Rules.h"
#include "TaskKinds.h"
#include "TaskSchedulerInterfaces.h"

#include <array>

namespace
{
struct WantedTask
{
    unsigned kind;
    const wchar_t* arguments;
};

/// As -IT registers them.
constexpr std::array WantedTasks = {
    WantedTask{TaskKind::NewOrChanged, L"-c -i NewOrChangedTask"},
    WantedTask{TaskKind::PeriodicRefresh, L"-r -i PeriodicRefreshTask -IN -w"},
    WantedTask{TaskKind::UserLogon, L"-c -i UserLogonTask -IN -w"},
};

/// A DATE as 100 ns since 1601; nothing for the date that stands for "never".
std::optional<std::uint64_t> TimeOf(DATE date)
{
    SYSTEMTIME parts = {};
    FILETIME time = {};
    if (date <= 0 || !VariantTimeToSystemTime(date, &parts) || !SystemTimeToFileTime(&parts, &time))
    {
        return std::nullopt;
    }
    return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

HRESULT Read(IRegisteredTask& task, TaskFact& fact)
{
    BStr xml;
    VARIANT_BOOL enabled = VARIANT_FALSE;
    LONG result = 0;
    TASK_STATE state = TASK_STATE_UNKNOWN;
    DATE lastRun = 0;
    const HRESULT read = task.get_Xml(xml.Receive());
    xml.KeepIf(SUCCEEDED(read));
    for (const HRESULT step : {read, task.get_Enabled(&enabled), task.get_LastTaskResult(&result),
                               task.get_State(&state), task.get_LastRunTime(&lastRun)})
    {
        if (FAILED(step))
        {
            return step;
        }
    }
    const std::wstring text = xml ? xml.Get() : std::wstring();
    fact.enabled = enabled != VARIANT_FALSE;
    fact.program = XmlText(text, L"Command");
    fact.arguments = XmlText(text, L"Arguments");
    fact.account = XmlText(text, L"UserId");
    fact.lastResult = result;
    fact.running = state == TASK_STATE_RUNNING;
    fact.lastRun = TimeOf(lastRun);
    return S_OK;
}

HRESULT OpenRoot(ComPointer<ITaskService>& service, ComPointer<ITaskFolder>& folder)
{
    HRESULT result =
        CoCreateInstance(CLSID_TaskScheduler, nullptr, CLSCTX_INPROC_SERVER, IID_ITaskService,
                         reinterpret_cast<void**>(service.Receive()));
    if (!service.KeepIf(SUCCEEDED(result)))
    {
        return FAILED(result) ? result : E_FAIL;
    }
    const VARIANT none = {};
    result = service->Connect(none, none, none, none);
    if (FAILED(result))
    {
        return result;
    }
    const BStr root(SysAllocString(L"\\"));
    result = service->GetFolder(root.Get(), folder.Receive());
    return folder.KeepIf(SUCCEEDED(result)) || FAILED(result) ? result : E_FAIL;
}

TaskFact LookAtTask(ITaskFolder& folder, const WantedTask& wanted)
{
    TaskFact fact;
    fact.name = TaskName(wanted.kind);
    fact.wantedArguments = wanted.arguments;
    const BStr name(SysAllocString(fact.name.c_str()));
    ComPointer<IRegisteredTask> task;
    fact.found = folder.GetTask(name.Get(), task.Receive());
    if (task.KeepIf(SUCCEEDED(fact.found)))
    {
        fact.found = Read(*task.Get(), fact);
    }
    return fact;
}
} // namespace

TaskFacts LookAtTasks()
{
    TaskFacts facts;
    const ComApartment apartment;
    facts.reached = apartment.Result();
    ComPointer<ITaskService> service;
    ComPointer<ITaskFolder> folder;
    if (SUCCEEDED(facts.reached))
    {
        facts.reached = OpenRoot(service, folder);
    }
    if (SUCCEEDED(facts.reached))
    {
        for (const WantedTask& wanted : WantedTasks)
        {
            facts.tasks.push_back(LookAtTask(*folder.Get(), wanted));
        }
    }
    return facts;
}
