#include "Check.h"
#include "TaskFixture.h"

#include "FaultPlan.h"
#include "LabState.h"
#include "LeakRecord.h"
#include "TaskStore.h"
#include "TaskXml.h"

using namespace PalvoLab;

namespace
{

constexpr wchar_t kQuery[] = L"<QueryList><Query Id=\"0\" Path=\"Security\"><Select>*[System]"
                             L"</Select></Query></QueryList>";

HRESULT Code(std::uint32_t code)
{
    return static_cast<HRESULT>(code);
}

HRESULT MakeWith(void (*change)(TaskPlan& plan))
{
    TaskPlan plan;
    change(plan);
    return MakeTask(plan);
}

// The lines of this process about interfaces that were not released.
std::size_t LeakCount(const std::string& kind)
{
    const std::string head = std::to_string(GetCurrentProcessId()) + " ";
    std::size_t count = 0;
    for (const std::string& line : LeakLines())
    {
        count +=
            line.rfind(head, 0) == 0 && line.find(" leak " + kind) != std::string::npos ? 1 : 0;
    }
    return count;
}

HRESULT OpenSettings(Com<ITaskSettings>& settings)
{
    Com<ITaskService> service;
    Com<ITaskFolder> folder;
    Com<ITaskDefinition> task;
    HRESULT result = OpenRoot(service, folder);
    result = SUCCEEDED(result) ? service->NewTask(0, task.Receive()) : result;
    return SUCCEEDED(result) ? task->get_Settings(settings.Receive()) : result;
}

HRESULT AskEnabled(const wchar_t* name, VARIANT_BOOL& enabled)
{
    Com<ITaskService> service;
    Com<ITaskFolder> folder;
    Com<IRegisteredTask> task;
    HRESULT result = OpenRoot(service, folder);
    result = SUCCEEDED(result) ? folder->GetTask(Text(name), task.Receive()) : result;
    return SUCCEEDED(result) ? task->get_Enabled(&enabled) : result;
}

HRESULT AskHistory(const wchar_t* name, TASK_STATE& state, LONG& result, DATE& run)
{
    Com<ITaskService> service;
    Com<ITaskFolder> folder;
    Com<IRegisteredTask> task;
    HRESULT asked = OpenRoot(service, folder);
    asked = SUCCEEDED(asked) ? folder->GetTask(Text(name), task.Receive()) : asked;
    asked = SUCCEEDED(asked) ? task->get_State(&state) : asked;
    asked = SUCCEEDED(asked) ? task->get_LastTaskResult(&result) : asked;
    return SUCCEEDED(asked) ? task->get_LastRunTime(&run) : asked;
}

class ComForOne
{
public:
    ComForOne() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }

    ComForOne(const ComForOne&) = delete;
    ComForOne& operator=(const ComForOne&) = delete;

    ~ComForOne() { CoUninitialize(); }
};

} // namespace

STATEMENT(ABooleanOf1IsReadBackAs1, "ITaskSettings::put_Enabled", Caller::Anybody)
{
    const ComForOne com;
    Com<ITaskSettings> settings;
    VARIANT_BOOL enabled = VARIANT_FALSE;
    CHECK(OpenSettings(settings) == S_OK);
    CHECK(settings.Get() != nullptr && settings->put_Enabled(1) == S_OK &&
          settings->get_Enabled(&enabled) == S_OK && enabled == 1);
}

