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
    : mutex(wanted), outcome(Wait(wanted, milliseconds))
{
}

HeldMutex::HeldMutex(HeldMutex&& other) noexcept
    : mutex(std::exchange(other.mutex, nullptr)), outcome(other.outcome)
{
}

HeldMutex::~HeldMutex()
{
    if (IsHeld())
    {
        const LastErrorKeeper keeper;
        ReleaseMutex(mutex);
    }
}
