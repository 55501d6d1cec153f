// Times and durations as Task Scheduler writes them, and the lab's own clock.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace PalvoLab
{

struct TriggerData;

// Local time in seconds since 1601.
using LabTime = std::uint64_t;

// "PT4H", "P1DT30M": its length in seconds, a month taken as 30 days and a year as 365. Nothing
// when the text is no duration.
std::optional<std::uint64_t> ParseDuration(std::wstring_view text);

// "2000-01-01T02:30:00", with or without a time zone, which the lab does not look at. Nothing when
// the text is no such date.
std::optional<LabTime> ParseBoundary(std::wstring_view text);

// The way back, without a time zone.
std::wstring FormatLabTime(LabTime time);

// When a daily trigger fires next after a moment, its repetitions included. Nothing when it does
// not fire again or is no daily trigger.
std::optional<LabTime> NextTime(const TriggerData& trigger, LabTime after);

// The lab's clock stands still until `palvo-lab clock` turns it: nothing fires by itself.
LabTime ClockNow();
void SetClock(LabTime time);
void ResetClock();

} // namespace PalvoLab
