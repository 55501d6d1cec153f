#include "HeldMutex.h"

#include "OtherThread.h"
#include "Owners.h"
#include "Replaced.h"

#include <gtest/gtest.h>

#include <optional>

namespace
{
using WaitDouble = Replaced<"KERNEL32", "WaitForSingleObject", decltype(WaitForSingleObject)>;
using ReleaseDouble = Replaced<"KERNEL32", "ReleaseMutex", decltype(ReleaseMutex)>;

class HeldMutexTest : public testing::Test
{
protected:
    /// How another thread's wait for the mutex ends, without waiting.
    MutexWait Elsewhere() const
    {
        MutexWait outcome = MutexWait::Failed;
        OnOtherThread([&] { outcome = HeldMutex(mutex.Get(), 0).Outcome(); });
        return outcome;
    }

    KernelHandle mutex{CreateMutexW(nullptr, FALSE, nullptr)};
};

TEST_F(HeldMutexTest, FreeMutexIsOwnedUntilTheEndOfTheObject)
{
    {
        const HeldMutex held(mutex.Get(), 0);
        EXPECT_EQ(held.Outcome(), MutexWait::Owned);
        EXPECT_TRUE(held.IsHeld());
        EXPECT_EQ(Elsewhere(), MutexWait::TimedOut);
    }
    EXPECT_EQ(Elsewhere(), MutexWait::Owned);
}

TEST_F(HeldMutexTest, IsRecursive)
{
    {
        const HeldMutex outer(mutex.Get(), 0);
        {
            const HeldMutex inner(mutex.Get(), 0);
            EXPECT_TRUE(inner.IsHeld());
        }
        EXPECT_EQ(Elsewhere(), MutexWait::TimedOut);
    }
    EXPECT_EQ(Elsewhere(), MutexWait::Owned);
}

TEST_F(HeldMutexTest, MutexOfAThreadThatEndedIsAbandonedAndHeld)
{
    OnOtherThread([&] { WaitForSingleObject(mutex.Get(), 0); });
    {
        const HeldMutex held(mutex.Get(), 0);
        EXPECT_EQ(held.Outcome(), MutexWait::Abandoned);
        EXPECT_TRUE(held.IsHeld());
    }
    EXPECT_EQ(Elsewhere(), MutexWait::Owned);
}

TEST_F(HeldMutexTest, OwnedMutexTimesOutAndIsNotReleased)
{
    const HeldMutex held(mutex.Get(), 0);
    OnOtherThread(
        [&]
        {
            const HeldMutex waiting(mutex.Get(), 0);
            EXPECT_EQ(waiting.Outcome(), MutexWait::TimedOut);
            EXPECT_FALSE(waiting.IsHeld());
        });
    EXPECT_EQ(Elsewhere(), MutexWait::TimedOut);
}

TEST_F(HeldMutexTest, NullHandleIsAFailedWait)
{
    int waits = 0;
    const WaitDouble wait(
        [&](HANDLE, DWORD) -> DWORD
        {
            ++waits;
            return WAIT_OBJECT_0;
        });
    const HeldMutex held(nullptr, 0);
    EXPECT_EQ(held.Outcome(), MutexWait::Failed);
    EXPECT_FALSE(held.IsHeld());
    EXPECT_EQ(waits, 0);
}

TEST_F(HeldMutexTest, FailedWaitIsNotHeldNorReleased)
{
    int releases = 0;
    const ReleaseDouble release(
        [&](HANDLE)
        {
            ++releases;
            return TRUE;
        });
    const WaitDouble wait([](HANDLE, DWORD) { return WAIT_FAILED; });
    {
        const HeldMutex held(mutex.Get(), 0);
        EXPECT_EQ(held.Outcome(), MutexWait::Failed);
        EXPECT_FALSE(held.IsHeld());
    }
    EXPECT_EQ(releases, 0);
}

TEST_F(HeldMutexTest, WaitsForTheTimeThatIsGiven)
{
    const WaitDouble wait(
        [&](HANDLE handle, DWORD milliseconds) -> DWORD
        {
            EXPECT_EQ(handle, mutex.Get());
            EXPECT_EQ(milliseconds, 600000U);
            return WAIT_TIMEOUT;
        });
    EXPECT_EQ(HeldMutex(mutex.Get(), 600000).Outcome(), MutexWait::TimedOut);
}

TEST_F(HeldMutexTest, GivingBackLeavesTheLastErrorAlone)
{
    const ReleaseDouble release(
        [](HANDLE handle)
        {
            SetLastError(1);
            return decltype(release)::Original(handle);
        });
    std::optional<HeldMutex> held(std::in_place, mutex.Get(), 0U);
    SetLastError(0xABCDE);
    held.reset();
    EXPECT_EQ(GetLastError(), 0xABCDEU);
}

TEST_F(HeldMutexTest, MovedOwnershipIsGivenBackOnce)
{
    int releases = 0;
    const ReleaseDouble release(
        [&](HANDLE handle)
        {
            ++releases;
            return decltype(release)::Original(handle);
        });
    {
        HeldMutex first(mutex.Get(), 0);
        const HeldMutex second(std::move(first));
        EXPECT_TRUE(second.IsHeld());
    }
    EXPECT_EQ(releases, 1);
}

TEST_F(HeldMutexTest, MayBeReleasedBeforeTheEndOfTheObject)
{
    HeldMutex held(mutex.Get(), 0);
    EXPECT_TRUE(held.Release());
    EXPECT_FALSE(held.IsHeld());
    EXPECT_EQ(held.Outcome(), MutexWait::Owned);
    EXPECT_EQ(Elsewhere(), MutexWait::Owned);
}

TEST_F(HeldMutexTest, IsReleasedOnceThoughReleasedBefore)
{
    HeldMutex outer(mutex.Get(), 0);
    {
        HeldMutex inner(mutex.Get(), 0);
        EXPECT_TRUE(inner.Release());
        EXPECT_TRUE(inner.Release());
    }
    EXPECT_EQ(Elsewhere(), MutexWait::TimedOut);
}

TEST_F(HeldMutexTest, NothingHeldIsNothingToRelease)
{
    HeldMutex held(nullptr, 0);
    EXPECT_TRUE(held.Release());
}

TEST_F(HeldMutexTest, AnotherThreadDoesNotReleaseIt)
{
    HeldMutex held(mutex.Get(), 0);
    OnOtherThread([&] { EXPECT_FALSE(held.Release()); });
    EXPECT_TRUE(held.IsHeld());
    EXPECT_EQ(Elsewhere(), MutexWait::TimedOut);
    EXPECT_TRUE(held.Release());
    EXPECT_EQ(Elsewhere(), MutexWait::Owned);
}

TEST_F(HeldMutexTest, AnotherThreadKeepsWhatItHoldsItself)
{
    std::optional<HeldMutex> theirs;
    OnOtherThread([&] { theirs.emplace(mutex.Get(), 0U); });
    const HeldMutex ours(mutex.Get(), 0);
    EXPECT_EQ(ours.Outcome(), MutexWait::Abandoned);
    theirs.reset();
    EXPECT_EQ(Elsewhere(), MutexWait::TimedOut);
}

TEST_F(HeldMutexTest, ThreadThatWaitedIsKnownAfterAMove)
{
    HeldMutex first(mutex.Get(), 0);
    OnOtherThread(
        [&]
        {
            HeldMutex moved(std::move(first));
            EXPECT_FALSE(moved.Release());
        });
    EXPECT_EQ(Elsewhere(), MutexWait::TimedOut);
}

TEST_F(HeldMutexTest, ReleaseThatFailsIsToldAndNotTriedAgain)
{
    int releases = 0;
    const ReleaseDouble release(
        [&](HANDLE)
        {
            ++releases;
            SetLastError(ERROR_NOT_OWNER);
            return FALSE;
        });
    {
        HeldMutex held(mutex.Get(), 0);
        SetLastError(0xABCDE);
        EXPECT_FALSE(held.Release());
        EXPECT_FALSE(held.IsHeld());
    }
    EXPECT_EQ(releases, 1);
    EXPECT_EQ(GetLastError(), 0xABCDEU);
}

TEST_F(HeldMutexTest, MutexThatCannotBeReleasedIsAbandonedByTheEndOfItsThread)
{
    OnOtherThread(
        [&]
        {
            const ReleaseDouble release([](HANDLE) { return FALSE; });
            const HeldMutex held(mutex.Get(), 0);
        });
    EXPECT_EQ(Elsewhere(), MutexWait::Abandoned);
}

TEST_F(HeldMutexTest, OwnershipMayBeLeftToTheEndOfTheThread)
{
    OnOtherThread(
        [&]
        {
            HeldMutex held(mutex.Get(), 0);
            held.KeepUntilThreadEnds();
            EXPECT_FALSE(held.IsHeld());
        });
    EXPECT_EQ(Elsewhere(), MutexWait::Abandoned);
}
} // namespace
