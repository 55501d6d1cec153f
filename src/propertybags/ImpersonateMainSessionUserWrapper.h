#pragma once

#include "Owners.h"

/// The impersonation of a session's user by this thread, and its undoing at the end of the object's
/// life: the profile is unloaded, the thread reverts to itself, the token is closed.
class ImpersonateMainSessionUserWrapper
{
public:
    ImpersonateMainSessionUserWrapper() = default;
    virtual ~ImpersonateMainSessionUserWrapper();
    ImpersonateMainSessionUserWrapper(const ImpersonateMainSessionUserWrapper&) = delete;
    ImpersonateMainSessionUserWrapper& operator=(const ImpersonateMainSessionUserWrapper&) = delete;

    /// Duplicates `sessionToken` (which stays the caller's) and impersonates its user, after the
    /// user before was left. False when either fails: the thread then stays whoever it was if there
    /// is no duplicate, and is itself if the duplicate cannot be impersonated.
    bool Impersonate(HANDLE sessionToken);

    /// Impersonates the same user again, after Revert. False when that fails: the thread then stays
    /// whoever it was.
    bool ImpersonateAgain();

    /// Makes the thread itself again. Does nothing when it is. A thread that cannot be made itself
    /// again must not go on as somebody else: the process ends with 1, without a line in the log,
    /// which it would open and write as that user.
    void Revert();

private:
    void Leave() noexcept;

    bool impersonating = false;
    KernelHandle token;
    // Only reserve room: no profile is loaded yet.
    bool profileLoaded = false;
    HANDLE profile = nullptr;
};
