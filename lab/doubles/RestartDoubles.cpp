// Doubles of Restart Manager, as far as who holds a file is asked: the lab's files are held by the
// program that `palvo-lab set file-holder` names, and by nobody else.
#include "DoubleTable.h"

#include "CallRecord.h"
#include "LabState.h"
#include "LeakRecord.h"

#include <restartmanager.h>

#include <algorithm>
#include <map>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kKind[] = L"restart session";
constexpr DWORD kHolder = 4711; // its process id

// The sessions of this process, and whether a file was registered.
std::map<DWORD, bool>& RestartSessions()
{
    static auto* sessions = new std::map<DWORD, bool>;
    return *sessions;
}

void* Counted(DWORD session)
{
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(session));
}

DWORD WINAPI DoubleRmStartSession(DWORD* session, DWORD flags, WCHAR* key)
{
    Call call(L"RmStartSession", flags);
    if (session == nullptr || key == nullptr || flags != 0)
    {
        return call.Return(DWORD{ERROR_BAD_ARGUMENTS});
    }
    static DWORD last = 0x520000;
    *session = ++last;
    std::fill_n(key, CCH_RM_SESSION_KEY, L'5');
    key[CCH_RM_SESSION_KEY] = L'\0';
    RestartSessions()[*session] = false;
    CountOpened(kKind, Counted(*session), L"");
    return call.Return(DWORD{ERROR_SUCCESS});
}

DWORD WINAPI DoubleRmEndSession(DWORD session)
{
    Call call(L"RmEndSession", session);
    RestartSessions().erase(session);
    const bool wasOpen = CountClosed(kKind, Counted(session));
    return call.Return(wasOpen ? DWORD{ERROR_SUCCESS} : DWORD{ERROR_INVALID_HANDLE});
}

DWORD WINAPI DoubleRmRegisterResources(DWORD session, UINT files, LPCWSTR* names, UINT applications,
                                       RM_UNIQUE_PROCESS*, UINT services, LPCWSTR*)
{
    Call call(L"RmRegisterResources", session, files,
              files != 0 && names != nullptr ? names[0] : nullptr, applications, services);
    const auto entry = RestartSessions().find(session);
    if (entry == RestartSessions().end())
    {
        CountMisuse(kKind, L"used that is not open");
        return call.Return(DWORD{ERROR_INVALID_HANDLE});
    }
    // Programs and services are not modelled.
    if (files == 0 || names == nullptr || applications != 0 || services != 0)
    {
        return call.Return(DWORD{ERROR_BAD_ARGUMENTS});
    }
    entry->second = true;
    return call.Return(DWORD{ERROR_SUCCESS});
}

DWORD WINAPI DoubleRmGetList(DWORD session, UINT* needed, UINT* count, RM_PROCESS_INFO* processes,
                             DWORD* reasons)
{
    Call call(L"RmGetList", session);
    const auto entry = RestartSessions().find(session);
    if (entry == RestartSessions().end())
    {
        CountMisuse(kKind, L"used that is not open");
        return call.Return(DWORD{ERROR_INVALID_HANDLE});
    }
    if (needed == nullptr || count == nullptr || reasons == nullptr ||
        (processes == nullptr && *count != 0))
    {
        return call.Return(DWORD{ERROR_BAD_ARGUMENTS});
    }
    const std::wstring holder = entry->second ? Setting(L"FileHolder") : std::wstring();
    *reasons = RmRebootReasonNone;
    *needed = holder.empty() ? 0 : 1;
    if (*count < *needed)
    {
        return call.Return(DWORD{ERROR_MORE_DATA});
    }
    *count = *needed;
    if (*needed != 0)
    {
        *processes = {};
        processes->Process.dwProcessId = kHolder;
        processes->ApplicationType = RmMainWindow;
        holder.copy(processes->strAppName, CCH_RM_MAX_APP_NAME);
    }
    return call.Return(DWORD{ERROR_SUCCESS});
}

} // namespace

void AddRestartDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "RSTRTMGR", RmStartSession);
    PALVOLAB_DOUBLE(list, "RSTRTMGR", RmEndSession);
    PALVOLAB_DOUBLE(list, "RSTRTMGR", RmRegisterResources);
    PALVOLAB_DOUBLE(list, "RSTRTMGR", RmGetList);
}

} // namespace PalvoLab
