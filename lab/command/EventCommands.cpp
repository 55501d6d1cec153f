#include "Command.h"

#include "EventChannel.h"
#include "TaskRunner.h"
#include "Text.h"

namespace PalvoLab
{
namespace
{

constexpr std::uint64_t kMostAtOnce = 1000000;

// The form in which the spooler logs an event of this id.
Event MakeEvent(std::uint16_t id, const std::wstring& printer)
{
    if (id == 300)
    {
        return PrinterCreatedEvent(printer);
    }
    if (id == 306)
    {
        return PrinterSetEvent(printer);
    }
    Event event;
    event.id = id;
    event.element = L"SpoolerEvent";
    event.parameters = {{L"Param1", printer}};
    return event;
}

int AppendEvents(const Event& event, std::size_t count)
{
    const std::size_t logged =
        EventChannel::Find(kPrintChannel)->Append(std::vector<Event>(count, event));
    return logged == count ? kDone
                           : Complain(std::to_wstring(logged) + L" of " + std::to_wstring(count) +
                                      L" events were recorded: the channel is disabled or full");
}

int AddEvent(Arguments arguments)
{
    const auto qualifiers = TakeOption(arguments, L"--qualifiers");
    const auto element = TakeOption(arguments, L"--element");
    const auto id = arguments.size() == 2 ? ParseNumber(arguments[0]) : std::nullopt;
    if (!id || *id > 0xFFFF)
    {
        return Misused(L"event");
    }
    Event event = MakeEvent(static_cast<std::uint16_t>(*id), ReplaceEscapes(arguments[1]));
    if (qualifiers)
    {
        event.qualifiers = static_cast<std::uint16_t>(ParseNumber(*qualifiers).value_or(0));
    }
    event.element = element.value_or(event.element);
    return AppendEvents(event, 1);
}

int FillChannel(Arguments arguments)
{
    const auto id = TakeOption(arguments, L"--id");
    const auto number = id ? ParseNumber(*id) : std::optional<std::uint64_t>(306);
    const auto count = arguments.size() == 2 ? ParseNumber(arguments[0]) : std::nullopt;
    if (!count || *count > kMostAtOnce || !number || *number > 0xFFFF)
    {
        return Misused(L"event");
    }
    const int result =
        AppendEvents(MakeEvent(static_cast<std::uint16_t>(*number), ReplaceEscapes(arguments[1])),
                     static_cast<std::size_t>(*count));
    // A filled channel is a past that a test wants to have: no task starts for each of its events.
    SkipDueTasks();
    return result;
}

int ListEvents()
{
    for (const Event& event : EventChannel::Find(kPrintChannel)->Select(nullptr))
    {
        std::wstring line = std::to_wstring(event.recordId) + L"\t" + std::to_wstring(event.id) +
                            L"\t" + FormatTime(event.time) + L"\t" + event.element;
        for (const auto& [name, value] : event.parameters)
        {
            line += L"\t" + name + L"=" + value;
        }
        Print(line);
    }
    return kDone;
}

} // namespace

int RunEvent(const Arguments& arguments)
{
    const std::wstring what = arguments.empty() ? L"" : arguments[0];
    const Arguments rest(arguments.begin() + (arguments.empty() ? 0 : 1), arguments.end());
    if (what == L"add")
    {
        return AddEvent(rest);
    }
    if (what == L"fill")
    {
        return FillChannel(rest);
    }
    if (what == L"list" && rest.empty())
    {
        return ListEvents();
    }
    if (what == L"clear" && rest.empty())
    {
        EventChannel::Find(kPrintChannel)->Clear();
        return kDone;
    }
    return Misused(L"event");
}

} // namespace PalvoLab
