#include "PrintDriver.h"

#include "Text.h"

#include <winspool.h>

namespace
{
constexpr DWORD InfoLevel = 3;
constexpr DWORD SupportedDriverModel = 4;

/// The spooler's error as an HRESULT; a failure code even if no error was set.
HRESULT SpoolerFailure()
{
    const DWORD code = GetLastError();
    return code == ERROR_SUCCESS ? E_FAIL : HRESULT_FROM_WIN32(code);
}
} // namespace

std::wstring FirstFileContaining(const wchar_t* files, const std::wstring& suffix)
{
    const std::wstring wanted = UpperCase(suffix);
    while (*files != L'\0')
    {
        const std::wstring file = files;
        std::wstring upper = UpperCase(file);
        if (upper.find(wanted) != std::wstring::npos)
        {
            return upper;
        }
        files += file.size() + 1;
    }
    return {};
}

HRESULT PrintDriver::GetDriverInfo(HANDLE printer, std::vector<BYTE>& buffer) const
{
    buffer.clear();
    if (printer == nullptr || printer == INVALID_HANDLE_VALUE)
    {
        return E_INVALIDARG;
    }
    DWORD size = 0;
    if (!GetPrinterDriverW(printer, nullptr, InfoLevel, nullptr, 0, &size) &&
        GetLastError() != ERROR_INSUFFICIENT_BUFFER)
    {
        return SpoolerFailure();
    }
    buffer.resize(size);
    if (!GetPrinterDriverW(printer, nullptr, InfoLevel, buffer.data(), size, &size))
    {
        return SpoolerFailure();
    }
    return S_OK;
}

std::optional<std::wstring> PrintDriver::FindDependentFile(HANDLE printer,
                                                           const std::wstring& suffix) const
{
    std::vector<BYTE> buffer;
    if (GetDriverInfo(printer, buffer) != S_OK || buffer.size() < sizeof(DRIVER_INFO_3W))
    {
        return std::nullopt;
    }
    const auto* information = reinterpret_cast<const DRIVER_INFO_3W*>(buffer.data());
    if (information->cVersion != SupportedDriverModel || information->pDependentFiles == nullptr)
    {
        return std::wstring();
    }
    return FirstFileContaining(information->pDependentFiles, suffix);
}
