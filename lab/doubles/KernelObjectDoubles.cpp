// Wine's kernel objects are real. They pass through here to be counted and recorded by their names,
// and named ones to be given and refused by account.
// What makes, signals, gives back and ends them is recorded in the order in which it took effect.
#include "DoubleTable.h"
#include "Impersonation.h"

#include "CallRecord.h"
#include "LeakRecord.h"
#include "NamedObjects.h"
#include "Owners.h"
#include "Text.h"
#include "Turn.h"

namespace PalvoLab
{
namespace
{

constexpr wchar_t kKind[] = L"handle";

HANDLE Opened(Call& call, HANDLE handle, const wchar_t* what, LPCWSTR name)
{
    if (handle != nullptr)
    {
        CountOpened(kKind, handle, std::wstring(what) + (name == nullptr ? L"" : name));
    }
    return call.Return(handle);
}

// A handle as it reads in a record: by the name of what it was opened for.
std::wstring Known(HANDLE handle)
{
    const std::wstring detail = DetailOf(kKind, handle);
    return detail.empty() ? Hex(reinterpret_cast<std::uintptr_t>(handle)) : detail;
}

std::wstring NameOf(LPCWSTR name)
{
    return name == nullptr ? L"" : name;
}

// Whether another process can know it: by its name, or as a file.
bool IsShared(const std::wstring& known)
{
    constexpr std::size_t kindLength = 6; // "mutex ", "event "
    return known.starts_with(L"file ") ||
           ((known.starts_with(L"mutex ") || known.starts_with(L"event ")) &&
            known.size() > kindLength);
}

// Waits for the turn before a call with what others can know.
void TakeTurnWith(const wchar_t* function, const std::wstring& known)
{
    if (IsInTurns() && IsShared(known))
    {
        TakeTurn(std::wstring(function) + L" " + known);
    }
}

// Why the thread does not get an object; 0 when it does.
DWORD Refusal(HANDLE object, DWORD access, GENERIC_MAPPING rights)
{
    const DWORD error = LevelError();
    const bool isAllowed = MayOpen(object, EffectiveIdentity(), access, rights);
    return error != ERROR_SUCCESS || isAllowed ? error : ERROR_ACCESS_DENIED;
}

// What was created or opened with all rights, if the account may have that of `access`. A creator
// gets what it made.
HANDLE Checked(HANDLE object, DWORD access, GENERIC_MAPPING rights)
{
    const DWORD error = GetLastError();
    KernelHandle owner(object);
    const DWORD refusal =
        owner && error == ERROR_ALREADY_EXISTS ? Refusal(object, access, rights) : ERROR_SUCCESS;
    HANDLE given = refusal == ERROR_SUCCESS ? owner.Release() : nullptr;
    owner = KernelHandle();
    SetLastError(refusal == ERROR_SUCCESS ? error : refusal);
    return given;
}

HANDLE WINAPI DoubleCreateMutexW(LPSECURITY_ATTRIBUTES attributes, BOOL owned, LPCWSTR name)
{
    TakeTurnWith(L"CreateMutexW", L"mutex " + NameOf(name));
    const RecordInOrder order;
    Call call(L"CreateMutexW", owned, name);
    ObjectSecurity security(EffectiveIdentity(), attributes);
    return Opened(
        call,
        Checked(CreateMutexW(security.Attributes(), owned, name), MUTEX_ALL_ACCESS, kMutexRights),
        L"mutex ", name);
}

HANDLE WINAPI DoubleCreateEventW(LPSECURITY_ATTRIBUTES attributes, BOOL manual, BOOL initial,
                                 LPCWSTR name)
{
    TakeTurnWith(L"CreateEventW", L"event " + NameOf(name));
    const RecordInOrder order;
    Call call(L"CreateEventW", manual, initial, name);
    ObjectSecurity security(EffectiveIdentity(), attributes);
    return Opened(call,
                  Checked(CreateEventW(security.Attributes(), manual, initial, name),
                          EVENT_ALL_ACCESS, kEventRights),
                  L"event ", name);
}

// The same for an object that Wine opens with all rights for the lab. One that is not there is left
// to Wine, which says so.
DWORD RefusalOfNamed(HANDLE opened, DWORD access, GENERIC_MAPPING rights)
{
    const KernelHandle object(opened);
    return object ? Refusal(object.Get(), access, rights) : ERROR_SUCCESS;
}

HANDLE WINAPI DoubleOpenMutexW(DWORD access, BOOL inherit, LPCWSTR name)
{
    TakeTurnWith(L"OpenMutexW", L"mutex " + NameOf(name));
    const RecordInOrder order;
    Call call(L"OpenMutexW", access, name);
    const DWORD refusal =
        RefusalOfNamed(OpenMutexW(MUTEX_ALL_ACCESS, FALSE, name), access, kMutexRights);
    return refusal != ERROR_SUCCESS
               ? call.Fail(refusal, HANDLE{})
               : Opened(call, OpenMutexW(access, inherit, name), L"mutex ", name);
}

HANDLE WINAPI DoubleOpenEventW(DWORD access, BOOL inherit, LPCWSTR name)
{
    TakeTurnWith(L"OpenEventW", L"event " + NameOf(name));
    const RecordInOrder order;
    Call call(L"OpenEventW", access, name);
    const DWORD refusal =
        RefusalOfNamed(OpenEventW(EVENT_ALL_ACCESS, FALSE, name), access, kEventRights);
    return refusal != ERROR_SUCCESS
               ? call.Fail(refusal, HANDLE{})
               : Opened(call, OpenEventW(access, inherit, name), L"event ", name);
}

BOOL WINAPI DoubleCloseHandle(HANDLE handle)
{
    TakeTurnWith(L"CloseHandle", Known(handle));
    const RecordInOrder order;
    Call call(L"CloseHandle", Known(handle));
    if (!ForgetToken(handle) && IsOpen(kKind, handle))
    {
        CountClosed(kKind, handle);
    }
    const BOOL closed = CloseHandle(handle);
    if (!closed)
    {
        CountMisuse(kKind, L"closed that is not open");
    }
    return call.Return(closed);
}

// A wait that would last stops again instead, so that the holder knows of it and lets others go on.
DWORD WaitInTurns(HANDLE handle, DWORD milliseconds, const std::wstring& known)
{
    TakeTurn(L"WaitForSingleObject " + known);
    while (true)
    {
        {
            const RecordInOrder order;
            Call call(L"WaitForSingleObject", known, milliseconds);
            const DWORD result = WaitForSingleObject(handle, 0);
            if (result != WAIT_TIMEOUT || milliseconds == 0)
            {
                return call.Return(result);
            }
        }
        TakeTurn(kBlocked + known);
    }
}

DWORD WINAPI DoubleWaitForSingleObject(HANDLE handle, DWORD milliseconds)
{
    const std::wstring known = Known(handle);
    if (IsInTurns() && IsShared(known))
    {
        return WaitInTurns(handle, milliseconds, known);
    }
    const RecordInOrder order(milliseconds == 0);
    Call call(L"WaitForSingleObject", known, milliseconds);
    return call.Return(WaitForSingleObject(handle, milliseconds));
}

BOOL WINAPI DoubleSetEvent(HANDLE handle)
{
    TakeTurnWith(L"SetEvent", Known(handle));
    const RecordInOrder order;
    Call call(L"SetEvent", Known(handle));
    return call.Return(SetEvent(handle));
}

BOOL WINAPI DoubleReleaseMutex(HANDLE handle)
{
    TakeTurnWith(L"ReleaseMutex", Known(handle));
    const RecordInOrder order;
    Call call(L"ReleaseMutex", Known(handle));
    return call.Return(ReleaseMutex(handle));
}

void WINAPI DoubleSleep(DWORD milliseconds)
{
    TakeTurn(L"Sleep");
    Call call(L"Sleep", milliseconds);
    Sleep(IsInTurns() ? 0 : milliseconds);
    call.Return(0);
}

BOOL WINAPI DoubleSetFileInformationByHandle(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind,
                                             LPVOID information, DWORD size)
{
    TakeTurnWith(L"SetFileInformationByHandle", Known(file));
    const RecordInOrder order;
    Call call(L"SetFileInformationByHandle", Known(file), static_cast<int>(kind));
    return call.Return(SetFileInformationByHandle(file, kind, information, size));
}

BOOL WINAPI DoubleMoveFileExW(LPCWSTR from, LPCWSTR to, DWORD flags)
{
    Call call(L"MoveFileExW", from, to, flags);
    return call.Return(MoveFileExW(from, to, flags));
}

} // namespace

void AddKernelObjectDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "KERNEL32", CreateMutexW);
    PALVOLAB_DOUBLE(list, "KERNEL32", OpenMutexW);
    PALVOLAB_DOUBLE(list, "KERNEL32", CreateEventW);
    PALVOLAB_DOUBLE(list, "KERNEL32", OpenEventW);
    PALVOLAB_DOUBLE(list, "KERNEL32", CloseHandle);
    PALVOLAB_DOUBLE(list, "KERNEL32", WaitForSingleObject);
    PALVOLAB_DOUBLE(list, "KERNEL32", SetEvent);
    PALVOLAB_DOUBLE(list, "KERNEL32", ReleaseMutex);
    PALVOLAB_DOUBLE(list, "KERNEL32", Sleep);
    PALVOLAB_DOUBLE(list, "KERNEL32", SetFileInformationByHandle);
    PALVOLAB_DOUBLE(list, "KERNEL32", MoveFileExW);
}

} // namespace PalvoLab
