#include "ExpectedSteps.h"

namespace
{
const std::string TriggerPutFailure = "\nCannot put the event trigger info: ";
const std::string DailyPutFailure = "\nCannot put the event trigger info for 2nd trigger: ";
const std::string SettingsFailure = "\nCannot put settings info: ";

std::wstring Quoted(const std::wstring& text)
{
    return L"\"" + text + L"\"";
}

ExpectedSteps ConnectSteps()
{
    return {
        {L"CoInitializeEx(null, 2)", "\nCoInitializeEx failed: "},
        {L"CoInitializeSecurity(null, -1, null, null, 6, 3, null, 0, null)",
         "\nCoInitializeSecurity failed: "},
        {L"CoCreateInstance({0f87369f-a4e5-4cfc-bd3e-73e6154572dd}, null, 1, "
         L"{2faba4c7-4da9-4013-9697-20cc3fd40f85})",
         "Failed to CoCreate an instance of the TaskService class: "},
        {L"ITaskService::Connect(empty, empty, empty, empty)", "ITaskService::Connect failed: "},
        {L"ITaskService::GetFolder(\"\\\")", "Cannot get Root Folder pointer: "},
    };
}

ExpectedStep DeleteStep(const std::wstring& name)
{
    return {L"ITaskFolder::DeleteTask(" + Quoted(name) + L", 0)", ""};
}

ExpectedSteps DefinitionSteps()
{
    return {
        {L"ITaskService::NewTask(0)", "Failed to create an instance of the task: "},
        {L"ITaskDefinition::get_RegistrationInfo()", "\nCannot get identification pointer: "},
        {L"IRegistrationInfo::put_Author(\"Palvo Corporation\")",
         "\nCannot put identification info: "},
        {L"ITaskDefinition::get_Principal()", "\nCannot get principal pointer: "},
        {L"IPrincipal::put_RunLevel(1)", "\nCannot put runlevel: "},
        {L"ITaskDefinition::get_Settings()", "\nCannot get settings pointer: "},
        {L"ITaskSettings::put_Enabled(1)", SettingsFailure},
        {L"ITaskSettings::put_StartWhenAvailable(1)", SettingsFailure},
        {L"ITaskSettings::put_Compatibility(2)", SettingsFailure},
        {L"ITaskSettings::put_ExecutionTimeLimit(\"PT2H\")", SettingsFailure},
        {L"ITaskSettings::put_AllowHardTerminate(1)", SettingsFailure},
        {L"ITaskSettings::put_DisallowStartIfOnBatteries(0)", SettingsFailure},
        {L"ITaskSettings::put_StopIfGoingOnBatteries(0)", SettingsFailure},
        {L"ITaskSettings::put_Hidden(1)", SettingsFailure},
        {L"ITaskSettings::put_MultipleInstances(0)", SettingsFailure},
        {L"ITaskDefinition::get_Triggers()", "\nCannot get trigger collection: "},
    };
}

ExpectedSteps EventTriggerSteps(const std::wstring& id, const std::wstring& query)
{
    return {
        {L"ITriggerCollection::Create(0)", "\nCannot create the first trigger: "},
        {L"IEventTrigger::QueryInterface({d45b0167-9653-4eef-b94f-0732ca7af251})",
         "\nQueryInterface call on IEventTrigger failed: "},
        {L"IEventTrigger::put_Id(" + Quoted(id) + L")", TriggerPutFailure},
        {L"IEventTrigger::put_Subscription(" + Quoted(query) + L")", TriggerPutFailure},
        {L"IEventTrigger::put_ExecutionTimeLimit(\"PT2H\")", TriggerPutFailure},
    };
}

ExpectedSteps DailyTriggerSteps(const std::wstring& startBoundary)
{
    return {
        {L"ITaskSettings::put_MultipleInstances(2)", "\nCannot create the first trigger: "},
        {L"ITriggerCollection::Create(2)", "\nCannot create the second trigger: "},
        {L"IDailyTrigger::QueryInterface({126c5cd8-b288-41d5-8dbf-e491446adc5c})",
         "\nQueryInterface call on IEventTrigger failed: "},
        {L"IDailyTrigger::put_Id(\"Time Trigger\")", DailyPutFailure},
        {L"IDailyTrigger::put_ExecutionTimeLimit(\"PT2H\")", DailyPutFailure},
        {L"IDailyTrigger::put_StartBoundary(" + Quoted(startBoundary) + L")", DailyPutFailure},
        {L"IDailyTrigger::get_Repetition()",
         "\nQueryInterface call on IRepetitionPattern failed: "},
        {L"IRepetitionPattern::put_Interval(\"PT4H\")", "\nCannot put the repetition interval: "},
    };
}

ExpectedSteps TriggerSteps(unsigned kind, const std::wstring& logonQuery,
                           const std::wstring& startBoundary)
{
    switch (kind)
    {
    case 0:
        return DailyTriggerSteps(startBoundary);
    case 1:
        return EventTriggerSteps(L"Event 300 or 306 Trigger", NewOrChangedQuery);
    case 3:
        return EventTriggerSteps(L"Logon Event Trigger", logonQuery);
    default:
        return {};
    }
}

ExpectedSteps FinalSteps(const std::wstring& name)
{
    return {
        {L"ITaskDefinition::get_Actions()", "\nCannot get action collection pointer: "},
        {L"IActionCollection::Create(0)", "\nCannot create an exec action: "},
        {L"IExecAction::QueryInterface({4c3d624d-fd6b-49a3-b9b7-09cb3cd3f047})",
         "\nQueryInterface call failed for IExecAction: "},
        {L"IExecAction::put_Path(" + Quoted(ProgramPath) + L")", "\nCannot put path information: "},
        {L"IExecAction::put_Arguments(" + Quoted(Arguments) + L")", "\nCannot put arguments: "},
        {L"ITaskFolder::RegisterTaskDefinition(" + Quoted(name) +
             L", 6, \"NT AUTHORITY\\SYSTEM\", empty, 5, \"\")",
         "\nError saving the Task : "},
    };
}

void Append(ExpectedSteps& steps, const ExpectedSteps& more)
{
    steps.insert(steps.end(), more.begin(), more.end());
}
} // namespace

ExpectedSteps InstallSteps(const KindName& kind, const std::wstring& logonQuery,
                           const std::wstring& startBoundary)
{
    ExpectedSteps steps = ConnectSteps();
    steps.push_back(DeleteStep(kind.name));
    Append(steps, DefinitionSteps());
    Append(steps, TriggerSteps(kind.kind, logonQuery, startBoundary));
    Append(steps, FinalSteps(kind.name));
    return steps;
}

ExpectedSteps DeleteSteps(const std::wstring& name)
{
    ExpectedSteps steps = ConnectSteps();
    steps.push_back(DeleteStep(name));
    return steps;
}
