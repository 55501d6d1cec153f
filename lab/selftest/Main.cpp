// The lab's own tests. Run in the lab:
//     palvo-lab run --program .../lab-selftest.exe [-- PATTERN...]
// With patterns only the tests whose whole names match one: * is any characters, ? is one.
#include "Check.h"

#include "Accounts.h"
#include "LabState.h"
#include "PrinterStore.h"
#include "Text.h"

#include <wtsapi32.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string>
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

bool IsAskedFor(const Test& test, const std::vector<std::string>& patterns)
{
    return patterns.empty() || std::any_of(patterns.begin(), patterns.end(),
                                           [&](const std::string& pattern)
                                           { return Matches(pattern.c_str(), test.name); });
}

bool Passes(const Test& test)
{
    std::printf("%s: begins\n", test.name);
    failures = 0;
    BecomeAccount(L"SYSTEM");
    test.function();
    std::printf("%s: %s\n", test.name, failures == 0 ? "ok" : "FAILED");
    return failures == 0;
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

int wmain(int argc, wchar_t** argv)
{
    using namespace PalvoLab;
    // A crash must not take what was printed with it.
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    if (GetModuleHandleW(L"palvolab.dll") == nullptr)
    {
        std::puts("the lab is not loaded: run this through palvo-lab");
        return 1;
    }
    std::vector<std::string> patterns;
    std::transform(argv + 1, argv + argc, std::back_inserter(patterns),
                   [](const wchar_t* pattern) { return ToLine(pattern); });
    SetUp();
    int run = 0;
    int failed = 0;
    for (const Test& test : Tests())
    {
        if (IsAskedFor(test, patterns))
        {
            ++run;
            failed += Passes(test) ? 0 : 1;
        }
    }
    std::printf("%d of %d failed\n", failed, run);
    return failed == 0 ? 0 : 1;
}
