#include "LogLine.h"

#include <gtest/gtest.h>

namespace
{
std::wstring Stamp(WORD hour, WORD minute = 0, WORD second = 0)
{
    SYSTEMTIME time = {};
    time.wYear = 2024;
    time.wMonth = 3;
    time.wDay = 7;
    time.wHour = hour;
    time.wMinute = minute;
    time.wSecond = second;
    return TimeStampText(time);
}

TEST(TimeStampTest, MonthDayAndHourHaveNoLeadingZero)
{
    EXPECT_EQ(Stamp(14, 5, 9), L"3/7/2024 2:05:09 PM");
}

TEST(TimeStampTest, TwoDigitsStay)
{
    SYSTEMTIME time = {};
    time.wYear = 1999;
    time.wMonth = 12;
    time.wDay = 31;
    time.wHour = 23;
    time.wMinute = 59;
    time.wSecond = 58;
    EXPECT_EQ(TimeStampText(time), L"12/31/1999 11:59:58 PM");
}

TEST(TimeStampTest, HalfPastMidnightIsTwelveInTheMorning)
{
    EXPECT_EQ(Stamp(0, 30), L"3/7/2024 12:30:00 AM");
}

TEST(TimeStampTest, HalfPastNoonIsTwelveInTheAfternoon)
{
    EXPECT_EQ(Stamp(12, 30), L"3/7/2024 12:30:00 PM");
}

TEST(TimeStampTest, FivePastThirteenIsOneInTheAfternoon)
{
    EXPECT_EQ(Stamp(13, 5), L"3/7/2024 1:05:00 PM");
}

TEST(TimeStampTest, EveryHourIsShownOnATwelveHourClock)
{
    for (WORD hour = 1; hour <= 11; ++hour)
    {
        EXPECT_EQ(Stamp(hour), L"3/7/2024 " + std::to_wstring(hour) + L":00:00 AM");
        EXPECT_EQ(Stamp(static_cast<WORD>(hour + 12)),
                  L"3/7/2024 " + std::to_wstring(hour) + L":00:00 PM");
    }
}

TEST(LogLineTest, HoldsStampProgramProcessAndMessage)
{
    EXPECT_EQ(LogLineText(L"3/7/2024 2:05:09 PM", L"PalvoPrinterConfiguration", 4120, std::nullopt,
                          L"# Invoked to install scheduled tasks. Done...exiting."),
              L"[3/7/2024 2:05:09 PM] PalvoPrinterConfiguration(PID4120): # Invoked to install "
              L"scheduled tasks. Done...exiting.\n");
}

TEST(LogLineTest, NamesTheThreadWhenThereIsOne)
{
    EXPECT_EQ(LogLineText(L"S", L"M", 4294967295U, 77, L"x"), L"[S] M(PID4294967295/TID77): x\n");
}

TEST(LogLineTest, MessageIsData)
{
    EXPECT_EQ(LogLineText(L"S", L"M", 1, std::nullopt, L"%s%n 100%"), L"[S] M(PID1): %s%n 100%\n");
    EXPECT_EQ(LogLineText(L"S", L"M", 1, std::nullopt, L""), L"[S] M(PID1): \n");
}
} // namespace
