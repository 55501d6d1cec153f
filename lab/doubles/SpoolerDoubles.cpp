// Doubles of the print spooler.
#include "DoubleTable.h"
#include "Impersonation.h"

#include "CallRecord.h"
#include "LeakRecord.h"
#include "PrinterStore.h"
#include "Text.h"

#include <winspool.h>

#include <cstring>
#include <map>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kKind[] = L"printer handle";
constexpr wchar_t kEnvironment[] = L"Windows x64";
constexpr DWORD kCopyAllFiles = 1;

// Printer handles and the printers they were opened for; an empty name is the server itself.
std::map<HANDLE, std::wstring>& Handles()
{
    static auto* handles = new std::map<HANDLE, std::wstring>;
    return *handles;
}

BOOL WINAPI DoubleOpenPrinterW(LPWSTR name, LPHANDLE handle, LPPRINTER_DEFAULTSW defaults)
{
    Call call(L"OpenPrinterW", name);
    if (handle == nullptr)
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    *handle = nullptr;
    if (name != nullptr && !FindPrinter(name))
    {
        return call.Fail(ERROR_INVALID_PRINTER_NAME);
    }
    const bool administers =
        defaults != nullptr && (defaults->DesiredAccess & PRINTER_ACCESS_ADMINISTER) != 0;
    if (administers && !EffectiveIdentity().isAdministrator)
    {
        return call.Fail(ERROR_ACCESS_DENIED);
    }
    static std::uintptr_t last = 0x5B0000;
    last += 8;
    *handle = reinterpret_cast<HANDLE>(last);
    Handles()[*handle] = name == nullptr ? L"" : name;
    CountOpened(kKind, *handle, name == nullptr ? L"" : name);
    return call.Return(TRUE);
}

BOOL WINAPI DoubleClosePrinter(HANDLE handle)
{
    Call call(L"ClosePrinter", handle);
    Handles().erase(handle);
    return CountClosed(kKind, handle) ? call.Return(TRUE) : call.Fail(ERROR_INVALID_HANDLE);
}

// Packs texts from the end of a buffer, as the spooler does, and leaves the pointers to them.
class Packer
{
public:
    Packer(void* buffer, std::size_t size) : m_place(static_cast<BYTE*>(buffer) + size) {}

    LPWSTR Put(const std::wstring& text)
    {
        const std::size_t bytes = (text.size() + 1) * sizeof(wchar_t);
        m_place -= bytes;
        std::memcpy(m_place, text.c_str(), bytes);
        return reinterpret_cast<LPWSTR>(m_place);
    }

private:
    BYTE* m_place;
};

std::wstring DependentFileList(const Driver& driver)
{
    std::wstring list;
    for (const std::wstring& file : driver.dependentFiles)
    {
        list += file;
        list += L'\0';
    }
    return list;
}

// The texts of a driver that level 3 gives.
std::vector<std::wstring> DriverTexts(const Driver& driver)
{
    const bool v4 = driver.version == 4;
    return {
        driver.name,
        kEnvironment,
        driver.folder + (v4 ? L"mxdwdrv.dll" : L"labdrv3.dll"),
        driver.folder + (v4 ? L"lab.gpd" : L"lab3.gpd"),
        driver.folder + (v4 ? L"PrintConfig.dll" : L"labui3.dll"),
    };
}

void FillLevel3(const Driver& driver, void* buffer, std::size_t size)
{
    auto* info = static_cast<DRIVER_INFO_3W*>(buffer);
    std::memset(info, 0, sizeof *info);
    Packer packer(buffer, size);
    const std::vector<std::wstring> texts = DriverTexts(driver);
    info->cVersion = driver.version;
    info->pName = packer.Put(texts[0]);
    info->pEnvironment = packer.Put(texts[1]);
    info->pDriverPath = packer.Put(texts[2]);
    info->pDataFile = packer.Put(texts[3]);
    info->pConfigFile = packer.Put(texts[4]);
    if (!driver.dependentFiles.empty())
    {
        info->pDependentFiles = packer.Put(DependentFileList(driver));
    }
}

