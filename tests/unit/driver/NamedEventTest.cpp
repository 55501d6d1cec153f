#include "NamedEvent.h"

#include "FakeKernelObjects.h"

#include <gtest/gtest.h>

namespace
{
std::wstring UniqueName()
{
    static int count = 0;
    return L"Global\\NamedEventTest-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
           std::to_wstring(++count);
}

TEST(NamedEventTest, CreatedSignalledWhenAskedFor)
{
    NamedEvent event(UniqueName(), true);
    EXPECT_TRUE(event.Consume());
}

TEST(NamedEventTest, CreatedUnsignalledWhenAskedFor)
{
    NamedEvent event(UniqueName(), false);
    EXPECT_FALSE(event.Consume());
}

TEST(NamedEventTest, ConsumingTakesTheSignal)
{
    NamedEvent event(UniqueName(), false);
    event.Set();
    EXPECT_TRUE(event.Consume());
    EXPECT_FALSE(event.Consume());
}

TEST(NamedEventTest, SettingTwiceIsOneSignal)
{
    NamedEvent event(UniqueName(), false);
    event.Set();
    event.Set();
    EXPECT_TRUE(event.Consume());
    EXPECT_FALSE(event.Consume());
}

TEST(NamedEventTest, InitialStateCountsForTheCreatorOnly)
{
    const std::wstring name = UniqueName();
    NamedEvent creator(name, false);
    NamedEvent other(name, true);
    EXPECT_FALSE(other.Consume());
}

TEST(NamedEventTest, SignalReachesEveryHolderOfTheName)
{
    const std::wstring name = UniqueName();
    NamedEvent one(name, false);
    NamedEvent other(name, false);
    one.Set();
    EXPECT_TRUE(other.Consume());
    EXPECT_FALSE(one.Consume());
}

TEST(NamedEventTest, KeepsItsName)
{
    const std::wstring name = UniqueName();
    EXPECT_EQ(NamedEvent(name, false).Name(), name);
}

TEST(NamedEventTest, CreatedWithoutAttributesAndAutoResetAndClosedAtTheEnd)
{
    Journal journal;
    FakeKernelObjects objects(journal);
    {
        NamedEvent event(L"E", true);
        EXPECT_TRUE(event.Consume());
        event.Set();
    }
    EXPECT_EQ(journal, (Journal{L"CreateEventW E signalled", L"poll E 0: yes", L"SetEvent E",
                                L"CloseHandle E"}));
}

TEST(NamedEventTest, OneThatCannotBeCreatedIsNeverSignalled)
{
    Journal journal;
    FakeKernelObjects objects(journal);
    objects.failing = {L"E"};
    {
        NamedEvent event(L"E", true);
        event.Set();
        EXPECT_FALSE(event.Consume());
    }
    EXPECT_EQ(journal, Journal{L"CreateEventW E signalled"});
}
} // namespace
