#include "GlobalObjects.h"
#include "LogFile.h"
#include "LogHolders.h"
#include "Looks.h"
#include "Owners.h"
#include "ProcessList.h"
#include "Text.h"

namespace
{
constexpr DWORD QueryMutant = 1;     // MUTANT_QUERY_STATE
constexpr int LooksAtLogMutex = 100; // as long as a line waits for it
constexpr DWORD BetweenLooks = 50;   // milliseconds

/// MUTANT_BASIC_INFORMATION of the system's own interface.
struct MutantState
{
    LONG count; ///< 1: nobody holds it
    BOOLEAN isOurs;
    BOOLEAN isAbandoned;
};

/// It is not waited for: a copy that came just then would take itself for redundant. The right to
/// ask is all that it is opened with.
MutexFact LookAtMutex(const std::wstring& scheme, const std::wstring& name)
{
    using Query = LONG(WINAPI*)(HANDLE, int, void*, ULONG, ULONG*);
    static const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQueryMutant")));
    const KernelHandle mutex(OpenMutexW(QueryMutant, FALSE, name.c_str()));
    if (!mutex)
    {
        const DWORD error = GetLastError();
        return {scheme, false, error == ERROR_FILE_NOT_FOUND ? 0 : error};
    }
    MutantState state = {};
    return {scheme,
            query != nullptr && query(mutex.Get(), 0, &state, sizeof state, nullptr) == 0 &&
                state.count <= 0,
            0};
}

/// Tells one state of the log from the next; 0 when there is none. The file is not opened.
std::uint64_t SizeOf(const std::wstring& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data);
    return std::uint64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow;
}

/// Held when nobody gets to write. A line's writer holds the mutex for a moment only, but in a
/// burst some writer always does, and the log grows.
MutexFact LookAtLogMutex(const std::wstring& logPath)
{
    const std::wstring name = LogMutexName(DirectoryOf(logPath));
    const std::uint64_t size = SizeOf(logPath);
    MutexFact mutex;
    for (int i = 0; i < LooksAtLogMutex; ++i)
    {
        mutex = LookAtMutex(L"the log", name);
        if (!mutex.isHeld || SizeOf(logPath) != size)
        {
            mutex.isHeld = false;
            return mutex;
        }
        Sleep(BetweenLooks);
    }
    return mutex;
}

std::vector<MutexFact> LookAtInstances()
{
    return {LookAtMutex(L"printer events and logons",
                        MakeGlobalObjectName(GlobalObjects::NewOrChangedInstanceMutex)),
            LookAtMutex(L"refreshes", MakeGlobalObjectName(GlobalObjects::RefreshInstanceMutex))};
}

std::optional<std::uint64_t> StartOf(DWORD id)
{
    const KernelHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
    FILETIME start = {};
    FILETIME other = {};
    if (!process || !GetProcessTimes(process.Get(), &start, &other, &other, &other))
    {
        return std::nullopt;
    }
    return std::uint64_t{start.dwHighDateTime} << 32 | start.dwLowDateTime;
}

bool IsOfSuite(const std::wstring& file)
{
    return EqualsIgnoringCase(file, L"PalvoPrinterConfiguration.exe") ||
           EqualsIgnoringCase(file, L"PalvoPrinterQuery.exe") ||
           EqualsIgnoringCase(file, L"PalvoPrinterConfigurationWriter.exe");
}
} // namespace

WorkFacts LookAtWork(const std::wstring& logPath)
{
    WorkFacts facts;
    facts.instances = LookAtInstances();
    for (const ProcessEntry& process : ListProcesses())
    {
        if (IsOfSuite(process.file))
        {
            facts.processes.push_back({process.id, process.file, StartOf(process.id)});
        }
    }
    // One that held a mutex before may have ended since, and one that holds it now was not there
    // yet: only what is held both times counts.
    const std::vector<MutexFact> again = LookAtInstances();
    for (std::size_t i = 0; i < again.size(); ++i)
    {
        facts.instances[i].isHeld = facts.instances[i].isHeld && again[i].isHeld;
    }
    if (!logPath.empty())
    {
        facts.logMutex = LookAtLogMutex(logPath);
        facts.logHolders = HoldersOf(logPath);
    }
    return facts;
}
