#include "Check.h"

#include "Owners.h"

#include <oleauto.h>
#include <wbemcli.h>

using namespace PalvoLab;

namespace
{

// A query as the process's or the proxy's level of impersonation lets it be; 0 for none said. With
// a token it is made in that token's name.
HRESULT Query(DWORD forProcess, DWORD forProxy, HANDLE token = nullptr)
{
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (forProcess != 0)
    {
        CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT, forProcess,
                             nullptr, EOAC_NONE, nullptr);
    }
    IWbemLocator* locator = nullptr;
    CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                     reinterpret_cast<void**>(&locator));
    IWbemServices* services = nullptr;
    const BSTR path = SysAllocString(L"ROOT\\CIMV2");
    CHECK(SUCCEEDED(
        locator->ConnectServer(path, nullptr, nullptr, nullptr, 0, nullptr, nullptr, &services)));
    if (forProxy != 0)
    {
        CHECK(token == nullptr || SetThreadToken(nullptr, token));
        CHECK(SUCCEEDED(CoSetProxyBlanket(services, RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                                          RPC_C_AUTHN_LEVEL_CALL, forProxy, nullptr,
                                          token == nullptr ? EOAC_NONE : EOAC_DYNAMIC_CLOAKING)));
    }
    const BSTR language = SysAllocString(L"WQL");
    const BSTR query = SysAllocString(L"SELECT * FROM Win32_ComputerSystemProduct");
    IEnumWbemClassObject* objects = nullptr;
    HRESULT result =
        services->ExecQuery(language, query, WBEM_FLAG_FORWARD_ONLY, nullptr, &objects);
    if (SUCCEEDED(result))
    {
        // A service that is refused may say so with the first object only.
        IWbemClassObject* object = nullptr;
        ULONG count = 0;
        result = objects->Next(WBEM_INFINITE, 1, &object, &count);
        if (count != 0)
        {
            object->Release();
        }
        objects->Release();
    }
    CHECK(token == nullptr || RevertToSelf());
    for (const BSTR text : {path, language, query})
    {
        SysFreeString(text);
    }
    services->Release();
    locator->Release();
    CoUninitialize();
    return result;
}

} // namespace

STATEMENT(WmiAnswersWhomItMayImpersonate, "IWbemServices::ExecQuery", Caller::Anybody)
{
    CHECK(Query(0, RPC_C_IMP_LEVEL_IMPERSONATE) == S_OK);
    CHECK(Query(RPC_C_IMP_LEVEL_IMPERSONATE, 0) == S_OK);
}

STATEMENT(WmiRefusesWhomItMayOnlyIdentify, "IWbemServices::ExecQuery", Caller::Anybody)
{
    CHECK(Query(0, 0) == static_cast<HRESULT>(WBEM_E_ACCESS_DENIED));
    CHECK(Query(0, RPC_C_IMP_LEVEL_IDENTIFY) == static_cast<HRESULT>(WBEM_E_ACCESS_DENIED));
}

LAB_TEST(WmiRefusesACloakedCallersTokenThatOnlyIdentifies)
{
    const KernelHandle own(OwnToken(MAXIMUM_ALLOWED));
    for (const auto level : {SecurityIdentification, SecurityImpersonation})
    {
        HANDLE made = nullptr;
        CHECK(DuplicateTokenEx(own.Get(), MAXIMUM_ALLOWED, nullptr, level, TokenImpersonation,
                               &made));
        const KernelHandle token(made);
        CHECK(Query(0, RPC_C_IMP_LEVEL_IMPERSONATE, token.Get()) ==
              (level == SecurityImpersonation ? S_OK : static_cast<HRESULT>(WBEM_E_ACCESS_DENIED)));
    }
}
