#include "PrinterEventScan.h"

#include "EventLogReader.h"
#include "LogFile.h"
#include "ScanPosition.h"
#include "SupportedPrinters.h"

namespace
{
constexpr std::uint32_t MostEvents = 5000;

/// Reads every event and examines its printer. False when there are too many events.
bool ReadEvents(EventLogReader& reader, SupportedPrinters& printers, std::uint64_t& newestRecordId)
{
    std::wstring previousPrinter;
    bool firstEvent = true;
    while (reader.MoveNext())
    {
        // An event that cannot be rendered counts, with an empty printer name: it must not hide the
        // others.
        reader.ReadNext();
        // A printer is examined one event late, so that the oldest event's printer never is: that
        // event is the one that was dealt with last time.
        if (firstEvent)
        {
            newestRecordId = reader.RecordId();
            firstEvent = false;
        }
        else
        {
            printers.Examine(previousPrinter);
        }
        previousPrinter = reader.PrinterName();
        if (reader.EventsRead() > MostEvents)
        {
            return false;
        }
    }
    return true;
}

void LogNothingNew(LogFile& log, std::uint64_t recordId)
{
    log.WriteFormat(L"Found no new '300/306' events with IDs > %I64u.", recordId);
}

void LogFindings(LogFile& log, const EventLogReader& reader, const PrinterEventScanResult& result)
{
    if (reader.EventsRead() <= 1)
    {
        LogNothingNew(log, reader.RecordId());
    }
    else if (result.onePrinter)
    {
        log.WriteFormat(L"Found one pertinent, non-duplicate '300/306' event in the range of IDs "
                        L"from %I64u to %I64u. One printer added or changed: '%s'",
                        reader.RecordId() + 1, result.newestRecordId, result.printerName);
    }
    else
    {
        log.WriteFormat(L"Found %u '300/306' events with IDs from %I64u to %I64u.",
                        reader.EventsRead() - 1, reader.RecordId() + 1, result.newestRecordId);
    }
}
} // namespace

void SummarizePrinters(std::uint32_t eventsRead, const std::set<std::wstring>& printers,
                       PrinterEventScanResult& result)
{
    if (eventsRead == 0)
    {
        return;
    }
    result.noPertinentPrinter = printers.empty();
    result.onePrinter = printers.size() == 1;
    if (result.onePrinter)
    {
        result.printerName = *printers.begin();
    }
}

bool ScanForPrinterEvents(LogFile& log, PrinterEventScanResult& result)
{
    result = {};
    EventLogReader reader(ReadScanPosition());
    if (!reader.OpenQuery() && GetLastError() != ERROR_SUCCESS)
    {
        LogNothingNew(log, 0);
        return true;
    }
    SupportedPrinters printers;
    if (!ReadEvents(reader, printers, result.newestRecordId))
    {
        log.Write(
            L"Found more than 5000 unprocessed '300' and '306' events. Will stop counting and "
            L"process all printers.");
        return false;
    }
    SummarizePrinters(reader.EventsRead(), printers.Names(), result);
    LogFindings(log, reader, result);
    return true;
}
