// What all objects of the scheduler double share: reference counting with a leak count, recorded
// calls, planned faults, and properties that keep what was put.
#pragma once

#include "MethodFaults.h"
#include "PropertyBag.h"
#include "SchedulerResults.h"

#include "CallRecord.h"
#include "LeakRecord.h"

#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace PalvoLab
{

// A method that the double does not have. It says so; it never pretends.
#define PALVOLAB_NOT_MODELLED(...)                                                                 \
    STDMETHODIMP __VA_ARGS__ override                                                              \
    {                                                                                              \
        return E_NOTIMPL;                                                                          \
    }

// The get and put of one property, kept under its name.
#define PALVOLAB_TEXT_PROPERTY(Name)                                                               \
    STDMETHODIMP get_##Name(BSTR* value) override                                                  \
    {                                                                                              \
        return this->GetText(L"get_" #Name, L"" #Name, value);                                     \
    }                                                                                              \
    STDMETHODIMP put_##Name(BSTR value) override                                                   \
    {                                                                                              \
        return this->PutText(L"put_" #Name, L"" #Name, value);                                     \
    }

// `Lowest` and `Highest` bound what Windows takes.
#define PALVOLAB_NUMBER_PROPERTY(Name, Type, Default, Lowest, Highest)                             \
    STDMETHODIMP get_##Name(Type* value) override                                                  \
    {                                                                                              \
        return this->GetNumber(L"get_" #Name, L"" #Name, Default, value);                          \
    }                                                                                              \
    STDMETHODIMP put_##Name(Type value) override                                                   \
    {                                                                                              \
        return this->PutNumber(L"put_" #Name, L"" #Name, static_cast<std::int32_t>(value), Lowest, \
                               Highest);                                                           \
    }

// Windows takes any number for a COM boolean.
#define PALVOLAB_TRUTH_PROPERTY(Name, Default)                                                     \
    PALVOLAB_NUMBER_PROPERTY(Name, VARIANT_BOOL, Default, -32768, 32767)

// The objects that live, with their interfaces' names.
inline std::map<const void*, const wchar_t*> livingObjects;

inline std::wstring BStrText(BSTR text)
{
    return text == nullptr ? std::wstring() : std::wstring(text, SysStringLen(text));
}

inline BSTR MakeBStr(const std::wstring& text)
{
    return SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
}

// An object with one reference, which belongs to its maker.
template <typename Interface> class ComObject : public Interface
{
public:
    // `name` is the interface as faults and records call it; `ids` are all that it answers to,
    // besides IUnknown and IDispatch.
    ComObject(const wchar_t* name, std::initializer_list<IID> ids) : m_name(name), m_ids(ids)
    {
        livingObjects[this] = m_name;
        CountOpened(m_name, this, L"");
    }

    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    virtual ~ComObject()
    {
        livingObjects.erase(this);
        CountClosed(m_name, this);
    }

    STDMETHODIMP QueryInterface(REFIID id, void** object) override
    {
        return Perform(L"QueryInterface", [&]() -> HRESULT { return Find(id, object); });
    }

    STDMETHODIMP_(ULONG) AddRef() override
    {
        return static_cast<ULONG>(InterlockedIncrement(&m_references));
    }

    STDMETHODIMP_(ULONG) Release() override
    {
        const LONG left = InterlockedDecrement(&m_references);
        if (left == 0)
        {
            delete this;
        }
        return static_cast<ULONG>(left);
    }

    PALVOLAB_NOT_MODELLED(GetTypeInfoCount(UINT*))
    PALVOLAB_NOT_MODELLED(GetTypeInfo(UINT, LCID, ITypeInfo**))
    PALVOLAB_NOT_MODELLED(GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*))
    PALVOLAB_NOT_MODELLED(Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                 UINT*))

    // QueryInterface as COM itself calls it when it makes the object: neither counted nor failed.
    HRESULT Find(REFIID id, void** object)
    {
        if (object == nullptr)
        {
            return E_POINTER;
        }
        *object = nullptr;
        bool known = id == IID_IUnknown || id == IID_IDispatch;
        for (const IID& own : m_ids)
        {
            known = known || id == own;
        }
        if (!known)
        {
            return E_NOINTERFACE;
        }
        AddRef();
        *object = static_cast<Interface*>(this);
        return S_OK;
    }

protected:
    // Runs one method: records it, and lets a planned fault answer in its place.
    template <typename Body, typename... Arguments>
    HRESULT Perform(const wchar_t* method, const Body& body, const Arguments&... arguments)
    {
        const std::wstring function = std::wstring(m_name) + L"::" + method;
        Call call(function.c_str(), arguments...);
        const std::optional<HRESULT> fault = PlannedFault(function);
        const HRESULT result = fault ? *fault : body();
        call.Return(static_cast<std::uint32_t>(result));
        return result;
    }

    // Hands out a new object, whose reference becomes the caller's.
    template <typename Wanted, typename Made> static HRESULT HandOut(Wanted** out, Made* made)
    {
        *out = made;
        return S_OK;
    }

private:
    const wchar_t* m_name;
    std::vector<IID> m_ids;
    LONG m_references = 1;
};

// An object whose properties lie in a bag of the task's data. `owner` keeps the data alive.
template <typename Interface> class PropertyObject : public ComObject<Interface>
{
public:
    PropertyObject(const wchar_t* name, std::initializer_list<IID> ids,
                   std::shared_ptr<PropertyBag> bag)
        : ComObject<Interface>(name, ids), m_bag(std::move(bag))
    {
    }

protected:
    HRESULT PutText(const wchar_t* method, const wchar_t* property, BSTR value)
    {
        const auto put = [&]
        {
            if (value == nullptr)
            {
                m_bag->Remove(property);
            }
            else
            {
                m_bag->Put(property, BStrText(value));
            }
            return S_OK;
        };
        return this->Perform(method, put, static_cast<const wchar_t*>(value));
    }

    HRESULT GetText(const wchar_t* method, const wchar_t* property, BSTR* value)
    {
        return this->Perform(method,
                             [&]() -> HRESULT
                             {
                                 if (value == nullptr)
                                 {
                                     return E_POINTER;
                                 }
                                 const auto text = m_bag->Text(property);
                                 *value = text ? MakeBStr(*text) : nullptr;
                                 return S_OK;
                             });
    }

    HRESULT PutNumber(const wchar_t* method, const wchar_t* property, std::int32_t value,
                      std::int32_t lowest, std::int32_t highest)
    {
        const auto put = [&]() -> HRESULT
        {
            if (value < lowest || value > highest)
            {
                return E_INVALIDARG;
            }
            m_bag->Put(property, value);
            return S_OK;
        };
        return this->Perform(method, put, std::to_wstring(value));
    }

    template <typename Number, typename Default>
    HRESULT GetNumber(const wchar_t* method, const wchar_t* property, Default byDefault,
                      Number* value)
    {
        return this->Perform(method,
                             [&]() -> HRESULT
                             {
                                 if (value == nullptr)
                                 {
                                     return E_POINTER;
                                 }
                                 const auto stored = m_bag->Number(property);
                                 *value = stored ? static_cast<Number>(*stored)
                                                 : static_cast<Number>(byDefault);
                                 return S_OK;
                             });
    }

private:
    std::shared_ptr<PropertyBag> m_bag;
};

} // namespace PalvoLab
