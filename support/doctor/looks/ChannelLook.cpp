#include "EventLogReader.h"
#include "EventOwners.h"
#include "Looks.h"
#include "PrintServiceChannel.h"
#include "ScanPosition.h"

#include <algorithm>
#include <array>

namespace
{
constexpr wchar_t AllEvents[] = L"*";
constexpr wchar_t PrinterEvents[] = L"Event/System[(EventID=300 or EventID=306)]";
constexpr std::uint32_t MostEvents = 5000;

bool Get(const EventHandle& channel, EVT_CHANNEL_CONFIG_PROPERTY_ID id, EVT_VARIANT& value)
{
    DWORD used = 0;
    return EvtGetChannelConfigProperty(channel.Get(), id, 0, sizeof value, &value, &used) != FALSE;
}

DWORD ReadConfiguration(ChannelFacts& facts)
{
    const EventHandle channel(EvtOpenChannelConfig(nullptr, PrintServiceChannel, 0));
    EVT_VARIANT enabled = {};
    EVT_VARIANT retains = {};
    EVT_VARIANT size = {};
    if (!channel || !Get(channel, EvtChannelConfigEnabled, enabled) ||
        !Get(channel, EvtChannelLoggingConfigRetention, retains) ||
        !Get(channel, EvtChannelLoggingConfigMaxSize, size))
    {
        return GetLastError() == ERROR_SUCCESS ? ERROR_INVALID_DATA : GetLastError();
    }
    facts.enabled = enabled.BooleanVal != FALSE;
    facts.retains = retains.BooleanVal != FALSE;
    facts.maximumSize = size.UInt64Val;
    return 0;
}

/// Record id and time of an event.
EventFact Render(EVT_HANDLE event)
{
    std::array<const wchar_t*, 2> paths = {L"Event/System/EventRecordID",
                                           L"Event/System/TimeCreated/@SystemTime"};
    const EventHandle context(EvtCreateRenderContext(static_cast<DWORD>(paths.size()), paths.data(),
                                                     EvtRenderContextValues));
    std::array<EVT_VARIANT, 2> values = {};
    DWORD used = 0;
    DWORD count = 0;
    if (!context || !EvtRender(context.Get(), event, EvtRenderEventValues, sizeof values,
                               values.data(), &used, &count))
    {
        return {};
    }
    return {values[0].UInt64Val, values[1].FileTimeVal};
}

/// The first event of a query in a direction. 0, also when there is none, or the error.
DWORD First(const wchar_t* query, DWORD direction, EventFact& fact)
{
    const EventHandle events(
        EvtQuery(nullptr, PrintServiceChannel, query, EvtQueryChannelPath | direction));
    EventHandle event;
    DWORD returned = 0;
    if (!events || !event.KeepIf(EvtNext(events.Get(), 1, event.Receive(), INFINITE, 0, &returned)))
    {
        const DWORD error = GetLastError();
        return error == ERROR_NO_MORE_ITEMS ? 0 : error;
    }
    fact = Render(event.Get());
    return 0;
}

void FindLastEvents(ChannelFacts& facts)
{
    EventLogReader reader(0);
    if (!reader.OpenQuery())
    {
        return;
    }
    while (reader.MoveNext() && reader.EventsRead() <= MostEvents)
    {
        if (reader.ReadNext() == ERROR_SUCCESS)
        {
            facts.lastEvents.emplace(reader.PrinterName(), reader.RecordId());
        }
    }
}
} // namespace

ChannelFacts LookAtChannel()
{
    ChannelFacts facts;
    facts.openError = ReadConfiguration(facts);
    // The position first: a run that stores a newer one meanwhile has dealt with what follows.
    facts.position = ReadScanPosition();
    for (const DWORD error :
         {First(AllEvents, EvtQueryForwardDirection, facts.oldest),
          First(AllEvents, EvtQueryReverseDirection, facts.newest),
          First(PrinterEvents, EvtQueryReverseDirection, facts.newestPrinterEvent)})
    {
        facts.queryError = std::max(facts.queryError, error);
    }
    FindLastEvents(facts);
    return facts;
}
