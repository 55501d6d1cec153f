#pragma once

#include "WindowsHeaders.h"

enum class MutexWait
{
    Owned,
    Abandoned, ///< owned; its last owner ended without giving it back
    TimedOut,  ///< somebody else owns it
    Failed     ///< there is no such mutex
};

/// Waits for a mutex and owns it if the wait succeeded. The destructor releases it (ReleaseMutex)
/// and keeps the thread's last-error value. The mutex handle must live longer.
///
/// Windows lets only the owning thread release a mutex. One that is not released stays its thread's
/// until that ends, and is then abandoned: whoever waits for it gets it then.
class [[nodiscard]] HeldMutex
{
public:
    /// Waits for at most `milliseconds`. With a null handle the wait fails.
    HeldMutex(HANDLE wanted, DWORD milliseconds) noexcept;
    ~HeldMutex();
    HeldMutex(HeldMutex&& other) noexcept;
    HeldMutex(const HeldMutex&) = delete;
    HeldMutex& operator=(const HeldMutex&) = delete;
    HeldMutex& operator=(HeldMutex&&) = delete;

    /// Releases the mutex before the end of this object, and keeps the thread's last-error value.
    /// True if nothing is held any more. False on another thread than the one that waited: the
    /// object then holds the mutex as before, and a hold of that other thread is not touched. False
    /// also if ReleaseMutex fails, which is not tried again.
    bool Release() noexcept;

    [[nodiscard]] MutexWait Outcome() const noexcept { return outcome; }
    [[nodiscard]] bool IsHeld() const noexcept
    {
        return mutex != nullptr && (outcome == MutexWait::Owned || outcome == MutexWait::Abandoned);
    }

    /// Does not release the mutex: the thread's end abandons it.
    void KeepUntilThreadEnds() noexcept { mutex = nullptr; }

private:
    HANDLE mutex;
    DWORD thread; ///< that waited
    MutexWait outcome;
};
