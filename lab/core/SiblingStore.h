// The stand-ins of the sibling programs: what they were told to do and what they recorded.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace PalvoLab
{

enum class SiblingKind
{
    Query,
    Writer,
};

struct SiblingOrders
{
    std::uint32_t takeMilliseconds = 0;
    std::uint32_t takeAtMost = 0; // more than takeMilliseconds: a random time between both
    std::uint32_t returnCode = 0;
    bool hold = false;        // wait until released
    std::wstring eventToPost; // the next one sets it, if it is there
};

struct SiblingRun
{
    SiblingKind kind = SiblingKind::Query;
    std::uint32_t processId = 0;
    std::uint32_t parentId = 0;
    std::wstring account;
    std::wstring commandLine;    // raw, as the process got it
    std::uint64_t startTime = 0; // 100 ns units since 1601
    std::optional<std::uint64_t> endTime;
    std::optional<std::uint32_t> exitCode;
};

std::wstring SiblingName(SiblingKind kind);
std::optional<SiblingKind> ParseSiblingKind(std::wstring_view text);

// The program's file name, "PalvoPrinterQuery.exe".
std::wstring SiblingFile(SiblingKind kind);

SiblingOrders LoadOrders(SiblingKind kind);
void SaveOrders(SiblingKind kind, const SiblingOrders& orders);

// The event that this run is to set; the next one is to set none.
std::wstring TakeEventToPost(SiblingKind kind);

// How often a run of it, each once, is to change a printer, as the real ones do.
void OrderChanges(SiblingKind kind, const std::wstring& printer, std::uint32_t times);

// The printer that this run is to change; empty: none.
std::wstring TakePrinterToChange(SiblingKind kind);

// While orders say hold, a sibling waits for this manual-reset event, which `--release` sets.
std::wstring ReleaseEventName(SiblingKind kind);

void RecordSiblingStart(const SiblingRun& run);

// What the run's program finds as its operands, a line a run.
inline constexpr wchar_t kOperandFile[] = L"operands.log";
void RecordOperands(const SiblingRun& run, const std::vector<std::wstring>& operands);

void RecordSiblingEnd(const SiblingRun& run);

// All runs in the order of their starts.
std::vector<SiblingRun> SiblingRuns();

} // namespace PalvoLab
