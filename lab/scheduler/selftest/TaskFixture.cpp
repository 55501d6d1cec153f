#include "TaskFixture.h"

#include "FaultPlan.h"
#include "LabState.h"
#include "ServerRegistration.h"
#include "TaskRunner.h"

namespace PalvoLab
{
namespace
{

const VARIANT kNothing = {};

VARIANT TextValue(BSTR text)
{
    VARIANT value = {};
    value.vt = VT_BSTR;
    value.bstrVal = text;
    return value;
}

// Goes on only after a step that succeeded.
class Steps
{
public:
    template <typename Step> Steps& Then(const Step& step)
    {
        m_result = SUCCEEDED(m_result) ? step() : m_result;
        return *this;
    }

    HRESULT Result() const { return m_result; }

private:
    HRESULT m_result = S_OK;
};

HRESULT AddSettings(ITaskDefinition* task, const TaskPlan& plan)
{
    Com<ITaskSettings> settings;
    Steps steps;
    steps.Then([&] { return task->get_Settings(settings.Receive()); })
        .Then([&] { return settings->put_Enabled(static_cast<VARIANT_BOOL>(plan.enabled)); })
        .Then([&] { return settings->put_Hidden(VARIANT_TRUE); })
        .Then(
            [&] {
                return settings->put_StartWhenAvailable(
                    static_cast<VARIANT_BOOL>(plan.startWhenAvailable));
            });
    if (plan.policy >= 0)
    {
        steps.Then(
            [&] {
                return settings->put_MultipleInstances(
                    static_cast<TASK_INSTANCES_POLICY>(plan.policy));
            });
    }
    if (plan.limit != nullptr)
    {
        steps.Then([&] { return settings->put_ExecutionTimeLimit(Text(plan.limit)); });
    }
    return steps.Result();
}

HRESULT AddTrigger(ITaskDefinition* task, const TaskPlan& plan)
{
    if (plan.subscription == nullptr && plan.startBoundary == nullptr)
    {
        return S_OK;
    }
    Com<ITriggerCollection> triggers;
    Com<ITrigger> trigger;
    const bool isEvent = plan.subscription != nullptr;
    Steps steps;
    steps.Then([&] { return task->get_Triggers(triggers.Receive()); })
        .Then(
            [&] {
                return triggers->Create(isEvent ? TASK_TRIGGER_EVENT : TASK_TRIGGER_DAILY,
                                        trigger.Receive());
            })
        .Then([&] { return trigger->put_Id(Text(L"Lab trigger")); });
    if (isEvent)
    {
        Com<IEventTrigger> event;
        return steps
            .Then(
                [&] {
                    return trigger->QueryInterface(IID_EventTrigger,
                                                   reinterpret_cast<void**>(event.Receive()));
                })
            .Then([&] { return event->put_Subscription(Text(plan.subscription)); })
            .Result();
    }
    Com<IRepetitionPattern> repetition;
    return steps.Then([&] { return trigger->put_StartBoundary(Text(plan.startBoundary)); })
        .Then([&] { return trigger->get_Repetition(repetition.Receive()); })
        .Then([&] { return repetition->put_Interval(Text(plan.interval)); })
        .Result();
}

HRESULT AddAction(ITaskDefinition* task, const TaskPlan& plan)
{
    Com<IActionCollection> actions;
    Com<IAction> action;
    Com<IExecAction> program;
    Steps steps;
    if (plan.hasAction)
    {
        steps.Then([&] { return task->get_Actions(actions.Receive()); })
            .Then([&] { return actions->Create(TASK_ACTION_EXEC, action.Receive()); })
            .Then(
                [&] {
                    return action->QueryInterface(IID_IExecAction,
                                                  reinterpret_cast<void**>(program.Receive()));
                })
            .Then([&] { return program->put_Path(Text(plan.program)); })
            .Then([&] { return program->put_Arguments(Text(plan.arguments)); });
    }
    return steps.Result();
}

} // namespace

Scheduler::Scheduler()
{
    ClearFaults();
    RemoveSetting(L"Scheduler");
    ResetScheduler();
    RegisterTaskServer();
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
}

Scheduler::~Scheduler()
{
    CoUninitialize();
    ClearFaults();
    ResetScheduler();
}

void Scheduler::Reload() const
{
    CoUninitialize();
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
}

HRESULT OpenRoot(Com<ITaskService>& service, Com<ITaskFolder>& folder)
{
    return Steps()
        .Then(
            [&]
            {
                return CoCreateInstance(CLSID_TaskScheduler, nullptr, CLSCTX_INPROC_SERVER,
                                        IID_ITaskService,
                                        reinterpret_cast<void**>(service.Receive()));
            })
        .Then([&] { return service->Connect(kNothing, kNothing, kNothing, kNothing); })
        .Then([&] { return service->GetFolder(Text(L"\\"), folder.Receive()); })
        .Result();
}

HRESULT MakeTask(const TaskPlan& plan)
{
    Com<ITaskService> service;
    Com<ITaskFolder> folder;
    Com<ITaskDefinition> task;
    Com<IRegisteredTask> registered;
    return Steps()
        .Then([&] { return OpenRoot(service, folder); })
        .Then([&] { return service->NewTask(0, task.Receive()); })
        .Then([&] { return AddSettings(task.Get(), plan); })
        .Then([&] { return AddTrigger(task.Get(), plan); })
        .Then([&] { return AddAction(task.Get(), plan); })
        .Then(
            [&]
            {
                const Text user(plan.user);
                const Text descriptor(plan.descriptor);
                return folder->RegisterTaskDefinition(
                    Text(plan.name), task.Get(), plan.flags, TextValue(user), kNothing,
                    TASK_LOGON_SERVICE_ACCOUNT, TextValue(descriptor), registered.Receive());
            })
        .Result();
}

HRESULT DeleteTaskNamed(const wchar_t* name)
{
    Com<ITaskService> service;
    Com<ITaskFolder> folder;
    return Steps()
        .Then([&] { return OpenRoot(service, folder); })
        .Then([&] { return folder->DeleteTask(Text(name), 0); })
        .Result();
}

} // namespace PalvoLab
