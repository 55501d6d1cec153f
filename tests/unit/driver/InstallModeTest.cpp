#include "InstallRun.h"

namespace
{
const std::wstring ChannelError = L"ERROR: Failed to configure event log to enable auto-config "
                                  L"scheduled task's event trigger.";
const std::wstring NewOrChangedError = L"ERROR: Failed to create or recreate auto-config scheduled "
                                       L"task for new/changed printer events.";
const std::wstring RefreshError =
    L"ERROR: Failed to create or recreate auto-config scheduled task for periodic refresh.";
const std::wstring LogonError =
    L"ERROR: Failed to create or recreate auto-config scheduled task for user logon events.";
const std::wstring Created =
    L"Auto-config scheduled task successfully created with event and calendar triggers.";
const std::wstring Done = L"# Invoked to install scheduled tasks. Done...exiting.";

const std::wstring RefreshTask = L"Palvo PalvoOrvela Printer Configuration - Periodic Refresh";
const std::wstring NewOrChangedTask = L"Palvo PalvoOrvela Printer Configuration - New or Changed";
const std::wstring LogonTask = L"Palvo PalvoOrvela Printer Configuration - User Logon";

const std::string Registered = "\n Success! Task successfully registered.";

/// One way in which the steps come out: the number of the channel's call that fails (0 for none),
/// and the tasks that cannot be installed.
struct Outcome
{
    std::size_t channelCall;
    bool newOrChangedFails;
    bool refreshFails;
    bool logonFails;
};

void CheckOutcome(InstallRun& run, const Outcome& outcome)
{
    run.Reset();
    SCOPED_TRACE(testing::Message()
                 << "channel call " << outcome.channelCall << ", tasks "
                 << outcome.newOrChangedFails << outcome.refreshFails << outcome.logonFails);
    if (outcome.channelCall != 0)
    {
        run.channel.FailCall(outcome.channelCall, ERROR_ACCESS_DENIED);
    }
    std::vector<std::size_t> failing;
    std::vector<std::wstring> messages;
    std::vector<std::wstring> tasks;
    const auto expectTask =
        [&](bool fails, std::size_t number, const std::wstring& error, const std::wstring& name)
    {
        if (fails)
        {
            failing.push_back(number);
            messages.push_back(error);
        }
        else
        {
            tasks.push_back(name);
        }
    };
    constexpr int channelResults[] = {0, 1, 2, 2, 3, 4};
    const int channelResult = channelResults[outcome.channelCall];
    if (channelResult != 0)
    {
        messages.push_back(ChannelError);
    }
    expectTask(outcome.newOrChangedFails, 1, NewOrChangedError, NewOrChangedTask);
    expectTask(outcome.refreshFails, 2, RefreshError, RefreshTask);
    expectTask(outcome.logonFails, 3, LogonError, LogonTask);
    std::sort(tasks.begin(), tasks.end());
    const int expected = std::max(channelResult, outcome.logonFails ? 1 : 0);
    if (expected == 0)
    {
        messages.push_back(Created);
    }
    messages.push_back(Done);

    FailTasks(run, failing);
    EXPECT_EQ(run.Install(), expected);
    EXPECT_EQ(run.Messages(), messages);
    EXPECT_EQ(run.TaskNames(), tasks);
    // Nothing keeps the bags from their update.
    EXPECT_TRUE(run.users.String(BagOf(L"S-1-5-21-1"), DesktopAppGuids).starts_with(L"7.0:"));
    RegDeleteTreeW(run.users.Key(), L"S-1-5-21-1\\Software");
}
} // namespace

TEST(InstallModeTest, TheOutcomeIsTheLargerOfTheChannelAndTheLogonTaskWhateverElseFails)
{
    InstallRun run;
    for (std::size_t channelCall = 0; channelCall <= 5; ++channelCall)
    {
        for (unsigned tasks = 0; tasks < 8; ++tasks)
        {
            CheckOutcome(run,
                         {channelCall, (tasks & 1U) != 0, (tasks & 2U) != 0, (tasks & 4U) != 0});
        }
    }
}

TEST(InstallModeTest, AFailedPrinterEventTaskIsLoggedAndTheResultIsStillSuccess)
{
    InstallRun run;
    FailTasks(run, {1});
    EXPECT_EQ(run.Install(), 0);
    EXPECT_EQ(run.Messages(), (std::vector{NewOrChangedError, Created, Done}));
}

TEST(InstallModeTest, TheStepsFollowThisOrder)
{
    InstallRun run;
    ASSERT_EQ(run.Install(), 0);
    EXPECT_EQ(run.Lines({L"registry: ", L"EvtSetChannelConfigProperty(0,", L"EvtSave",
                         L"ITaskFolder::Register", L"log: "}),
              (Journal{L"registry: LastEvtRecordProcessed",
                       L"EvtSetChannelConfigProperty(0, 0, boolean 1)", L"EvtSaveChannelConfig(0)",
                       L"ITaskFolder::RegisterTaskDefinition(\"" + NewOrChangedTask +
                           L"\", 6, \"NT AUTHORITY\\SYSTEM\", empty, 5, \"\")",
                       L"ITaskFolder::RegisterTaskDefinition(\"" + RefreshTask +
                           L"\", 6, \"NT AUTHORITY\\SYSTEM\", empty, 5, \"\")",
                       L"ITaskFolder::RegisterTaskDefinition(\"" + LogonTask +
                           L"\", 6, \"NT AUTHORITY\\SYSTEM\", empty, 5, \"\")",
                       L"log: " + Created, L"registry: DesktopAppGUIDs",
                       L"registry: DesktopAppGUIDs", L"log: " + Done}));
    EXPECT_EQ(run.output, "Channel properties updated.\n" + Registered + Registered + Registered);
}

