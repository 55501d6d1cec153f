// COM's security, and what Task Scheduler makes of a boolean.
#include "Check.h"

#include <objbase.h>
#include <taskschd.h>

using namespace PalvoLab;

namespace
{

HRESULT SetSecurity()
{
    return CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_PKT_PRIVACY,
                                RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);
}

} // namespace

STATEMENT(ComsSecurityIsSetOnce, "CoInitializeSecurity", Caller::Anybody)
{
    CHECK(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED) == S_OK);
    CHECK(SetSecurity() == S_OK);
    CHECK(SetSecurity() == RPC_E_TOO_LATE);
    CoUninitialize();
}

STATEMENT(ComsSecurityIsSetAnewAfterTheLastUninitialisation, "CoInitializeSecurity",
          Caller::Anybody)
{
    for (int i = 0; i < 2; ++i)
    {
        CHECK(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED) == S_OK);
        CHECK(SetSecurity() == S_OK);
        CoUninitialize();
    }
}

STATEMENT(ComsSecurityNeedsCom, "CoInitializeSecurity", Caller::Anybody)
{
    CHECK(SetSecurity() == CO_E_NOTINITIALIZED);
}

STATEMENT(ABooleanOf1IsReadBackAs1, "ITaskSettings::put_Enabled", Caller::Anybody)
{
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    ITaskService* service = nullptr;
    ITaskDefinition* task = nullptr;
    ITaskSettings* settings = nullptr;
    const VARIANT none = {};
    CHECK(SUCCEEDED(CoCreateInstance(CLSID_TaskScheduler, nullptr, CLSCTX_INPROC_SERVER,
                                     IID_ITaskService, reinterpret_cast<void**>(&service))) &&
          SUCCEEDED(service->Connect(none, none, none, none)) &&
          SUCCEEDED(service->NewTask(0, &task)) && SUCCEEDED(task->get_Settings(&settings)));
    if (settings != nullptr)
    {
        VARIANT_BOOL enabled = VARIANT_FALSE;
        CHECK(settings->put_Enabled(1) == S_OK);
        CHECK(settings->get_Enabled(&enabled) == S_OK);
        CHECK(enabled == 1);
        settings->Release();
    }
    if (task != nullptr)
    {
        task->Release();
    }
    if (service != nullptr)
    {
        service->Release();
    }
    CoUninitialize();
}
