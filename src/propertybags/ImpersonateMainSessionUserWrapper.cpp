#include "ImpersonateMainSessionUserWrapper.h"

#include <userenv.h>

ImpersonateMainSessionUserWrapper::~ImpersonateMainSessionUserWrapper()
{
    Leave();
}

bool ImpersonateMainSessionUserWrapper::Impersonate(HANDLE sessionToken)
{
    KernelHandle duplicate;
    if (!duplicate.KeepIf(DuplicateTokenEx(sessionToken, MAXIMUM_ALLOWED, nullptr,
                                           SecurityImpersonation, TokenImpersonation,
                                           duplicate.Receive())))
    {
        return false;
    }
    Leave();
    token = std::move(duplicate);
    return ImpersonateAgain();
}

bool ImpersonateMainSessionUserWrapper::ImpersonateAgain()
{
    if (!token || !ImpersonateLoggedOnUser(token.Get()))
    {
        // The flag stays: a thread that impersonated before still does.
        return false;
    }
    impersonating = true;
    return true;
}

void ImpersonateMainSessionUserWrapper::Revert()
{
    if (impersonating && !RevertToSelf() && !SetThreadToken(nullptr, nullptr))
    {
        ExitProcess(1);
    }
    impersonating = false;
}

/// Leaves the user: the profile goes with the token that it was loaded with. Who calls this closes
/// the token.
void ImpersonateMainSessionUserWrapper::Leave() noexcept
{
    if (!token)
    {
        return;
    }
    const LastErrorKeeper keeper;
    if (profileLoaded)
    {
        UnloadUserProfile(token.Get(), profile);
        profileLoaded = false;
        profile = nullptr;
    }
    Revert();
}
