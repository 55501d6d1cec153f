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
        // Keep the flag: a thread that impersonated before still does.
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

/// Leaves the user: unloads the profile with the token that loaded it. The caller closes the token.
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
