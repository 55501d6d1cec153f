#include "InstallRun.h"

#include "LegacyPlvException.h"

namespace
{
/// The calls that switch the event channel.
Journal Switchings(const InstallRun& run)
{
    return run.Lines({L"EvtSetChannelConfigProperty(0,"});
}
const Journal switchedOn{L"EvtSetChannelConfigProperty(0, 0, boolean 1)"};
const Journal switchedOff{L"EvtSetChannelConfigProperty(0, 0, boolean 0)"};

/// The channel's result is then 3.
void FailMaximumSize(InstallRun& run)
{
    run.channel.FailCall(4, ERROR_ACCESS_DENIED);
}
} // namespace

TEST(InstallDispatchTest, InstallationIsReachedByItsSwitch)
{
    InstallRun run;
    EXPECT_EQ(run.Program(L"-IT"), 0);
    EXPECT_EQ(Switchings(run), switchedOn);
    EXPECT_EQ(run.TaskNames().size(), 3U);
}

TEST(InstallDispatchTest, OutcomeOfTheInstallationIsTheExitCode)
{
    InstallRun run;
    FailMaximumSize(run);
    EXPECT_EQ(run.Program(L"-IT"), 3);
    EXPECT_EQ(Switchings(run), switchedOn);
}

TEST(InstallDispatchTest, RemovalIsReachedByItsSwitch)
{
    InstallRun run;
    run.Program(L"-IT");
    run.journal.clear();
    EXPECT_EQ(run.Program(L"-UT"), 0);
    EXPECT_EQ(Switchings(run), switchedOff);
    EXPECT_TRUE(run.TaskNames().empty());
}

TEST(InstallDispatchTest, ResultOfTheRemovalIsTheExitCode)
{
    InstallRun run;
    FailMaximumSize(run);
    EXPECT_EQ(run.Program(L"-UT"), 3);
    EXPECT_EQ(Switchings(run), switchedOff);
}

TEST(InstallDispatchTest, PositionThatTheInstallationCannotStoreReachesTheCaller)
{
    InstallRun run;
    run.registryError = ERROR_ACCESS_DENIED;
    EXPECT_THROW(run.Program(L"-IT"), ExceptionRegistryRequest);
    EXPECT_TRUE(Switchings(run).empty());
}

TEST(InstallDispatchTest, PathThatCannotBeHadOrHadToBeCutRegistersNothing)
{
    for (const DWORD length : {0U, 260U})
    {
        using ModuleName =
            Replaced<"KERNEL32", "GetModuleFileNameW", decltype(::GetModuleFileNameW)>;
        const ModuleName moduleName(
            [=](HMODULE, LPWSTR buffer, DWORD size)
            {
                const std::wstring path = L"C:\\" + std::wstring(size - 4, L'd');
                std::copy_n(path.c_str(), size, buffer);
                return length;
            });
        InstallRun run;
        EXPECT_EQ(run.Program(L"-IT"), 1) << length;
        EXPECT_EQ(run.TaskNames(), std::vector<std::wstring>{}) << length;
    }
}