TEST(InstallModeTest, ErrorsAreLoggedAsSoonAsTheirStepFailed)
{
    InstallRun run;
    run.channel.FailCall(1, ERROR_ACCESS_DENIED);
    FailTasks(run, {1, 2, 3});
    EXPECT_EQ(run.Install(), 1);
    EXPECT_EQ(run.Lines({L"registry: ", L"EvtOpen", L"CoCreateInstance", L"log: "}),
              (Journal{L"registry: LastEvtRecordProcessed",
                       L"EvtOpenChannelConfig(null, "
                       L"\"Microsoft-Windows-PrintService/Operational\", 0)",
                       L"log: " + ChannelError,
                       L"CoCreateInstance({0f87369f-a4e5-4cfc-bd3e-73e6154572dd}, null, 1, "
                       L"{2faba4c7-4da9-4013-9697-20cc3fd40f85})",
                       L"log: " + NewOrChangedError,
                       L"CoCreateInstance({0f87369f-a4e5-4cfc-bd3e-73e6154572dd}, null, 1, "
                       L"{2faba4c7-4da9-4013-9697-20cc3fd40f85})",
                       L"log: " + RefreshError,
                       L"CoCreateInstance({0f87369f-a4e5-4cfc-bd3e-73e6154572dd}, null, 1, "
                       L"{2faba4c7-4da9-4013-9697-20cc3fd40f85})",
                       L"log: " + LogonError, L"registry: DesktopAppGUIDs",
                       L"registry: DesktopAppGUIDs", L"log: " + Done}));
}

TEST(InstallModeTest, EachTaskStartsThisProgramWithItsOwnArguments)
{
    InstallRun run;
    ASSERT_EQ(run.Install(), 0);
    const std::vector<std::pair<std::wstring, std::wstring>> expected = {
        {NewOrChangedTask, L"-c -i NewOrChangedTask"},
        {RefreshTask, L"-r -i PeriodicRefreshTask -IN -w"},
        {LogonTask, L"-c -i UserLogonTask -IN -w"}};
    for (const auto& [name, arguments] : expected)
    {
        const Journal& task = run.scheduler.ledger.tasks.at(name);
        EXPECT_EQ(task.at(task.size() - 2),
                  L"IExecAction::put_Path(\"C:\\Palvo Suite\\PalvoPrinterConfiguration.exe\")");
        EXPECT_EQ(task.back(), L"IExecAction::put_Arguments(\"" + arguments + L"\")");
    }
}

TEST(InstallModeTest, TheNextScanStartsFromTheBeginning)
{
    InstallRun run;
    run.machine.SetNumber(OwnKey, ScanPosition, 0x123456789AULL);
    ASSERT_EQ(run.Install(), 0);
    EXPECT_EQ(run.machine.Number(OwnKey, ScanPosition), 0U);
}

TEST(InstallModeTest, AProgramKeyThatCannotBeCreatedStopsNoStep)
{
    InstallRun run;
    using CreateKey = Replaced<"ADVAPI32", "RegCreateKeyExW", decltype(::RegCreateKeyExW)>;
    const CreateKey createKey(
        [](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR type, DWORD options, REGSAM access,
           const LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition) -> LSTATUS
        {
            return root == HKEY_LOCAL_MACHINE
                       ? ERROR_ACCESS_DENIED
                       : CreateKey::Original(root, path, reserved, type, options, access, security,
                                             key, disposition);
        });
    EXPECT_EQ(run.Install(), 0);
    EXPECT_FALSE(run.machine.HasKey(OwnKey));
    EXPECT_EQ(run.TaskNames().size(), 3U);
    EXPECT_EQ(run.Messages(), (std::vector{Created, Done}));
}

TEST(InstallModeTest, AUserHiveThatCannotBeWrittenDoesNotEnterTheOutcome)
{
    InstallRun run;
    using CreateKey = Replaced<"ADVAPI32", "RegCreateKeyExW", decltype(::RegCreateKeyExW)>;
    const CreateKey createKey(
        [](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR type, DWORD options, REGSAM access,
           const LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition) -> LSTATUS
        {
            return root == HKEY_USERS ? ERROR_ACCESS_DENIED
                                      : CreateKey::Original(root, path, reserved, type, options,
                                                            access, security, key, disposition);
        });
    EXPECT_EQ(run.Install(), 0);
    EXPECT_EQ(run.Messages(), (std::vector{Created, Done}));
}

TEST(InstallModeTest, InstallingAgainRepairsWhatAFailureLeftAndKeepsThreeTasks)
{
    InstallRun run;
    FailTasks(run, {2});
    ASSERT_EQ(run.Install(), 0);
    ASSERT_EQ(run.TaskNames().size(), 2U);
    EXPECT_EQ(run.Install(), 0);
    EXPECT_EQ(run.Install(), 0);
    EXPECT_EQ(run.TaskNames(), (std::vector{NewOrChangedTask, RefreshTask, LogonTask}));
}

TEST(InstallModeTest, WithoutAPathNothingIsRegisteredAndWhatIsThereStays)
{
    InstallRun run;
    ASSERT_EQ(run.Install(), 0);
    const auto tasks = run.scheduler.ledger.tasks;
    run.ForgetPaths();
    run.journal.clear();
    EXPECT_EQ(run.Install(), 1);
    EXPECT_EQ(run.Messages(), (std::vector{NewOrChangedError, RefreshError, LogonError, Done}));
    EXPECT_EQ(run.Lines({L"Co", L"ITask"}), Journal{});
    EXPECT_EQ(run.scheduler.ledger.tasks, tasks);
    EXPECT_EQ(run.output, "Channel properties updated.\n");
}
