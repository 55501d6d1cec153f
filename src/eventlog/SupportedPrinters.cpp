#include "SupportedPrinters.h"

#include "Text.h"

#include <array>

bool IsSupportedPlatform(const std::wstring& driverPlatform)
{
    return EqualsIgnoringCase(driverPlatform, L"PV6P2.0");
}

void SupportedPrinters::Examine(const std::wstring& name)
{
    if (names.contains(name) || unsupported.contains(name))
    {
        // A burst names one printer many times; the spooler need not be asked again.
        return;
    }
    if (printer.Open(name))
    {
        (IsSupported() ? names : unsupported).insert(name);
    }
    printer.Close();
}

bool SupportedPrinters::IsSupported() const
{
    const std::wstring manifest = driver.FindDependentFile(printer.Handle(), L"-manifest.ini");
    if (manifest.empty())
    {
        return false;
    }
    // A longer value is cut to nine characters and so can never match.
    std::array<wchar_t, 10> platform = {};
    GetPrivateProfileStringW(L"PV-Private", L"DriverPlatform", L"", platform.data(),
                             static_cast<DWORD>(platform.size()), manifest.c_str());
    return IsSupportedPlatform(platform.data());
}
