// Owners of the few kernel resources that the lab itself uses.
#pragma once

#include "WindowsApi.h"

#include <utility>

namespace PalvoLab
{

// A kernel handle; null and INVALID_HANDLE_VALUE both mean none.
class OwnedHandle
{
public:
    OwnedHandle() = default;

    explicit OwnedHandle(HANDLE handle)
        : m_handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle)
    {
    }

    OwnedHandle(OwnedHandle&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}

    OwnedHandle& operator=(OwnedHandle&& other) noexcept
    {
        std::swap(m_handle, other.m_handle);
        return *this;
    }

    ~OwnedHandle()
    {
        if (m_handle != nullptr)
        {
            CloseHandle(m_handle);
        }
    }

    HANDLE Get() const { return m_handle; }

    HANDLE Release() { return std::exchange(m_handle, nullptr); }

    explicit operator bool() const { return m_handle != nullptr; }

private:
    HANDLE m_handle = nullptr;
};

// Keeps the thread's last-error value as it was.
class KeepLastError
{
public:
    KeepLastError() : m_error(GetLastError()) {}

    KeepLastError(const KeepLastError&) = delete;
    KeepLastError& operator=(const KeepLastError&) = delete;

    ~KeepLastError() { SetLastError(m_error); }

private:
    DWORD m_error;
};

// Serialises something between all processes of the lab for as long as it lives. A process that
// was killed inside leaves the mutex abandoned; the next one takes it over.
class LabLock
{
public:
    explicit LabLock(const wchar_t* name) : m_mutex(CreateMutexW(nullptr, FALSE, name))
    {
        WaitForSingleObject(m_mutex.Get(), INFINITE);
    }

    LabLock(const LabLock&) = delete;
    LabLock& operator=(const LabLock&) = delete;

    ~LabLock() { ReleaseMutex(m_mutex.Get()); }

private:
    OwnedHandle m_mutex;
};

} // namespace PalvoLab
