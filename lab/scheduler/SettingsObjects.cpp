// IRegistrationInfo, IPrincipal and ITaskSettings: what is only put, and kept as it was put.
#include "ComObject.h"
#include "DefinitionObjects.h"

namespace PalvoLab
{
namespace
{

class RegistrationInfoObject final : public PropertyObject<IRegistrationInfo>
{
public:
    explicit RegistrationInfoObject(const SharedTask& task)
        : PropertyObject(L"IRegistrationInfo", {IID_IRegistrationInfo},
                         std::shared_ptr<PropertyBag>(task, &task->registrationInfo))
    {
    }

    PALVOLAB_TEXT_PROPERTY(Description)
    PALVOLAB_TEXT_PROPERTY(Author)
    PALVOLAB_TEXT_PROPERTY(Version)
    PALVOLAB_TEXT_PROPERTY(Date)
    PALVOLAB_TEXT_PROPERTY(Documentation)
    PALVOLAB_TEXT_PROPERTY(URI)
    PALVOLAB_TEXT_PROPERTY(Source)
    PALVOLAB_NOT_MODELLED(get_XmlText(BSTR*))
    PALVOLAB_NOT_MODELLED(put_XmlText(BSTR))
    PALVOLAB_NOT_MODELLED(get_SecurityDescriptor(VARIANT*))
    PALVOLAB_NOT_MODELLED(put_SecurityDescriptor(VARIANT))
};

class PrincipalObject final : public PropertyObject<IPrincipal>
{
public:
    explicit PrincipalObject(const SharedTask& task)
        : PropertyObject(L"IPrincipal", {IID_IPrincipal},
                         std::shared_ptr<PropertyBag>(task, &task->principal))
    {
    }

    PALVOLAB_TEXT_PROPERTY(Id)
    PALVOLAB_TEXT_PROPERTY(DisplayName)
    PALVOLAB_TEXT_PROPERTY(UserId)
    PALVOLAB_TEXT_PROPERTY(GroupId)
    PALVOLAB_NUMBER_PROPERTY(LogonType, TASK_LOGON_TYPE, TASK_LOGON_NONE, TASK_LOGON_NONE,
                             TASK_LOGON_INTERACTIVE_TOKEN_OR_PASSWORD)
    PALVOLAB_NUMBER_PROPERTY(RunLevel, TASK_RUNLEVEL_TYPE, TASK_RUNLEVEL_LUA, TASK_RUNLEVEL_LUA,
                             TASK_RUNLEVEL_HIGHEST)
};

class SettingsObject final : public PropertyObject<ITaskSettings>
{
public:
    explicit SettingsObject(const SharedTask& task)
        : PropertyObject(L"ITaskSettings", {IID_ITaskSettings},
                         std::shared_ptr<PropertyBag>(task, &task->settings))
    {
    }

    PALVOLAB_TRUTH_PROPERTY(AllowDemandStart, VARIANT_TRUE)
    PALVOLAB_TRUTH_PROPERTY(AllowHardTerminate, VARIANT_TRUE)
    PALVOLAB_TRUTH_PROPERTY(DisallowStartIfOnBatteries, VARIANT_TRUE)
    PALVOLAB_TRUTH_PROPERTY(Enabled, VARIANT_TRUE)
    PALVOLAB_TRUTH_PROPERTY(Hidden, VARIANT_FALSE)
    PALVOLAB_TRUTH_PROPERTY(StartWhenAvailable, VARIANT_FALSE)
    PALVOLAB_TRUTH_PROPERTY(StopIfGoingOnBatteries, VARIANT_TRUE)
    PALVOLAB_TEXT_PROPERTY(ExecutionTimeLimit)
    PALVOLAB_NUMBER_PROPERTY(Compatibility, TASK_COMPATIBILITY, TASK_COMPATIBILITY_V2,
                             TASK_COMPATIBILITY_AT, kHighestCompatibility)
    PALVOLAB_NUMBER_PROPERTY(MultipleInstances, TASK_INSTANCES_POLICY, TASK_INSTANCES_IGNORE_NEW,
                             TASK_INSTANCES_PARALLEL, TASK_INSTANCES_STOP_EXISTING)

    PALVOLAB_NOT_MODELLED(get_DeleteExpiredTaskAfter(BSTR*))
    PALVOLAB_NOT_MODELLED(put_DeleteExpiredTaskAfter(BSTR))
    PALVOLAB_NOT_MODELLED(get_IdleSettings(IIdleSettings**))
    PALVOLAB_NOT_MODELLED(put_IdleSettings(IIdleSettings*))
    PALVOLAB_NOT_MODELLED(get_NetworkSettings(INetworkSettings**))
    PALVOLAB_NOT_MODELLED(put_NetworkSettings(INetworkSettings*))
    PALVOLAB_NOT_MODELLED(get_Priority(int*))
    PALVOLAB_NOT_MODELLED(put_Priority(int))
    PALVOLAB_NOT_MODELLED(get_RestartCount(INT*))
    PALVOLAB_NOT_MODELLED(put_RestartCount(INT))
    PALVOLAB_NOT_MODELLED(get_RestartInterval(BSTR*))
    PALVOLAB_NOT_MODELLED(put_RestartInterval(BSTR))
    PALVOLAB_NOT_MODELLED(get_RunOnlyIfIdle(VARIANT_BOOL*))
    PALVOLAB_NOT_MODELLED(put_RunOnlyIfIdle(VARIANT_BOOL))
    PALVOLAB_NOT_MODELLED(get_RunOnlyIfNetworkAvailable(VARIANT_BOOL*))
    PALVOLAB_NOT_MODELLED(put_RunOnlyIfNetworkAvailable(VARIANT_BOOL))
    PALVOLAB_NOT_MODELLED(get_WakeToRun(VARIANT_BOOL*))
    PALVOLAB_NOT_MODELLED(put_WakeToRun(VARIANT_BOOL))
    PALVOLAB_NOT_MODELLED(get_XmlText(BSTR*))
    PALVOLAB_NOT_MODELLED(put_XmlText(BSTR))

private:
    // TASK_COMPATIBILITY_V2_4, which older headers do not name.
    static constexpr std::int32_t kHighestCompatibility = 6;
};

} // namespace

IRegistrationInfo* MakeRegistrationInfo(SharedTask task)
{
    return new RegistrationInfoObject(task);
}

IPrincipal* MakePrincipal(SharedTask task)
{
    return new PrincipalObject(task);
}

ITaskSettings* MakeSettings(SharedTask task)
{
    return new SettingsObject(task);
}

} // namespace PalvoLab
