// The list in the lab: palvo-lab run --program .../windows-contract.exe
#include "List.h"

#include "Accounts.h"
#include "LabState.h"
#include "PrinterStore.h"

#include <wtsapi32.h>

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

bool HoldsForAll(const Statement& statement)
{
    bool holds = true;
    for (const wchar_t* account : AccountsOf(statement.caller))
    {
        BecomeAccount(account);
        holds = Holds(statement) && holds;
    }
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

int RunInLab()
{
    SetUp();
    int failed = 0;
    for (const Statement& statement : Statements())
    {
        const bool holds = HoldsForAll(statement);
        std::printf("%s: %s\n", statement.name, holds ? "ok" : "FAILED");
        failed += holds ? 0 : 1;
    }
    std::printf("%d of %d failed\n", failed, static_cast<int>(Statements().size()));
    return failed == 0 && !Statements().empty() ? 0 : 1;
}

} // namespace PalvoLab
