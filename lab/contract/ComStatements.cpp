// COM's security.
#include "Check.h"

#include <objbase.h>

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
