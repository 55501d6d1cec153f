#pragma once

#include "SchedulerLedger.h"

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// A method that the program has no use for: a call of it is a misuse.
#define UNUSED_METHOD(Name, ...)                                                                   \
    HRESULT STDMETHODCALLTYPE Name(__VA_ARGS__) override                                           \
    {                                                                                              \
        return this->Unexpected(L## #Name);                                                        \
    }

/// A COM object of a double, with one reference at first. Every call is journaled, every reference
/// is counted in the ledger, and a call without a reference is a misuse.
template <class Interface> class FakeObject : public Interface
{
public:
    using Base = FakeObject;

    /// `interfaces` are the identifiers, as Shown writes them, that QueryInterface knows.
    FakeObject(SchedulerLedger& owner, std::wstring interfaceName,
               std::initializer_list<const wchar_t*> interfaces)
        : ledger(owner),
          objectName(std::move(interfaceName)),
          identifiers(interfaces.begin(), interfaces.end())
    {
        ledger.AddReference();
    }
    virtual ~FakeObject() = default;
    FakeObject(const FakeObject&) = delete;
    FakeObject& operator=(const FakeObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override
    {
        *object = nullptr;
        const HRESULT result = Call(L"QueryInterface", Shown(id));
        if (FAILED(result))
        {
            ledger.nobodys.LeaveAt(object);
            return result;
        }
        for (const std::wstring& identifier : identifiers)
        {
            if (identifier == Shown(id))
            {
                AddRef();
                *object = static_cast<Interface*>(this);
                return result;
            }
        }
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override
    {
        CheckAlive(L"AddRef");
        ledger.AddReference();
        return ++references;
    }
    ULONG STDMETHODCALLTYPE Release() override
    {
        CheckAlive(L"Release");
        ledger.DropReference();
        return --references;
    }
    UNUSED_METHOD(GetTypeInfoCount, UINT*)
    UNUSED_METHOD(GetTypeInfo, UINT, LCID, ITypeInfo**)
    UNUSED_METHOD(GetIDsOfNames, REFIID, LPOLESTR*, UINT, LCID, DISPID*)
    UNUSED_METHOD(Invoke, DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*)

protected:
    HRESULT Call(const wchar_t* method, const std::wstring& arguments = {})
    {
        CheckAlive(method);
        return ledger.Call(objectName + L"::" + method, arguments);
    }

    HRESULT Unexpected(const wchar_t* method)
    {
        ledger.Misuse(objectName + L"::" + method + L" is not expected");
        return E_NOTIMPL;
    }

    /// A method that hands out the object which `make` makes.
    template <class Result, class Make>
    HRESULT HandOut(const wchar_t* method, const std::wstring& arguments, Result** object,
                    Make make)
    {
        const HRESULT result = Call(method, arguments);
        if (FAILED(result))
        {
            ledger.nobodys.LeaveAt(object);
            return result;
        }
        *object = ledger.Keep(make());
        return result;
    }

    /// A method that changes a task's definition.
    HRESULT Put(Journal& definition, const wchar_t* method, const std::wstring& value)
    {
        const HRESULT result = Call(method, value);
        if (SUCCEEDED(result))
        {
            definition.push_back(objectName + L"::" + method + L"(" + value + L")");
        }
        return result;
    }
    HRESULT PutText(Journal& definition, const wchar_t* method, BSTR text)
    {
        ledger.CheckText(text);
        return Put(definition, method, Shown(text));
    }

    SchedulerLedger& ledger;

private:
    void CheckAlive(const wchar_t* method)
    {
        if (references == 0 || ledger.initializations == 0)
        {
            ledger.Misuse(objectName + L"::" + method + L" of an object that is gone");
        }
    }

    std::wstring objectName;
    std::vector<std::wstring> identifiers;
    ULONG references = 1;
};
