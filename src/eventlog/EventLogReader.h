#pragma once

#include "EventOwners.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

/// The query for printer events from a record id on, that one included on purpose: the event that
/// was dealt with last ends the range.
std::wstring PrinterEventQuery(std::uint64_t firstRecordId);

/// Reads the printer events of the print service's channel, newest first, in batches of ten.
class EventLogReader
{
public:
    explicit EventLogReader(std::uint64_t firstRecordId);
    virtual ~EventLogReader() = default;
    EventLogReader(const EventLogReader&) = delete;
    EventLogReader& operator=(const EventLogReader&) = delete;

    /// Starts the query (EvtQuery). False, with the reason in GetLastError(), if that fails.
    bool OpenQuery();

    /// Goes to the next event. False at the end of the result set, or if a batch fails.
    bool MoveNext();

    /// Renders the current event's record id, event id and printer name. Returns the Windows error
    /// code, or 0. On failure the printer name is empty and the ids are still the previous event's.
    DWORD ReadNext();

    [[nodiscard]] std::uint64_t RecordId() const noexcept { return recordId; }
    /// The event's id, with its qualifier in the high 16 bits.
    [[nodiscard]] std::uint32_t EventId() const noexcept { return eventId; }
    [[nodiscard]] const std::wstring& PrinterName() const noexcept { return printerName; }
    /// How many events were visited.
    [[nodiscard]] std::uint32_t EventsRead() const noexcept { return eventsRead; }

private:
    static constexpr DWORD BatchSize = 10;

    bool FetchBatch();
    bool HasContext();
    bool Render(DWORD& size, DWORD& count);
    void TakeValues(DWORD count);

    const wchar_t* channelPath;
    std::wstring queryText;
    EventHandle query;
    DWORD batchCapacity = BatchSize;
    std::array<EventHandle, BatchSize> batch;
    DWORD returnedCount = 0;
    DWORD currentIndex = 0; ///< counted from 1; 0 before the first batch
    std::uint32_t eventsRead = 0;
    bool endReached = false;
    bool currentValid = false; ///< set for every event, cleared by nothing
    std::uint64_t recordId = 0;
    std::uint32_t eventId = 0;
    std::wstring reservedText; ///< only reserves room: never filled
    std::wstring printerName;

    // Behind the record, shared by all events: creating them for each would take longer than
    // rendering it.
    EventHandle context;
    std::vector<BYTE> buffer; ///< as large as the largest event needed
};
