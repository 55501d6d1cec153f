#pragma once

#include "Journal.h"
#include "Replaced.h"

#include <functional>
#include <map>
#include <set>
#include <string>

/// Stands in for the program's own named mutexes and events, which the journal calls by their
/// roles; an object of an unknown name appears under that name. Other objects, such as the log's
/// mutex, stay real. A call with arguments that are not the expected ones is marked BAD in the
/// journal, and so is the closing of a handle that is none.
class FakeKernelObjects
{
public:
    /// What a call that fails leaves where its handle would stand. It is nobody's to close.
    static HANDLE Garbage() { return reinterpret_cast<HANDLE>(0x6BAD0000); }

    explicit FakeKernelObjects(Journal& target);

    /// What a wait for a mutex gives; WAIT_OBJECT_0 for those that are not in it.
    std::map<std::wstring, DWORD> mutexWaits;
    /// The objects that cannot be created.
    std::set<std::wstring> failing;

    /// Makes an event as another process would.
    void MakeEvent(const std::wstring& role, bool signalled) { events[role] = signalled; }
    /// Whether the event is there and signalled.
    [[nodiscard]] bool IsSignalled(const std::wstring& role) const;
    [[nodiscard]] std::size_t OpenHandles() const { return handles.size(); }

    /// Adds a handle of another kind: `wait` is called with the time-out, `close` at its end.
    HANDLE Add(std::function<DWORD(DWORD)> wait, std::function<void()> close);

private:
    struct Object
    {
        std::function<DWORD(DWORD)> wait;
        std::function<void()> close;
        std::wstring role;
    };
    HANDLE OpenMutex(const std::wstring& role);
    HANDLE OpenEvent(const std::wstring& role, bool initialState);
    BOOL CloseOther(HANDLE handle);

    Journal& journal;
    std::map<HANDLE, Object> handles;
    std::map<std::wstring, bool> events;
    std::uintptr_t nextHandle = 0x60000001;

    Replaced<"KERNEL32", "CreateMutexW", decltype(CreateMutexW)> createMutex;
    Replaced<"KERNEL32", "CreateEventW", decltype(CreateEventW)> createEvent;
    Replaced<"KERNEL32", "SetEvent", decltype(SetEvent)> setEvent;
    Replaced<"KERNEL32", "WaitForSingleObject", decltype(WaitForSingleObject)> wait;
    Replaced<"KERNEL32", "ReleaseMutex", decltype(ReleaseMutex)> releaseMutex;
    Replaced<"KERNEL32", "CloseHandle", decltype(CloseHandle)> closeHandle;
};
