#include "CodeText.h"
#include "FakeEventChannel.h"
#include "FakeSpooler.h"
#include "MemoryLog.h"
#include "PrinterEventScan.h"
#include "RandomRun.h"
#include "RedirectedRoot.h"
#include "ScanSituations.h"

namespace
{
using namespace std::string_literals;

/// A scan of the printer events finds what the model finds.
class Scans
{
public:
    using Case = ScanModel::Situation;

    Scans()
        : readManifest(
              [this](LPCWSTR section, LPCWSTR key, LPCWSTR defaultText, LPWSTR buffer, DWORD size,
                     LPCWSTR file)
              {
                  const bool isAsked =
                      section == L"PV-Private"s && key == L"DriverPlatform"s && size == 10;
                  const auto found = current->platforms.find(file);
                  const std::wstring text =
                      isAsked && found != current->platforms.end() ? found->second : defaultText;
                  const std::size_t length = text.copy(buffer, size - 1);
                  buffer[length] = L'\0';
                  return static_cast<DWORD>(length);
              })
    {
        machine.CreateKey(OwnKey);
    }

    static Case Generate(Random& random) { return AnySituation(random); }
    static std::vector<Case> Simpler(const Case& tried) { return SimplerSituations(tried); }
    static std::string Text(const Case& tried) { return SituationText(tried); }

    std::optional<std::string> Difference(const Case& tried)
    {
        current = &tried;
        memoryLog.Clear();
        machine.SetNumber(OwnKey, L"LastEvtRecordProcessed", tried.position);
        FakeEventChannel channel;
        FakeSpooler spooler;
        SetUp(tried, channel, spooler);
        PrinterEventScanResult found = {true, true, L"", 77};
        const bool completed = ScanForPrinterEvents(memoryLog.Log(), found);

        const ScanModel::Outcome expected = ScanModel::Of(tried);
        if (completed != expected.completed ||
            found.noPertinentPrinter != expected.noPertinentPrinter ||
            found.onePrinter != expected.onePrinter ||
            found.newestRecordId != expected.newestRecordId)
        {
            return "completed, no pertinent printer, one printer, newest record: " +
                   Named(completed, found.noPertinentPrinter, found.onePrinter,
                         found.newestRecordId) +
                   ", not " +
                   Named(expected.completed, expected.noPertinentPrinter, expected.onePrinter,
                         expected.newestRecordId);
        }
        if (found.onePrinter && found.printerName != expected.printerName)
        {
            return "the printer " + CodeText(found.printerName) + ", not " +
                   CodeText(expected.printerName);
        }
        if (channel.OpenHandles() != 0 || channel.refusedCalls != 0 ||
            spooler.OpenPrinters() != 0 || spooler.refusedCalls != 0)
        {
            return "a handle is open, or was closed twice";
        }
        return memoryLog.Difference({expected.message});
    }

private:
    static constexpr wchar_t OwnKey[] =
        L"Software\\Palvo\\PrinterDriver\\V6.0\\PalvoPrinterConfiguration";

    static void SetUp(const Case& tried, FakeEventChannel& channel, FakeSpooler& spooler)
    {
        for (const ScanModel::Event& event : tried.events)
        {
            channel.events.push_back({event.recordId, event.createdPrinter, event.changedPrinter});
            channel.events.back().renderError = event.cannotBeRead ? ERROR_INVALID_DATA : 0;
        }
        for (std::uint64_t id = 1; id <= tried.fillers; ++id)
        {
            channel.events.push_back({id, L"filler"});
        }
        for (const auto& [name, printer] : tried.printers)
        {
            spooler.printers[name] = {printer.driverModel, printer.files};
        }
        if (tried.queryFails)
        {
            channel.queryError = ERROR_EVT_CHANNEL_NOT_FOUND;
        }
        if (tried.nothingCanBeRead)
        {
            channel.contextError = ERROR_NOT_ENOUGH_MEMORY;
        }
        if (tried.spoolerFails)
        {
            spooler.driverError = RPC_S_SERVER_UNAVAILABLE;
        }
        channel.mostPerFetch = static_cast<DWORD>(tried.batchSize);
        if (tried.failingFetch)
        {
            channel.nextError = RPC_S_INVALID_BOUND;
            channel.failingFetch = *tried.failingFetch;
        }
    }

    static std::string Named(bool completed, bool none, bool one, std::uint64_t newest)
    {
        return std::to_string(completed) + ", " + std::to_string(none) + ", " +
               std::to_string(one) + ", " + std::to_string(newest);
    }

    MemoryLog memoryLog; // before the registry is redirected
    RedirectedRoot machine{HKEY_LOCAL_MACHINE};
    const Case* current = nullptr;
    Replaced<"KERNEL32", "GetPrivateProfileStringW", decltype(GetPrivateProfileStringW)>
        readManifest;
};

TEST(RandomTest, ScansFindWhatTheModelFinds)
{
    CompareRandomCases<Scans>("event scans", 2'000);
}
} // namespace
