#include "ScanModel.h"

#include <algorithm>
#include <set>

namespace ScanModel
{
namespace
{
std::wstring InCapitals(std::wstring text)
{
    for (wchar_t& character : text)
    {
        const bool isSmall = character >= L'a' && character <= L'z';
        character = isSmall ? static_cast<wchar_t>(character - 32) : character;
    }
    return text;
}

/// The events that the scan gets to read, newest first.
std::vector<Event> EventsRead(const Situation& situation)
{
    std::vector<Event> events = situation.events;
    for (std::uint64_t id = 1; id <= situation.fillers; ++id)
    {
        events.push_back({id, L"filler", std::nullopt, false});
    }
    std::erase_if(events, [&](const Event& event) { return event.recordId < situation.position; });
    std::stable_sort(events.begin(), events.end(),
                     [](const Event& left, const Event& right)
                     { return left.recordId > right.recordId; });
    const std::size_t fetched = situation.failingFetch
                                    ? (*situation.failingFetch - 1U) * situation.batchSize
                                    : events.size();
    events.resize(std::min({events.size(), fetched, std::size_t{5001}}));
    return events;
}

bool IsSupported(const std::wstring& name, const Situation& situation)
{
    const auto printer = situation.printers.find(name);
    if (situation.spoolerFails || printer == situation.printers.end() ||
        printer->second.driverModel != 4 || !printer->second.files)
    {
        return false;
    }
    for (const std::wstring& file : *printer->second.files)
    {
        if (file.empty())
        {
            return false; // which ends the list
        }
        const std::wstring capitals = InCapitals(file);
        if (capitals.find(L"-MANIFEST.INI") != std::wstring::npos)
        {
            const auto platform = situation.platforms.find(capitals);
            return platform != situation.platforms.end() &&
                   InCapitals(platform->second) == L"PV6P2.0";
        }
    }
    return false;
}
} // namespace

Outcome Of(const Situation& situation)
{
    Outcome outcome;
    const std::wstring nothingNew = L"Found no new '300/306' events with IDs > ";
    if (situation.queryFails)
    {
        outcome.message = nothingNew + L"0.";
        return outcome;
    }
    const std::vector<Event> events = EventsRead(situation);
    std::vector<std::wstring> names;
    std::uint64_t lastId = 0;
    for (std::size_t i = 0; i < events.size(); ++i)
    {
        std::wstring name;
        if (!events[i].cannotBeRead && !situation.nothingCanBeRead)
        {
            lastId = events[i].recordId;
            name = events[i].changedPrinter.value_or(L"");
            name = name.empty() ? events[i].createdPrinter.value_or(L"") : name;
        }
        names.push_back(name);
        outcome.newestRecordId = i == 0 ? lastId : outcome.newestRecordId;
    }
    if (events.size() > 5000)
    {
        outcome.completed = false;
        outcome.message = L"Found more than 5000 unprocessed '300' and '306' events. Will stop "
                          L"counting and process all printers.";
        return outcome;
    }
    if (events.empty())
    {
        outcome.message = nothingNew + L"0.";
        return outcome;
    }
    names.pop_back(); // the oldest has been dealt with before
    std::set<std::wstring> supported;
    for (const std::wstring& name : names)
    {
        if (IsSupported(name, situation))
        {
            supported.insert(name);
        }
    }
    outcome.noPertinentPrinter = supported.empty();
    outcome.onePrinter = supported.size() == 1;
    outcome.printerName = outcome.onePrinter ? *supported.begin() : L"";

    const std::wstring range = L" with IDs from " + std::to_wstring(lastId + 1) + L" to " +
                               std::to_wstring(outcome.newestRecordId) + L".";
    if (names.empty())
    {
        outcome.message = nothingNew + std::to_wstring(lastId) + L".";
    }
    else if (outcome.onePrinter)
    {
        outcome.message = L"Found one pertinent, non-duplicate '300/306' event in the range of "
                          L"IDs" +
                          range.substr(range.find(L" from")) + L" One printer added or changed: '" +
                          outcome.printerName + L"'";
    }
    else
    {
        outcome.message = L"Found " + std::to_wstring(names.size()) + L" '300/306' events" + range;
    }
    return outcome;
}
} // namespace ScanModel
