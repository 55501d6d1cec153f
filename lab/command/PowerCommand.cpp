// The power fails: all processes end at once, and the program's registry values and log are what
// they were when they were last flushed. What others keep (events, printers, tasks) is never lost
// here.
#include "Command.h"

#include "CallRecord.h"
#include "Hives.h"
#include "LabState.h"
#include "Owners.h"
#include "SiblingStore.h"
#include "Text.h"

#include <tlhelp32.h>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kFlushedKey[] = L"Flushed";
constexpr DWORD kPause = 50; // milliseconds, in which a host may start what its task had queued

std::wstring FlushedLog()
{
    return DataFolder() + L"flushed.log";
}

// Makes a key hold what another holds, or nothing when that is not there.
void CopyKey(const LabKey& from, const LabKey& to)
{
    RegDeleteTreeW(to.Get(), nullptr);
    if (from)
    {
        RegCopyTreeW(from.Get(), nullptr, to.Get());
    }
}

// Not deleted and made anew: its access list stays.
void CopyBytes(const std::wstring& from, const std::wstring& to)
{
    const auto bytes = ReadWholeFile(from);
    if (!bytes)
    {
        DeleteFileW(to.c_str());
        return;
    }
    const FileHandle file(CreateFileW(to.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                      CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    WriteFile(file.Get(), bytes->data(), static_cast<DWORD>(bytes->size()), &written, nullptr);
}

struct Kept
{
    HKEY root;
    std::wstring path;
    std::wstring flushed;
};

// The keys that the program writes, and where the lab keeps what was flushed of each.
std::vector<Kept> KeysOfProgram()
{
    std::vector<Kept> keys = {
        {HKEY_LOCAL_MACHINE, L"Software\\Palvo", std::wstring(kFlushedKey) + L"\\Machine"}};
    for (const std::wstring& hive : MountedHives())
    {
        keys.push_back({HKEY_USERS, hive + kBagPath, std::wstring(kFlushedKey) + L"\\" + hive});
    }
    return keys;
}

void Flush()
{
    RemoveStateKey(kFlushedKey);
    for (const Kept& key : KeysOfProgram())
    {
        CopyKey(LabKey::Open(key.root, key.path), CreateStateKey(key.flushed));
    }
    CopyBytes(LogPath(), FlushedLog());
}

void Restore()
{
    for (const Kept& key : KeysOfProgram())
    {
        CopyKey(OpenStateKey(key.flushed), LabKey::Create(key.root, key.path));
    }
    CopyBytes(FlushedLog(), LogPath());
}

std::vector<DWORD> ProcessesOf(const std::wstring& program)
{
    std::vector<DWORD> ids;
    const FileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(snapshot.Get(), &entry); more;
         more = Process32NextW(snapshot.Get(), &entry))
    {
        if (EqualNoCase(entry.szExeFile, program))
        {
            ids.push_back(entry.th32ProcessID);
        }
    }
    return ids;
}

// The copies first: they must not see that a sibling has ended. Whether there was anything to end.
bool EndProcesses()
{
    bool ended = false;
    for (const std::wstring& program : {std::wstring(kProgram), SiblingFile(SiblingKind::Query),
                                        SiblingFile(SiblingKind::Writer)})
    {
        for (const DWORD id : ProcessesOf(program))
        {
            const KernelHandle process(OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, id));
            ended |= process && TerminateProcess(process.Get(), kKilled) &&
                     WaitForSingleObject(process.Get(), INFINITE) == WAIT_OBJECT_0;
        }
    }
    return ended;
}

void TurnOff()
{
    WriteSetting(L"Scheduler", L"stopped");
    do
    {
        Sleep(kPause);
    } while (EndProcesses());
    for (SiblingRun& run : SiblingRuns())
    {
        if (!run.endTime)
        {
            run.endTime = Now();
            run.exitCode = kKilled;
            RecordSiblingEnd(run);
        }
    }
}

} // namespace

int RunPower(const Arguments& arguments)
{
    const std::wstring what = arguments.size() == 1 ? arguments[0] : L"";
    if (what == L"flush")
    {
        Flush();
    }
    else if (what == L"off")
    {
        TurnOff();
    }
    else if (what == L"on" && OpenStateKey(kFlushedKey))
    {
        Restore();
        RemoveSetting(L"Scheduler");
    }
    else
    {
        return Misused(L"power");
    }
    return kDone;
}

} // namespace PalvoLab