STATEMENT(ATaskThatWasEnabledWith1IsEnabled, "ITaskFolder::RegisterTaskDefinition",
          Caller::Administrator)
{
    const ComForOne com;
    TaskPlan plan;
    plan.name = L"PalvoContract";
    VARIANT_BOOL enabled = VARIANT_FALSE;
    CHECK(SUCCEEDED(MakeTask(plan)));
    CHECK(AskEnabled(plan.name, enabled) == S_OK && enabled != VARIANT_FALSE);
    CHECK(SUCCEEDED(DeleteTaskNamed(plan.name)));
    CHECK(AskEnabled(plan.name, enabled) == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
}

STATEMENT(ATaskThatHasNotRunIsReadyAndItsResultSaysSo,
          "IRegisteredTask::get_State, get_LastTaskResult, get_LastRunTime", Caller::Administrator)
{
    const ComForOne com;
    TaskPlan plan;
    plan.name = L"PalvoContract";
    TASK_STATE state = TASK_STATE_UNKNOWN;
    LONG result = 0;
    DATE run = 0;
    CHECK(SUCCEEDED(MakeTask(plan)));
    CHECK(SUCCEEDED(AskHistory(plan.name, state, result, run)));
    CHECK(state == TASK_STATE_READY && result == SCHED_S_TASK_HAS_NOT_RUN);
    CHECK(SUCCEEDED(DeleteTaskNamed(plan.name)));
}

LAB_TEST(FoldersAreThereOnlyAfterConnecting)
{
    const Scheduler scheduler;
    Com<ITaskService> service;
    Com<ITaskFolder> folder;
    CHECK(
        SUCCEEDED(CoCreateInstance(CLSID_TaskScheduler, nullptr, CLSCTX_INPROC_SERVER,
                                   IID_ITaskService, reinterpret_cast<void**>(service.Receive()))));
    CHECK(service->GetFolder(Text(L"\\"), folder.Receive()) == Code(0x800704E3));
    const VARIANT nothing = {};
    CHECK(service->Connect(nothing, nothing, nothing, nothing) == S_OK);
    CHECK(service->GetFolder(Text(L"\\Nowhere"), folder.Receive()) == Code(0x80070002));
    CHECK(service->GetFolder(Text(L"Nowhere"), folder.Receive()) == Code(0x8007007B));
    CHECK(service->GetFolder(Text(L"\\"), folder.Receive()) == S_OK);
}

LAB_TEST(AStoppedServiceCannotBeReached)
{
    const Scheduler scheduler;
    WriteSetting(L"Scheduler", L"stopped");
    CHECK(MakeTask({}) == Code(0x80041315));
    RemoveSetting(L"Scheduler");
    CHECK(MakeTask({}) == S_OK);
}

LAB_TEST(ValuesAreKeptAsTheyWerePut)
{
    const Scheduler scheduler;
    TaskPlan plan;
    plan.startBoundary = L"2000-01-01T02:30:00";
    CHECK(MakeTask(plan) == S_OK);
    scheduler.Reload();
    const auto task = LoadTask(L"lab TASK");
    CHECK(task && task->name == L"Lab task");
    CHECK(task && task->data.settings.Number(L"Enabled") == 1);
    CHECK(task && task->data.settings.Number(L"Hidden") == -1);
    CHECK(task && task->data.settings.Number(L"StartWhenAvailable") == 0);
    CHECK(task && !task->data.settings.Number(L"AllowHardTerminate"));
    CHECK(task && task->registration.Number(L"Flags") == 6);
    CHECK(task && task->registration.Number(L"LogonType") == 5);
    CHECK(task && task->registration.Text(L"SecurityDescriptor") == L"");
    CHECK(task && !task->registration.Text(L"Password"));
    CHECK(task && task->data.triggers.size() == 1);
    CHECK(task && task->data.triggers[0]->repetition.Text(L"Interval") == L"PT4H");
    CHECK(task && task->data.actions[0]->properties.Text(L"Arguments") == L"-c -i Lab");
}

LAB_TEST(XmlShowsBooleansRaw)
{
    const Scheduler scheduler;
    CHECK(MakeWith([](TaskPlan& plan) { plan.subscription = kQuery; }) == S_OK);
    const std::wstring xml = TaskXml(*LoadTask(L"Lab task"));
    CHECK(xml.find(L"<Enabled>1</Enabled>") != std::wstring::npos);
    CHECK(xml.find(L"<Hidden>true</Hidden>") != std::wstring::npos);
    CHECK(xml.find(L"<StartWhenAvailable>false</StartWhenAvailable>") != std::wstring::npos);
    CHECK(xml.find(L"<Subscription>&lt;QueryList&gt;") != std::wstring::npos);
    CHECK(xml.find(L"<UserId>NT AUTHORITY\\SYSTEM</UserId>") != std::wstring::npos);
}

LAB_TEST(WhatWindowsRefusesIsRefused)
{
    const Scheduler scheduler;
    CHECK(MakeWith([](TaskPlan& plan) { plan.hasAction = false; }) == Code(0x80041319));
    CHECK(MakeWith([](TaskPlan& plan) { plan.program = L""; }) == Code(0x80041319));
    CHECK(MakeWith([](TaskPlan& plan) { plan.subscription = L"<QueryList>"; }) == Code(0x80073A99));
    CHECK(MakeWith([](TaskPlan& plan) { plan.subscription = L""; }) == Code(0x80041319));
    CHECK(MakeWith(
              [](TaskPlan& plan)
              {
                  plan.subscription = L"<QueryList><Query Path=\"None\"><Select>*[System]"
                                      L"</Select></Query></QueryList>";
              }) == Code(0x80073A9F));
    CHECK(MakeWith([](TaskPlan& plan) { plan.startBoundary = L"2000-02-30T00:00:00"; }) ==
          Code(0x80041318));
    CHECK(MakeWith(
              [](TaskPlan& plan)
              {
                  plan.startBoundary = L"2000-01-01T00:00:00";
                  plan.interval = L"4H";
              }) == Code(0x80041318));
    CHECK(MakeWith([](TaskPlan& plan) { plan.limit = L"two hours"; }) == Code(0x80041318));
    CHECK(MakeWith([](TaskPlan& plan) { plan.user = L"NT AUTHORITY\\NOBODY"; }) ==
          Code(0x80070534));
    CHECK(MakeWith([](TaskPlan& plan) { plan.user = L"alice"; }) == Code(0x80070534));
    CHECK(MakeWith([](TaskPlan& plan) { plan.user = L"OTHER\\SYSTEM"; }) == Code(0x80070534));
    CHECK(FAILED(MakeWith([](TaskPlan& plan) { plan.descriptor = L"no descriptor"; })));
    CHECK(MakeWith([](TaskPlan& plan) { plan.policy = 7; }) == E_INVALIDARG);
    CHECK(MakeWith([](TaskPlan& plan) { plan.flags = 0; }) == E_INVALIDARG);
    CHECK(MakeWith([](TaskPlan& plan) { plan.name = L"a/b"; }) == Code(0x8007007B));
    CHECK(TaskNames().empty());
}

LAB_TEST(OneTaskOfANameIsReplacedByTheNext)
{
    const Scheduler scheduler;
    CHECK(MakeTask({}) == S_OK);
    CHECK(MakeWith([](TaskPlan& plan) { plan.arguments = L"second"; }) == S_OK);
    CHECK(TaskNames().size() == 1);
    CHECK(LoadTask(L"Lab task")->data.actions[0]->properties.Text(L"Arguments") == L"second");
    CHECK(MakeWith([](TaskPlan& plan) { plan.flags = TASK_CREATE; }) == Code(0x800700B7));
    CHECK(DeleteTaskNamed(L"Lab task") == S_OK);
    CHECK(DeleteTaskNamed(L"Lab task") == Code(0x80070002));
    CHECK(MakeWith([](TaskPlan& plan) { plan.flags = TASK_UPDATE; }) == Code(0x80070002));
}

LAB_TEST(OnlyAdministratorsChangeTasks)
{
    const Scheduler scheduler;
    CHECK(MakeTask({}) == S_OK);
    for (const wchar_t* account : {L"bob", L"alice", L"LocalService"})
    {
        BecomeAccount(account);
        CHECK(MakeTask({}) == E_ACCESSDENIED);
        CHECK(DeleteTaskNamed(L"Lab task") == E_ACCESSDENIED);
    }
    BecomeAccount(L"alice:elevated");
    CHECK(DeleteTaskNamed(L"Lab task") == S_OK);
}

LAB_TEST(ProtectedTasksAreNeitherDeletedNorReplaced)
{
    const Scheduler scheduler;
    CHECK(MakeTask({}) == S_OK);
    ProtectTask(L"Lab task", true);
    CHECK(DeleteTaskNamed(L"Lab task") == E_ACCESSDENIED);
    CHECK(MakeTask({}) == E_ACCESSDENIED);
    ProtectTask(L"Lab task", false);
    CHECK(MakeTask({}) == S_OK);
}

LAB_TEST(TheNthCallOfAMethodFailsAsPlanned)
{
    const Scheduler scheduler;
    // A method that no other test calls: counts belong to the process.
    AddFault({L"ITaskService::get_ConnectedUser", 3, L"0x8000FFFF", false});
    AddFault({L"IExecAction::put_Arguments", 1, L"5", true});
    const auto ask = []
    {
        Com<ITaskService> service;
        Com<ITaskFolder> folder;
        BSTR user = nullptr;
        const HRESULT opened = OpenRoot(service, folder);
        const HRESULT asked = FAILED(opened) ? opened : service->get_ConnectedUser(&user);
        SysFreeString(user);
        return asked;
    };
    CHECK(ask() == S_OK);
    CHECK(ask() == S_OK);
    scheduler.Reload(); // the server is unloaded, the count goes on
    CHECK(ask() == Code(0x8000FFFF));
    CHECK(ask() == S_OK);
    CHECK(MakeTask({}) == Code(0x80070005));
    CHECK(MakeTask({}) == Code(0x80070005));
    CHECK(TaskNames().empty());
}

LAB_TEST(InterfacesThatAreNotReleasedAreCounted)
{
    const std::size_t services = LeakCount("ITaskService");
    const std::size_t folders = LeakCount("ITaskFolder");
    {
        const Scheduler scheduler;
        CHECK(MakeTask({}) == S_OK);
        scheduler.Reload();
        CHECK(LeakCount("I") == services + folders);
        Com<ITaskService> service;
        ITaskFolder* forgotten = nullptr;
        const VARIANT nothing = {};
        CHECK(SUCCEEDED(CoCreateInstance(CLSID_TaskScheduler, nullptr, CLSCTX_INPROC_SERVER,
                                         IID_ITaskService,
                                         reinterpret_cast<void**>(service.Receive()))));
        CHECK(service->Connect(nothing, nothing, nothing, nothing) == S_OK);
        CHECK(service->GetFolder(Text(L"\\"), &forgotten) == S_OK);
    }
    CHECK(LeakCount("ITaskFolder") == folders + 1);
    CHECK(LeakCount("ITaskService") == services);
}

LAB_TEST(SecurityIsSetOncePerComInitialisation)
{
    const auto set = []
    {
        return CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_PKT_PRIVACY,
                                    RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, 0, nullptr);
    };
    CHECK(set() == CO_E_NOTINITIALIZED);
    const Scheduler scheduler;
    CHECK(set() == S_OK);
    CHECK(set() == RPC_E_TOO_LATE);
    scheduler.Reload();
    CHECK(set() == S_OK);
}
