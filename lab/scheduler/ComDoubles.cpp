#include "ComDoubles.h"

#include "CallRecord.h"
#include "LeakRecord.h"
#include "WmiDoubles.h"

#include <objbase.h>
#include <oleauto.h>
#include <wbemcli.h>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kText[] = L"COM text";

// RPC_C_IMP_LEVEL_DEFAULT: what COM takes when the process says nothing is to identify.
constexpr DWORD kUnset = RPC_C_IMP_LEVEL_IDENTIFY;

bool isSecuritySet = false;
DWORD processLevel = kUnset;

bool IsComInitialised()
{
    APTTYPE type = {};
    APTTYPEQUALIFIER qualifier = {};
    static const auto real = PALVOLAB_REAL("ole32.dll", CoGetApartmentType);
    return real(&type, &qualifier) != CO_E_NOTINITIALIZED;
}

// Wine takes every call; Windows takes one between the first initialisation of COM and the last
// uninitialisation.
HRESULT WINAPI DoubleCoInitializeSecurity(PSECURITY_DESCRIPTOR descriptor, LONG serviceCount,
                                          SOLE_AUTHENTICATION_SERVICE* services, void* reserved1,
                                          DWORD authentication, DWORD impersonation, void* list,
                                          DWORD capabilities, void* reserved3)
{
    Call call(L"CoInitializeSecurity", static_cast<std::uint32_t>(serviceCount), authentication,
              impersonation, capabilities);
    const auto decide = [&]() -> HRESULT
    {
        if (reserved1 != nullptr || reserved3 != nullptr || serviceCount < -1 ||
            (serviceCount > 0 && services == nullptr) ||
            authentication > RPC_C_AUTHN_LEVEL_PKT_PRIVACY ||
            impersonation > RPC_C_IMP_LEVEL_DELEGATE)
        {
            return E_INVALIDARG;
        }
        if (!IsComInitialised())
        {
            return CO_E_NOTINITIALIZED;
        }
        if (isSecuritySet)
        {
            return RPC_E_TOO_LATE;
        }
        static const auto real = PALVOLAB_REAL("ole32.dll", CoInitializeSecurity);
        const HRESULT result = real(descriptor, serviceCount, services, reserved1, authentication,
                                    impersonation, list, capabilities, reserved3);
        isSecuritySet = SUCCEEDED(result);
        processLevel = isSecuritySet ? impersonation : kUnset;
        return result;
    };
    return static_cast<HRESULT>(call.Return(static_cast<std::uint32_t>(decide())));
}

HRESULT WINAPI DoubleCoSetProxyBlanket(IUnknown* proxy, DWORD authentication, DWORD authorization,
                                       OLECHAR* principal, DWORD level, DWORD impersonation,
                                       RPC_AUTH_IDENTITY_HANDLE identity, DWORD capabilities)
{
    Call call(L"CoSetProxyBlanket", authentication, authorization, level, impersonation,
              capabilities);
    static const auto real = PALVOLAB_REAL("ole32.dll", CoSetProxyBlanket);
    const HRESULT result = real(proxy, authentication, authorization, principal, level,
                                impersonation, identity, capabilities);
    if (SUCCEEDED(result))
    {
        SetBlanketOf(proxy, impersonation, capabilities);
    }
    return static_cast<HRESULT>(call.Return(static_cast<std::uint32_t>(result)));
}

HRESULT WINAPI DoubleCoCreateInstance(REFCLSID classId, LPUNKNOWN outer, DWORD context,
                                      REFIID interfaceId, LPVOID* object)
{
    Call call(L"CoCreateInstance", context);
    static const auto real = PALVOLAB_REAL("ole32.dll", CoCreateInstance);
    const HRESULT result = real(classId, outer, context, interfaceId, object);
    if (SUCCEEDED(result) && IsEqualCLSID(classId, CLSID_WbemLocator))
    {
        WatchLocator(*object);
    }
    return static_cast<HRESULT>(call.Return(static_cast<std::uint32_t>(result)));
}

BSTR WINAPI DoubleSysAllocString(const OLECHAR* text)
{
    Call call(L"SysAllocString", text);
    static const auto real = PALVOLAB_REAL("oleaut32.dll", SysAllocString);
    const BSTR made = real(text);
    if (made != nullptr)
    {
        CountOpened(kText, made, text);
    }
    return call.Return(made);
}

void WINAPI DoubleSysFreeString(BSTR text)
{
    Call call(L"SysFreeString", static_cast<const wchar_t*>(text));
    // Texts come from elsewhere too; only those that the lab saw are counted.
    if (text != nullptr && IsOpen(kText, text))
    {
        CountClosed(kText, text);
    }
    static const auto real = PALVOLAB_REAL("oleaut32.dll", SysFreeString);
    real(text);
    call.Return(0);
}

HRESULT WINAPI DoubleVariantClear(VARIANTARG* variant)
{
    Call call(L"VariantClear", variant);
    if (variant != nullptr && variant->vt == VT_BSTR && IsOpen(kText, variant->bstrVal))
    {
        CountClosed(kText, variant->bstrVal);
    }
    static const auto real = PALVOLAB_REAL("oleaut32.dll", VariantClear);
    return static_cast<HRESULT>(call.Return(static_cast<std::uint32_t>(real(variant))));
}

HRESULT WINAPI DoubleVariantChangeType(VARIANTARG* changed, VARIANTARG* source, USHORT flags,
                                       VARTYPE type)
{
    Call call(L"VariantChangeType", type);
    static const auto real = PALVOLAB_REAL("oleaut32.dll", VariantChangeType);
    const HRESULT result = real(changed, source, flags, type);
    if (SUCCEEDED(result) && changed->vt == VT_BSTR && changed->bstrVal != nullptr)
    {
        CountOpened(kText, changed->bstrVal, L"VariantChangeType");
    }
    return static_cast<HRESULT>(call.Return(static_cast<std::uint32_t>(result)));
}

} // namespace

void AddComDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "OLE32", CoInitializeSecurity);
    PALVOLAB_DOUBLE(list, "OLE32", CoSetProxyBlanket);
    PALVOLAB_DOUBLE(list, "OLE32", CoCreateInstance);
    PALVOLAB_DOUBLE(list, "OLEAUT32", SysAllocString);
    PALVOLAB_DOUBLE(list, "OLEAUT32", SysFreeString);
    PALVOLAB_DOUBLE(list, "OLEAUT32", VariantClear);
    PALVOLAB_DOUBLE(list, "OLEAUT32", VariantChangeType);
}

DWORD ProcessImpersonationLevel()
{
    return processLevel;
}

void EndCom()
{
    isSecuritySet = false;
    processLevel = kUnset;
    const HMODULE scheduler = GetModuleHandleW(L"palvotasks.dll");
    if (scheduler != nullptr)
    {
        const auto end = reinterpret_cast<void(WINAPI*)()>(
            reinterpret_cast<void*>(GetProcAddress(scheduler, "PalvoLabComEnds")));
        end();
    }
}

} // namespace PalvoLab
