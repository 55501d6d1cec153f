#include "FakeSpooler.h"

#include <cstring>

FakeSpooler::FakeSpooler()
    : openPrinter([this](LPWSTR name, LPHANDLE printer, LPPRINTER_DEFAULTSW defaults)
                  { return Open(name, printer, defaults); }),
      closePrinter([this](HANDLE printer) { return Close(printer); }),
      getPrinterDriver([this](HANDLE printer, LPWSTR environment, DWORD level, LPBYTE buffer,
                              DWORD size, LPDWORD needed)
                       { return GetDriver(printer, environment, level, buffer, size, needed); })
{
}

BOOL FakeSpooler::Refuse(DWORD code)
{
    if (code == ERROR_INVALID_HANDLE)
    {
        ++refusedCalls;
    }
    SetLastError(code);
    return FALSE;
}

BOOL FakeSpooler::Open(LPWSTR name, LPHANDLE printer, const PRINTER_DEFAULTSW* defaults)
{
    openedNames.emplace_back(name);
    calls.push_back(L"open " + openedNames.back());
    defaultsWereNull = defaultsWereNull && defaults == nullptr;
    if (opensWithoutHandle)
    {
        *printer = INVALID_HANDLE_VALUE;
        return TRUE;
    }
    if (!printers.contains(name))
    {
        *printer = reinterpret_cast<HANDLE>(0x4BAD0000); // nobody's to close
        return Refuse(ERROR_INVALID_PRINTER_NAME);
    }
    *printer = reinterpret_cast<HANDLE>(nextHandle++);
    open[*printer] = name;
    return TRUE;
}

BOOL FakeSpooler::Close(HANDLE printer)
{
    const auto found = open.find(printer);
    if (found == open.end())
    {
        return Refuse(ERROR_INVALID_HANDLE);
    }
    calls.push_back(L"close " + found->second);
    open.erase(found);
    return TRUE;
}

BOOL FakeSpooler::GetDriver(HANDLE printer, LPCWSTR environment, DWORD level, LPBYTE buffer,
                            DWORD size, LPDWORD needed)
{
    levels.push_back(level);
    environmentWasNull = environmentWasNull && environment == nullptr;
    const auto found = open.find(printer);
    if (found == open.end())
    {
        return Refuse(ERROR_INVALID_HANDLE);
    }
    if (buffer == nullptr && size != 0)
    {
        return Refuse(ERROR_INVALID_USER_BUFFER);
    }
    if (unansweredQueries != 0)
    {
        --unansweredQueries;
        return Refuse(RPC_S_SERVER_UNAVAILABLE);
    }
    if (buffer == nullptr && sizeError)
    {
        return Refuse(*sizeError);
    }
    if (needsNoBuffer)
    {
        *needed = 0;
        return TRUE;
    }
    const FakePrinter& driver = printers[found->second];
    std::wstring files;
    for (const std::wstring& file : driver.dependentFiles.value_or(std::vector<std::wstring>()))
    {
        files += file + L'\0';
    }
    files += L'\0';
    *needed = static_cast<DWORD>(sizeof(DRIVER_INFO_3W) + files.size() * sizeof(wchar_t));
    if (truncatedSize != 0)
    {
        *needed = truncatedSize;
    }
    if (size < *needed || buffer == nullptr)
    {
        return Refuse(ERROR_INSUFFICIENT_BUFFER);
    }
    if (driverError)
    {
        return Refuse(*driverError);
    }
    if (truncatedSize != 0)
    {
        std::memset(buffer, 0xFF, size);
        return TRUE;
    }
    auto* information = reinterpret_cast<DRIVER_INFO_3W*>(buffer);
    *information = {};
    information->cVersion = driver.driverModel;
    auto* text = reinterpret_cast<wchar_t*>(buffer + sizeof(DRIVER_INFO_3W));
    std::memcpy(text, files.data(), files.size() * sizeof(wchar_t));
    information->pDependentFiles = driver.dependentFiles ? text : nullptr;
    return TRUE;
}
