#pragma once

#include "WindowsHeaders.h"

/// The impersonation of a session's user by this thread, and its undoing at the end of the object's
/// life: the profile is unloaded, the thread reverts to itself, the token is closed.
class ImpersonateMainSessionUserWrapper
{
public:
    ImpersonateMainSessionUserWrapper() = default;
    virtual ~ImpersonateMainSessionUserWrapper();
    ImpersonateMainSessionUserWrapper(const ImpersonateMainSessionUserWrapper&) = delete;
    ImpersonateMainSessionUserWrapper& operator=(const ImpersonateMainSessionUserWrapper&) = delete;

    /// Duplicates `sessionToken` (which stays the caller's) and impersonates its user. False when
    /// either fails; the thread then is whoever it was.
    bool Impersonate(HANDLE sessionToken);

    /// Impersonates the same user again, after Revert.
    bool ImpersonateAgain();

    /// Makes the thread itself again. Does nothing when it is. A thread that cannot be made itself
    /// again must not go on as somebody else: the process ends with 1.
    void Revert();

private:
    bool impersonating = false;
    HANDLE token = nullptr;
    bool profileLoaded = false;
    HANDLE profile = nullptr;
};
