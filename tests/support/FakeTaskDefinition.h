#pragma once

#include "FakeObject.h"

#include <taskschd.h>

// The parts of a task's definition that hold plain values. Each writes what is put into it, raw,
// into the definition's list.

class FakeRegistrationInfo final : public FakeObject<IRegistrationInfo>
{
public:
    FakeRegistrationInfo(SchedulerLedger& owner, Journal& target)
        : Base(owner, L"IRegistrationInfo", {L"{416d8b73-cb41-4ea1-805c-9be9a5ac4a74}"}),
          definition(target)
    {
    }
    HRESULT STDMETHODCALLTYPE put_Author(BSTR author) override
    {
        return PutText(definition, L"put_Author", author);
    }
    UNUSED_METHOD(get_Description, BSTR*)
    UNUSED_METHOD(put_Description, BSTR)
    UNUSED_METHOD(get_Author, BSTR*)
    UNUSED_METHOD(get_Version, BSTR*)
    UNUSED_METHOD(put_Version, BSTR)
    UNUSED_METHOD(get_Date, BSTR*)
    UNUSED_METHOD(put_Date, BSTR)
    UNUSED_METHOD(get_Documentation, BSTR*)
    UNUSED_METHOD(put_Documentation, BSTR)
    UNUSED_METHOD(get_XmlText, BSTR*)
    UNUSED_METHOD(put_XmlText, BSTR)
    UNUSED_METHOD(get_URI, BSTR*)
    UNUSED_METHOD(put_URI, BSTR)
    UNUSED_METHOD(get_SecurityDescriptor, VARIANT*)
    UNUSED_METHOD(put_SecurityDescriptor, VARIANT)
    UNUSED_METHOD(get_Source, BSTR*)
    UNUSED_METHOD(put_Source, BSTR)

private:
    Journal& definition;
};

class FakePrincipal final : public FakeObject<IPrincipal>
{
public:
    FakePrincipal(SchedulerLedger& owner, Journal& target)
        : Base(owner, L"IPrincipal", {L"{d98d51e5-c9b4-496a-a9c1-18980261cf0f}"}),
          definition(target)
    {
    }
    HRESULT STDMETHODCALLTYPE put_RunLevel(TASK_RUNLEVEL_TYPE level) override
    {
        return Put(definition, L"put_RunLevel", Shown(level));
    }
    UNUSED_METHOD(get_Id, BSTR*)
    UNUSED_METHOD(put_Id, BSTR)
    UNUSED_METHOD(get_DisplayName, BSTR*)
    UNUSED_METHOD(put_DisplayName, BSTR)
    UNUSED_METHOD(get_UserId, BSTR*)
    UNUSED_METHOD(put_UserId, BSTR)
    UNUSED_METHOD(get_LogonType, TASK_LOGON_TYPE*)
    UNUSED_METHOD(put_LogonType, TASK_LOGON_TYPE)
    UNUSED_METHOD(get_GroupId, BSTR*)
    UNUSED_METHOD(put_GroupId, BSTR)
    UNUSED_METHOD(get_RunLevel, TASK_RUNLEVEL_TYPE*)

private:
    Journal& definition;
};

