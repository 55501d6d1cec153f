// The process's own token, and what a thread may do that acts with it.
#include "Check.h"

#include "AccessList.h"
#include "Owners.h"

#include <userenv.h>

#include <array>
#include <vector>

using namespace PalvoLab;

namespace
{

HANDLE Duplicate(HANDLE token, DWORD access, SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type)
{
    HANDLE made = nullptr;
    return DuplicateTokenEx(token, access, nullptr, level, type, &made) ? made : nullptr;
}

// A token of the process's user for a thread.
KernelHandle ThreadToken(SECURITY_IMPERSONATION_LEVEL level, DWORD access = MAXIMUM_ALLOWED)
{
    const KernelHandle own(OwnToken(MAXIMUM_ALLOWED));
    return KernelHandle(Duplicate(own.Get(), access, level, TokenImpersonation));
}

BOOL IsAdministrator()
{
    BYTE sid[SECURITY_MAX_SID_SIZE] = {};
    DWORD size = sizeof sid;
    CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, sid, &size);
    BOOL isMember = FALSE;
    CHECK(CheckTokenMembership(nullptr, sid, &isMember));
    return isMember;
}

bool HasThreadToken()
{
    HANDLE token = nullptr;
    return OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token) && CloseHandle(token);
}

} // namespace

STATEMENT(ATokenTellsItsUserInTwoCalls, "GetTokenInformation(TokenUser)", Caller::Anybody)
{
    const KernelHandle token(OwnToken(TOKEN_QUERY));
    DWORD size = 0;
    CHECK_FAILS(GetTokenInformation(token.Get(), TokenUser, nullptr, 0, &size),
                ERROR_INSUFFICIENT_BUFFER);
    std::vector<BYTE> buffer(size);
    CHECK(GetTokenInformation(token.Get(), TokenUser, buffer.data(), size, &size));
    CHECK(SidText(reinterpret_cast<TOKEN_USER*>(buffer.data())->User.Sid).starts_with(L"S-1-5-"));
}

STATEMENT(ATokenIsGoodForWhatItWasOpenedFor, "GetTokenInformation, DuplicateTokenEx",
          Caller::Anybody)
{
    const KernelHandle query(OwnToken(TOKEN_QUERY));
    CHECK_FAILS(Duplicate(query.Get(), 0, SecurityImpersonation, TokenPrimary),
                ERROR_ACCESS_DENIED);
    const KernelHandle duplicate(OwnToken(TOKEN_DUPLICATE));
    TOKEN_ELEVATION_TYPE type = TokenElevationTypeDefault;
    DWORD size = 0;
    CHECK_FAILS(GetTokenInformation(duplicate.Get(), TokenElevationType, &type, sizeof type, &size),
                ERROR_ACCESS_DENIED);
}

STATEMENT(ATokenForLookingAtIsNoGoodForActing, "ImpersonateLoggedOnUser, DuplicateTokenEx",
          Caller::Anybody)
{
    const KernelHandle query = ThreadToken(SecurityImpersonation, TOKEN_QUERY);
    CHECK_FAILS(ImpersonateLoggedOnUser(query.Get()), ERROR_ACCESS_DENIED);
    const KernelHandle identify = ThreadToken(SecurityIdentification);
    CHECK_FAILS(Duplicate(identify.Get(), MAXIMUM_ALLOWED, SecurityImpersonation, TokenPrimary),
                ERROR_BAD_IMPERSONATION_LEVEL);
}

STATEMENT(AThreadTakesNoPrimaryToken, "SetThreadToken", Caller::Anybody)
{
    const KernelHandle primary(OwnToken(MAXIMUM_ALLOWED));
    CHECK_FAILS(SetThreadToken(nullptr, primary.Get()), ERROR_BAD_TOKEN_TYPE);
}

STATEMENT(AThreadHasATokenWhileItImpersonates, "OpenThreadToken", Caller::Anybody)
{
    const KernelHandle token = ThreadToken(SecurityImpersonation);
    CHECK_FAILS(HasThreadToken(), ERROR_NO_TOKEN);
    CHECK(ImpersonateLoggedOnUser(token.Get()));
    CHECK(HasThreadToken());
    CHECK(RevertToSelf());
    CHECK_FAILS(HasThreadToken(), ERROR_NO_TOKEN);
}

