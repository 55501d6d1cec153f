#pragma once

#include "WindowsHeaders.h"

#include <optional>
#include <string>
#include <vector>

/// The driver of an open printer.
class PrintDriver
{
public:
    PrintDriver() = default;
    virtual ~PrintDriver() = default;

    /// The full path, in upper case, of the driver's first dependent file whose name contains
    /// `suffix`; case does not matter. Empty if there is none or the driver is not of version 4;
    /// nothing if the spooler fails.
    [[nodiscard]] std::optional<std::wstring> FindDependentFile(HANDLE printer,
                                                                const std::wstring& suffix) const;

    /// Fills `buffer` with the printer's DRIVER_INFO_3 (GetPrinterDriverW, default environment).
    /// Returns S_OK, E_INVALIDARG if no printer is open, or the spooler's error as an HRESULT.
    HRESULT GetDriverInfo(HANDLE printer, std::vector<BYTE>& buffer) const;
};

/// The first of `files` (zero-terminated names, then an empty one) that contains `suffix`, in upper
/// case; empty if none does. Case does not matter.
std::wstring FirstFileContaining(const wchar_t* files, const std::wstring& suffix);
