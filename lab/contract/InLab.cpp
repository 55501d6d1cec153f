// The list in the lab: palvo-lab run --program .../windows-contract.exe [-- PATTERN...]
// With patterns only the statements whose whole names match one: * is any characters, ? is one.
#include "List.h"

#include "Accounts.h"
#include "LabState.h"
#include "PrinterStore.h"

#include <wtsapi32.h>

#include <aclapi.h>
#include <sddl.h>

#include <algorithm>
#include <cstdio>

namespace PalvoLab
{
namespace
{

void SetUp()
{
    AddUser(L"alice", UserKind::Admin);
    AddUser(L"bob", UserKind::Standard);
    AddUser(L"carol", UserKind::FullAdmin);
    SaveSession({1, WTSActive, L"Console", L"alice"});
    SaveSession({2, WTSDisconnected, L"", L"bob"});
    UpdateHives();
    AddLabPrinter(L"Office 1", L"Palvo Orvela PV6");
}

std::vector<const wchar_t*> AccountsOf(Caller caller)
{
    switch (caller)
    {
    case Caller::System:
        return {L"SYSTEM"};
    case Caller::Administrator:
        return {L"alice:elevated"};
    case Caller::LocalService:
        return {L"LocalService"};
    case Caller::StandardUser:
        return {L"bob"};
    default:
        return {L"SYSTEM", L"alice:elevated", L"LocalService", L"bob"};
    }
}

bool Matches(const char* pattern, const char* name)
{
    if (*pattern == '*')
    {
        return Matches(pattern + 1, name) || (*name != '\0' && Matches(pattern, name + 1));
    }
    if (*pattern == '\0' || *name == '\0')
    {
        return *pattern == *name;
    }
    return (*pattern == '?' || *pattern == *name) && Matches(pattern + 1, name + 1);
}

bool IsAskedFor(const Statement& statement, const std::vector<std::string>& patterns)
{
    return patterns.empty() || std::any_of(patterns.begin(), patterns.end(),
                                           [&](const std::string& pattern)
                                           { return Matches(pattern.c_str(), statement.name); });
}

bool HoldsForAll(const Statement& statement)
{
    std::printf("%s: begins\n", statement.name);
    bool holds = true;
    for (const wchar_t* account : AccountsOf(statement.caller))
    {
        BecomeAccount(account);
        holds = Holds(statement) && holds;
    }
    std::printf("%s: %s\n", statement.name, holds ? "ok" : "FAILED");
    return holds;
}

} // namespace

void BecomeAccount(const wchar_t* account)
{
    SetEnvironmentVariableW(kAccountVariable, account);
}

std::wstring SidOf(const wchar_t* user)
{
    return FindIdentity(user)->sid;
}

void UpdateHives()
{
    const auto mount = reinterpret_cast<void (*)()>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"palvolab.dll"), "PalvoLabMountHives")));
    mount();
}

bool SetFileList(const wchar_t* path, const wchar_t* list, DWORD access)
{
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorW(list, SDDL_REVISION_1, &descriptor,
                                                         nullptr);
    PACL dacl = nullptr;
    BOOL present = FALSE;
    GetSecurityDescriptorDacl(descriptor, &present, &dacl, &present);
    const HANDLE file =
        CreateFileW(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, 0, nullptr);
    // Without what the folder's list would add.
    constexpr DWORD protectedList = DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION;
    const DWORD result =
        SetSecurityInfo(file, SE_FILE_OBJECT, protectedList, nullptr, nullptr, dacl, nullptr);
    CloseHandle(file);
    LocalFree(descriptor);
    SetLastError(result);
    return result == ERROR_SUCCESS;
}

int RunInLab(const std::vector<std::string>& patterns)
{
    // A crash must not take what was printed with it.
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    SetUp();
    int run = 0;
    int failed = 0;
    for (const Statement& statement : Statements())
    {
        if (statement.place == Place::Windows)
        {
            std::printf("%s: not asked, neither Wine nor a double does it\n", statement.name);
        }
        else if (IsAskedFor(statement, patterns))
        {
            ++run;
            failed += HoldsForAll(statement) ? 0 : 1;
        }
    }
    std::printf("%d of %d failed\n", failed, run);
    return failed == 0 ? 0 : 1;
}

} // namespace PalvoLab
