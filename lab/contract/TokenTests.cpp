#include "Check.h"

#include "LabState.h"

#include <wtsapi32.h>

#include <aclapi.h>
#include <sddl.h>
#include <userenv.h>

#include <string>
#include <vector>

using namespace PalvoLab;

namespace
{

HANDLE SessionToken(ULONG session)
{
    HANDLE token = nullptr;
    return WTSQueryUserToken(session, &token) ? token : nullptr;
}

HANDLE Duplicate(HANDLE token, DWORD access, SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type)
{
    HANDLE made = nullptr;
    return DuplicateTokenEx(token, access, nullptr, level, type, &made) ? made : nullptr;
}

bool IsAdministrator(HANDLE impersonationToken, BOOL& member)
{
    BYTE sid[SECURITY_MAX_SID_SIZE] = {};
    DWORD size = sizeof sid;
    CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, sid, &size);
    return CheckTokenMembership(impersonationToken, sid, &member) != FALSE;
}

HANDLE ServiceToken(const wchar_t* domain, const wchar_t* name, DWORD type)
{
    HANDLE token = nullptr;
    return LogonUserW(name, domain, nullptr, type, LOGON32_PROVIDER_DEFAULT, &token) ? token
                                                                                     : nullptr;
}

std::wstring CurrentName()
{
    wchar_t name[64] = {};
    DWORD size = 64;
    GetUserNameW(name, &size);
    return name;
}

} // namespace

LAB_TEST(OnlyTheSystemGetsSessionTokens)
{
    CHECK_FAILS(SessionToken(0), ERROR_NO_TOKEN);
    CHECK_FAILS(SessionToken(99), 7022);
    BecomeAccount(L"Administrator");
    CHECK_FAILS(SessionToken(1), ERROR_PRIVILEGE_NOT_HELD);
    BecomeAccount(L"SYSTEM");
    const HANDLE token = SessionToken(2);
    CHECK(token != nullptr);
    CHECK(CloseHandle(token));
    CHECK_FAILS(CloseHandle(token), ERROR_INVALID_HANDLE);
}

LAB_TEST(ASplitTokenLeadsToItsOtherHalf)
{
    const HANDLE limited = SessionToken(1);
    TOKEN_ELEVATION_TYPE type = TokenElevationTypeDefault;
    DWORD size = 0;
    CHECK(GetTokenInformation(limited, TokenElevationType, &type, sizeof type, &size));
    CHECK(type == TokenElevationTypeLimited);
    TOKEN_LINKED_TOKEN linked = {};
    CHECK(GetTokenInformation(limited, TokenLinkedToken, &linked, sizeof linked, &size));
    const HANDLE half = Duplicate(limited, TOKEN_QUERY, SecurityImpersonation, TokenImpersonation);
    const HANDLE full =
        Duplicate(linked.LinkedToken, TOKEN_QUERY, SecurityImpersonation, TokenImpersonation);
    BOOL member = TRUE;
    CHECK(IsAdministrator(half, member) && !member);
    CHECK(IsAdministrator(full, member) && member);
    for (const HANDLE handle : {limited, linked.LinkedToken, half, full})
    {
        CHECK(CloseHandle(handle));
    }
    const HANDLE whole = SessionToken(2);
    CHECK_FAILS(GetTokenInformation(whole, TokenLinkedToken, &linked, sizeof linked, &size), 1312);
    CloseHandle(whole);
}

LAB_TEST(MembershipWantsAnImpersonationToken)
{
    const HANDLE primary = SessionToken(2);
    BOOL member = TRUE;
    CHECK_FAILS(IsAdministrator(primary, member), ERROR_NO_IMPERSONATION_TOKEN);
    CHECK(IsAdministrator(nullptr, member) && member);
    CloseHandle(primary);
}

LAB_TEST(AnImpersonatingThreadIsItsUser)
{
    const HANDLE token = SessionToken(2);
    CHECK(CurrentName() == L"SYSTEM");
    CHECK(ImpersonateLoggedOnUser(token));
    CHECK(CurrentName() == L"bob");
    HANDLE other = nullptr;
    CHECK_FAILS(WTSQueryUserToken(1, &other), ERROR_PRIVILEGE_NOT_HELD);
    CHECK(RevertToSelf());
    CHECK(CurrentName() == L"SYSTEM");
    CloseHandle(token);
    CHECK_FAILS(ImpersonateLoggedOnUser(token), ERROR_INVALID_HANDLE);
}

LAB_TEST(OnlyTheSystemLogsServicesOn)
{
    const HANDLE token = ServiceToken(L"NT AUTHORITY", L"Local Service", LOGON32_LOGON_SERVICE);
    CHECK(token != nullptr);
    CloseHandle(token);
    CHECK_FAILS(ServiceToken(L"NT AUTHORITY", L"Local Service", LOGON32_LOGON_INTERACTIVE),
                ERROR_LOGON_TYPE_NOT_GRANTED);
    CHECK_FAILS(ServiceToken(L"NT AUTHORITY", L"Nobody", LOGON32_LOGON_SERVICE),
                ERROR_LOGON_FAILURE);
    BecomeAccount(L"Administrator");
    CHECK_FAILS(ServiceToken(L"NT AUTHORITY", L"Local Service", LOGON32_LOGON_SERVICE),
                ERROR_LOGON_FAILURE);
}

