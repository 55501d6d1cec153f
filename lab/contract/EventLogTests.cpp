#include "Check.h"

#include "EventChannel.h"

#include <winevt.h>

#include <cstring>
#include <vector>

using namespace PalvoLab;

namespace
{

constexpr DWORD kReverse = EvtQueryChannelPath | EvtQueryReverseDirection;
constexpr DWORD kForward = EvtQueryChannelPath | EvtQueryForwardDirection;
constexpr wchar_t kScan[] = L"Event/System[(EventID=300 or EventID=306) and EventRecordID >= 2]";

// Three printer events and one of another kind, with record ids that go on from before.
std::uint64_t Prepare()
{
    const EventChannel channel = *EventChannel::Find(kPrintChannel);
    channel.Clear();
    Event other;
    other.id = 307;
    other.element = L"DocumentPrinted";
    other.parameters = {{L"Param1", L"1"}};
    channel.Append({PrinterCreatedEvent(L"A"), PrinterSetEvent(L"B"), other, PrinterSetEvent(L"")});
    return channel.Select(nullptr).front().recordId;
}

EVT_HANDLE Query(const wchar_t* xpath, DWORD flags)
{
    return EvtQuery(nullptr, kPrintChannel, xpath, flags);
}

bool QueryWorks(const wchar_t* xpath)
{
    const EVT_HANDLE query = Query(xpath, kForward);
    return query != nullptr && EvtClose(query);
}

std::vector<EVT_HANDLE> All(EVT_HANDLE query)
{
    std::vector<EVT_HANDLE> all;
    EVT_HANDLE batch[2] = {};
    DWORD count = 0;
    while (EvtNext(query, 2, batch, INFINITE, 0, &count))
    {
        all.insert(all.end(), batch, batch + count);
    }
    return all;
}

EVT_HANDLE Context()
{
    LPCWSTR paths[] = {L"Event/System/EventID", L"Event/System/EventID/Qualifier",
                       L"Event/System/EventRecordID", L"Event/UserData/PrinterCreated/Param1",
                       L"Event/UserData/PrinterSet/Param1"};
    return EvtCreateRenderContext(5, paths, EvtRenderContextValues);
}

std::vector<BYTE> Render(EVT_HANDLE context, EVT_HANDLE event)
{
    DWORD used = 0;
    DWORD count = 0;
    EvtRender(context, event, EvtRenderEventValues, 0, nullptr, &used, &count);
    std::vector<BYTE> buffer(used);
    CHECK(EvtRender(context, event, EvtRenderEventValues, used, buffer.data(), &used, &count));
    CHECK(count == 5);
    return buffer;
}

} // namespace

LAB_TEST(AQueryFindsWhatItsTextSelectsNewestFirst)
{
    const std::uint64_t first = Prepare();
    const EVT_HANDLE query = Query(kScan, kReverse);
    const std::vector<EVT_HANDLE> events = All(query);
    CHECK(GetLastError() == ERROR_NO_MORE_ITEMS);
    CHECK(events.size() == (first == 1 ? 2 : 3));
    const EVT_HANDLE context = Context();
    const std::vector<BYTE> newest = Render(context, events.front());
    const auto* values = reinterpret_cast<const EVT_VARIANT*>(newest.data());
    CHECK(values[0].Type == EvtVarTypeUInt16 && values[0].UInt16Val == 306);
    CHECK(values[1].Type == EvtVarTypeNull);
    CHECK(values[2].Type == EvtVarTypeUInt64 && values[2].UInt64Val == first + 3);
    CHECK(values[3].Type == EvtVarTypeNull);
    CHECK(values[4].Type == EvtVarTypeString && *values[4].StringVal == L'\0');
    for (const EVT_HANDLE event : events)
    {
        CHECK(EvtClose(event));
    }
    CHECK(EvtClose(context));
    CHECK(EvtClose(query));
}

LAB_TEST(RecordIdsGoOnCountingAfterAClear)
{
    const std::uint64_t before = Prepare();
    CHECK(Prepare() == before + 4);
}

