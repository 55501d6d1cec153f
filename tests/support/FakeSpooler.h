#pragma once

#include "Journal.h"
#include "Replaced.h"

#include <winspool.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

/// A printer of the spooler and what its driver tells. No list of files stands for a null pointer.
struct FakePrinter
{
    DWORD driverModel = 4;
    std::optional<std::vector<std::wstring>> dependentFiles = std::vector<std::wstring>{};
};

/// Stands in for the print spooler. Bad or closed handles are refused and counted.
class FakeSpooler
{
public:
    FakeSpooler();

    std::map<std::wstring, FakePrinter> printers;
    std::vector<std::wstring> openedNames; ///< every name that was asked for, in order
    Journal calls;                         ///< every opening and every closing, in order
    bool defaultsWereNull = true;          ///< OpenPrinterW was never given defaults
    bool opensWithoutHandle = false;       ///< OpenPrinterW succeeds and gives all-ones

    std::optional<DWORD> sizeError;   ///< GetPrinterDriverW without a buffer fails so
    std::optional<DWORD> driverError; ///< GetPrinterDriverW with a buffer fails so
    unsigned unansweredQueries = 0;   ///< so many calls of GetPrinterDriverW fail first
    bool needsNoBuffer = false;       ///< GetPrinterDriverW succeeds without a byte
    DWORD truncatedSize = 0;          ///< not 0: the size that GetPrinterDriverW tells
    std::vector<DWORD> levels;
    bool environmentWasNull = true;
    unsigned refusedCalls = 0;

    [[nodiscard]] std::size_t OpenPrinters() const { return open.size(); }

private:
    BOOL Open(LPWSTR name, LPHANDLE printer, const PRINTER_DEFAULTSW* defaults);
    BOOL Close(HANDLE printer);
    BOOL GetDriver(HANDLE printer, LPCWSTR environment, DWORD level, LPBYTE buffer, DWORD size,
                   LPDWORD needed);
    BOOL Refuse(DWORD code);

    std::map<HANDLE, std::wstring> open;
    std::uintptr_t nextHandle = 0x40000001;
    Replaced<"WINSPOOL.DRV", "OpenPrinterW", decltype(OpenPrinterW)> openPrinter;
    Replaced<"WINSPOOL.DRV", "ClosePrinter", decltype(ClosePrinter)> closePrinter;
    Replaced<"WINSPOOL.DRV", "GetPrinterDriverW", decltype(GetPrinterDriverW)> getPrinterDriver;
};
