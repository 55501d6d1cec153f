#pragma once

#include <cstdint>
#include <set>
#include <string>

class LogFile;

/// The result of a scan.
struct PrinterEventScanResult
{
    bool noPertinentPrinter = false;  ///< there are events, and none concerns a supported printer
    bool onePrinter = false;          ///< exactly one supported printer is concerned
    std::wstring printerName;         ///< its name, when onePrinter is set
    std::uint64_t newestRecordId = 0; ///< the newest record that was read; 0 when none was
};

/// Finds the supported printers added or changed since the stored position, and logs the result.
/// False if there are more than 5000 events: all printers are then to be processed. Does not store
/// a position.
bool ScanForPrinterEvents(LogFile& log, PrinterEventScanResult& result);

/// Sets the flags and the name from the printers found among `eventsRead` events.
void SummarizePrinters(std::uint32_t eventsRead, const std::set<std::wstring>& printers,
                       PrinterEventScanResult& result);
