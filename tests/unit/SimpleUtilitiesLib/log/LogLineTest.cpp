#include "LogLine.h"

#include "Replaced.h"
#include "SkippedTests.h"

#include <gtest/gtest.h>

namespace
{
SYSTEMTIME Time(WORD hour, WORD minute = 0, WORD second = 0)
{
    return {2024, 3, 4, 7, hour, minute, second, 999};
}

std::wstring Stamped(const SYSTEMTIME& time)
{
    return LogLineText(time, L"M", 1, std::nullopt, L"x");
}

TEST(LogLineTest, HoldsStampProgramProcessAndMessage)
{
    EXPECT_EQ(LogLineText(Time(14, 5, 9), L"PalvoPrinterConfiguration", 4120, std::nullopt,
                          L"# Invoked to install scheduled tasks. Done...exiting."),
              L"[3/7/2024 2:05:09 PM] PalvoPrinterConfiguration(PID4120): # Invoked to install "
              L"scheduled tasks. Done...exiting.\n");
}

TEST(LogLineTest, NamesTheThreadWhenThereIsOne)
{
    EXPECT_EQ(LogLineText(Time(14), L"M", 4294967295U, 77, L"x"),
              L"[3/7/2024 2:00:00 PM] M(PID4294967295/TID77): x\n");
}

TEST(LogLineTest, MessageIsData)
{
    EXPECT_EQ(LogLineText(Time(9), L"M", 1, std::nullopt, L"%s%n 100%"),
              L"[3/7/2024 9:00:00 AM] M(PID1): %s%n 100%\n");
    EXPECT_EQ(LogLineText(Time(9), L"M", 1, std::nullopt, L""),
              L"[3/7/2024 9:00:00 AM] M(PID1): \n");
}

TEST(LogLineTest, MessageEndsAtItsFirstZero)
{
    EXPECT_EQ(LogLineText(Time(9), L"M", 1, std::nullopt, std::wstring_view(L"a\0b", 3)),
              L"[3/7/2024 9:00:00 AM] M(PID1): a\n");
}

TEST(LogLineTest, LineThatCannotBeFormattedIsEmpty)
{
    SKIP_WITH_VISUAL_CPP("its headers make these functions of others");
    const Replaced<"msvcrt", "_vsnwprintf", int(wchar_t*, std::size_t, const wchar_t*, char*)>
        format([](wchar_t*, std::size_t, const wchar_t*, char*) { return -1; });
    const Replaced<"msvcrt", "_vscwprintf", int(const wchar_t*, char*)> measure(
        [](const wchar_t*, char*) { return -1; });
    EXPECT_EQ(Stamped(Time(9)), L"");
}

TEST(LogLineTest, MonthDayAndHourHaveNoLeadingZeroAndMinuteAndSecondHave)
{
    EXPECT_EQ(Stamped(Time(14, 5, 9)), L"[3/7/2024 2:05:09 PM] M(PID1): x\n");
}

TEST(LogLineTest, TwoDigitsStay)
{
    EXPECT_EQ(Stamped({1999, 12, 5, 31, 23, 59, 58, 0}), L"[12/31/1999 11:59:58 PM] M(PID1): x\n");
}

TEST(LogLineTest, HalfPastMidnightIsTwelveInTheMorning)
{
    EXPECT_EQ(Stamped(Time(0, 30)), L"[3/7/2024 12:30:00 AM] M(PID1): x\n");
}

TEST(LogLineTest, HalfPastNoonIsTwelveInTheAfternoon)
{
    EXPECT_EQ(Stamped(Time(12, 30)), L"[3/7/2024 12:30:00 PM] M(PID1): x\n");
}

TEST(LogLineTest, FivePastThirteenIsOneInTheAfternoon)
{
    EXPECT_EQ(Stamped(Time(13, 5)), L"[3/7/2024 1:05:00 PM] M(PID1): x\n");
}

TEST(LogLineTest, EveryHourIsShownOnATwelveHourClock)
{
    for (WORD hour = 1; hour <= 11; ++hour)
    {
        const std::wstring shown = L"[3/7/2024 " + std::to_wstring(hour) + L":00:00 ";
        EXPECT_EQ(Stamped(Time(hour)), shown + L"AM] M(PID1): x\n");
        EXPECT_EQ(Stamped(Time(static_cast<WORD>(hour + 12))), shown + L"PM] M(PID1): x\n");
    }
}
} // namespace
