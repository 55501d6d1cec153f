#include "Looks.h"
#include "PrintDriver.h"
#include "Printer.h"

#include <array>

namespace
{
/// The names of the printers of this machine and of its connections. Level 4 asks no server. 0 or
/// the error.
DWORD ListNames(std::vector<std::wstring>& names)
{
    constexpr DWORD Which = PRINTER_ENUM_LOCAL | PRINTER_ENUM_CONNECTIONS;
    std::vector<BYTE> buffer;
    DWORD size = 0;
    DWORD count = 0;
    while (!EnumPrintersW(Which, nullptr, 4, buffer.data(), static_cast<DWORD>(buffer.size()),
                          &size, &count))
    {
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER || size <= buffer.size())
        {
            return GetLastError() == ERROR_SUCCESS ? ERROR_INVALID_DATA : GetLastError();
        }
        buffer.resize(size);
    }
    const auto* printers = reinterpret_cast<const PRINTER_INFO_4W*>(buffer.data());
    for (DWORD i = 0; i < count; ++i)
    {
        names.emplace_back(printers[i].pPrinterName);
    }
    return 0;
}

void ReadManifest(PrinterFact& fact)
{
    const FileHandle file(CreateFileW(fact.manifest.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
    {
        fact.manifestError = GetLastError();
        return;
    }
    std::array<wchar_t, 64> platform = {};
    GetPrivateProfileStringW(L"PV-Private", L"DriverPlatform", L"", platform.data(),
                             static_cast<DWORD>(platform.size()), fact.manifest.c_str());
    fact.platform = platform.data();
}

PrinterFact LookAtPrinter(const std::wstring& name)
{
    PrinterFact fact;
    fact.name = name;
    Printer printer;
    if (!printer.Open(name))
    {
        fact.openError = GetLastError();
        return fact;
    }
    const PrintDriver driver;
    std::vector<BYTE> buffer;
    fact.driverRead = driver.GetDriverInfo(printer.Handle(), buffer);
    if (FAILED(fact.driverRead) || buffer.size() < sizeof(DRIVER_INFO_3W))
    {
        return fact;
    }
    const auto* information = reinterpret_cast<const DRIVER_INFO_3W*>(buffer.data());
    fact.driver = information->pName == nullptr ? L"" : information->pName;
    fact.driverVersion = information->cVersion;
    fact.manifest =
        driver.FindDependentFile(printer.Handle(), L"-manifest.ini").value_or(std::wstring());
    if (!fact.manifest.empty())
    {
        ReadManifest(fact);
    }
    return fact;
}
} // namespace

PrinterFacts LookAtPrinters()
{
    PrinterFacts facts;
    std::vector<std::wstring> names;
    facts.listError = ListNames(names);
    for (const std::wstring& name : names)
    {
        facts.printers.push_back(LookAtPrinter(name));
    }
    return facts;
}
