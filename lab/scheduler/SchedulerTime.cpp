#include "SchedulerTime.h"

#include "LabState.h"
#include "SchedulerResults.h"
#include "TaskStore.h"

#include <cwchar>

namespace PalvoLab
{
namespace
{

constexpr std::uint64_t kTicks = 10000000; // 100 ns units in a second
constexpr std::uint64_t kDay = 24 * 60 * 60;
constexpr wchar_t kClockStart[] = L"2024-05-06T12:00:00";

struct DurationUnit
{
    wchar_t letter;
    bool isTime;
    std::uint64_t seconds;
};

constexpr DurationUnit kUnits[] = {
    {L'Y', false, 365 * kDay}, {L'M', false, 30 * kDay}, {L'D', false, kDay},
    {L'H', true, 3600},        {L'M', true, 60},         {L'S', true, 1},
};

bool IsDigit(wchar_t c)
{
    return c >= L'0' && c <= L'9';
}

// `text` has to look like `pattern`, in which a 0 stands for any digit.
bool LooksLike(std::wstring_view text, std::wstring_view pattern)
{
    if (text.size() != pattern.size())
    {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (pattern[i] == L'0' ? !IsDigit(text[i]) : text[i] != pattern[i])
        {
            return false;
        }
    }
    return true;
}

WORD TwoDigits(std::wstring_view text, std::size_t at)
{
    return static_cast<WORD>((text[at] - L'0') * 10 + (text[at + 1] - L'0'));
}

bool IsZone(std::wstring_view text)
{
    return text.empty() || text == L"Z" || LooksLike(text, L"+00:00") || LooksLike(text, L"-00:00");
}

} // namespace

std::optional<std::uint64_t> ParseDuration(std::wstring_view text)
{
    if (text.size() < 3 || text[0] != L'P')
    {
        return std::nullopt;
    }
    std::uint64_t seconds = 0;
    bool isTime = false;
    std::size_t nextUnit = 0; // units come in their order, each once
    std::size_t at = 1;
    while (at < text.size())
    {
        if (text[at] == L'T')
        {
            if (isTime || ++at == text.size())
            {
                return std::nullopt;
            }
            isTime = true;
            continue;
        }
        std::uint64_t number = 0;
        const std::size_t begin = at;
        while (at < text.size() && IsDigit(text[at]) && at - begin < 9)
        {
            number = number * 10 + static_cast<std::uint64_t>(text[at++] - L'0');
        }
        if (at == begin || at == text.size())
        {
            return std::nullopt;
        }
        while (nextUnit < std::size(kUnits) &&
               (kUnits[nextUnit].letter != text[at] || kUnits[nextUnit].isTime != isTime))
        {
            ++nextUnit;
        }
        if (nextUnit == std::size(kUnits))
        {
            return std::nullopt;
        }
        seconds += number * kUnits[nextUnit++].seconds;
        ++at;
    }
    return seconds;
}

std::optional<LabTime> ParseBoundary(std::wstring_view text)
{
    constexpr std::size_t length = 19;
    if (!LooksLike(text.substr(0, length), L"0000-00-00T00:00:00") || !IsZone(text.substr(length)))
    {
        return std::nullopt;
    }
    SYSTEMTIME parts = {};
    parts.wYear = static_cast<WORD>(TwoDigits(text, 0) * 100 + TwoDigits(text, 2));
    parts.wMonth = TwoDigits(text, 5);
    parts.wDay = TwoDigits(text, 8);
    parts.wHour = TwoDigits(text, 11);
    parts.wMinute = TwoDigits(text, 14);
    parts.wSecond = TwoDigits(text, 17);
    FILETIME time = {};
    if (!SystemTimeToFileTime(&parts, &time))
    {
        return std::nullopt; // the 30th of February
    }
    return ((static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime) / kTicks;
}

std::wstring FormatLabTime(LabTime time)
{
    const std::uint64_t ticks = time * kTicks;
    FILETIME fileTime = {};
    fileTime.dwLowDateTime = static_cast<DWORD>(ticks);
    fileTime.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    SYSTEMTIME parts = {};
    FileTimeToSystemTime(&fileTime, &parts);
    wchar_t text[32] = {};
    _snwprintf(text, 31, L"%04u-%02u-%02uT%02u:%02u:%02u", unsigned{parts.wYear},
               unsigned{parts.wMonth}, unsigned{parts.wDay}, unsigned{parts.wHour},
               unsigned{parts.wMinute}, unsigned{parts.wSecond});
    return text;
}

std::optional<LabTime> NextTime(const TriggerData& trigger, LabTime after)
{
    const auto start = ParseBoundary(trigger.properties.Text(L"StartBoundary").value_or(L""));
    if (trigger.type != TASK_TRIGGER_DAILY || !start)
    {
        return std::nullopt;
    }
    const auto days =
        static_cast<std::uint64_t>(trigger.properties.Number(L"DaysInterval").value_or(1));
    const auto interval =
        ParseDuration(trigger.repetition.Text(L"Interval").value_or(L"")).value_or(0);
    const auto duration =
        ParseDuration(trigger.repetition.Text(L"Duration").value_or(L"")).value_or(0);
    LabTime next = *start;
    if (after >= *start)
    {
        // The day's start, then its repetitions up to the next day's start.
        const LabTime base = *start + (after - *start) / (days * kDay) * (days * kDay);
        next = base + days * kDay;
        if (interval != 0)
        {
            const std::uint64_t passed = ((after - base) / interval + 1) * interval;
            const bool lasts = duration == 0 || passed < duration;
            next = lasts && base + passed < next ? base + passed : next;
        }
    }
    const auto end = ParseBoundary(trigger.properties.Text(L"EndBoundary").value_or(L""));
    return end && next > *end ? std::nullopt : std::optional(next);
}

LabTime ClockNow()
{
    const auto stored = OpenStateKey(L"Clock").String(L"Now");
    const auto time = ParseBoundary(stored.value_or(kClockStart));
    return time.value_or(0);
}

void SetClock(LabTime time)
{
    CreateStateKey(L"Clock").SetString(L"Now", FormatLabTime(time));
}

void ResetClock()
{
    RemoveStateKey(L"Clock");
}

} // namespace PalvoLab
