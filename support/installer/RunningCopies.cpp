#include "RunningCopies.h"

#include "Owners.h"
#include "Text.h"

#include <tlhelp32.h>

#include <algorithm>
#include <array>
#include <vector>

namespace
{
constexpr DWORD WaitMilliseconds = 10000;

constexpr std::array Programs = {L"PalvoPrinterConfiguration.exe",
                                 L"PalvoPrinterConfigurationWriter.exe", L"PalvoPrinterQuery.exe",
                                 L"PalvoPrinterDoctor.exe"};

struct Process
{
    DWORD id;
    DWORD parent;
    KernelHandle handle; ///< keeps the id from being used again
    ULONGLONG started;   ///< file time; 0 when it cannot be had
};

std::wstring ImageOf(HANDLE process)
{
    std::wstring path(32768, L'\0');
    DWORD length = static_cast<DWORD>(path.size());
    path.resize(QueryFullProcessImageNameW(process, 0, path.data(), &length) ? length : 0);
    return path;
}

ULONGLONG StartOf(HANDLE process)
{
    FILETIME started = {};
    FILETIME other = {};
    if (!GetProcessTimes(process, &started, &other, &other, &other))
    {
        return 0;
    }
    return ULONGLONG{started.dwHighDateTime} << 32 | started.dwLowDateTime;
}

/// Every process that this one may end, but itself.
std::vector<Process> AllProcesses()
{
    std::vector<Process> processes;
    const FileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    for (BOOL more = snapshot ? Process32FirstW(snapshot.Get(), &entry) : FALSE; more;
         more = Process32NextW(snapshot.Get(), &entry))
    {
        KernelHandle handle(
            OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_TERMINATE | SYNCHRONIZE, FALSE,
                        entry.th32ProcessID));
        if (handle && entry.th32ProcessID != GetCurrentProcessId())
        {
            const ULONGLONG started = StartOf(handle.Get());
            processes.push_back(
                {entry.th32ProcessID, entry.th32ParentProcessID, std::move(handle), started});
        }
    }
    return processes;
}

bool IsCopy(const Process& process, const std::wstring& folder)
{
    const std::wstring image = ImageOf(process.handle.Get());
    return EqualsIgnoringCase(DirectoryOf(image), folder) &&
           std::any_of(Programs.begin(), Programs.end(),
                       [&](const wchar_t* name)
                       { return EqualsIgnoringCase(FileNameOf(image), name); });
}

/// A parent's number may have been given to another process since: that one is younger.
bool IsChild(const Process& process, const Process& parent)
{
    return process.parent == parent.id && process.started >= parent.started;
}

/// Indices of the copies, then of their children, of these ones' children, and so on.
std::vector<std::size_t> CopiesAndChildren(const std::vector<Process>& all,
                                           const std::wstring& folder)
{
    std::vector<std::size_t> chosen;
    const auto choose = [&](std::size_t index)
    {
        if (std::find(chosen.begin(), chosen.end(), index) == chosen.end())
        {
            chosen.push_back(index);
        }
    };
    for (std::size_t i = 0; i < all.size(); ++i)
    {
        if (IsCopy(all[i], folder))
        {
            choose(i);
        }
    }
    for (std::size_t next = 0; next < chosen.size(); ++next)
    {
        for (std::size_t i = 0; i < all.size(); ++i)
        {
            if (IsChild(all[i], all[chosen[next]]))
            {
                choose(i);
            }
        }
    }
    return chosen;
}

/// How many were there; SIZE_MAX when one did not end.
std::size_t EndThoseOfNow(const std::wstring& folder)
{
    const std::vector<Process> all = AllProcesses();
    const std::vector<std::size_t> chosen = CopiesAndChildren(all, folder);
    for (const std::size_t index : chosen)
    {
        TerminateProcess(all[index].handle.Get(), 1);
    }
    for (const std::size_t index : chosen)
    {
        if (WaitForSingleObject(all[index].handle.Get(), WaitMilliseconds) != WAIT_OBJECT_0)
        {
            return SIZE_MAX;
        }
    }
    return chosen.size();
}
} // namespace

bool EndCopies(const std::wstring& folder)
{
    // A copy may have started a child between the look and its end.
    for (int look = 0; look < 5; ++look)
    {
        const std::size_t ended = EndThoseOfNow(folder);
        if (ended == 0 || ended == SIZE_MAX)
        {
            return ended == 0;
        }
    }
    return false;
}
