#include "WellKnownAccounts.h"
#include "WindowsHeaders.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

namespace
{
/// Longer than any whole test program takes, even on a slow machine.
constexpr DWORD WatchdogMilliseconds = 240'000;
/// What a test program returns when it hung.
constexpr UINT HungExitCode = 124;

DWORD WINAPI Watchdog(void*)
{
    Sleep(WatchdogMilliseconds);
    static constexpr char Message[] = "The test program hangs and is ended.\n";
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), Message, sizeof Message - 1, &written, nullptr);
    TerminateProcess(GetCurrentProcess(), HungExitCode);
    return 0;
}

/// Every test is a run of its own: none finds the names that another looked up.
class FreshRun : public testing::EmptyTestEventListener
{
    void OnTestStart(const testing::TestInfo&) override { AccountNames::OfThisRun() = {}; }
};
} // namespace

int main(int argumentCount, char** arguments)
{
    // A test asks in how many arguments the start-up code takes its command line apart.
    if (argumentCount > 1 && std::strcmp(arguments[1], "--count-arguments") == 0)
    {
        return argumentCount;
    }

    // A crash ends the program with its code; no box waits for a person.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    // The last line before a crash must not stay in a buffer.
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    const HANDLE watchdog = CreateThread(nullptr, 0, &Watchdog, nullptr, 0, nullptr);
    if (watchdog == nullptr)
    {
        return 1;
    }
    CloseHandle(watchdog);

    testing::InitGoogleTest(&argumentCount, arguments);
    testing::UnitTest::GetInstance()->listeners().Append(new FreshRun);
    return RUN_ALL_TESTS();
}
