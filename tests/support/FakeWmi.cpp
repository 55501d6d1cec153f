#include "FakeWmi.h"

#include "UnusedWmiMethods.h"

#include <wbemidl.h>

namespace
{
std::wstring Text(const wchar_t* text)
{
    return text == nullptr ? L"null" : text;
}

class Object : public UnusedObjectMethods
{
public:
    Object(FakeWmi& owner, const std::map<std::wstring, FakeProperty>& values)
        : wmi(owner), properties(values)
    {
    }

    HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE*,
                                  LONG*) override
    {
        wmi.journal.push_back(L"Get " + Text(name));
        const auto found = properties.find(name);
        if (found == properties.end() || flags != 0)
        {
            wmi.LeaveNobodys(value);
            return E_FAIL;
        }
        const FakeProperty& property = found->second;
        value->vt = property.type;
        if (property.type == VT_BSTR)
        {
            value->bstrVal = property.nullText ? nullptr : SysAllocString(property.text.c_str());
        }
        else
        {
            value->llVal = property.number;
        }
        wmi.Fill(value);
        return S_OK;
    }

private:
    FakeWmi& wmi;
    std::map<std::wstring, FakeProperty> properties;
};

class Enumerator : public UnusedEnumeratorMethods
{
public:
    explicit Enumerator(FakeWmi& owner) : wmi(owner) {}

    HRESULT STDMETHODCALLTYPE Next(LONG timeout, ULONG count, IWbemClassObject** objects,
                                   ULONG* returned) override
    {
        *returned = 0;
        if (timeout != -1 || count != 1)
        {
            return E_INVALIDARG;
        }
        const HRESULT result = wmi.Step(L"Next");
        if (FAILED(result))
        {
            wmi.nobodys.LeaveAt(objects);
            return result;
        }
        if (wmi.nextGivesNoObject || wmi.nextCountsNone)
        {
            *returned = wmi.nextCountsNone ? 0 : 1;
            return S_OK;
        }
        if (position == wmi.objects.size())
        {
            wmi.nobodys.LeaveAt(objects);
            return WBEM_S_FALSE;
        }
        *objects = new Object(wmi, wmi.objects[position++]);
        *returned = 1;
        return S_OK;
    }

private:
    FakeWmi& wmi;
    std::size_t position = 0;
};

class Services : public UnusedServiceMethods
{
public:
    explicit Services(FakeWmi& owner) : wmi(owner) {}

    HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR query, LONG flags,
                                        IWbemContext* context,
                                        IEnumWbemClassObject** objects) override
    {
        const HRESULT result = wmi.Step(L"ExecQuery");
        wmi.journal.back() += L" " + Text(language) + L" " + Text(query) + L" " +
                              std::to_wstring(flags) + (context == nullptr ? L"" : L" CONTEXT");
        if (FAILED(result))
        {
            wmi.nobodys.LeaveAt(objects);
            return result;
        }
        *objects = new Enumerator(wmi);
        return result;
    }

private:
    FakeWmi& wmi;
};

class Locator : public Counted<IWbemLocator>
{
public:
    explicit Locator(FakeWmi& owner) : wmi(owner) {}

    HRESULT STDMETHODCALLTYPE ConnectServer(const BSTR resource, const BSTR user,
                                            const BSTR password, const BSTR locale, LONG flags,
                                            const BSTR authority, IWbemContext* context,
                                            IWbemServices** services) override
    {
        const HRESULT result = wmi.Step(L"ConnectServer");
        wmi.journal.back() += L" " + Text(resource);
        if (user != nullptr || password != nullptr || locale != nullptr || flags != 0 ||
            authority != nullptr || context != nullptr)
        {
            return E_INVALIDARG;
        }
        if (FAILED(result))
        {
            wmi.nobodys.LeaveAt(services);
            return result;
        }
        *services = new Services(wmi);
        wmi.services = *services;
        return result;
    }

private:
    FakeWmi& wmi;
};
} // namespace

