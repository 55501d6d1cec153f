#include "HeldMutex.h"

#include "Owners.h"

#include <utility>

namespace
{
MutexWait Wait(HANDLE mutex, DWORD milliseconds) noexcept
{
    if (mutex == nullptr)
    {
        return MutexWait::Failed;
    }
    switch (WaitForSingleObject(mutex, milliseconds))
    {
    case WAIT_OBJECT_0:
        return MutexWait::Owned;
    case WAIT_ABANDONED:
        return MutexWait::Abandoned;
    case WAIT_TIMEOUT:
        return MutexWait::TimedOut;
    default:
        return MutexWait::Failed;
    }
}
} // namespace

HeldMutex::HeldMutex(HANDLE wanted, DWORD milliseconds) noexcept
    : mutex(wanted), thread(GetCurrentThreadId()), outcome(Wait(wanted, milliseconds))
{
}

HeldMutex::HeldMutex(HeldMutex&& other) noexcept
    : mutex(std::exchange(other.mutex, nullptr)), thread(other.thread), outcome(other.outcome)
{
}

HeldMutex::~HeldMutex()
{
    Release();
}

bool HeldMutex::Release() noexcept
{
    if (!IsHeld())
    {
        return true;
    }
    // On another thread ReleaseMutex would fail, or release what that thread holds itself.
    if (GetCurrentThreadId() != thread)
    {
        return false;
    }
    const LastErrorKeeper keeper;
    return ReleaseMutex(std::exchange(mutex, nullptr)) != FALSE;
}
