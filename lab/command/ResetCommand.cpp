#include "Command.h"

#include "Accounts.h"
#include "EventChannel.h"
#include "Hives.h"
#include "LabState.h"
#include "PrinterStore.h"
#include "ServerRegistration.h"
#include "SiblingStore.h"
#include "TaskRunner.h"

#include <wtsapi32.h>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kBagPath[] = L"Software\\Classes\\Local Settings\\Printers";

void DeleteTree(const std::wstring& folder)
{
    WIN32_FIND_DATAW found = {};
    const HANDLE search = FindFirstFileW((folder + L"\\*").c_str(), &found);
    if (search != INVALID_HANDLE_VALUE)
    {
        do
        {
            const std::wstring name = found.cFileName;
            const std::wstring path = folder + L"\\" + name;
            if (name == L"." || name == L"..")
            {
                continue;
            }
            SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
            if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
            {
                DeleteTree(path);
            }
            else
            {
                DeleteFileW(path.c_str());
            }
        } while (FindNextFileW(search, &found));
        FindClose(search);
    }
    RemoveDirectoryW(folder.c_str());
}

std::wstring ProgramData()
{
    const std::wstring& lab = DataFolder();
    return lab.substr(0, lab.rfind(L'\\', lab.size() - 2) + 1);
}

// What the program leaves behind.
void ForgetProgram()
{
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"Software\\Palvo");
    for (const wchar_t* hive : {L".Default\\", L"S-1-5-21-0-0-0-1000\\"})
    {
        RegDeleteTreeW(HKEY_USERS, (std::wstring(hive) + kBagPath).c_str());
    }
    // Whatever lies at that place: a test may have put a file there.
    const std::wstring path = ProgramData() + L"Palvo";
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    DeleteFileW(path.c_str());
    DeleteTree(path);
}

void ForgetLab()
{
    ResetHives();
    for (const std::wstring& channel : EventChannel::Names())
    {
        EventChannel::Find(channel)->Reset();
    }
    for (const SiblingKind kind : {SiblingKind::Query, SiblingKind::Writer})
    {
        const std::wstring path = ProgramFolder() + SiblingFile(kind);
        MoveFileW((path + L".missing").c_str(), path.c_str());
    }
    DeleteTree(DataFolder().substr(0, DataFolder().size() - 1));
    CreateDirectoryW(DataFolder().c_str(), nullptr);
    RemoveStateKey(L"");
    LabKey::Create(HKEY_CURRENT_USER, L"Software\\Wine").Remove(L"Version");
}

} // namespace

int RunReset(const Arguments& arguments)
{
    if (!arguments.empty())
    {
        return Misused(L"reset");
    }
    ResetScheduler();
    ForgetProgram();
    ForgetLab();
    RegisterTaskServer();
    // A machine at which nobody is logged on yet.
    SaveSession({0, WTSDisconnected, L"Services", L""});
    SaveSession({1, WTSConnected, L"Console", L""});
    SaveSession({65536, WTSListen, L"RDP-Tcp", L""});
    ResetPrinters();
    MountHives();
    CreateStateKey(L"Ready");
    return kDone;
}

} // namespace PalvoLab
