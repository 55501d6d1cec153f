#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// What a scan of the printer events finds, written down a second time and apart from the program.
namespace ScanModel
{
struct Event
{
    std::uint64_t recordId = 0;
    std::optional<std::wstring> createdPrinter;
    std::optional<std::wstring> changedPrinter;
    bool cannotBeRead = false;
};

struct Printer
{
    unsigned driverModel = 4;
    std::optional<std::vector<std::wstring>> files;
};

struct Situation
{
    std::uint64_t position = 0; ///< the record that was dealt with last
    std::vector<Event> events;  ///< in any order
    std::uint64_t fillers = 0;  ///< so many events more, of no printer, with the ids from 1 on
    std::map<std::wstring, Printer> printers;
    std::map<std::wstring, std::wstring> platforms; ///< by the manifest's path, in capitals
    bool queryFails = false;
    bool nothingCanBeRead = false;
    bool spoolerFails = false;
    std::size_t batchSize = 10;           ///< how many events a fetch gives
    std::optional<unsigned> failingFetch; ///< counted from 1
};

struct Outcome
{
    bool completed = true;
    bool noPertinentPrinter = false;
    bool onePrinter = false;
    std::wstring printerName;
    std::uint64_t newestRecordId = 0;
    std::wstring message;
};
Outcome Of(const Situation& situation);
} // namespace ScanModel
