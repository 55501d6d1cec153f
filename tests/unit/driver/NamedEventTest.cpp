#include "NamedEvent.h"

#include "FakeKernelObjects.h"
#include "FieldOffsets.h"
#include "PrivateMember.h"

#include <gtest/gtest.h>

PRIVATE_FIELD(EventHandle, NamedEvent, KernelHandle, handle);
PRIVATE_FIELD(EventName, NamedEvent, std::wstring, name);
PRIVATE_FIELD(EventReserve, NamedEvent, std::uint32_t, reserved);
PRIVATE_FIELD(EventInitialState, NamedEvent, bool, initialState);

namespace
{
std::wstring UniqueName()
{
    static int count = 0;
    return L"Global\\NamedEventTest-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
           std::to_wstring(++count);
}

TEST(NamedEventTest, FieldsStandInTheirOrder)
{
    EXPECT_EQ(OffsetsOf(NamedEvent(UniqueName(), false), MemberOf(EventHandle{}),
                        MemberOf(EventName{}), MemberOf(EventReserve{}),
                        MemberOf(EventInitialState{})),
              (std::vector<std::size_t>{0, 8, 40, 44}));
    static_assert(sizeof(NamedEvent) == 48);
}

TEST(NamedEventTest, KeepsWhatItWasMadeOf)
{
    const std::wstring name = UniqueName();
    const NamedEvent signalled(name, true);
    EXPECT_NE((signalled.*MemberOf(EventHandle{})).Get(), nullptr);
    EXPECT_EQ(signalled.Name(), name);
    EXPECT_EQ(signalled.*MemberOf(EventReserve{}), 0U);
    EXPECT_TRUE(signalled.*MemberOf(EventInitialState{}));
    EXPECT_FALSE(NamedEvent(UniqueName(), false).*MemberOf(EventInitialState{}));
}

TEST(NamedEventTest, WithoutANameThereIsNoEvent)
{
    NamedEvent event(L"", true);
    event.Set();
    EXPECT_FALSE(event.Consume());
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
