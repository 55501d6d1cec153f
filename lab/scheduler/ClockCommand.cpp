#include "SchedulerCommands.h"

#include "Text.h"

#include <algorithm>

namespace PalvoLab
{
namespace
{

constexpr std::uint64_t kNoLength = ~std::uint64_t{0};
constexpr std::uint64_t kLongestTurn = 10 * 365 * 24; // hours
constexpr std::uint64_t kFarthestBack = 365 * 24 * 3600;

// "4", "1:30": a length in seconds.
std::optional<std::uint64_t> ParseLength(const std::wstring& text)
{
    const std::vector<std::wstring> parts = Split(text, L':');
    const auto hours = ParseNumber(parts[0]);
    const auto minutes =
        parts.size() == 2 ? ParseNumber(parts[1]) : std::optional<std::uint64_t>(0);
    if (parts.size() > 2 || !hours || *hours > kLongestTurn || !minutes || *minutes > 59)
    {
        return std::nullopt;
    }
    return *hours * 3600 + *minutes * 60;
}

std::wstring StartText(const TaskStart& start)
{
    const std::wstring head = start.task + L" (" + start.reason + L")";
    switch (start.outcome)
    {
    case StartOutcome::Started:
        return L"started: " + head + L" process " + std::to_wstring(start.processId) + L": " +
               start.commandLine;
    case StartOutcome::Queued:
        return L"queued: " + head;
    case StartOutcome::Ignored:
        return L"ignored: " + head + L": an instance runs";
    case StartOutcome::Disabled:
        return L"not started: " + head + L": disabled";
    case StartOutcome::NoProgram:
        break;
    }
    return L"not started: " + head + L": the program could not be started: " + start.commandLine;
}

} // namespace

int PrintStarts(const std::vector<TaskStart>& starts)
{
    for (const TaskStart& start : starts)
    {
        Print(StartText(start));
    }
    return kDone;
}

int RunClock(const Arguments& given)
{
    Arguments arguments = given;
    ClockTurn turn;
    turn.isMachineOff = TakeFlag(arguments, L"--off");
    if (const auto grace = TakeOption(arguments, L"--grace"))
    {
        turn.graceMilliseconds = static_cast<std::uint32_t>(
            std::min<std::uint64_t>(ParseNumber(*grace).value_or(0), INFINITE - 1));
    }
    if (arguments.empty())
    {
        Print(FormatLabTime(ClockNow()));
        return kDone;
    }
    constexpr std::uint64_t day = 24 * 3600;
    const std::uint64_t length =
        arguments.size() == 2 ? ParseLength(arguments[1]).value_or(kNoLength) : kNoLength;
    LabTime to = ClockNow();
    if (arguments[0] == L"back" && length <= kFarthestBack)
    {
        SetClockBack(static_cast<std::uint32_t>(length));
        to = ClockNow();
    }
    else if (arguments[0] == L"forward" && length != kNoLength)
    {
        to += length;
    }
    else if (arguments[0] == L"to" && length < day)
    {
        const LabTime today = to / day * day + length;
        to = today > to ? today : today + day;
    }
    else
    {
        return Misused(L"clock");
    }
    PrintStarts(TurnClock(to, turn));
    Print(FormatLabTime(ClockNow()));
    return kDone;
}

void StartDueTasks()
{
    PrintStarts(RunDueTasks());
}

} // namespace PalvoLab
