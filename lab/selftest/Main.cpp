// The lab's own tests. Run in the lab:
//     palvo-lab run --program .../lab-selftest.exe
#include "Check.h"

#include "Accounts.h"
#include "LabState.h"
#include "PrinterStore.h"
#include "Text.h"

#include <wtsapi32.h>

#include <cstdio>
#include <vector>

namespace PalvoLab
{
namespace
{

struct Test
{
    const char* name;
    TestFunction function;
};

std::vector<Test>& Tests()
{
    static std::vector<Test> tests;
    return tests;
}

int failures = 0;

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

} // namespace

TestRegistration::TestRegistration(const char* name, TestFunction function)
{
    Tests().push_back({name, function});
}

void Check(bool holds, const char* what, int line)
{
    if (!holds)
    {
        ++failures;
        std::printf("    line %d: %s\n", line, what);
    }
}

void CheckFailed(bool failed, DWORD expected, const char* what, int line)
{
    const DWORD error = GetLastError();
    if (!failed || error != expected)
    {
        ++failures;
        std::printf("    line %d: %s %s with %lu, expected failure with %lu\n", line, what,
                    failed ? "failed" : "succeeded", error, expected);
    }
}

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

} // namespace PalvoLab

int wmain()
{
    using namespace PalvoLab;
    if (GetModuleHandleW(L"palvolab.dll") == nullptr)
    {
        std::puts("the lab is not loaded: run this through palvo-lab");
        return 1;
    }
    SetUp();
    int failedTests = 0;
    for (const Test& test : Tests())
    {
        failures = 0;
        BecomeAccount(L"SYSTEM");
        test.function();
        std::printf("%s: %s\n", test.name, failures == 0 ? "ok" : "FAILED");
        failedTests += failures == 0 ? 0 : 1;
    }
    std::printf("%d of %d failed\n", failedTests, static_cast<int>(Tests().size()));
    return failedTests == 0 && !Tests().empty() ? 0 : 1;
}
