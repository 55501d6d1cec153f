// The printers, drivers and driver packages of the lab's spooler.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace PalvoLab
{

struct Driver
{
    std::wstring name;
    std::uint32_t version = 4;
    std::wstring folder;                      // with a backslash at its end
    std::vector<std::wstring> dependentFiles; // full paths
};

struct Printer
{
    std::wstring name;
    std::wstring driver;
};

// Drivers that are installed, and those that lie in the driver store and can be installed.
std::vector<Driver> Drivers();
std::optional<Driver> FindDriver(std::wstring_view name);
std::vector<Driver> Packages();
bool InstallPackage(std::wstring_view name);

// The parts of a driver to be made.
struct DriverRequest
{
    std::wstring name;
    std::uint32_t version = 4;
    std::optional<std::wstring> platform;     // a manifest with this DriverPlatform
    std::optional<std::string> manifestBytes; // a manifest with exactly these bytes
    std::optional<std::wstring> manifestName; // another file name than the usual one
    std::vector<std::wstring> otherFiles;     // file names to list as dependent files too
    bool packageOnly = false;                 // into the driver store, not installed
};

// Makes a driver with its files on disk; one of the same name is replaced.
void AddDriver(const DriverRequest& request);

// The drivers that are there after a reset.
void AddPredefinedDrivers();

// Printers. Names ignore case. Adding and changing logs the spooler's event.
std::vector<Printer> Printers();
std::optional<Printer> FindPrinter(std::wstring_view name);
bool AddLabPrinter(const std::wstring& name, std::wstring_view driver);
bool ChangePrinter(std::wstring_view name);
bool RemovePrinter(std::wstring_view name);

// Windows's rule for the name of a printer. One of another machine has "\\\\server\\" in front of
// it.
bool IsPrinterName(std::wstring_view name);

void ResetPrinters();

} // namespace PalvoLab