STATEMENT(WhoActsAtIdentificationLevelOpensNothing, "SetThreadToken, CreateFileW, RegOpenKeyExW",
          Caller::Anybody)
{
    const KernelHandle token = ThreadToken(SecurityIdentification);
    CHECK(SetThreadToken(nullptr, token.Get()));
    HKEY key = nullptr;
    const LSTATUS opened = RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_READ, &key);
    SetLastError(0);
    const HANDLE file = CreateFileW(L"C:\\windows\\win.ini", GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    const DWORD error = GetLastError();
    CHECK(RevertToSelf());
    CHECK(opened == ERROR_BAD_IMPERSONATION_LEVEL);
    CHECK(file == INVALID_HANDLE_VALUE && error == ERROR_BAD_IMPERSONATION_LEVEL);
}

STATEMENT(AClosedTokenIsRefused, "ImpersonateLoggedOnUser, GetTokenInformation, ...",
          Caller::Anybody)
{
    const HANDLE token = OwnToken(MAXIMUM_ALLOWED);
    CHECK(CloseHandle(token));
    DWORD size = 0;
    LPVOID block = nullptr;
    CHECK_FAILS(CloseHandle(token), ERROR_INVALID_HANDLE);
    CHECK_FAILS(GetTokenInformation(token, TokenUser, nullptr, 0, &size), ERROR_INVALID_HANDLE);
    CHECK_FAILS(ImpersonateLoggedOnUser(token), ERROR_INVALID_HANDLE);
    CHECK_FAILS(CreateEnvironmentBlock(&block, token, FALSE), ERROR_INVALID_HANDLE);
}

STATEMENT(ATokenThatIsNotSplitHasNoOtherHalf, "GetTokenInformation(TokenLinkedToken)",
          Caller::System)
{
    const KernelHandle token(OwnToken(TOKEN_QUERY));
    TOKEN_ELEVATION_TYPE type = TokenElevationTypeFull;
    TOKEN_LINKED_TOKEN linked = {};
    DWORD size = 0;
    CHECK(GetTokenInformation(token.Get(), TokenElevationType, &type, sizeof type, &size));
    CHECK(type == TokenElevationTypeDefault);
    CHECK_FAILS(GetTokenInformation(token.Get(), TokenLinkedToken, &linked, sizeof linked, &size),
                ERROR_NO_SUCH_LOGON_SESSION);
}

STATEMENT(AnAdministratorsOtherHalfIsForLookingAtOnly, "GetTokenInformation(TokenLinkedToken)",
          Caller::Administrator)
{
    const KernelHandle token(OwnToken(TOKEN_QUERY));
    TOKEN_LINKED_TOKEN linked = {};
    DWORD size = 0;
    CHECK(GetTokenInformation(token.Get(), TokenLinkedToken, &linked, sizeof linked, &size));
    const KernelHandle other(linked.LinkedToken);
    CHECK_FAILS(Duplicate(other.Get(), MAXIMUM_ALLOWED, SecurityImpersonation, TokenPrimary),
                ERROR_BAD_IMPERSONATION_LEVEL);
}

STATEMENT(AnElevatedAdministratorIsAMember, "CheckTokenMembership", Caller::Administrator)
{
    CHECK(IsAdministrator());
}

STATEMENT(AStandardUserIsNoMember, "CheckTokenMembership", Caller::StandardUser)
{
    CHECK(!IsAdministrator());
}

STATEMENT(AUsersEnvironmentNamesTheUser, "CreateEnvironmentBlock", Caller::StandardUser)
{
    std::array<wchar_t, 300> name = {};
    auto size = static_cast<DWORD>(name.size());
    CHECK(GetUserNameW(name.data(), &size));
    const KernelHandle token(OwnToken(TOKEN_QUERY | TOKEN_DUPLICATE));
    LPVOID block = nullptr;
    CHECK(CreateEnvironmentBlock(&block, token.Get(), FALSE));
    bool isNamed = false;
    for (const auto* variable = static_cast<const wchar_t*>(block);
         variable != nullptr && *variable != L'\0'; variable += std::wcslen(variable) + 1)
    {
        isNamed = isNamed || variable == std::wstring(L"USERNAME=") + name.data();
    }
    CHECK(isNamed);
    CHECK(DestroyEnvironmentBlock(block));
    CHECK_FAILS(DestroyEnvironmentBlock(nullptr), ERROR_INVALID_PARAMETER);
}

STATEMENT(AProcessAsAnotherUserNeedsAPrimaryToken, "CreateProcessAsUserW", Caller::System)
{
    const KernelHandle token = ThreadToken(SecurityImpersonation);
    std::wstring command = L"C:\\no\\such\\program.exe";
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION made = {};
    CHECK_FAILS(CreateProcessAsUserW(token.Get(), nullptr, command.data(), nullptr, nullptr, FALSE,
                                     0, nullptr, nullptr, &startup, &made),
                ERROR_BAD_TOKEN_TYPE);
}