STATEMENT(AQueryThatIsNotWellFormedFails, "EvtQuery", Caller::Anybody)
{
    for (const wchar_t* text :
         {L"", L"Event/System[", L"Event/System[EventID=]", L"Event/System[EventID=300 or]",
          L"Event/System[(EventID=300]", L"Event/System[EventID=300]]", L"Event//System",
          L"Event/System[EventID=abc]", L"and", L"Event/System[EventID='300]"})
    {
        CHECK_FAILS(Query(text, kForward), 15001);
    }
    for (const wchar_t* text :
         {L"*", L"Event", L"*[System[EventID=300]]", L"Event/System[EventID != 1 and Level<5]",
          L"*[EventData[Data[@Name='LogonType']='10']]", L"Event[System/EventID=300]",
          L"Event/System[Band(Keywords, 16)]"})
    {
        CHECK(QueryWorks(text));
    }
}

STATEMENT(AQueryNeedsAKnownChannelAndSoundFlags, "EvtQuery", Caller::Anybody)
{
    CHECK_FAILS(EvtQuery(nullptr, L"No Such Channel", L"*", kForward), 15007);
    CHECK_FAILS(EvtQuery(nullptr, nullptr, L"*", kForward), ERROR_INVALID_PARAMETER);
    CHECK_FAILS(Query(L"*", 0), ERROR_INVALID_PARAMETER);
    CHECK_FAILS(Query(L"*", kForward | EvtQueryReverseDirection), ERROR_INVALID_PARAMETER);
    CHECK_FAILS(Query(L"*", kForward | 0x4000), ERROR_INVALID_PARAMETER);
}

STATEMENT(EventHandlesThatAreNotOpenAreRefused, "EvtNext, EvtClose", Caller::Anybody)
{
    const EVT_HANDLE query = Query(L"*", kForward);
    const EVT_HANDLE context = Context();
    EVT_HANDLE batch[10] = {};
    DWORD count = 0;
    CHECK_FAILS(EvtNext(context, 1, batch, INFINITE, 0, &count), ERROR_INVALID_HANDLE);
    CHECK_FAILS(EvtNext(query, 0, batch, INFINITE, 0, &count), ERROR_INVALID_PARAMETER);
    CHECK(EvtClose(context));
    CHECK_FAILS(EvtClose(context), ERROR_INVALID_HANDLE);
    CHECK(EvtClose(query));
    CHECK_FAILS(EvtNext(query, 10, batch, INFINITE, 0, &count), ERROR_INVALID_HANDLE);
    CHECK_FAILS(EvtClose(nullptr), ERROR_INVALID_HANDLE);
}

STATEMENT(AResultWithoutEventsEndsAtOnce, "EvtNext", Caller::Anybody)
{
    const EVT_HANDLE query = Query(L"Event/System[EventID=42424]", kReverse);
    EVT_HANDLE event = nullptr;
    DWORD count = 1;
    CHECK_FAILS(EvtNext(query, 1, &event, INFINITE, 0, &count), ERROR_NO_MORE_ITEMS);
    CHECK(count == 0);
    CHECK(EvtClose(query));
}

STATEMENT(UsersReadNoLogons, "EvtQuery", Caller::StandardUser)
{
    CHECK_FAILS(EvtQuery(nullptr, L"Security", L"*", kForward), ERROR_ACCESS_DENIED);
    CHECK(QueryWorks(L"*"));
}

