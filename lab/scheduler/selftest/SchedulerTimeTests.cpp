#include "Check.h"

#include "SchedulerResults.h"
#include "SchedulerTime.h"
#include "TaskStore.h"

using namespace PalvoLab;

namespace
{

TriggerData Daily(const wchar_t* start, const wchar_t* interval)
{
    TriggerData trigger;
    trigger.type = TASK_TRIGGER_DAILY;
    trigger.properties.Put(L"StartBoundary", std::wstring(start));
    if (interval != nullptr)
    {
        trigger.repetition.Put(L"Interval", std::wstring(interval));
    }
    return trigger;
}

std::wstring NextAfter(const TriggerData& trigger, const wchar_t* after)
{
    const auto next = NextTime(trigger, ParseBoundary(after).value_or(0));
    return next ? FormatLabTime(*next) : L"never";
}

} // namespace

LAB_TEST(DurationsAreReadAsTheStandardWritesThem)
{
    CHECK(ParseDuration(L"PT2H") == 7200U);
    CHECK(ParseDuration(L"PT4H") == 14400U);
    CHECK(ParseDuration(L"P1DT2H3M4S") == 93784U);
    CHECK(ParseDuration(L"PT0S") == 0U);
    for (const wchar_t* bad : {L"", L"P", L"PT", L"2H", L"PT2", L"P2H", L"PT2H3H", L"PTH",
                               L"PT3M2H", L"PT2H ", L"pt2h", L"P1DT"})
    {
        CHECK(!ParseDuration(bad));
    }
}

LAB_TEST(BoundariesAreDates)
{
    CHECK(FormatLabTime(*ParseBoundary(L"2000-01-01T03:50:00")) == L"2000-01-01T03:50:00");
    CHECK(ParseBoundary(L"2000-01-01T03:50:00Z").has_value());
    CHECK(ParseBoundary(L"2000-02-29T23:59:59+02:00").has_value());
    for (const wchar_t* bad : {L"", L"2000-01-01", L"2000-01-01 03:50:00", L"2000-02-30T03:50:00",
                               L"2000-01-01T24:00:00", L"2000-01-01T03:60:00", L"2000-1-1T3:50:00",
                               L"2000-01-01T03:50:00X", L"tomorrow"})
    {
        CHECK(!ParseBoundary(bad));
    }
}

LAB_TEST(DailyTriggersFireEveryFourHoursFromTheirStart)
{
    const TriggerData trigger = Daily(L"2000-01-01T02:30:00", L"PT4H");
    CHECK(NextAfter(trigger, L"1999-12-31T00:00:00") == L"2000-01-01T02:30:00");
    CHECK(NextAfter(trigger, L"2024-05-06T12:00:00") == L"2024-05-06T14:30:00");
    CHECK(NextAfter(trigger, L"2024-05-06T14:30:00") == L"2024-05-06T18:30:00");
    CHECK(NextAfter(trigger, L"2024-05-06T22:30:00") == L"2024-05-07T02:30:00");
}

LAB_TEST(DailyTriggersWithoutRepetitionFireOnceADay)
{
    const TriggerData trigger = Daily(L"2000-01-01T02:30:00", nullptr);
    CHECK(NextAfter(trigger, L"2024-05-06T02:29:59") == L"2024-05-06T02:30:00");
    CHECK(NextAfter(trigger, L"2024-05-06T02:30:00") == L"2024-05-07T02:30:00");
}

LAB_TEST(RepetitionsEndWithTheirDurationAndTriggersWithTheirEnd)
{
    TriggerData trigger = Daily(L"2000-01-01T02:00:00", L"PT1H");
    trigger.repetition.Put(L"Duration", std::wstring(L"PT2H"));
    CHECK(NextAfter(trigger, L"2024-05-06T02:00:00") == L"2024-05-06T03:00:00");
    CHECK(NextAfter(trigger, L"2024-05-06T03:00:00") == L"2024-05-07T02:00:00");
    trigger.properties.Put(L"EndBoundary", std::wstring(L"2024-05-06T23:00:00"));
    CHECK(NextAfter(trigger, L"2024-05-06T03:00:00") == L"never");
}
