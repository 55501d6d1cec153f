// bare-calls: loops of the Windows calls that a piece of the program's work cannot do without, and
// nothing between them. tools/benchmark measures the program's work beside them.
//
//     bare-calls nothing
//     bare-calls lines DIRECTORY COUNT     append COUNT lines to a file, each under a mutex and
//                                          after a look at what was opened
//     bare-calls copy FILE COPY            copy a file and read the copy once
//     bare-calls events                    fetch and render every printer event of the channel
//     bare-calls hives                     write the list of every hive under HKEY_USERS
//
// And what has to be there before something can be measured:
//
//     bare-calls make-hives COUNT          so many hives under HKEY_USERS beside the real ones
//     bare-calls switch on|off             the program's machine-wide switch
//     bare-calls hold MUTEX                own a mutex until standard input ends
#include "Owners.h"

#include <winevt.h>

#include <array>
#include <cstdio>
#include <cwchar>
#include <string>
#include <vector>

namespace
{
constexpr int Failed = 1;

int Lines(const std::wstring& directory, unsigned long count)
{
    const std::wstring path = directory + L"\\Bare.log";
    const KernelHandle mutex(CreateMutexW(nullptr, FALSE, L"Global\\BareLines"));
    // As long as a line of the program with the message of log-lines.
    const std::string line = "[11/22/2026 11:22:33 PM] log-lines(PID1234): - No supported printers "
                             "need to be processed. Done. Exiting.\r\n";
    for (; count != 0; --count)
    {
        WaitForSingleObject(mutex.Get(), 5000);
        FileHandle file(CreateFileW(path.c_str(), FILE_APPEND_DATA | SYNCHRONIZE, FILE_SHARE_READ,
                                    nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
        FILE_STANDARD_INFO standardInfo = {};
        GetFileInformationByHandleEx(file.Get(), FileStandardInfo, &standardInfo,
                                     sizeof standardInfo);
        BY_HANDLE_FILE_INFORMATION information = {};
        GetFileInformationByHandle(file.Get(), &information);
        std::array<wchar_t, 1024> finalPath;
        GetFinalPathNameByHandleW(file.Get(), finalPath.data(), 1024, FILE_NAME_NORMALIZED);
        DWORD written = 0;
        if (!WriteFile(file.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr))
        {
            return Failed;
        }
        file.Reset();
        ReleaseMutex(mutex.Get());
    }
    return 0;
}

int Copy(const std::wstring& path, const std::wstring& copyPath)
{
    if (!CopyFileW(path.c_str(), copyPath.c_str(), FALSE))
    {
        return Failed;
    }
    const FileHandle copy(CreateFileW(copyPath.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    static std::array<char, 0x10000> buffer;
    DWORD length = 0;
    while (
        ReadFile(copy.Get(), buffer.data(), static_cast<DWORD>(buffer.size()), &length, nullptr) &&
        length != 0)
    {
    }
    return copy ? 0 : Failed;
}

struct EventCloser
{
    using Value = EVT_HANDLE;
    static Value Nothing() noexcept { return nullptr; }
    static bool IsOwned(Value value) noexcept { return value != nullptr; }
    static void Close(Value value) noexcept { EvtClose(value); }
};
using Event = Owner<EventCloser>;

int Events()
{
    std::array<const wchar_t*, 5> values = {
        L"Event/System/EventID",
        L"Event/System/EventID/Qualifier",
        L"Event/System/EventRecordID",
        L"Event/UserData/PrinterCreated/Param1",
        L"Event/UserData/PrinterSet/Param1",
    };
    const Event query(EvtQuery(nullptr, L"Microsoft-Windows-PrintService/Operational",
                               L"Event/System[(EventID=300 or EventID=306) and EventRecordID >= 0]",
                               EvtQueryChannelPath | EvtQueryReverseDirection));
    const Event context(EvtCreateRenderContext(static_cast<DWORD>(values.size()), values.data(),
                                               EvtRenderContextValues));
    std::array<EVT_HANDLE, 10> batch = {};
    std::vector<BYTE> buffer(0x10000);
    DWORD fetched = 0;
    while (
        EvtNext(query.Get(), static_cast<DWORD>(batch.size()), batch.data(), INFINITE, 0, &fetched))
    {
        for (DWORD i = 0; i < fetched; ++i)
        {
            const Event event(batch[i]);
            DWORD used = 0;
            DWORD count = 0;
            if (!EvtRender(context.Get(), event.Get(), EvtRenderEventValues,
                           static_cast<DWORD>(buffer.size()), buffer.data(), &used, &count))
            {
                return Failed;
            }
        }
    }
    return query && context ? 0 : Failed;
}

int Hives()
{
    std::vector<std::wstring> names;
    for (DWORD index = 0;; ++index)
    {
        std::array<wchar_t, 256> name = {};
        auto length = static_cast<DWORD>(name.size());
        if (RegEnumKeyExW(HKEY_USERS, index, name.data(), &length, nullptr, nullptr, nullptr,
                          nullptr) != ERROR_SUCCESS)
        {
            break;
        }
        names.emplace_back(name.data(), length);
    }
    // The value is written back as it was read: as long as the list that the program writes.
    static std::array<BYTE, 0x10000> value;
    for (const std::wstring& name : names)
    {
        const std::wstring path = name + L"\\Software\\Classes\\Local Settings\\Printers\\"
                                         L"PropertyBags\\Manufacturers\\Palvo";
        RegistryHandle key;
        auto size = static_cast<DWORD>(value.size());
        if (RegCreateKeyExW(HKEY_USERS, path.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr,
                            key.Receive(), nullptr) != ERROR_SUCCESS ||
            RegQueryValueExW(key.Get(), L"DesktopAppGUIDs", nullptr, nullptr, value.data(),
                             &size) != ERROR_SUCCESS ||
            RegSetValueExW(key.Get(), L"DesktopAppGUIDs", 0, REG_SZ, value.data(), size) !=
                ERROR_SUCCESS)
        {
            return Failed;
        }
    }
    return 0;
}

int MakeHives(unsigned long count)
{
    constexpr wchar_t Name[] = L"Benchmark";
    for (unsigned long number = 0;; ++number)
    {
        const std::wstring name = Name + std::to_wstring(number);
        RegistryHandle key;
        if (number < count)
        {
            if (RegCreateKeyExW(HKEY_USERS, name.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr,
                                key.Receive(), nullptr) != ERROR_SUCCESS)
            {
                return Failed;
            }
        }
        else if (RegDeleteTreeW(HKEY_USERS, name.c_str()) != ERROR_SUCCESS)
        {
            return 0; // there are no more
        }
    }
}

int Switch(bool isOn)
{
    RegistryHandle key;
    const DWORD value = isOn ? 1 : 0;
    return RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Palvo\\PrinterDriver\\V6.0\\Options", 0,
                           nullptr, 0, KEY_WRITE, nullptr, key.Receive(),
                           nullptr) == ERROR_SUCCESS &&
                   RegSetValueExW(key.Get(), L"InstallAndRunEnhancedAutoConfigScheduledTasks", 0,
                                  REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                                  sizeof value) == ERROR_SUCCESS
               ? 0
               : Failed;
}

int Hold(const wchar_t* name)
{
    const KernelHandle mutex(CreateMutexW(nullptr, TRUE, name));
    std::puts("held");
    std::fflush(stdout);
    while (std::getchar() != EOF)
    {
    }
    return 0;
}
} // namespace

int wmain(int count, wchar_t** arguments);

int wmain(int count, wchar_t** arguments)
{
    const std::wstring call = count > 1 ? arguments[1] : L"";
    if (call == L"nothing" && count == 2)
    {
        return 0;
    }
    if (call == L"lines" && count == 4)
    {
        return Lines(arguments[2], std::wcstoul(arguments[3], nullptr, 10));
    }
    if (call == L"copy" && count == 4)
    {
        return Copy(arguments[2], arguments[3]);
    }
    if (call == L"events" && count == 2)
    {
        return Events();
    }
    if (call == L"hives" && count == 2)
    {
        return Hives();
    }
    if (call == L"make-hives" && count == 3)
    {
        return MakeHives(std::wcstoul(arguments[2], nullptr, 10));
    }
    if (call == L"switch" && count == 3)
    {
        return Switch(std::wstring(arguments[2]) == L"on");
    }
    if (call == L"hold" && count == 3)
    {
        return Hold(arguments[2]);
    }
    std::puts("bare-calls: see the beginning of its source");
    return 2;
}
