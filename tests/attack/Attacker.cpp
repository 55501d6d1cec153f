// What a user does to the program's objects, and keeps up until told otherwise. Commands come from
// standard input, a line each, parts between tabs:
//
//     file PATH                       opens a file without sharing
//     mutex NAME SDDL                 makes or opens a mutex, and owns it
//     object KIND NAME SDDL           makes or opens a mutex, an event or a section
//     value PATH NAME TYPE SIZE BYTE  sets a value under HKEY_USERS; its key goes with the hive
//     run FOLDER COMMAND NAMES        runs a program to its end in that folder, to which PATH and
//                                     these variables, with blanks between, lead too
//     let-go NUMBER                   gives back what was answered with that number
//
// An empty SDDL means default security. Each is answered with "ok NUMBER" or "error CODE". What is
// held is given back at the end of the input.

#include <windows.h>

#include <sddl.h>

#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace
{
using Parts = std::vector<std::wstring>;

std::wstring Widened(const std::string& text)
{
    std::wstring wide(text.size(), L'\0');
    wide.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(),
                            static_cast<int>(wide.size()))));
    return wide;
}

Parts SplitAtTabs(const std::wstring& line)
{
    Parts parts(1);
    for (const wchar_t c : line)
    {
        if (c == L'\t')
        {
            parts.emplace_back();
        }
        else
        {
            parts.back() += c;
        }
    }
    parts.resize(6);
    return parts;
}

/// The security of a new object; null for the default. The process's end gives its memory back.
SECURITY_ATTRIBUTES* Security(const std::wstring& sddl)
{
    static SECURITY_ATTRIBUTES attributes;
    attributes = {sizeof attributes, nullptr, FALSE};
    return ConvertStringSecurityDescriptorToSecurityDescriptorW(
               sddl.c_str(), SDDL_REVISION_1, &attributes.lpSecurityDescriptor, nullptr)
               ? &attributes
               : nullptr;
}

HANDLE OpenFile(const std::wstring& path)
{
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    return file == INVALID_HANDLE_VALUE ? nullptr : file;
}

HANDLE OwnMutex(const std::wstring& name, const std::wstring& sddl)
{
    const HANDLE mutex = CreateMutexW(Security(sddl), FALSE, name.c_str());
    const DWORD outcome = mutex == nullptr ? WAIT_FAILED : WaitForSingleObject(mutex, 20000);
    return outcome == WAIT_OBJECT_0 || outcome == WAIT_ABANDONED ? mutex : nullptr;
}

HANDLE MakeObject(const std::wstring& kind, const std::wstring& name, const std::wstring& sddl)
{
    if (kind == L"mutex")
    {
        return CreateMutexW(Security(sddl), FALSE, name.c_str());
    }
    return kind == L"event" ? CreateEventW(Security(sddl), FALSE, FALSE, name.c_str())
                            : CreateFileMappingW(INVALID_HANDLE_VALUE, Security(sddl),
                                                 PAGE_READWRITE, 0, 4096, name.c_str());
}

/// The key vanishes with the hive, so that Wine need not write it to its disk.
bool SetUserValue(const Parts& parts)
{
    HKEY key = nullptr;
    LSTATUS status = RegCreateKeyExW(HKEY_USERS, parts[1].c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                                     KEY_SET_VALUE, nullptr, &key, nullptr);
    if (status == ERROR_SUCCESS)
    {
        const std::vector<BYTE> unit = {static_cast<BYTE>(std::stoul(parts[5])), 0};
        std::vector<BYTE> bytes(std::stoul(parts[4]));
        for (std::size_t i = 0; i < bytes.size(); ++i)
        {
            bytes[i] = unit[i % 2];
        }
        status = RegSetValueExW(key, parts[2].c_str(), 0, std::stoul(parts[3]), bytes.data(),
                                static_cast<DWORD>(bytes.size()));
        RegCloseKey(key);
    }
    SetLastError(static_cast<DWORD>(status));
    return status == ERROR_SUCCESS;
}

/// Runs a program with the attacker's current folder and variables.
bool Run(const Parts& parts)
{
    std::wistringstream names(L"PATH " + parts[3]);
    for (std::wstring name; names >> name;)
    {
        SetEnvironmentVariableW(name.c_str(), parts[1].c_str());
    }
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION made = {};
    std::wstring command = parts[2];
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        parts[1].c_str(), &startup, &made))
    {
        return false;
    }
    DWORD code = 0;
    WaitForSingleObject(made.hProcess, INFINITE);
    GetExitCodeProcess(made.hProcess, &code);
    CloseHandle(made.hThread);
    CloseHandle(made.hProcess);
    SetLastError(code);
    return code == 0;
}

class Attacker
{
public:
    bool Do(const Parts& parts)
    {
        if (parts[0] == L"value")
        {
            return SetUserValue(parts);
        }
        if (parts[0] == L"run")
        {
            return Run(parts);
        }
        if (parts[0] == L"let-go")
        {
            HANDLE& handle = held.at(std::stoul(parts[1]) - 1);
            ReleaseMutex(handle); // of what is none, it does nothing
            return CloseHandle(std::exchange(handle, nullptr)) != FALSE;
        }
        const HANDLE handle = parts[0] == L"file"    ? OpenFile(parts[1])
                              : parts[0] == L"mutex" ? OwnMutex(parts[1], parts[2])
                                                     : MakeObject(parts[1], parts[2], parts[3]);
        if (handle != nullptr)
        {
            held.push_back(handle);
        }
        return handle != nullptr;
    }

    [[nodiscard]] std::size_t LastNumber() const { return held.size(); }

private:
    std::vector<HANDLE> held;
};
} // namespace

int main()
{
    Attacker attacker;
    std::string line;
    while (std::getline(std::cin, line))
    {
        if (line.ends_with('\r'))
        {
            line.pop_back();
        }
        if (attacker.Do(SplitAtTabs(Widened(line))))
        {
            std::printf("ok %u\n", static_cast<unsigned>(attacker.LastNumber()));
        }
        else
        {
            std::printf("error %lu\n", GetLastError());
        }
        std::fflush(stdout);
    }
    return 0;
}
