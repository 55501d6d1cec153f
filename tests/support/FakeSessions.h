#pragma once

#include "Journal.h"
#include "Replaced.h"

#include <userenv.h>
#include <wtsapi32.h>

#include <map>
#include <string>
#include <vector>

/// A session and its user.
struct FakeSession
{
    DWORD id = 1;
    WTS_CONNECTSTATE_CLASS state = WTSActive;
    std::wstring name = L"User";
    std::wstring domain = L"DOMAIN";
    std::wstring sid = L"S-1-5-21-1-2-3-1001";
    bool isAdministrator = false; ///< by the session's own token
    TOKEN_ELEVATION_TYPE elevation = TokenElevationTypeDefault;
    bool isFullAdministrator = false; ///< by the linked token
    bool hasToken = true;
};

/// Stands in for terminal services and for the calls on tokens. Every call is written into the
/// journal; bad or closed handles are refused and counted.
class FakeSessions
{
public:
    explicit FakeSessions(Journal& target);

    std::vector<FakeSession> sessions;
    /// Functions that fail, with their error: the name as in the journal, up to its first blank.
    std::map<std::wstring, DWORD> failing;
    bool tokensAreNull = false; ///< WTSQueryUserToken succeeds without a token
    unsigned refusedCalls = 0;

    /// A token of the session's user, as WTSQueryUserToken gives it.
    HANDLE Token(const FakeSession& session);
    [[nodiscard]] std::size_t OpenTokens() const { return tokens.size(); }
    [[nodiscard]] std::size_t SessionListsInUse() const { return lists; }
    /// The user whom the thread impersonates; "itself" for none.
    [[nodiscard]] const std::wstring& Impersonated() const { return impersonated; }

private:
    struct FakeToken
    {
        FakeSession session;
        std::wstring name; ///< in the journal
        TOKEN_TYPE type = TokenPrimary;
        bool isLinked = false;
    };
    bool Fails(const std::wstring& function);
    BOOL Refuse(DWORD code);
    HANDLE Open(const FakeToken& token);
    FakeToken* Find(HANDLE handle);
    bool Enumerate(HANDLE server, DWORD reserved, DWORD version, PWTS_SESSION_INFOW* list,
                   DWORD* count);
    bool QueryToken(ULONG id, HANDLE* token);
    bool Duplicate(HANDLE token, DWORD access, const SECURITY_ATTRIBUTES* attributes,
                   SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type, HANDLE* duplicate);
    bool Information(HANDLE token, TOKEN_INFORMATION_CLASS kind, void* buffer, DWORD size,
                     DWORD* needed);
    bool UserInformation(const FakeToken& token, void* buffer, DWORD size, DWORD* needed);
    bool LookUp(PSID sid, LPWSTR name, DWORD* nameSize, LPWSTR domain, DWORD* domainSize);
    bool CheckMember(HANDLE token, PSID sid, BOOL* member);

    Journal& journal;
    std::map<HANDLE, FakeToken> tokens;
    std::uintptr_t nextHandle = 0x50000001;
    std::size_t lists = 0;
    std::wstring impersonated = L"itself";

    Replaced<"WTSAPI32", "WTSEnumerateSessionsW", decltype(WTSEnumerateSessionsW)> enumerate;
    Replaced<"WTSAPI32", "WTSFreeMemory", decltype(WTSFreeMemory)> freeMemory;
    Replaced<"WTSAPI32", "WTSQueryUserToken", decltype(WTSQueryUserToken)> queryToken;
    Replaced<"ADVAPI32", "DuplicateTokenEx", decltype(DuplicateTokenEx)> duplicateToken;
    Replaced<"ADVAPI32", "GetTokenInformation", decltype(GetTokenInformation)> tokenInformation;
    Replaced<"ADVAPI32", "LookupAccountSidW", decltype(LookupAccountSidW)> lookUpAccount;
    Replaced<"ADVAPI32", "ImpersonateLoggedOnUser", decltype(ImpersonateLoggedOnUser)> impersonate;
    Replaced<"ADVAPI32", "RevertToSelf", decltype(RevertToSelf)> revert;
    Replaced<"ADVAPI32", "CheckTokenMembership", decltype(CheckTokenMembership)> checkMembership;
    Replaced<"KERNEL32", "CloseHandle", decltype(CloseHandle)> closeHandle;
};
