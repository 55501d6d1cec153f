#pragma once

#include "WindowsHeaders.h"

#include <utility>

/// Keeps the thread's last-error value as it was when this object was made.
class LastErrorKeeper
{
public:
    LastErrorKeeper() noexcept : saved(GetLastError()) {}
    ~LastErrorKeeper() { SetLastError(saved); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

private:
    DWORD saved;
};

/// A value and how to give it back. `Traits` names the value's type (`Value`), the value that
/// stands for nothing (`Nothing`), which values are owned (`IsOwned`) and how one is given back
/// (`Close`). Giving back keeps the thread's last-error value.
template <class Traits> class Owner
{
public:
    using Value = typename Traits::Value;

    Owner() noexcept : value(Traits::Nothing()) {}
    explicit Owner(Value owned) noexcept : value(owned) {}
    ~Owner() { Reset(); }
    Owner(Owner&& other) noexcept : value(other.Release()) {}
    Owner& operator=(Owner&& other) noexcept
    {
        if (this != &other)
        {
            Reset();
            value = other.Release();
        }
        return *this;
    }
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;

    [[nodiscard]] Value Get() const noexcept { return value; }
    [[nodiscard]] bool IsValid() const noexcept { return Traits::IsOwned(value); }
    explicit operator bool() const noexcept { return IsValid(); }
    // Not every value is a pointer: Visual C++ refuses a plain `Value` for one that is not.
    auto operator->() const noexcept { return value; }

    /// Hands the value over to the caller.
    [[nodiscard]] Value Release() noexcept { return std::exchange(value, Traits::Nothing()); }

    void Reset() noexcept
    {
        if (IsValid())
        {
            const LastErrorKeeper keeper;
            Traits::Close(Release());
        }
    }

    /// Where a Windows call puts a new value; what was owned before is given back first.
    [[nodiscard]] Value* Receive() noexcept
    {
        Reset();
        value = Traits::Nothing();
        return &value;
    }

    /// Tells whether the call that was to put a value at `Receive()` has put one there. What a call
    /// that did not succeed left there is nobody's, and is forgotten.
    bool KeepIf(BOOL succeeded) noexcept
    {
        if (!succeeded)
        {
            value = Traits::Nothing();
        }
        return IsValid();
    }

private:
    Value value;
};

/// Traits of a value of which null alone means nothing.
template <class Type, auto CloseFunction> struct NullIsNothing
{
    using Value = Type;
    static Value Nothing() noexcept { return nullptr; }
    static bool IsOwned(Value value) noexcept { return value != nullptr; }
    static void Close(Value value) noexcept { CloseFunction(value); }
};

/// Traits of a handle of which both null and all-ones mean nothing.
template <class Type, auto CloseFunction> struct NullAndOnesAreNothing
{
    using Value = Type;
    static Value Nothing() noexcept { return static_cast<Type>(INVALID_HANDLE_VALUE); }
    static bool IsOwned(Value value) noexcept
    {
        return value != nullptr && value != static_cast<Type>(INVALID_HANDLE_VALUE);
    }
    static void Close(Value value) noexcept { CloseFunction(value); }
};

// How each kind of value is given back. Functions rather than the Windows calls themselves: the
// address of a call into a DLL is no constant.
namespace GiveBack
{
inline void Handle(HANDLE handle) noexcept
{
    CloseHandle(handle);
}
inline void RegistryKeyHandle(HKEY key) noexcept
{
    RegCloseKey(key);
}
inline void Local(void* memory) noexcept
{
    LocalFree(memory);
}
} // namespace GiveBack

/// Process, thread, token, mutex and event handles: null is nothing.
using KernelHandle = Owner<NullIsNothing<HANDLE, &GiveBack::Handle>>;
/// Handles of CreateFileW: all-ones is nothing.
using FileHandle = Owner<NullAndOnesAreNothing<HANDLE, &GiveBack::Handle>>;
using RegistryHandle = Owner<NullIsNothing<HKEY, &GiveBack::RegistryKeyHandle>>;
/// Memory that LocalFree gives back, as `Type` (a pointer).
template <class Type> using LocalPointer = Owner<NullIsNothing<Type, &GiveBack::Local>>;
/// A SID from ConvertStringSidToSidW.
using Sid = LocalPointer<PSID>;
