#pragma once

#include "Replaced.h"

#include <winevt.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// One event of the channel. A text that is not there is rendered as a null value.
struct FakeEvent
{
    std::uint64_t recordId = 0;
    std::optional<std::wstring> createdPrinter = std::nullopt;
    std::optional<std::wstring> changedPrinter = std::nullopt;
    std::uint16_t eventId = 300;
    std::optional<std::uint16_t> qualifier = std::nullopt;
    DWORD renderError = ERROR_SUCCESS; ///< rendering fails with this code
    bool textsPointNowhere = false;    ///< texts are rendered as null pointers
};

/// Stands in for the event log. Answers with the events at or above the record id of the query,
/// newest first, and keeps what it was asked. Bad or closed handles are refused and counted.
class FakeEventChannel
{
public:
    FakeEventChannel();

    std::vector<FakeEvent> events; ///< in any order

    std::optional<DWORD> queryError;        ///< the query fails with this code
    std::optional<DWORD> contextError;      ///< no render context; this code
    std::optional<DWORD> secondRenderError; ///< the render into the buffer fails
    std::optional<DWORD> nextError;         ///< the fetch number `failingFetch` fails
    unsigned failingFetch = 1;
    DWORD mostPerFetch = MAXDWORD;    ///< fetches give so many events at most
    bool emptyFetches = false;        ///< fetches succeed and say nothing
    bool renderWithoutBuffer = false; ///< the render that asks for the size succeeds
    DWORD renderedValues = 5;         ///< how many values a rendering has
    std::function<void()> onQuery;

    struct Query
    {
        EVT_HANDLE session;
        std::wstring channel;
        std::wstring text;
        DWORD flags;
    };
    std::vector<Query> queries;
    std::vector<std::wstring> renderedPaths; ///< of the last render context
    DWORD contextFlags = 0;
    unsigned contexts = 0; ///< how often a render context was asked for
    unsigned fetches = 0;
    unsigned renderings = 0;
    std::vector<DWORD> renderedSizes; ///< of the buffer, rendering by rendering
    std::vector<DWORD> batchSizes;
    std::vector<DWORD> timeouts;
    std::vector<DWORD> nextFlags;
    unsigned refusedCalls = 0;

    [[nodiscard]] std::size_t OpenHandles() const { return open.size(); }

private:
    enum class Kind : std::uintptr_t
    {
        Query = 0x10000000,
        Event = 0x20000000,
        Context = 0x30000000
    };
    EVT_HANDLE Open(Kind kind, std::size_t index);
    bool IsOpen(EVT_HANDLE handle, Kind kind);
    EVT_HANDLE OpenQuery(EVT_HANDLE session, LPCWSTR channel, LPCWSTR text, DWORD flags);
    BOOL Next(EVT_HANDLE query, DWORD size, EVT_HANDLE* handles, DWORD timeout, DWORD flags,
              DWORD* returned);
    BOOL Render(EVT_HANDLE context, EVT_HANDLE event, DWORD flags, DWORD size, void* buffer,
                DWORD* used, DWORD* count);
    BOOL Fail(DWORD code);

    std::set<std::uintptr_t> open;
    std::vector<FakeEvent> found;
    std::size_t position = 0;

    Replaced<"WEVTAPI", "EvtQuery", decltype(EvtQuery)> evtQuery;
    Replaced<"WEVTAPI", "EvtNext", decltype(EvtNext)> evtNext;
    Replaced<"WEVTAPI", "EvtClose", decltype(EvtClose)> evtClose;
    Replaced<"WEVTAPI", "EvtCreateRenderContext", decltype(EvtCreateRenderContext)> evtContext;
    Replaced<"WEVTAPI", "EvtRender", decltype(EvtRender)> evtRender;
};
