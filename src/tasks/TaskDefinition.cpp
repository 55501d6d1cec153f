#include "TaskDefinition.h"

#include "TaskKinds.h"
#include "TaskTriggers.h"
#include "WindowsVersion.h"

#include <array>
#include <ctime>

namespace
{
// 1 and 0, not COM's all-ones, on purpose: a task that is registered again must not differ from the
// one that it replaces.
constexpr VARIANT_BOOL Yes = 1;
constexpr VARIANT_BOOL No = 0;

using Setting = HRESULT (*)(ITaskSettings& settings, BSTR timeLimit);

/// In the order in which they are set.
constexpr std::array<Setting, 9> Settings = {
    [](ITaskSettings& s, BSTR) { return s.put_Enabled(Yes); },
    [](ITaskSettings& s, BSTR) { return s.put_StartWhenAvailable(Yes); },
    [](ITaskSettings& s, BSTR) { return s.put_Compatibility(TASK_COMPATIBILITY_V2); },
    [](ITaskSettings& s, BSTR timeLimit) { return s.put_ExecutionTimeLimit(timeLimit); },
    [](ITaskSettings& s, BSTR) { return s.put_AllowHardTerminate(Yes); },
    [](ITaskSettings& s, BSTR) { return s.put_DisallowStartIfOnBatteries(No); },
    [](ITaskSettings& s, BSTR) { return s.put_StopIfGoingOnBatteries(No); },
    [](ITaskSettings& s, BSTR) { return s.put_Hidden(Yes); },
    [](ITaskSettings& s, BSTR) { return s.put_MultipleInstances(TASK_INSTANCES_PARALLEL); },
};

/// Creates a trigger and asks for the interface of its own type.
template <class TriggerInterface>
ComPointer<TriggerInterface> CreateTrigger(ITriggerCollection& triggers, TASK_TRIGGER_TYPE2 type,
                                           const IID& interfaceId,
                                           WideFormat<HRESULT> creationFailure)
{
    ComPointer<ITrigger> trigger;
    Require(triggers.Create(type, trigger.Receive()), trigger, creationFailure);
    ComPointer<TriggerInterface> specific;
    // The message names the event trigger for every type, on purpose.
    Require(trigger->QueryInterface(interfaceId, reinterpret_cast<void**>(specific.Receive())),
            specific, L"\nQueryInterface call on IEventTrigger failed: %x");
    return specific;
}

void AddEventTrigger(ITriggerCollection& triggers, const wchar_t* id, const wchar_t* subscription,
                     BSTR timeLimit)
{
    const auto trigger = CreateTrigger<IEventTrigger>(
        triggers, TASK_TRIGGER_EVENT, IID_EventTrigger, L"\nCannot create the first trigger: %x");
    constexpr WideFormat<HRESULT> Failure = L"\nCannot put the event trigger info: %x";
    Require(trigger->put_Id(ComText(id).Get()), Failure);
    Require(trigger->put_Subscription(ComText(subscription).Get()), Failure);
    Require(trigger->put_ExecutionTimeLimit(timeLimit), Failure);
}

void AddDailyTrigger(ITaskDefinition& definition, ITriggerCollection& triggers, BSTR timeLimit)
{
    // A running refresh serves the new start too. The message is the first trigger's, on purpose.
    constexpr WideFormat<HRESULT> InstancesFailure = L"\nCannot create the first trigger: %x";
    ComPointer<ITaskSettings> settings;
    Require(definition.get_Settings(settings.Receive()), settings, InstancesFailure);
    Require(settings->put_MultipleInstances(TASK_INSTANCES_IGNORE_NEW), InstancesFailure);
    const auto trigger = CreateTrigger<IDailyTrigger>(
        triggers, TASK_TRIGGER_DAILY, IID_IDailyTrigger, L"\nCannot create the second trigger: %x");
    constexpr WideFormat<HRESULT> Failure =
        L"\nCannot put the event trigger info for 2nd trigger: %x";
    const auto seed = static_cast<unsigned>(std::time(nullptr));
    Require(trigger->put_Id(ComText(L"Time Trigger").Get()), Failure);
    Require(trigger->put_ExecutionTimeLimit(timeLimit), Failure);
    Require(trigger->put_StartBoundary(ComText(TaskTriggers::StartBoundary(seed)).Get()), Failure);
    ComPointer<IRepetitionPattern> repetition;
    Require(trigger->get_Repetition(repetition.Receive()), repetition,
            L"\nQueryInterface call on IRepetitionPattern failed: %x");
    Require(repetition->put_Interval(ComText(L"PT4H").Get()),
            L"\nCannot put the repetition interval: %x");
}
} // namespace

void SetRegistrationInfo(ITaskDefinition& definition)
{
    ComPointer<IRegistrationInfo> information;
    Require(definition.get_RegistrationInfo(information.Receive()), information,
            L"\nCannot get identification pointer: %x");
    Require(information->put_Author(ComText(L"Palvo Corporation").Get()),
            L"\nCannot put identification info: %x");
}

void SetPrincipal(ITaskDefinition& definition)
{
    ComPointer<IPrincipal> principal;
    Require(definition.get_Principal(principal.Receive()), principal,
            L"\nCannot get principal pointer: %x");
    Require(principal->put_RunLevel(TASK_RUNLEVEL_HIGHEST), L"\nCannot put runlevel: %x");
}

void SetSettings(ITaskDefinition& definition, BSTR timeLimit)
{
    ComPointer<ITaskSettings> settings;
    Require(definition.get_Settings(settings.Receive()), settings,
            L"\nCannot get settings pointer: %x");
    for (const Setting set : Settings)
    {
        Require(set(*settings.Get(), timeLimit), L"\nCannot put settings info: %x");
    }
}

void AddTrigger(ITaskDefinition& definition, unsigned kind, BSTR timeLimit)
{
    ComPointer<ITriggerCollection> triggers;
    Require(definition.get_Triggers(triggers.Receive()), triggers,
            L"\nCannot get trigger collection: %x");
    // Only an explicit start runs a task of another kind.
    if (kind == TaskKind::NewOrChanged)
    {
        AddEventTrigger(*triggers.Get(), L"Event 300 or 306 Trigger",
                        TaskTriggers::NewOrChangedSubscription, timeLimit);
    }
    else if (kind == TaskKind::UserLogon)
    {
        AddEventTrigger(*triggers.Get(), L"Logon Event Trigger",
                        IsWindowsVersionOrLater(10, 0)
                            ? TaskTriggers::UserLogonSubscriptionWindows10
                            : TaskTriggers::UserLogonSubscription,
                        timeLimit);
    }
    else if (kind == TaskKind::PeriodicRefresh)
    {
        AddDailyTrigger(definition, *triggers.Get(), timeLimit);
    }
}

void AddAction(ITaskDefinition& definition, const TaskRequest& request)
{
    ComPointer<IActionCollection> actions;
    Require(definition.get_Actions(actions.Receive()), actions,
            L"\nCannot get action collection pointer: %x");
    ComPointer<IAction> action;
    Require(actions->Create(TASK_ACTION_EXEC, action.Receive()), action,
            L"\nCannot create an exec action: %x");
    ComPointer<IExecAction> program;
    Require(action->QueryInterface(IID_IExecAction, reinterpret_cast<void**>(program.Receive())),
            program, L"\nQueryInterface call failed for IExecAction: %x");
    Require(program->put_Path(ComText(request.programPath).Get()),
            L"\nCannot put path information: %x");
    Require(program->put_Arguments(ComText(request.arguments).Get()),
            L"\nCannot put arguments: %x");
}
