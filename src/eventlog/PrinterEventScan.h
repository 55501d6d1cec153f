#pragma once

#include <cstdint>
#include <set>
#include <string>

class LogFile;

/// What a scan of the printer events found.
struct PrinterEventScanResult
{
    bool noPertinentPrinter = false;  ///< there are events, and none concerns a supported printer
    bool onePrinter = false;          ///< exactly one supported printer is concerned
    std::wstring printerName;         ///< its name, when onePrinter is set
    std::uint64_t newestRecordId = 0; ///< the newest record that was read; 0 when none was
};

/// Finds the supported printers that were added or changed since the last record that was dealt
/// with, and logs what it found. False when there are more than 5000 events, so that all printers
/// are to be processed. Stores nothing.
bool ScanForPrinterEvents(LogFile& log, PrinterEventScanResult& result);

/// Sets the flags and the name from the printers found among `eventsRead` events.
void SummarizePrinters(std::uint32_t eventsRead, const std::set<std::wstring>& printers,
                       PrinterEventScanResult& result);
