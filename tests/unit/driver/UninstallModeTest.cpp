#include "InstallRun.h"

namespace
{
const std::wstring TasksDeleted = L"Auto-Config scheduled tasks deleted upon request or because "
                                  L"digital signature validation failed.";
const std::wstring TasksError = L"ERROR: Failed to delete Auto-config scheduled task.";
const std::wstring JobStartDeleted = L"Print Job Start scheduled task deleted upon request or "
                                     L"because digital signature validation failed.";
const std::wstring JobStartError = L"ERROR: Failed to delete Print Job Start scheduled task.";
const std::wstring Done = L"# Invoked to uninstall scheduled tasks. Done...";
const std::wstring GuidsRemoved =
    L"Removed our driver GUIDs from the user property bag. Done...exiting.";

const std::wstring RefreshTask = L"Palvo PalvoOrvela Printer Configuration - Periodic Refresh";
const std::wstring NewOrChangedTask = L"Palvo PalvoOrvela Printer Configuration - New or Changed";
const std::wstring LogonTask = L"Palvo PalvoOrvela Printer Configuration - User Logon";
const std::wstring JobStartTask = L"Palvo Orvela 7.0 Job Management - Job Start";

std::wstring DeleteCall(const std::wstring& name)
{
    return L"ITaskFolder::DeleteTask(\"" + name + L"\", 0)";
}

/// All tasks that this program or its sibling may have left, and one of somebody else.
void RegisterEverything(InstallRun& run)
{
    for (const std::wstring& name :
         {RefreshTask, NewOrChangedTask, LogonTask, JobStartTask, std::wstring(L"Somebody else's")})
    {
        run.scheduler.ledger.tasks[name] = {};
    }
}

/// One way in which the steps come out on Windows 8 or later: the number of the channel's call that
/// fails (0 for none), and one bit for each of the four deletions that fails.
void CheckOutcome(InstallRun& run, std::size_t channelCall, unsigned failingDeletions)
{
    run.Reset();
    SCOPED_TRACE(testing::Message()
                 << "channel call " << channelCall << ", deletions " << failingDeletions);
    if (channelCall != 0)
    {
        run.channel.FailCall(channelCall, ERROR_ACCESS_DENIED);
    }
    std::vector<std::size_t> failing;
    for (std::size_t deletion = 0; deletion < 4; ++deletion)
    {
        if (((failingDeletions >> deletion) & 1U) != 0)
        {
            failing.push_back(deletion + 1);
        }
    }
    FailTasks(run, failing);
    constexpr int channelResults[] = {0, 1, 2, 2, 3, 4};
    EXPECT_EQ(run.Uninstall(),
              std::max(channelResults[channelCall], failingDeletions != 0 ? 1 : 0));
    EXPECT_EQ(run.Messages(),
              (std::vector{(failingDeletions & 7U) != 0 ? TasksError : TasksDeleted,
                           (failingDeletions & 8U) != 0 ? JobStartError : JobStartDeleted, Done,
                           GuidsRemoved}));
}

void CheckOutcomeBeforeWindows8(InstallRun& run, std::size_t channelCall, bool deletionFails)
{
    run.Reset();
    SCOPED_TRACE(testing::Message()
                 << "channel call " << channelCall << ", deletion " << deletionFails);
    RegisterEverything(run);
    if (channelCall != 0)
    {
        run.channel.FailCall(channelCall, ERROR_ACCESS_DENIED);
    }
    if (deletionFails)
    {
        FailTasks(run, {1});
    }
    constexpr int channelResults[] = {0, 1, 2, 2, 3, 4};
    EXPECT_EQ(run.Uninstall(), std::max(channelResults[channelCall], deletionFails ? 1 : 0));
    EXPECT_EQ(run.Messages(),
              (std::vector{deletionFails ? JobStartError : JobStartDeleted, Done, GuidsRemoved}));
    EXPECT_EQ(run.scheduler.ledger.tasks.count(JobStartTask), deletionFails ? 1U : 0U);
    EXPECT_EQ(run.scheduler.ledger.tasks.size(), deletionFails ? 5U : 4U);
}
} // namespace

TEST(UninstallModeTest, TheResultIsTheLargestOfAllStepsAndNoneStopsTheOthers)
{
    InstallRun run(6, 2);
    for (std::size_t channelCall = 0; channelCall <= 5; ++channelCall)
    {
        for (unsigned failingDeletions = 0; failingDeletions < 16; ++failingDeletions)
        {
            CheckOutcome(run, channelCall, failingDeletions);
        }
    }
}

TEST(UninstallModeTest, BeforeWindows8OnlyTheJobStartTaskGoesAndNothingIsSaidOfTheOthers)
{
    InstallRun run(6, 1);
    for (std::size_t channelCall = 0; channelCall <= 5; ++channelCall)
    {
        CheckOutcomeBeforeWindows8(run, channelCall, false);
        CheckOutcomeBeforeWindows8(run, channelCall, true);
    }
}

