#include "FakeTaskObjects.h"

#include "FakeTaskActions.h"
#include "FakeTaskDefinition.h"
#include "FakeTaskTriggers.h"

namespace
{
constexpr HRESULT NotFound = static_cast<HRESULT>(0x80070002);

class FakeRegisteredTask final : public FakeObject<IRegisteredTask>
{
public:
    explicit FakeRegisteredTask(SchedulerLedger& owner)
        : Base(owner, L"IRegisteredTask", {L"{9c86f320-dee3-4dd1-b972-a303f26b061e}"})
    {
    }
    UNUSED_METHOD(get_Name, BSTR*)
    UNUSED_METHOD(get_Path, BSTR*)
    UNUSED_METHOD(get_State, TASK_STATE*)
    UNUSED_METHOD(get_Enabled, VARIANT_BOOL*)
    UNUSED_METHOD(put_Enabled, VARIANT_BOOL)
    UNUSED_METHOD(Run, VARIANT, IRunningTask**)
    UNUSED_METHOD(RunEx, VARIANT, LONG, LONG, BSTR, IRunningTask**)
    UNUSED_METHOD(GetInstances, LONG, IRunningTaskCollection**)
    UNUSED_METHOD(get_LastRunTime, DATE*)
    UNUSED_METHOD(get_LastTaskResult, LONG*)
    UNUSED_METHOD(get_NumberOfMissedRuns, LONG*)
    UNUSED_METHOD(get_NextRunTime, DATE*)
    UNUSED_METHOD(get_Definition, ITaskDefinition**)
    UNUSED_METHOD(get_Xml, BSTR*)
    UNUSED_METHOD(GetSecurityDescriptor, LONG, BSTR*)
    UNUSED_METHOD(SetSecurityDescriptor, BSTR, LONG)
    UNUSED_METHOD(Stop, LONG)
    UNUSED_METHOD(GetRunTimes, const LPSYSTEMTIME, const LPSYSTEMTIME, DWORD*, LPSYSTEMTIME*)
};

class FakeDefinition final : public FakeObject<ITaskDefinition>
{
public:
    explicit FakeDefinition(SchedulerLedger& owner)
        : Base(owner, L"ITaskDefinition", {L"{f5bc8fc5-536d-4f77-b852-fbc1356fdeb6}"})
    {
    }
    HRESULT STDMETHODCALLTYPE get_RegistrationInfo(IRegistrationInfo** information) override
    {
        return Part<FakeRegistrationInfo>(L"get_RegistrationInfo", information);
    }
    HRESULT STDMETHODCALLTYPE get_Principal(IPrincipal** principal) override
    {
        return Part<FakePrincipal>(L"get_Principal", principal);
    }
    HRESULT STDMETHODCALLTYPE get_Settings(ITaskSettings** settings) override
    {
        return Part<FakeTaskSettings>(L"get_Settings", settings);
    }
    HRESULT STDMETHODCALLTYPE get_Triggers(ITriggerCollection** triggers) override
    {
        return Part<FakeTriggerCollection>(L"get_Triggers", triggers);
    }
    HRESULT STDMETHODCALLTYPE get_Actions(IActionCollection** actions) override
    {
        return Part<FakeActionCollection>(L"get_Actions", actions);
    }
    UNUSED_METHOD(put_RegistrationInfo, IRegistrationInfo*)
    UNUSED_METHOD(put_Triggers, ITriggerCollection*)
    UNUSED_METHOD(put_Settings, ITaskSettings*)
    UNUSED_METHOD(get_Data, BSTR*)
    UNUSED_METHOD(put_Data, BSTR)
    UNUSED_METHOD(put_Principal, IPrincipal*)
    UNUSED_METHOD(put_Actions, IActionCollection*)
    UNUSED_METHOD(get_XmlText, BSTR*)
    UNUSED_METHOD(put_XmlText, BSTR)

