#pragma once

#include "Owners.h"

/// Impersonates a session's user on this thread; any session's, whatever the name says. The
/// destructor unloads the profile, reverts the thread and closes the token.
class ImpersonateMainSessionUserWrapper
{
public:
    ImpersonateMainSessionUserWrapper() = default;
    virtual ~ImpersonateMainSessionUserWrapper();
    ImpersonateMainSessionUserWrapper(const ImpersonateMainSessionUserWrapper&) = delete;
    ImpersonateMainSessionUserWrapper& operator=(const ImpersonateMainSessionUserWrapper&) = delete;

    /// Duplicates `sessionToken` (which stays the caller's), leaves the user before and
    /// impersonates the new one. False on failure: without a duplicate the thread keeps its
    /// identity, else it has reverted.
    bool Impersonate(HANDLE sessionToken);

    /// Impersonates the same user again, after Revert. On failure returns false; the thread keeps
    /// its identity.
    bool ImpersonateAgain();

    /// Reverts the thread to its own account (RevertToSelf), if it impersonates. If that fails,
    /// ends the process with 1: it must not go on as the user. Nothing is logged, since the log
    /// would be written as that user.
    void Revert();

private:
    void Leave() noexcept;

    bool impersonating = false;
    KernelHandle token;
    // Only reserve room: no profile is loaded yet.
    bool profileLoaded = false;
    HANDLE profile = nullptr;
};