BOOL WINAPI DoubleGetPrinterDriverW(HANDLE handle, LPWSTR environment, DWORD level, LPBYTE buffer,
                                    DWORD size, LPDWORD needed)
{
    Call call(L"GetPrinterDriverW", handle, environment, level, size);
    const auto entry = Handles().find(handle);
    if (entry == Handles().end() || entry->second.empty())
    {
        CountMisuse(kKind, L"used that is not open");
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (level != 3)
    {
        // The other levels that Windows has are not modelled.
        return call.Fail(ERROR_INVALID_LEVEL);
    }
    if (needed == nullptr)
    {
        return call.Fail(RPC_X_NULL_REF_POINTER);
    }
    if (environment != nullptr && *environment != L'\0' && !EqualNoCase(environment, kEnvironment))
    {
        return call.Fail(ERROR_INVALID_ENVIRONMENT);
    }
    if (buffer == nullptr && size != 0)
    {
        return call.Fail(ERROR_INVALID_USER_BUFFER);
    }
    const auto printer = FindPrinter(entry->second);
    const auto driver = printer ? FindDriver(printer->driver) : std::nullopt;
    if (!driver)
    {
        // The printer went away, or its driver did, while the handle was open.
        return call.Fail(printer ? ERROR_UNKNOWN_PRINTER_DRIVER : ERROR_INVALID_PRINTER_NAME);
    }
    std::size_t all = sizeof(DRIVER_INFO_3W);
    for (const std::wstring& text : DriverTexts(*driver))
    {
        all += (text.size() + 1) * sizeof(wchar_t);
    }
    if (!driver->dependentFiles.empty())
    {
        all += (DependentFileList(*driver).size() + 1) * sizeof(wchar_t);
    }
    *needed = static_cast<DWORD>(all);
    if (size < all)
    {
        return call.Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    FillLevel3(*driver, buffer, size & ~DWORD{1});
    return call.Return(TRUE);
}

// Level 4, which Windows answers from the registry: names, no server, local printers.
BOOL WINAPI DoubleEnumPrintersW(DWORD flags, LPWSTR name, DWORD level, LPBYTE buffer, DWORD size,
                                LPDWORD needed, LPDWORD returned)
{
    Call call(L"EnumPrintersW", flags, level, size);
    if (needed == nullptr || returned == nullptr)
    {
        return call.Fail(RPC_X_NULL_REF_POINTER);
    }
    *needed = 0;
    *returned = 0;
    if (level != 4)
    {
        // The other levels that Windows has are not modelled.
        return call.Fail(ERROR_INVALID_LEVEL);
    }
    if (name != nullptr || flags == 0 ||
        (flags & ~DWORD{PRINTER_ENUM_LOCAL | PRINTER_ENUM_CONNECTIONS}) != 0)
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    if (buffer == nullptr && size != 0)
    {
        return call.Fail(ERROR_INVALID_USER_BUFFER);
    }
    // Nobody of the lab is connected to another machine's printers.
    const std::vector<Printer> printers =
        (flags & PRINTER_ENUM_LOCAL) != 0 ? Printers() : std::vector<Printer>();
    std::size_t all = 0;
    for (const Printer& printer : printers)
    {
        all += sizeof(PRINTER_INFO_4W) + (printer.name.size() + 1) * sizeof(wchar_t);
    }
    *needed = static_cast<DWORD>(all);
    if (size < all)
    {
        return call.Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    Packer packer(buffer, size & ~DWORD{1});
    auto* entries = reinterpret_cast<PRINTER_INFO_4W*>(buffer);
    for (const Printer& printer : printers)
    {
        entries->pPrinterName = packer.Put(printer.name);
        entries->pServerName = nullptr;
        entries->Attributes = PRINTER_ATTRIBUTE_LOCAL;
        ++entries;
    }
    *returned = static_cast<DWORD>(printers.size());
    call.Add(*returned);
    return call.Return(TRUE);
}

HRESULT WINAPI DoubleInstallPrinterDriverFromPackageW(LPCWSTR server, LPCWSTR infPath,
                                                      LPCWSTR driver, LPCWSTR environment,
                                                      DWORD flags)
{
    Call call(L"InstallPrinterDriverFromPackageW", server, infPath, driver, environment, flags);
    const auto result = [&call](DWORD error)
    { return call.Return(static_cast<HRESULT>(HRESULT_FROM_WIN32(error))); };
    if (driver == nullptr || *driver == L'\0' || (flags & ~kCopyAllFiles) != 0)
    {
        return call.Return(static_cast<HRESULT>(E_INVALIDARG));
    }
    if (server != nullptr || infPath != nullptr)
    {
        return result(ERROR_NOT_SUPPORTED);
    }
    if (environment != nullptr && !EqualNoCase(environment, kEnvironment))
    {
        return result(ERROR_INVALID_ENVIRONMENT);
    }
    if (!EffectiveIdentity().isAdministrator)
    {
        return result(ERROR_ACCESS_DENIED);
    }
    return InstallPackage(driver) ? call.Return(HRESULT{S_OK})
                                  : result(ERROR_UNKNOWN_PRINTER_DRIVER);
}

} // namespace

void AddSpoolerDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "WINSPOOL", OpenPrinterW);
    PALVOLAB_DOUBLE(list, "WINSPOOL", ClosePrinter);
    PALVOLAB_DOUBLE(list, "WINSPOOL", GetPrinterDriverW);
    PALVOLAB_DOUBLE(list, "WINSPOOL", EnumPrintersW);
    // Wine's spooler has no such function: its address must not be asked for.
    list.push_back({"WINSPOOL", "InstallPrinterDriverFromPackageW",
                    reinterpret_cast<void*>(&DoubleInstallPrinterDriverFromPackageW)});
}

} // namespace PalvoLab
