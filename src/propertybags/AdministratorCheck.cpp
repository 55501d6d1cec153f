#include "AdministratorCheck.h"

#include "LogFile.h"
#include "Owners.h"
#include "Steps.h"

#include <array>

namespace
{
/// If the step failed, throws StepFailed.
void Require(BOOL succeeded)
{
    if (!succeeded)
    {
        throw StepFailed();
    }
}

/// The same for a step with a sentence, which it logs with the last error.
void Require(BOOL succeeded, WideFormat<DWORD> sentence, LogFile& log)
{
    if (!succeeded)
    {
        log.WriteFormat<DWORD>(sentence, GetLastError());
    }
    Require(succeeded);
}

template <class Information>
void Query(HANDLE token, TOKEN_INFORMATION_CLASS kind, Information& information, LogFile& log)
{
    DWORD size = sizeof(information);
    Require(GetTokenInformation(token, kind, &information, size, &size),
            L"ERROR: Failed trying to get token information: %u", log);
}

/// The linked full token of a limited token; empty for any other.
KernelHandle FullToken(HANDLE token, LogFile& log)
{
    TOKEN_ELEVATION_TYPE elevation = TokenElevationTypeDefault;
    Query(token, TokenElevationType, elevation, log);
    TOKEN_LINKED_TOKEN linked = {};
    if (elevation == TokenElevationTypeLimited)
    {
        Query(token, TokenLinkedToken, linked, log);
    }
    return KernelHandle(linked.LinkedToken);
}

bool IsMember(HANDLE token, LogFile& log)
{
    const KernelHandle fullToken = FullToken(token, log);
    KernelHandle checked;
    checked.KeepIf(DuplicateTokenEx(fullToken ? fullToken.Get() : token, TOKEN_QUERY, nullptr,
                                    SecurityImpersonation, TokenImpersonation, checked.Receive()));
    Require(checked.IsValid(), L"ERROR: Failed trying to duplicate a token: %u", log);
    std::array<BYTE, SECURITY_MAX_SID_SIZE> administrators = {};
    static_assert(SECURITY_MAX_SID_SIZE == 68, "the largest SID that there is");
    auto size = static_cast<DWORD>(administrators.size());
    Require(CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, administrators.data(), &size));
    BOOL member = FALSE;
    Require(CheckTokenMembership(checked.Get(), administrators.data(), &member));
    return member != FALSE;
}
} // namespace

bool IsAdministrator(HANDLE token, LogFile& log)
{
    try
    {
        return IsMember(token, log);
    }
    catch (const StepFailed&)
    {
        log.Write(L"ERROR: Failed checking token membership for the Administrators group.");
        return false;
    }
}
