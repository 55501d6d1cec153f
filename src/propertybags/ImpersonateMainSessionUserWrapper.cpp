#include "ImpersonateMainSessionUserWrapper.h"

#include "Owners.h"

#include <userenv.h>

ImpersonateMainSessionUserWrapper::~ImpersonateMainSessionUserWrapper()
{
    if (token == nullptr)
    {
        return;
    }
    const KernelHandle closer(token);
    const LastErrorKeeper keeper;
    if (profileLoaded)
    {
        UnloadUserProfile(token, profile);
    }
    Revert();
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
    Revert();
    const KernelHandle previous(token);
    token = duplicate.Release();
    return ImpersonateAgain();
}

bool ImpersonateMainSessionUserWrapper::ImpersonateAgain()
{
    impersonating = token != nullptr && ImpersonateLoggedOnUser(token) != FALSE;
    return impersonating;
}

void ImpersonateMainSessionUserWrapper::Revert()
{
    if (impersonating && !RevertToSelf() && !SetThreadToken(nullptr, nullptr))
    {
        ExitProcess(1);
    }
    impersonating = false;
}