    Journal values;

private:
    template <class Object, class Interface> HRESULT Part(const wchar_t* method, Interface** part)
    {
        return HandOut(method, L"", part,
                       [this] { return std::make_unique<Object>(ledger, values); });
    }
};

class FakeFolder final : public FakeObject<ITaskFolder>
{
public:
    explicit FakeFolder(SchedulerLedger& owner)
        : Base(owner, L"ITaskFolder", {L"{8cfac062-a080-4c15-9a88-aa7c2af80dfc}"})
    {
    }
    HRESULT STDMETHODCALLTYPE DeleteTask(BSTR name, LONG flags) override
    {
        ledger.CheckText(name);
        const HRESULT result = Call(L"DeleteTask", Shown(name) + L", " + Shown(flags));
        return FAILED(result) || ledger.tasks.erase(name) != 0 ? result : NotFound;
    }
    HRESULT STDMETHODCALLTYPE RegisterTaskDefinition(BSTR path, ITaskDefinition* definition,
                                                     LONG flags, VARIANT user, VARIANT password,
                                                     TASK_LOGON_TYPE logon, VARIANT sddl,
                                                     IRegisteredTask** task) override
    {
        ledger.CheckText(path);
        return HandOut(L"RegisterTaskDefinition",
                       Shown(path) + L", " + Shown(flags) + L", " + Shown(user) + L", " +
                           Shown(password) + L", " + Shown(static_cast<long>(logon)) + L", " +
                           Shown(sddl),
                       task,
                       [&]
                       {
                           ledger.tasks[path] = static_cast<FakeDefinition*>(definition)->values;
                           return std::make_unique<FakeRegisteredTask>(ledger);
                       });
    }
    UNUSED_METHOD(get_Name, BSTR*)
    UNUSED_METHOD(get_Path, BSTR*)
    UNUSED_METHOD(GetFolder, BSTR, ITaskFolder**)
    UNUSED_METHOD(GetFolders, LONG, ITaskFolderCollection**)
    UNUSED_METHOD(CreateFolder, BSTR, VARIANT, ITaskFolder**)
    UNUSED_METHOD(DeleteFolder, BSTR, LONG)
    UNUSED_METHOD(GetTask, BSTR, IRegisteredTask**)
    UNUSED_METHOD(GetTasks, LONG, IRegisteredTaskCollection**)
    UNUSED_METHOD(RegisterTask, BSTR, BSTR, LONG, VARIANT, VARIANT, TASK_LOGON_TYPE, VARIANT,
                  IRegisteredTask**)
    UNUSED_METHOD(GetSecurityDescriptor, LONG, BSTR*)
    UNUSED_METHOD(SetSecurityDescriptor, BSTR, LONG)
};

class FakeService final : public FakeObject<ITaskService>
{
public:
    explicit FakeService(SchedulerLedger& owner)
        : Base(owner, L"ITaskService", {L"{2faba4c7-4da9-4013-9697-20cc3fd40f85}"})
    {
    }
    HRESULT STDMETHODCALLTYPE Connect(VARIANT server, VARIANT user, VARIANT domain,
                                      VARIANT password) override
    {
        const HRESULT result = Call(L"Connect", Shown(server) + L", " + Shown(user) + L", " +
                                                    Shown(domain) + L", " + Shown(password));
        connected = SUCCEEDED(result);
        return result;
    }
    HRESULT STDMETHODCALLTYPE GetFolder(BSTR path, ITaskFolder** folder) override
    {
        ledger.CheckText(path);
        CheckConnected(L"GetFolder");
        return HandOut(L"GetFolder", Shown(path), folder,
                       [this] { return std::make_unique<FakeFolder>(ledger); });
    }
    HRESULT STDMETHODCALLTYPE NewTask(DWORD flags, ITaskDefinition** definition) override
    {
        CheckConnected(L"NewTask");
        return HandOut(L"NewTask", Shown(static_cast<long>(flags)), definition,
                       [this] { return std::make_unique<FakeDefinition>(ledger); });
    }
    UNUSED_METHOD(GetRunningTasks, LONG, IRunningTaskCollection**)
    UNUSED_METHOD(get_Connected, VARIANT_BOOL*)
    UNUSED_METHOD(get_TargetServer, BSTR*)
    UNUSED_METHOD(get_ConnectedUser, BSTR*)
    UNUSED_METHOD(get_ConnectedDomain, BSTR*)
    UNUSED_METHOD(get_HighestVersion, DWORD*)

private:
    void CheckConnected(const wchar_t* method)
    {
        if (!connected)
        {
            ledger.Misuse(std::wstring(method) + L" of a service that is not connected");
        }
    }

    bool connected = false;
};
} // namespace

HRESULT FakeTriggerCollection::Create(TASK_TRIGGER_TYPE2 type, ITrigger** trigger)
{
    const std::wstring number = Shown(static_cast<long>(type));
    switch (type)
    {
    case TASK_TRIGGER_EVENT:
        return HandOut(L"Create", number, trigger,
                       [this] { return std::make_unique<FakeEventTrigger>(ledger, definition); });
    case TASK_TRIGGER_DAILY:
        return HandOut(L"Create", number, trigger,
                       [this] { return std::make_unique<FakeDailyTrigger>(ledger, definition); });
    default:
        return Unexpected(L"Create of another trigger");
    }
}

HRESULT FakeActionCollection::Create(TASK_ACTION_TYPE type, IAction** action)
{
    if (type != TASK_ACTION_EXEC)
    {
        return Unexpected(L"Create of another action");
    }
    return HandOut(L"Create", Shown(static_cast<long>(type)), action,
                   [this] { return std::make_unique<FakeExecAction>(ledger, definition); });
}

ITaskService* MakeTaskService(SchedulerLedger& ledger)
{
    return ledger.Keep(std::make_unique<FakeService>(ledger));
}
