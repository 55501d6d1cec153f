#pragma once

#include "WindowsHeaders.h"

enum class MutexWait
{
    Owned,
    Abandoned, ///< owned; its last owner ended without giving it back
    TimedOut,  ///< somebody else owns it
    Failed     ///< there is no such mutex
};

/// A wait for a mutex and, when it succeeded, the ownership that came of it. Ownership is given
/// back at the end of this object's life, keeping the thread's last-error value. The mutex handle
/// must live longer.
class [[nodiscard]] HeldMutex
{
public:
    /// Waits for at most `milliseconds`. A null handle is a failed wait.
    HeldMutex(HANDLE wanted, DWORD milliseconds) noexcept;
    ~HeldMutex();
    HeldMutex(HeldMutex&& other) noexcept;
    HeldMutex(const HeldMutex&) = delete;
    HeldMutex& operator=(const HeldMutex&) = delete;
    HeldMutex& operator=(HeldMutex&&) = delete;

    [[nodiscard]] MutexWait Outcome() const noexcept { return outcome; }
    [[nodiscard]] bool IsHeld() const noexcept
    {
        return mutex != nullptr && (outcome == MutexWait::Owned || outcome == MutexWait::Abandoned);
    }

    /// Leaves the ownership to the end of the thread, which abandons the mutex.
    void KeepUntilThreadEnds() noexcept { mutex = nullptr; }

private:
    HANDLE mutex;
    MutexWait outcome;
};