LAB_TEST(RenderingAsksForItsSizeFirst)
{
    Prepare();
    const EVT_HANDLE query = Query(L"*", kForward);
    const std::vector<EVT_HANDLE> events = All(query);
    const EVT_HANDLE context = Context();
    DWORD used = 0;
    DWORD count = 7;
    CHECK_FAILS(EvtRender(context, events[0], EvtRenderEventValues, 0, nullptr, &used, &count),
                ERROR_INSUFFICIENT_BUFFER);
    CHECK(used == 5 * sizeof(EVT_VARIANT) + sizeof(L"A"));
    std::vector<BYTE> buffer(used);
    CHECK_FAILS(
        EvtRender(context, events[0], EvtRenderEventValues, used - 1, buffer.data(), &used, &count),
        ERROR_INSUFFICIENT_BUFFER);
    CHECK_FAILS(
        EvtRender(query, events[0], EvtRenderEventValues, used, buffer.data(), &used, &count),
        ERROR_INVALID_HANDLE);
    const std::vector<BYTE> values = Render(context, events[0]);
    const auto* variants = reinterpret_cast<const EVT_VARIANT*>(values.data());
    CHECK(std::wcscmp(variants[3].StringVal, L"A") == 0);
    for (const EVT_HANDLE event : events)
    {
        EvtClose(event);
    }
    EvtClose(context);
    EvtClose(query);
}

STATEMENT(AContextNeedsSoundPaths, "EvtCreateRenderContext", Caller::Anybody)
{
    LPCWSTR broken[] = {L"Event/System["};
    CHECK_FAILS(EvtCreateRenderContext(1, broken, EvtRenderContextValues), 15001);
    CHECK_FAILS(EvtCreateRenderContext(0, nullptr, EvtRenderContextValues),
                ERROR_INVALID_PARAMETER);
}

LAB_TEST(AClearedChannelMakesResultsStale)
{
    Prepare();
    const EVT_HANDLE query = Query(L"*", kForward);
    EventChannel::Find(kPrintChannel)->Clear();
    EVT_HANDLE event = nullptr;
    DWORD count = 0;
    CHECK_FAILS(EvtNext(query, 1, &event, INFINITE, 0, &count), 15011);
    EvtClose(query);
}

LAB_TEST(BatchesMayBeShortInTheMiddleOfAResult)
{
    const EventChannel channel = *EventChannel::Find(kPrintChannel);
    channel.Clear();
    channel.Append(std::vector<Event>(25, PrinterSetEvent(L"X")));
    const EVT_HANDLE query = Query(L"*", kForward);
    std::vector<DWORD> counts;
    EVT_HANDLE batch[10] = {};
    DWORD count = 0;
    while (EvtNext(query, 10, batch, INFINITE, 0, &count))
    {
        counts.push_back(count);
        for (DWORD i = 0; i < count; ++i)
        {
            EvtClose(batch[i]);
        }
    }
    CHECK(GetLastError() == ERROR_NO_MORE_ITEMS);
    CHECK((counts == std::vector<DWORD>{2, 10, 1, 6, 2, 4}));
    EvtClose(query);
}

LAB_TEST(AChannelOfOneMebibyteHoldsAboutAThousandEvents)
{
    const EventChannel channel = *EventChannel::Find(kPrintChannel);
    channel.Clear();
    ChannelConfig config;
    config.maxSize = 1052672;
    channel.SaveConfig(config);
    for (int i = 0; i < 3; ++i)
    {
        CHECK(channel.Append(std::vector<Event>(700, PrinterSetEvent(L"Front Desk"))) == 700);
        const std::size_t kept = channel.Select(nullptr).size();
        CHECK(i == 0 ? kept == 700 : kept > 900 && kept < 1100);
    }
    channel.Clear();
    CHECK(channel.Append(std::vector<Event>(700, PrinterSetEvent(L"Front Desk"))) == 700);
    CHECK(channel.Select(nullptr).size() == 700);
    channel.SaveConfig(ChannelConfig());
}

STATEMENT(AChannelTellsEachSettingWithItsType, "EvtGetChannelConfigProperty", Caller::Anybody)
{
    const EVT_HANDLE handle = EvtOpenChannelConfig(nullptr, kPrintChannel, 0);
    EVT_VARIANT value = {};
    DWORD used = 0;
    CHECK_FAILS(EvtGetChannelConfigProperty(handle, EvtChannelConfigEnabled, 0, 0, nullptr, &used),
                ERROR_INSUFFICIENT_BUFFER);
    CHECK(used == sizeof value);
    CHECK(EvtGetChannelConfigProperty(handle, EvtChannelConfigEnabled, 0, sizeof value, &value,
                                      &used));
    CHECK(value.Type == EvtVarTypeBoolean);
    CHECK(EvtGetChannelConfigProperty(handle, EvtChannelLoggingConfigMaxSize, 0, sizeof value,
                                      &value, &used));
    CHECK(value.Type == EvtVarTypeUInt64);
    CHECK(EvtClose(handle));
    CHECK_FAILS(EvtGetChannelConfigProperty(handle, EvtChannelConfigEnabled, 0, sizeof value,
                                            &value, &used),
                ERROR_INVALID_HANDLE);
}

