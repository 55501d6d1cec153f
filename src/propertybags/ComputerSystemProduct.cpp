#include "ComputerSystemProduct.h"

#include "ComOwners.h"
#include "Steps.h"

#include <wbemidl.h>

#include <vector>

namespace
{
/// If the step failed, throws StepFailed. No step has a sentence: nobody reads of it.
void Require(bool succeeded)
{
    if (!succeeded)
    {
        throw StepFailed();
    }
}

BStr ComText(const wchar_t* text)
{
    BStr comText(SysAllocString(text));
    Require(comText.IsValid());
    return comText;
}

ComPointer<IWbemServices> Connect()
{
    ComPointer<IWbemLocator> locator;
    Require(locator.KeepIf(SUCCEEDED(
        CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                         reinterpret_cast<void**>(locator.Receive())))));
    const BStr path = ComText(L"ROOT\\CIMV2");
    ComPointer<IWbemServices> services;
    Require(services.KeepIf(SUCCEEDED(locator->ConnectServer(
        path.Get(), nullptr, nullptr, nullptr, 0, nullptr, nullptr, services.Receive()))));
    Require(SUCCEEDED(CoSetProxyBlanket(services.Get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE,
                                        nullptr, RPC_C_AUTHN_LEVEL_CALL,
                                        RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE)));
    return services;
}

ComPointer<IEnumWbemClassObject> Query(IWbemServices& services)
{
    const BStr language = ComText(L"WQL");
    const BStr query = ComText(L"SELECT * FROM Win32_ComputerSystemProduct");
    ComPointer<IEnumWbemClassObject> objects;
    Require(objects.KeepIf(SUCCEEDED(services.ExecQuery(
        language.Get(), query.Get(), WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr,
        objects.Receive()))));
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
        !text.KeepIf(SUCCEEDED(VariantChangeType(&text, &property, 0, VT_BSTR))))
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
        if (value.KeepIf(SUCCEEDED(object.Get(property, 0, &value, nullptr, nullptr))))
        {
            texts.push_back(TextOf(value));
        }
    }
}

/// Both properties of every object that there is.
std::vector<std::wstring> ReadAll()
{
    const ComPointer<IWbemServices> services = Connect();
    const ComPointer<IEnumWbemClassObject> objects = Query(*services.Get());
    std::vector<std::wstring> texts;
    for (;;)
    {
        ComPointer<IWbemClassObject> object;
        ULONG returned = 0;
        if (!object.KeepIf(objects->Next(static_cast<LONG>(WBEM_INFINITE), 1, object.Receive(),
                                         &returned) == WBEM_S_NO_ERROR))
        {
            return texts;
        }
        AppendProperties(*object.Get(), texts);
    }
}
} // namespace

ComputerSystemProduct QueryComputerSystemProduct()
{
    try
    {
        const ComApartment apartment;
        Require(SUCCEEDED(apartment.Result()));
        const std::vector<std::wstring> texts = ReadAll();
        Require(texts.size() == 2);
        return {texts[0], texts[1], true};
    }
    catch (const StepFailed&)
    {
        return {};
    }
}
