#include "EventLogReader.h"

#include "Format.h"
#include "PrintServiceChannel.h"

namespace
{
// An event's values, in the order of the render context's paths.
enum RenderedValue : DWORD
{
    EventIdValue,
    QualifierValue,
    RecordIdValue,
    CreatedPrinterValue,
    ChangedPrinterValue,
    RenderedValueCount
};

std::wstring TextOf(const EVT_VARIANT& value)
{
    if (value.Type != EvtVarTypeString || value.StringVal == nullptr)
    {
        return {};
    }
    return value.StringVal;
}

/// GetLastError() after a failed call, or ERROR_INVALID_DATA if none was set.
DWORD FailureCode()
{
    const DWORD code = GetLastError();
    return code == ERROR_SUCCESS ? ERROR_INVALID_DATA : code;
}
} // namespace

std::wstring PrinterEventQuery(std::uint64_t firstRecordId)
{
    // A record id has 64 bits.
    return Format(L"Event/System[(EventID=300 or EventID=306) and EventRecordID >= %I64u]",
                  firstRecordId);
}

EventLogReader::EventLogReader(std::uint64_t firstRecordId)
    : channelPath(PrintServiceChannel), queryText(PrinterEventQuery(firstRecordId))
{
}

bool EventLogReader::OpenQuery()
{
    query = EventHandle(EvtQuery(nullptr, channelPath, queryText.c_str(),
                                 EvtQueryChannelPath | EvtQueryReverseDirection));
    return query.IsValid();
}

bool EventLogReader::MoveNext()
{
    if (endReached)
    {
        return false;
    }
    if (currentIndex == returnedCount)
    {
        // Windows may return fewer events than requested: only a failed batch is the end.
        endReached = !FetchBatch();
        if (endReached)
        {
            return false;
        }
    }
    ++currentIndex;
    ++eventsRead;
    currentValid = true;
    return currentValid;
}

bool EventLogReader::FetchBatch()
{
    for (EventHandle& event : batch)
    {
        event.Reset();
    }
    currentIndex = 0;
    returnedCount = 0;
    std::array<EVT_HANDLE, BatchSize> handles = {};
    if (!EvtNext(query.Get(), batchCapacity, handles.data(), INFINITE, 0, &returnedCount))
    {
        returnedCount = 0;
    }
    for (DWORD i = 0; i < returnedCount; ++i)
    {
        batch[i] = EventHandle(handles[i]);
    }
    return returnedCount != 0;
}

DWORD EventLogReader::ReadNext()
{
    printerName.clear();
    if (!HasContext())
    {
        return FailureCode();
    }
    DWORD size = 0;
    DWORD count = 0;
    bool isRendered = Render(size, count);
    if (!isRendered && GetLastError() == ERROR_INSUFFICIENT_BUFFER)
    {
        buffer.resize(size);
        isRendered = Render(size, count);
    }
    if (!isRendered || buffer.empty())
    {
        return FailureCode();
    }
    TakeValues(count);
    return ERROR_SUCCESS;
}

/// Creates the render context at the first event, or at a later one if that failed.
bool EventLogReader::HasContext()
{
    if (!context)
    {
        std::array<const wchar_t*, RenderedValueCount> paths = {
            L"Event/System/EventID",
            L"Event/System/EventID/Qualifier",
            L"Event/System/EventRecordID",
            L"Event/UserData/PrinterCreated/Param1",
            L"Event/UserData/PrinterSet/Param1",
        };
        context = EventHandle(
            EvtCreateRenderContext(RenderedValueCount, paths.data(), EvtRenderContextValues));
    }
    return context.IsValid();
}

/// Renders the current event into the buffer. `size` gets the size that it needs.
bool EventLogReader::Render(DWORD& size, DWORD& count)
{
    return EvtRender(context.Get(), batch[currentIndex - 1].Get(), EvtRenderEventValues,
                     static_cast<DWORD>(buffer.size()), buffer.data(), &size, &count) != FALSE;
}

void EventLogReader::TakeValues(DWORD count)
{
    if (count != RenderedValueCount)
    {
        return;
    }
    const auto* values = reinterpret_cast<const EVT_VARIANT*>(buffer.data());
    recordId = values[RecordIdValue].UInt64Val;
    eventId = values[EventIdValue].UInt16Val;
    if (values[QualifierValue].Type != EvtVarTypeNull)
    {
        eventId |= static_cast<std::uint32_t>(values[QualifierValue].UInt16Val) << 16;
    }
    printerName = TextOf(values[ChangedPrinterValue]);
    if (printerName.empty())
    {
        printerName = TextOf(values[CreatedPrinterValue]);
    }
}
