#pragma once

#include "MainDriver.h"
#include "RunFixture.h"

#include <combaseapi.h>
#include <shlobj.h>

#include <cstring>

/// ProgramData of all tests: the log of a process is built once.
inline const TemporaryFolder& ProgramData()
{
    static const TemporaryFolder folder;
    return folder;
}

/// Whole runs, from the arguments to the exit code, on a machine that is no print server.
class MainDriverFixture : public RunFixture
{
protected:
    MainDriverFixture()
    {
        DeleteFileW(LogPath().c_str());
        journal.clear();
    }

    static std::wstring LogPath()
    {
        return ProgramData().Of(
            L"Palvo\\PrinterDriver\\V6.0\\PalvoPrinterConfiguration\\PalvoOrvela\\"
            L"PalvoPrinterConfiguration.log");
    }

    int Program(std::vector<const wchar_t*> arguments)
    {
        arguments.insert(arguments.begin(), L"PalvoPrinterConfiguration");
        const int count = static_cast<int>(arguments.size());
        arguments.push_back(nullptr);
        return RunProgram(count, arguments.data());
    }

    static std::vector<std::wstring> Messages()
    {
        std::vector<std::wstring> messages;
        for (const std::wstring& line : LinesOf(FileBytes(LogPath())))
        {
            messages.push_back(MessageOf(line));
        }
        return messages;
    }

    void AskForDebugger() const
    {
        machine.SetString(L"Software\\Palvo\\PrinterDriver\\V6.0\\PromptToAttachDebugger",
                          L"PalvoPrinterConfiguration", L"always");
    }

    std::ptrdiff_t Count(const std::wstring& line) const
    {
        return std::count(journal.begin(), journal.end(), line);
    }

    std::ptrdiff_t Position(const std::wstring& line) const
    {
        return std::find(journal.begin(), journal.end(), line) - journal.begin();
    }

    static std::wstring BackgroundWriter(const std::wstring& arguments, const std::wstring& who)
    {
        return L"start: C:\\P\\PalvoPrinterConfigurationWriter.exe  " + arguments +
               L" -i \"PalvoPrinterConfiguration(" + who + L"4711)\"";
    }

    static constexpr wchar_t Box[] = L"box: Attach debugger now, if desired.";

    Replaced<"KERNEL32", "GetModuleFileNameW", decltype(GetModuleFileNameW)> moduleName{
        [](HMODULE, LPWSTR buffer, DWORD size)
        {
            const std::wstring path = L"C:\\P\\PalvoPrinterConfiguration.exe";
            wcsncpy(buffer, path.c_str(), size);
            return static_cast<DWORD>(path.size());
        }};
    Replaced<"SHELL32", "SHGetKnownFolderPath", decltype(SHGetKnownFolderPath)> knownFolder{
        [this](REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path)
        {
            journal.push_back(L"ProgramData");
            const std::wstring& folderPath = ProgramData().Path();
            const std::size_t size = (folderPath.size() + 1) * sizeof(wchar_t);
            *path = static_cast<wchar_t*>(CoTaskMemAlloc(size));
            std::memcpy(*path, folderPath.c_str(), size);
            return S_OK;
        }};
    Replaced<"KERNEL32", "VerifyVersionInfoW", decltype(VerifyVersionInfoW)> noPrintServer{
        [](LPOSVERSIONINFOEXW, DWORD, DWORDLONG) { return FALSE; }};
    Replaced<"USER32", "MessageBoxW", decltype(MessageBoxW)> messageBox{
        [this](HWND, LPCWSTR text, LPCWSTR, UINT)
        {
            journal.push_back(std::wstring(L"box: ") + text);
            return IDOK;
        }};
};