LAB_TEST(ProcessesAsAnotherUserNeedThePrivilegeAndAPrimaryToken)
{
    const HANDLE token = SessionToken(2);
    const HANDLE impersonation =
        Duplicate(token, MAXIMUM_ALLOWED, SecurityImpersonation, TokenImpersonation);
    std::wstring command = L"C:\\no\\such\\program.exe";
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION made = {};
    const auto create = [&](HANDLE with)
    {
        return CreateProcessAsUserW(with, nullptr, command.data(), nullptr, nullptr, FALSE, 0,
                                    nullptr, nullptr, &startup, &made);
    };
    CHECK_FAILS(create(impersonation), ERROR_BAD_TOKEN_TYPE);
    BecomeAccount(L"Administrator");
    CHECK_FAILS(create(token), ERROR_PRIVILEGE_NOT_HELD);
    BecomeAccount(L"SYSTEM");
    SetLastError(0);
    CHECK(!create(token) &&
          (GetLastError() == ERROR_FILE_NOT_FOUND || GetLastError() == ERROR_PATH_NOT_FOUND));
    CloseHandle(impersonation);
    CloseHandle(token);
    CHECK_FAILS(create(token), ERROR_INVALID_HANDLE);
}

LAB_TEST(WhoMayNotImpersonateOnlyLearnsWhoSomebodyIs)
{
    const HANDLE token = SessionToken(1);
    // The lab's own list of users cannot be read either at that level.
    const std::wstring alice = SidOf(L"alice");
    BecomeAccount(L"bob");
    CHECK(ImpersonateLoggedOnUser(token));
    CHECK(CurrentName() == L"alice");
    HKEY key = nullptr;
    CHECK(RegOpenKeyExW(HKEY_USERS, alice.c_str(), 0, KEY_READ, &key) ==
          ERROR_BAD_IMPERSONATION_LEVEL);
    CHECK_FAILS(CreateDirectoryW(L"C:\\ProgramData\\Lab", nullptr), ERROR_BAD_IMPERSONATION_LEVEL);
    RemoveDirectoryW(L"C:\\ProgramData\\Lab");
    CHECK(RevertToSelf());
    for (const wchar_t* account : {L"LocalService", L"alice:elevated", L"alice"})
    {
        BecomeAccount(account);
        CHECK(ImpersonateLoggedOnUser(token));
        CHECK(RegOpenKeyExW(HKEY_USERS, alice.c_str(), 0, KEY_READ, &key) == 0);
        RegCloseKey(key);
        CHECK(RevertToSelf());
    }
    CloseHandle(token);
}

LAB_TEST(AProcessNeedsAProgramThatItsUserMayRun)
{
    const HANDLE token = SessionToken(2);
    std::wstring command = L"C:\\ProgramData\\PalvoLabSelfTest.exe now";
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION made = {};
    CloseHandle(CreateFileW(L"C:\\ProgramData\\PalvoLabSelfTest.exe", GENERIC_WRITE, 0, nullptr,
                            CREATE_ALWAYS, 0, nullptr));
    CHECK(SetFileList(L"C:\\ProgramData\\PalvoLabSelfTest.exe",
                      L"D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;BU)"));
    const auto create = [&]
    {
        return CreateProcessAsUserW(token, nullptr, command.data(), nullptr, nullptr, FALSE, 0,
                                    nullptr, nullptr, &startup, &made);
    };
    CHECK_FAILS(create(), ERROR_ACCESS_DENIED);
    // No program, but that is found later.
    CHECK(SetFileList(L"C:\\ProgramData\\PalvoLabSelfTest.exe", L"D:(A;;FA;;;WD)"));
    CHECK(!create() && GetLastError() != ERROR_ACCESS_DENIED);
    CHECK(DeleteFileW(L"C:\\ProgramData\\PalvoLabSelfTest.exe"));
    CloseHandle(token);
}

LAB_TEST(AnotherUsersDesktopOnTheScreenEndsAProcessAtItsStart)
{
    const HANDLE token = ServiceToken(L"NT AUTHORITY", L"Local Service", LOGON32_LOGON_SERVICE);
    std::wstring desktop;
    const auto run = [&](bool none)
    {
        std::wstring command = L"C:\\windows\\system32\\cmd.exe /c exit 7";
        STARTUPINFOW startup = {};
        startup.cb = sizeof startup;
        startup.lpDesktop = none ? nullptr : desktop.data();
        PROCESS_INFORMATION made = {};
        CHECK(CreateProcessAsUserW(token, nullptr, command.data(), nullptr, nullptr, FALSE, 0,
                                   nullptr, nullptr, &startup, &made));
        WaitForSingleObject(made.hProcess, INFINITE);
        DWORD code = 0;
        GetExitCodeProcess(made.hProcess, &code);
        CloseHandle(made.hProcess);
        CloseHandle(made.hThread);
        return code;
    };
    CHECK(run(true) == 7);
    WriteSetting(L"WindowStation", L"visible");
    CHECK(run(true) == 0xC0000142);
    CHECK(run(false) == 7);
    RemoveSetting(L"WindowStation");
    CloseHandle(token);
}
