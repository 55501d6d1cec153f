#include "ExpectedSteps.h"
#include "TaskKinds.h"
#include "TaskTriggers.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>

TEST(TaskKindsTest, EveryKindHasItsNameAndAnyOtherNumberIsUnknown)
{
    for (const KindName& kind : KindNames)
    {
        EXPECT_EQ(TaskName(kind.kind), kind.name);
    }
    EXPECT_EQ(TaskKind::PeriodicRefresh, 0U);
    EXPECT_EQ(TaskKind::NewOrChanged, 1U);
    EXPECT_EQ(TaskKind::JobStart, 2U);
    EXPECT_EQ(TaskKind::UserLogon, 3U);
}

TEST(TaskTriggersTest, TheSubscriptionsAreTheseToTheByte)
{
    EXPECT_EQ(TaskTriggers::NewOrChangedSubscription, NewOrChangedQuery);
    EXPECT_EQ(TaskTriggers::UserLogonSubscription, LogonQuery);
    EXPECT_EQ(TaskTriggers::UserLogonSubscriptionWindows10, LogonQueryWindows10);
}

TEST(TaskTriggersTest, EverySeedGivesATenthMinuteOfTheFirstFourHoursAndAllAreReached)
{
    std::map<std::wstring, unsigned> seen;
    constexpr unsigned seeds = 24'000;
    // The seconds around a present day, as the clock gives them.
    for (unsigned seed = 1'700'000'000; seed < 1'700'000'000 + seeds; ++seed)
    {
        ++seen[TaskTriggers::StartBoundary(seed)];
    }
    for (const wchar_t* hour : {L"00", L"01", L"02", L"03"})
    {
        for (const wchar_t* minute : {L"00", L"10", L"20", L"30", L"40", L"50"})
        {
            // None is so rare that the machines of a fleet would crowd elsewhere.
            EXPECT_GT(seen[L"2000-01-01T" + std::wstring(hour) + L":" + minute + L":00"],
                      seeds / 24 / 2)
                << hour << minute;
        }
    }
    EXPECT_EQ(seen.size(), 24U);
}

TEST(TaskTriggersTest, TheLargestAndTheSmallestSeedsGiveAStartToo)
{
    for (const unsigned seed :
         {0U, 1U, 0x7FFFFFFEU, 0x7FFFFFFFU, 0x80000000U, std::numeric_limits<unsigned>::max()})
    {
        const std::wstring start = TaskTriggers::StartBoundary(seed);
        ASSERT_EQ(start.size(), 19U);
        EXPECT_EQ(start.substr(0, 12), L"2000-01-01T0");
        EXPECT_EQ(start.substr(13, 1), L":");
        EXPECT_EQ(start.substr(15), L"0:00");
        EXPECT_TRUE(start[12] >= L'0' && start[12] <= L'3') << seed;
        EXPECT_TRUE(start[14] >= L'0' && start[14] <= L'5') << seed;
    }
}

TEST(TaskTriggersTest, TheSameSeedGivesTheSameStart)
{
    EXPECT_EQ(TaskTriggers::StartBoundary(12345), TaskTriggers::StartBoundary(12345));
}
