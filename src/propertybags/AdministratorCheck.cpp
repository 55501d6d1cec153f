#include "AdministratorCheck.h"

#include "LogFile.h"
#include "Owners.h"

#include <array>

namespace
{
template <class Information>
bool Query(HANDLE token, TOKEN_INFORMATION_CLASS kind, Information& information, LogFile& log)
{
    DWORD size = sizeof(information);
    if (GetTokenInformation(token, kind, &information, size, &size))
    {
        return true;
    }
    log.WriteFormat(L"ERROR: Failed trying to get token information: %u", GetLastError());
    return false;
}

/// `fullToken` gets the linked full token of a limited token; for any other it stays empty.
bool FindFullToken(HANDLE token, KernelHandle& fullToken, LogFile& log)
{
    TOKEN_ELEVATION_TYPE elevation = TokenElevationTypeDefault;
    if (!Query(token, TokenElevationType, elevation, log))
    {
        return false;
    }
    if (elevation != TokenElevationTypeLimited)
    {
        return true;
    }
    TOKEN_LINKED_TOKEN linked = {};
    if (!Query(token, TokenLinkedToken, linked, log))
    {
        return false;
    }
    fullToken = KernelHandle(linked.LinkedToken);
    return true;
}

bool CheckMembership(HANDLE token, bool& isMember, LogFile& log)
{
    KernelHandle fullToken;
    if (!FindFullToken(token, fullToken, log))
    {
        return false;
    }
    KernelHandle checked;
    if (!checked.KeepIf(DuplicateTokenEx(fullToken ? fullToken.Get() : token, TOKEN_QUERY, nullptr,
                                         SecurityImpersonation, TokenImpersonation,
                                         checked.Receive())))
    {
        log.WriteFormat(L"ERROR: Failed trying to duplicate a token: %u", GetLastError());
        return false;
    }
    std::array<BYTE, SECURITY_MAX_SID_SIZE> administrators = {};
    static_assert(SECURITY_MAX_SID_SIZE == 68, "the largest SID that there is");
    auto size = static_cast<DWORD>(administrators.size());
    BOOL member = FALSE;
    if (!CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, administrators.data(), &size) ||
        !CheckTokenMembership(checked.Get(), administrators.data(), &member))
    {
        return false;
    }
    isMember = member != FALSE;
    return true;
}
} // namespace

bool IsAdministrator(HANDLE token, LogFile& log)
{
    bool isMember = false;
    if (!CheckMembership(token, isMember, log))
    {
        log.Write(L"ERROR: Failed checking token membership for the Administrators group.");
        return false;
    }
    return isMember;
}
