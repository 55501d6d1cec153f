#include "FolderRights.h"
#include "Looks.h"
#include "ProcessList.h"
#include "ProperFile.h"
#include "Rules.h"

#include "ComOwners.h"

#include <knownfolders.h>
#include <shlobj.h>

#include <algorithm>

namespace
{
constexpr wchar_t Leftover[] = L".plvold";
constexpr std::uint64_t MostBytes = 16ULL << 20;
constexpr DWORD ShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
// A link itself; and whoever answers in the file's place may not act as this account.
constexpr DWORD OpenFlags =
    FILE_FLAG_OPEN_REPARSE_POINT | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION;

/// From the log's own folder up to the first one in ProgramData.
constexpr int OwnFolders = 5;

using ShellText = Owner<NullIsNothing<wchar_t*, &GiveBack::TaskMemory>>;

/// As the program has it, but without making the folder.
std::wstring LogPath()
{
    ShellText programData;
    if (FAILED(SHGetKnownFolderPath(FOLDERID_ProgramData, KF_FLAG_DEFAULT, nullptr,
                                    programData.Receive())) ||
        !programData)
    {
        return {};
    }
    return std::wstring(programData.Get()) +
           L"\\Palvo\\PrinterDriver\\V6.0\\PalvoPrinterConfiguration\\PalvoOrvela"
           L"\\PalvoPrinterConfiguration.log";
}

/// The end of the file, from the first whole line on where it is too large.
std::string ReadEnd(HANDLE file, std::uint64_t size)
{
    const std::uint64_t begin = size > MostBytes ? size - MostBytes : 0;
    LARGE_INTEGER place = {};
    place.QuadPart = static_cast<LONGLONG>(begin);
    std::string bytes(static_cast<std::size_t>(size - begin), '\0');
    DWORD read = 0;
    if (!SetFilePointerEx(file, place, nullptr, FILE_BEGIN) ||
        !ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr))
    {
        return {};
    }
    bytes.resize(read);
    return begin == 0 ? bytes : bytes.substr(bytes.find('\n') + 1);
}

/// Whoever writes or deletes it meanwhile can.
FileHandle OpenShared(const std::wstring& path)
{
    return FileHandle(CreateFileW(path.c_str(), GENERIC_READ, ShareAll, nullptr, OPEN_EXISTING,
                                  OpenFlags, nullptr));
}

void AddLiveProcesses(LogFacts& facts)
{
    for (const ProcessEntry& process : ListProcesses())
    {
        facts.liveProcesses.push_back(process.id);
    }
}

void LookAtFile(LogFacts& facts)
{
    const DWORD attributes = GetFileAttributesW(facts.path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES)
    {
        facts.isFolder = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        facts.isReadOnly = !facts.isFolder && (attributes & FILE_ATTRIBUTE_READONLY) != 0;
    }
    const FileHandle file = OpenShared(facts.path);
    if (!file)
    {
        facts.openError = GetLastError();
        return;
    }
    LARGE_INTEGER size = {};
    facts.isProper = IsProperFile(file.Get(), facts.path);
    if (facts.isProper && GetFileSizeEx(file.Get(), &size))
    {
        facts.size = static_cast<std::uint64_t>(size.QuadPart);
        facts.bytes = ReadEnd(file.Get(), facts.size);
        ParseLog(facts.bytes, facts);
    }
}

/// QueryUnbiasedInterruptTime stands still while Windows sleeps; Vista does not have it.
void LookAtUpTime(LogFacts& facts)
{
    using Query = BOOL(WINAPI*)(ULONGLONG*);
    static const auto query = reinterpret_cast<Query>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "QueryUnbiasedInterruptTime")));
    facts.upTime = std::uint64_t{GetTickCount64()} * (Second / 1000);
    ULONGLONG awake = 0;
    if (query != nullptr && query(&awake))
    {
        facts.asleep = facts.upTime - std::min<std::uint64_t>(facts.upTime, awake);
    }
}

void LookAtFolders(LogFacts& facts)
{
    std::wstring folder = facts.path;
    for (int i = 0; i < OwnFolders; ++i)
    {
        folder = FolderAbove(folder);
        LookAtRights(folder, facts.rights);
    }
}
} // namespace

LogFacts LookAtLog()
{
    LogFacts facts;
    facts.path = LogPath();
    if (facts.path.empty())
    {
        return facts;
    }
    LookAtUpTime(facts);
    // Before and after: a copy that ends while the log is read was alive when it wrote its last
    // line.
    AddLiveProcesses(facts);
    LookAtFile(facts);
    AddLiveProcesses(facts);
    facts.hasLeftover =
        GetFileAttributesW((facts.path + Leftover).c_str()) != INVALID_FILE_ATTRIBUTES;
    LookAtFolders(facts);
    ULARGE_INTEGER free = {};
    if (GetDiskFreeSpaceExW(facts.path.substr(0, 3).c_str(), &free, nullptr, nullptr))
    {
        facts.freeBytes = free.QuadPart;
    }
    return facts;
}

std::string LookAtLeftover(const std::wstring& logPath)
{
    const std::wstring path = logPath + Leftover;
    const FileHandle file = OpenShared(path);
    LARGE_INTEGER size = {};
    return file && IsProperFile(file.Get(), path) && GetFileSizeEx(file.Get(), &size)
               ? ReadEnd(file.Get(), static_cast<std::uint64_t>(size.QuadPart))
               : std::string();
}