TEST(UninstallModeTest, TheTasksAreDeletedFromWindows8On)
{
    struct Version
    {
        DWORD major;
        DWORD minor;
        bool deletes;
    };
    for (const Version& version : {Version{6, 0, false}, Version{6, 1, false}, Version{6, 2, true},
                                   Version{6, 3, true}, Version{10, 0, true}})
    {
        SCOPED_TRACE(testing::Message() << version.major << '.' << version.minor);
        InstallRun run(version.major, version.minor);
        RegisterEverything(run);
        EXPECT_EQ(run.Uninstall(), 0);
        EXPECT_EQ(run.TaskNames(),
                  version.deletes ? std::vector<std::wstring>{L"Somebody else's"}
                                  : (std::vector<std::wstring>{NewOrChangedTask, RefreshTask,
                                                               LogonTask, L"Somebody else's"}));
        ASSERT_EQ(run.windows.questions.size(), 1U);
        const PretendedWindows::Question& question = run.windows.questions.front();
        EXPECT_EQ(question.wanted.dwOSVersionInfoSize, sizeof(OSVERSIONINFOEXW));
        EXPECT_EQ(question.wanted.dwMajorVersion, 6U);
        EXPECT_EQ(question.wanted.dwMinorVersion, 2U);
        EXPECT_EQ(question.wanted.wServicePackMajor, 0U);
        EXPECT_EQ(question.wanted.wServicePackMinor, 0U);
        EXPECT_EQ(question.fields, 0x33U);
        for (const DWORD field : {0x01U, 0x02U, 0x10U, 0x20U})
        {
            EXPECT_EQ(ConditionOf(question.conditions, field), 3U) << field;
        }
    }
}

TEST(UninstallModeTest, TheStepsFollowThisOrder)
{
    InstallRun run;
    for (const wchar_t* hive : {L"S-1-5-21-1", L".DEFAULT"})
    {
        run.users.SetString(BagOf(hive), DesktopAppGuids, L"6.0:x*7.0:y");
    }
    RegisterEverything(run);
    ASSERT_EQ(run.Uninstall(), 0);
    EXPECT_EQ(run.Lines({L"registry: ", L"EvtSetChannelConfigProperty(0,", L"EvtSave",
                         L"ITaskFolder::Delete", L"log: "}),
              (Journal{L"EvtSetChannelConfigProperty(0, 0, boolean 0)", L"EvtSaveChannelConfig(0)",
                       DeleteCall(NewOrChangedTask), DeleteCall(LogonTask), DeleteCall(RefreshTask),
                       L"log: " + TasksDeleted, DeleteCall(JobStartTask),
                       L"log: " + JobStartDeleted, L"log: " + Done, L"registry: DesktopAppGUIDs",
                       L"registry: DesktopAppGUIDs", L"log: " + GuidsRemoved}));
    EXPECT_EQ(run.output, "Channel properties updated.\n");
    EXPECT_EQ(run.users.String(BagOf(L"S-1-5-21-1"), DesktopAppGuids), L"6.0:x*");
}

TEST(UninstallModeTest, UninstallingWithNothingThereSucceedsAndCreatesNothing)
{
    InstallRun run;
    for (int time = 0; time < 2; ++time)
    {
        EXPECT_EQ(run.Uninstall(), 0);
        EXPECT_EQ(run.Messages(), (std::vector{TasksDeleted, JobStartDeleted, Done, GuidsRemoved}));
    }
    EXPECT_FALSE(run.users.HasKey(BagOf(L"S-1-5-21-1")));
    EXPECT_FALSE(run.machine.HasKey(OwnKey));
}

TEST(UninstallModeTest, TheScanPositionStays)
{
    InstallRun run;
    run.machine.SetNumber(OwnKey, ScanPosition, 77);
    EXPECT_EQ(run.Uninstall(), 0);
    EXPECT_EQ(run.machine.Number(OwnKey, ScanPosition), 77U);
}

TEST(UninstallModeTest, ADeletionThatTheSchedulerRefusesIsNoFailure)
{
    InstallRun run;
    run.scheduler.ledger.FailAlways(L"ITaskFolder::DeleteTask", E_ACCESSDENIED);
    EXPECT_EQ(run.Uninstall(), 0);
    EXPECT_EQ(run.Messages(), (std::vector{TasksDeleted, JobStartDeleted, Done, GuidsRemoved}));
}

TEST(UninstallModeTest, AHundredInstallationsAndRemovalsLeaveEverythingAsItWas)
{
    InstallRun run;
    run.scheduler.ledger.tasks[L"Somebody else's"] = {};
    run.users.SetString(BagOf(L"S-1-5-21-1"), DesktopAppGuids, L"6.0:x");
    ASSERT_EQ(run.Install(), 0);
    ASSERT_EQ(run.Uninstall(), 0);
    const std::wstring after = run.users.String(BagOf(L"S-1-5-21-1"), DesktopAppGuids);
    const auto channel = run.channel.saved;
    for (int cycle = 0; cycle < 100; ++cycle)
    {
        ASSERT_EQ(run.Install(), 0);
        ASSERT_EQ(run.TaskNames().size(), 4U);
        ASSERT_EQ(run.Uninstall(), 0);
    }
    EXPECT_EQ(run.TaskNames(), std::vector<std::wstring>{L"Somebody else's"});
    EXPECT_EQ(run.users.String(BagOf(L"S-1-5-21-1"), DesktopAppGuids), after);
    EXPECT_EQ(run.users.String(BagOf(L".DEFAULT"), DesktopAppGuids), L"");
    EXPECT_EQ(run.channel.saved, channel);
    EXPECT_EQ(run.machine.Number(OwnKey, ScanPosition), 0U);
}
