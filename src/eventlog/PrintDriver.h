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

    /// The full path, in upper case, of the first dependent file of the printer's driver whose name
    /// contains `suffix`, whatever its case. Empty when there is none or the driver is not of
    /// version 4; nothing when the spooler does not tell.
    [[nodiscard]] std::optional<std::wstring> FindDependentFile(HANDLE printer,
                                                                const std::wstring& suffix) const;

    /// Fills `buffer` with the printer's DRIVER_INFO_3 (GetPrinterDriverW, default environment).
    /// E_INVALIDARG for a handle of no printer; the spooler's error as an HRESULT; S_OK.
    HRESULT GetDriverInfo(HANDLE printer, std::vector<BYTE>& buffer) const;
};

/// The first of `files` (zero-terminated names, ended by an empty one) that contains `suffix`, in
/// upper case; empty when none does. Case does not matter.
std::wstring FirstFileContaining(const wchar_t* files, const std::wstring& suffix);