/// A boolean keeps the number that was put: 1 and -1 are told apart.
class FakeTaskSettings final : public FakeObject<ITaskSettings>
{
public:
    FakeTaskSettings(SchedulerLedger& owner, Journal& target)
        : Base(owner, L"ITaskSettings", {L"{8fd4711d-2d02-4c8c-87e3-eff699de127e}"}),
          definition(target)
    {
    }
    HRESULT STDMETHODCALLTYPE put_Enabled(VARIANT_BOOL enabled) override
    {
        return Put(definition, L"put_Enabled", Shown(enabled));
    }
    HRESULT STDMETHODCALLTYPE put_StartWhenAvailable(VARIANT_BOOL start) override
    {
        return Put(definition, L"put_StartWhenAvailable", Shown(start));
    }
    HRESULT STDMETHODCALLTYPE put_Compatibility(TASK_COMPATIBILITY level) override
    {
        return Put(definition, L"put_Compatibility", Shown(level));
    }
    HRESULT STDMETHODCALLTYPE put_ExecutionTimeLimit(BSTR limit) override
    {
        return PutText(definition, L"put_ExecutionTimeLimit", limit);
    }
    HRESULT STDMETHODCALLTYPE put_AllowHardTerminate(VARIANT_BOOL allow) override
    {
        return Put(definition, L"put_AllowHardTerminate", Shown(allow));
    }
    HRESULT STDMETHODCALLTYPE put_DisallowStartIfOnBatteries(VARIANT_BOOL disallow) override
    {
        return Put(definition, L"put_DisallowStartIfOnBatteries", Shown(disallow));
    }
    HRESULT STDMETHODCALLTYPE put_StopIfGoingOnBatteries(VARIANT_BOOL stop) override
    {
        return Put(definition, L"put_StopIfGoingOnBatteries", Shown(stop));
    }
    HRESULT STDMETHODCALLTYPE put_Hidden(VARIANT_BOOL hidden) override
    {
        return Put(definition, L"put_Hidden", Shown(hidden));
    }
    HRESULT STDMETHODCALLTYPE put_MultipleInstances(TASK_INSTANCES_POLICY policy) override
    {
        return Put(definition, L"put_MultipleInstances", Shown(policy));
    }
    UNUSED_METHOD(get_AllowDemandStart, VARIANT_BOOL*)
    UNUSED_METHOD(put_AllowDemandStart, VARIANT_BOOL)
    UNUSED_METHOD(get_RestartInterval, BSTR*)
    UNUSED_METHOD(put_RestartInterval, BSTR)
    UNUSED_METHOD(get_RestartCount, INT*)
    UNUSED_METHOD(put_RestartCount, INT)
    UNUSED_METHOD(get_MultipleInstances, TASK_INSTANCES_POLICY*)
    UNUSED_METHOD(get_StopIfGoingOnBatteries, VARIANT_BOOL*)
    UNUSED_METHOD(get_DisallowStartIfOnBatteries, VARIANT_BOOL*)
    UNUSED_METHOD(get_AllowHardTerminate, VARIANT_BOOL*)
    UNUSED_METHOD(get_StartWhenAvailable, VARIANT_BOOL*)
    UNUSED_METHOD(get_XmlText, BSTR*)
    UNUSED_METHOD(put_XmlText, BSTR)
    UNUSED_METHOD(get_RunOnlyIfNetworkAvailable, VARIANT_BOOL*)
    UNUSED_METHOD(put_RunOnlyIfNetworkAvailable, VARIANT_BOOL)
    UNUSED_METHOD(get_ExecutionTimeLimit, BSTR*)
    UNUSED_METHOD(get_Enabled, VARIANT_BOOL*)
    UNUSED_METHOD(get_DeleteExpiredTaskAfter, BSTR*)
    UNUSED_METHOD(put_DeleteExpiredTaskAfter, BSTR)
    UNUSED_METHOD(get_Priority, INT*)
    UNUSED_METHOD(put_Priority, INT)
    UNUSED_METHOD(get_Compatibility, TASK_COMPATIBILITY*)
    UNUSED_METHOD(get_Hidden, VARIANT_BOOL*)
    UNUSED_METHOD(get_IdleSettings, IIdleSettings**)
    UNUSED_METHOD(put_IdleSettings, IIdleSettings*)
    UNUSED_METHOD(get_RunOnlyIfIdle, VARIANT_BOOL*)
    UNUSED_METHOD(put_RunOnlyIfIdle, VARIANT_BOOL)
    UNUSED_METHOD(get_WakeToRun, VARIANT_BOOL*)
    UNUSED_METHOD(put_WakeToRun, VARIANT_BOOL)
    UNUSED_METHOD(get_NetworkSettings, INetworkSettings**)
    UNUSED_METHOD(put_NetworkSettings, INetworkSettings*)

private:
    Journal& definition;
};
