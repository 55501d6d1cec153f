#pragma once

#include "Owners.h"

#include <combaseapi.h>
#include <oleauto.h>

namespace GiveBack
{
inline void Interface(IUnknown* object) noexcept
{
    object->Release();
}
inline void TaskMemory(void* memory) noexcept
{
    CoTaskMemFree(memory);
}
inline void BasicString(BSTR text) noexcept
{
    SysFreeString(text);
}
} // namespace GiveBack

/// A COM interface pointer.
template <class Interface>
using ComPointer = Owner<NullIsNothing<Interface*, &GiveBack::Interface>>;
using BStr = Owner<NullIsNothing<BSTR, &GiveBack::BasicString>>;

/// A VARIANT that is cleared at the end of its life.
class Variant
{
public:
    Variant() noexcept { VariantInit(&value); }
    ~Variant()
    {
        const LastErrorKeeper keeper;
        VariantClear(&value);
    }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;

    VARIANT* operator&() noexcept { return &value; }

    /// Keeps the received value if the call succeeded; otherwise forgets it without clearing it.
    bool KeepIf(bool succeeded) noexcept
    {
        if (!succeeded)
        {
            VariantInit(&value);
        }
        return succeeded;
    }

    [[nodiscard]] const VARIANT& Get() const noexcept { return value; }

private:
    VARIANT value = {};
};

/// COM on this thread (CoInitializeEx, apartment threaded). The destructor uninitialises COM only
/// if the initialisation succeeded: COM counts its users. Declare it before the interface pointers
/// that it must outlive.
class ComApartment
{
public:
    ComApartment() noexcept : result(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)) {}
    ~ComApartment()
    {
        if (SUCCEEDED(result))
        {
            const LastErrorKeeper keeper;
            CoUninitialize();
        }
    }
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;

    [[nodiscard]] HRESULT Result() const noexcept { return result; }

private:
    HRESULT result;
};
