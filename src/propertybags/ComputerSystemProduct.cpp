#include "ComputerSystemProduct.h"

#include "ComOwners.h"

#include <wbemidl.h>

#include <vector>

namespace
{
ComPointer<IWbemServices> Connect()
{
    ComPointer<IWbemLocator> locator;
    if (!locator.KeepIf(SUCCEEDED(CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER,
                                                   IID_IWbemLocator,
                                                   reinterpret_cast<void**>(locator.Receive())))))
    {
        return {};
    }
    ComPointer<IWbemServices> services;
    const BStr path(SysAllocString(L"ROOT\\CIMV2"));
    if (!path ||
        !services.KeepIf(SUCCEEDED(locator->ConnectServer(path.Get(), nullptr, nullptr, nullptr, 0,
                                                          nullptr, nullptr, services.Receive()))))
    {
        return {};
    }
    if (FAILED(CoSetProxyBlanket(services.Get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                                 RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr,
                                 EOAC_NONE)))
    {
        return {};
    }
    return services;
}

ComPointer<IEnumWbemClassObject> Query(IWbemServices& services)
{
    ComPointer<IEnumWbemClassObject> objects;
    const BStr language(SysAllocString(L"WQL"));
    const BStr query(SysAllocString(L"SELECT * FROM "
                                    L"Win32_ComputerSystemProduct"));
    if (language && query)
    {
        objects.KeepIf(SUCCEEDED(services.ExecQuery(
            language.Get(), query.Get(), WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY,
            nullptr, objects.Receive())));
    }
    return objects;
}

/// The value as text. Null counts as empty, so that the other property keeps its place.
std::wstring TextOf(Variant& property)
{
    const VARIANT& value = property.Get();
    if (value.vt == VT_BSTR)
    {
        return value.bstrVal == nullptr ? L"" : value.bstrVal;
    }
    Variant text;
    if (value.vt == VT_NULL || value.vt == VT_EMPTY ||
        FAILED(VariantChangeType(&text, &property, 0, VT_BSTR)))
    {
        return {};
    }
    return text.Get().bstrVal == nullptr ? L"" : text.Get().bstrVal;
}

void AppendProperties(IWbemClassObject& object, std::vector<std::wstring>& texts)
{
    for (const wchar_t* property : {L"UUID", L"IdentifyingNumber"})
    {
        Variant value;
        if (SUCCEEDED(object.Get(property, 0, &value, nullptr, nullptr)))
        {
            texts.push_back(TextOf(value));
        }
    }
}
} // namespace

ComputerSystemProduct QueryComputerSystemProduct()
{
    const ComApartment apartment;
    if (FAILED(apartment.Result()))
    {
        return {};
    }
    const ComPointer<IWbemServices> services = Connect();
    if (!services)
    {
        return {};
    }
    const ComPointer<IEnumWbemClassObject> objects = Query(*services.Get());
    if (!objects)
    {
        return {};
    }
    std::vector<std::wstring> texts;
    for (;;)
    {
        ComPointer<IWbemClassObject> object;
        ULONG returned = 0;
        if (!object.KeepIf(objects->Next(static_cast<LONG>(WBEM_INFINITE), 1, object.Receive(),
                                         &returned) == WBEM_S_NO_ERROR))
        {
            break;
        }
        AppendProperties(*object.Get(), texts);
    }
    if (texts.size() != 2)
    {
        return {};
    }
    return {texts[0], texts[1], true};
}
