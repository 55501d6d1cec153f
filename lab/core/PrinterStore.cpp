#include "PrinterStore.h"

#include "Accounts.h"
#include "EventChannel.h"
#include "LabLock.h"
#include "LabState.h"
#include "Owners.h"
#include "Text.h"

namespace PalvoLab
{
namespace
{

constexpr wchar_t kPrinterLock[] = L"Global\\PalvoLabPrinters";
constexpr wchar_t kDriverKey[] = L"Drivers";
constexpr wchar_t kPackageKey[] = L"Packages";
constexpr wchar_t kPrinterKey[] = L"Printers";

Driver ReadDriver(const wchar_t* list, const std::wstring& name)
{
    const LabKey key = OpenStateKey(std::wstring(list) + L"\\" + name);
    Driver driver;
    driver.name = key.String(L"Name").value_or(name);
    driver.version = key.Number(L"Version").value_or(4);
    driver.folder = key.String(L"Folder").value_or(L"");
    driver.dependentFiles = key.Strings(L"DependentFiles");
    return driver;
}

void WriteDriver(const wchar_t* list, const Driver& driver)
{
    const LabKey key = CreateStateKey(std::wstring(list) + L"\\" + driver.name);
    key.SetString(L"Name", driver.name);
    key.SetNumber(L"Version", driver.version);
    key.SetString(L"Folder", driver.folder);
    key.SetStrings(L"DependentFiles", driver.dependentFiles);
}

std::vector<Driver> ReadDrivers(const wchar_t* list)
{
    std::vector<Driver> drivers;
    for (const std::wstring& name : OpenStateKey(list).SubkeyNames())
    {
        drivers.push_back(ReadDriver(list, name));
    }
    return drivers;
}

// How much of a name is "\\\\server\\".
std::size_t LengthOfServer(std::wstring_view name)
{
    const std::size_t end = name.starts_with(L"\\\\") ? name.find(L'\\', 2) : 0;
    return end == std::wstring_view::npos || end < 3 ? 0 : end + 1;
}

// A printer of the machine can be named with the machine as its server.
std::wstring_view WithoutOwnServer(std::wstring_view name)
{
    const std::size_t length = LengthOfServer(name);
    const bool isOwn = length != 0 && EqualNoCase(name.substr(2, length - 3), ComputerName());
    return name.substr(isOwn ? length : 0);
}

void WriteBytes(const std::wstring& path, const std::string& bytes)
{
    const FileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                      CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

// A folder of its own for each driver, named as the driver store names them.
std::wstring MakeDriverFolder(const std::wstring& name)
{
    wchar_t system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    std::uint64_t hash = 14695981039346656037U;
    for (const wchar_t c : name)
    {
        hash = (hash ^ c) * 1099511628211U;
    }
    std::wstring path = system;
    wchar_t leaf[64] = {};
    _snwprintf_s(leaf, 64, _TRUNCATE, L"prnlab.inf_amd64_%016I64x", hash);
    for (const std::wstring& part :
         {std::wstring(L"DriverStore"), std::wstring(L"FileRepository"), std::wstring(leaf)})
    {
        path += L"\\" + part;
        CreateDirectoryW(path.c_str(), nullptr);
    }
    return path + L"\\";
}

void LogPrinterEvent(const Event& event)
{
    EventChannel::Find(kPrintChannel)->Append({event});
}

Event PrinterDeletedEvent(const std::wstring& printer)
{
    Event event;
    event.id = 301;
    event.element = L"PrinterDeleted";
    event.parameters = {{L"Param1", printer}};
    return event;
}

} // namespace

std::vector<Driver> Drivers()
{
    return ReadDrivers(kDriverKey);
}

std::optional<Driver> FindDriver(std::wstring_view name)
{
    const std::wstring text(name);
    const bool exists =
        !text.empty() && OpenStateKey(std::wstring(kDriverKey) + L"\\" + text).operator bool();
    return exists ? std::optional(ReadDriver(kDriverKey, text)) : std::nullopt;
}

std::vector<Driver> Packages()
{
    return ReadDrivers(kPackageKey);
}

bool InstallPackage(std::wstring_view name)
{
    for (const Driver& package : Packages())
    {
        if (EqualNoCase(package.name, name))
        {
            WriteDriver(kDriverKey, package);
            return true;
        }
    }
    return false;
}

void AddDriver(const DriverRequest& request)
{
    Driver driver;
    driver.name = request.name;
    driver.version = request.version;
    driver.folder = MakeDriverFolder(request.name);
    for (const std::wstring& file : request.otherFiles)
    {
        driver.dependentFiles.push_back(driver.folder + file);
    }
    if (request.platform || request.manifestBytes)
    {
        const std::wstring manifest =
            driver.folder + request.manifestName.value_or(L"PalvoDriver-manifest.ini");
        driver.dependentFiles.push_back(manifest);
        WriteBytes(manifest,
                   request.manifestBytes
                       ? *request.manifestBytes
                       : "[DriverConfig]\r\nDriverFile=mxdwdrv.dll\r\n\r\n[PV-Private]\r\n"
                         "DriverPlatform=" +
                             ToLine(*request.platform) + "\r\n");
    }
    WriteDriver(request.packageOnly ? kPackageKey : kDriverKey, driver);
}

void AddPredefinedDrivers()
{
    DriverRequest supported;
    supported.name = L"Palvo Orvela PV6";
    supported.platform = L"PV6P2.0";
    supported.manifestName = L"PalvoOrvelaPV6-manifest.ini";
    supported.otherFiles = {L"PalvoOrvelaPV6.gpd", L"PalvoOrvelaPV6-pipelineconfig.xml"};
    AddDriver(supported);
    supported.name = L"Palvo Orvela PV6 PS";
    supported.packageOnly = true;
    AddDriver(supported);

    DriverRequest foreign;
    foreign.name = L"Foreign V4 Class Driver";
    foreign.platform = L"FX1";
    foreign.manifestName = L"ForeignV4-Manifest.ini";
    AddDriver(foreign);

    DriverRequest plain;
    plain.name = L"Plain V4 Driver";
    plain.otherFiles = {L"PlainV4.gpd"};
    AddDriver(plain);

    DriverRequest legacy;
    legacy.name = L"Legacy V3 Driver";
    legacy.version = 3;
    legacy.platform = L"PV6P2.0";
    legacy.manifestName = L"LegacyV3-manifest.ini";
    AddDriver(legacy);
}

std::vector<Printer> Printers()
{
    std::vector<Printer> printers;
    const LabKey list = OpenStateKey(kPrinterKey);
    for (const std::wstring& name : list.ValueNames())
    {
        printers.push_back({name, list.String(name).value_or(L"")});
    }
    return printers;
}

std::optional<Printer> FindPrinter(std::wstring_view name)
{
    // The registry compares names as the spooler does: without case.
    const std::wstring text(WithoutOwnServer(name));
    const auto driver = text.empty() ? std::nullopt : OpenStateKey(kPrinterKey).String(text);
    return driver ? std::optional(Printer{text, *driver}) : std::nullopt;
}

bool AddLabPrinter(const std::wstring& name, std::wstring_view driver)
{
    if (!IsPrinterName(name))
    {
        return false;
    }
    {
        const LabLock lock(kPrinterLock);
        if (FindPrinter(name) || !FindDriver(driver))
        {
            return false;
        }
        CreateStateKey(kPrinterKey).SetString(name, driver);
    }
    LogPrinterEvent(PrinterCreatedEvent(name));
    return true;
}

bool ChangePrinter(std::wstring_view name)
{
    if (!FindPrinter(name))
    {
        return false;
    }
    LogPrinterEvent(PrinterSetEvent(std::wstring(name)));
    return true;
}

bool RemovePrinter(std::wstring_view name)
{
    {
        const LabLock lock(kPrinterLock);
        if (name.empty() || !CreateStateKey(kPrinterKey).Remove(std::wstring(name)))
        {
            return false;
        }
    }
    LogPrinterEvent(PrinterDeletedEvent(std::wstring(name)));
    return true;
}

bool IsPrinterName(std::wstring_view name)
{
    const std::wstring_view queue = name.substr(LengthOfServer(name));
    return !queue.empty() && name.size() <= 220 &&
           queue.find_first_of(L"\\,!") == std::wstring_view::npos &&
           queue.find(L'\0') == std::wstring_view::npos;
}

void ResetPrinters()
{
    RemoveStateKey(kPrinterKey);
    RemoveStateKey(kDriverKey);
    RemoveStateKey(kPackageKey);
    AddPredefinedDrivers();
}

} // namespace PalvoLab