FakeWmi::FakeWmi(Journal& target)
    : journal(target),
      initialize(
          [this](LPVOID reserved, DWORD model)
          {
              const HRESULT result = Step(L"CoInitializeEx");
              journal.back() += L" " + std::to_wstring(model);
              if (FAILED(result) || reserved != nullptr)
              {
                  return FAILED(result) ? result : E_INVALIDARG;
              }
              ++initialized;
              return initializeResult;
          }),
      uninitialize(
          [this]()
          {
              journal.push_back(L"CoUninitialize");
              --initialized;
              const std::wstring left = NotGivenBack();
              faults += left.empty() ? L"" : L"When COM ended:\n" + left;
          }),
      create(
          [this](REFCLSID type, LPUNKNOWN outer, DWORD context, REFIID wanted, LPVOID* object)
          {
              const HRESULT result = Step(L"CoCreateInstance");
              if (FAILED(result))
              {
                  nobodys.LeaveAt(object);
                  return result;
              }
              if (type != CLSID_WbemLocator || outer != nullptr ||
                  context != CLSCTX_INPROC_SERVER || wanted != IID_IWbemLocator)
              {
                  return E_INVALIDARG;
              }
              *object = static_cast<IWbemLocator*>(new Locator(*this));
              return S_OK;
          }),
      setBlanket(
          [this](IUnknown* proxy, DWORD authentication, DWORD authorization, OLECHAR* principal,
                 DWORD level, DWORD impersonation, RPC_AUTH_IDENTITY_HANDLE identity,
                 DWORD capabilities)
          {
              const HRESULT result = Step(L"CoSetProxyBlanket");
              journal.back() += (proxy == services ? L" " : L" ANOTHER PROXY ") +
                                std::to_wstring(authentication) + L" " +
                                std::to_wstring(authorization) + L" " + Text(principal) + L" " +
                                std::to_wstring(level) + L" " + std::to_wstring(impersonation) +
                                (identity == nullptr ? L" null " : L" IDENTITY ") +
                                std::to_wstring(capabilities);
              return result;
          }),
      allocateText(
          [this](const OLECHAR* text) -> BSTR
          {
              if (++allocatedTexts == failingText)
              {
                  return nullptr;
              }
              return *texts.insert(decltype(allocateText)::Original(text)).first;
          }),
      freeText(
          [this](BSTR text)
          {
              DropText(text);
              decltype(freeText)::Original(text);
          }),
      changeType(
          [this](VARIANTARG* to, auto* from, USHORT flags, VARTYPE type)
          {
              const HRESULT result = decltype(changeType)::Original(to, from, flags, type);
              if (SUCCEEDED(result))
              {
                  Fill(to);
              }
              else
              {
                  LeaveNobodys(to);
              }
              return result;
          }),
      clear(
          [this](VARIANTARG* variant)
          {
              variants.erase(variant);
              if (variant->vt == VT_BSTR)
              {
                  DropText(variant->bstrVal);
              }
              return decltype(clear)::Original(variant);
          })
{
}

FakeWmi::~FakeWmi() = default;

HRESULT FakeWmi::Step(const std::wstring& name)
{
    journal.push_back(name);
    const auto found = failing.find(name);
    return found == failing.end() ? S_OK : found->second;
}

void FakeWmi::Fill(const VARIANT* variant)
{
    variants.insert(variant);
    if (variant->vt == VT_BSTR && variant->bstrVal != nullptr)
    {
        texts.insert(variant->bstrVal);
    }
}

void FakeWmi::LeaveNobodys(VARIANT* variant)
{
    variant->vt = VT_UNKNOWN;
    nobodys.LeaveAt(&variant->punkVal);
}

void FakeWmi::DropText(BSTR text)
{
    if (text != nullptr && texts.erase(text) == 0)
    {
        faults += L"a text was given back twice\n";
    }
}

std::wstring FakeWmi::NotGivenBack() const
{
    const long interfaces = Counted<IWbemLocator>::living + Counted<IWbemServices>::living +
                            Counted<IEnumWbemClassObject>::living +
                            Counted<IWbemClassObject>::living;
    std::wstring left;
    left += interfaces == 0 ? L"" : std::to_wstring(interfaces) + L" interfaces left\n";
    left += texts.empty() ? L"" : std::to_wstring(texts.size()) + L" texts left\n";
    left += nobodys.releases == 0 ? L"" : L"what a failing call left was given back\n";
    left += variants.empty() ? L"" : std::to_wstring(variants.size()) + L" values left\n";
    return left;
}

std::wstring FakeWmi::Faults() const
{
    return faults + NotGivenBack() +
           (initialized == 0 ? L""
                             : std::to_wstring(initialized) + L" initialisations of COM left\n");
}