STATEMENT(AChannelTakesNoSettingOfAnotherType, "EvtSetChannelConfigProperty", Caller::Anybody)
{
    const EVT_HANDLE handle = EvtOpenChannelConfig(nullptr, kPrintChannel, 0);
    EVT_VARIANT value = {};
    value.Type = EvtVarTypeUInt64;
    value.UInt64Val = 1052672;
    CHECK(EvtSetChannelConfigProperty(handle, EvtChannelLoggingConfigMaxSize, 0, &value));
    CHECK_FAILS(EvtSetChannelConfigProperty(handle, EvtChannelConfigEnabled, 0, &value),
                ERROR_INVALID_PARAMETER);
    CHECK(EvtClose(handle)); // Without saving it.
    CHECK_FAILS(EvtOpenChannelConfig(nullptr, L"No Such Channel", 0), 15007);
}

STATEMENT(UsersSaveNoChannelsSettings, "EvtSaveChannelConfig", Caller::StandardUser)
{
    const EVT_HANDLE handle = EvtOpenChannelConfig(nullptr, kPrintChannel, 0);
    CHECK_FAILS(EvtSaveChannelConfig(handle, 0), ERROR_ACCESS_DENIED);
    CHECK(EvtClose(handle));
}

LAB_TEST(AChannelObeysItsConfiguration)
{
    const EventChannel channel = *EventChannel::Find(kPrintChannel);
    Prepare();
    ChannelConfig config;
    config.enabled = false;
    channel.SaveConfig(config);
    CHECK(channel.Append({PrinterSetEvent(L"X")}) == 0);
    config.enabled = true;
    config.maxSize = 4096;
    channel.SaveConfig(config);
    CHECK(channel.Append({PrinterSetEvent(L"First")}) == 1);
    const std::uint64_t first = channel.Select(nullptr).back().recordId;
    CHECK(channel.Append(std::vector<Event>(500, PrinterSetEvent(L"X"))) == 500);
    const std::vector<Event> kept = channel.Select(nullptr);
    CHECK(kept.size() >= 2 && kept.size() <= 4);
    CHECK(kept.back().recordId == first + 500);
    CHECK(kept.back().recordId - kept.front().recordId == kept.size() - 1);
    config.retention = true;
    channel.SaveConfig(config);
    CHECK(channel.Append(std::vector<Event>(500, PrinterSetEvent(L"X"))) <= 1);
    channel.SaveConfig(ChannelConfig());
}

LAB_TEST(ChannelSettingsTakeEffectWhenTheyAreSaved)
{
    const EVT_HANDLE handle = EvtOpenChannelConfig(nullptr, kPrintChannel, 0);
    EVT_VARIANT value = {};
    DWORD used = 0;
    CHECK(EvtGetChannelConfigProperty(handle, EvtChannelLoggingConfigMaxSize, 0, sizeof value,
                                      &value, &used));
    CHECK(value.UInt64Val == ChannelConfig().maxSize && value.UInt64Val != 1052672);
    value.UInt64Val = 1052672;
    CHECK(EvtSetChannelConfigProperty(handle, EvtChannelLoggingConfigMaxSize, 0, &value));
    CHECK(EventChannel::Find(kPrintChannel)->Config().maxSize == ChannelConfig().maxSize);
    CHECK(EvtSaveChannelConfig(handle, 0));
    CHECK(EventChannel::Find(kPrintChannel)->Config().maxSize == 1052672);
    CHECK(EvtClose(handle));
}
