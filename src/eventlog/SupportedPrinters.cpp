#include "SupportedPrinters.h"

#include "Text.h"

#include <array>

namespace
{
bool CanBeRead(const std::wstring& path)
{
    const FileHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return file.IsValid();
}
} // namespace

bool IsSupportedPlatform(const std::wstring& driverPlatform)
{
    return EqualsIgnoringCase(driverPlatform, L"PV6P2.0");
}

void SupportedPrinters::Examine(const std::wstring& name)
{
    if (names.contains(name) || unsupported.contains(name))
    {
        // A burst names one printer many times: ask the spooler once.
        return;
    }
    const Finding finding = printer.Open(name) ? LookAtPrinter() : Finding::Unknown;
    printer.Close();
    if (finding == Finding::Supported)
    {
        names.insert(name);
    }
    else if (finding == Finding::Unsupported)
    {
        unsupported.insert(name);
    }
}

SupportedPrinters::Finding SupportedPrinters::LookAtPrinter() const
{
    const auto found = driver.FindDependentFile(printer.Handle(), L"-manifest.ini");
    const std::wstring manifest = found.value_or(std::wstring());
    if (manifest.empty())
    {
        return found ? Finding::Unsupported : Finding::Unknown;
    }
    // A longer value is cut to nine characters, and so never matches.
    std::array<wchar_t, 10> platform = {};
    GetPrivateProfileStringW(L"PV-Private", L"DriverPlatform", L"", platform.data(),
                             static_cast<DWORD>(platform.size()), manifest.c_str());
    if (IsSupportedPlatform(platform.data()))
    {
        return Finding::Supported;
    }
    // A missing platform cannot be told from a missing or locked file.
    return CanBeRead(manifest) ? Finding::Unsupported : Finding::Unknown;
}
