#include "TaskRun.h"

#include <set>

namespace
{
const std::string Registered = "\n Success! Task successfully registered.";

/// All start times that there may be.
std::set<std::wstring> StartTimes()
{
    std::set<std::wstring> times;
    for (const wchar_t* hour : {L"00", L"01", L"02", L"03"})
    {
        for (const wchar_t* minute : {L"00", L"10", L"20", L"30", L"40", L"50"})
        {
            times.insert(L"2000-01-01T" + std::wstring(hour) + L":" + minute + L":00");
        }
    }
    return times;
}

class TaskInstallationTest : public testing::Test
{
protected:
    void TearDown() override { EXPECT_EQ(run.scheduler.Faults(), L""); }

    TaskRun run;
};
} // namespace

TEST_F(TaskInstallationTest, EveryKindIsBuiltAndRegisteredWithExactlyTheseCallsAndValuesInOrder)
{
    for (const KindName& kind : KindNames)
    {
        SCOPED_TRACE(kind.kind);
        EXPECT_EQ(run.Install(kind.kind), 0);
        EXPECT_EQ(run.output, Registered);
        EXPECT_EQ(run.Calls(),
                  CallsOf(InstallSteps(kind, LogonQueryWindows10,
                                       run.TextPut(L"IDailyTrigger::put_StartBoundary"))));
        EXPECT_EQ(run.scheduler.ledger.tasks.count(kind.name), 1U);
    }
}

TEST_F(TaskInstallationTest, ARegisteredPeriodicRefreshHoldsTheseRawValues)
{
    ASSERT_EQ(run.Install(0), 0);
    const std::wstring start = run.TextPut(L"IDailyTrigger::put_StartBoundary");
    EXPECT_EQ(run.scheduler.ledger.tasks.at(
                  L"Palvo PalvoOrvela Printer Configuration - Periodic Refresh"),
              (Journal{L"IRegistrationInfo::put_Author(\"Palvo Corporation\")",
                       L"IPrincipal::put_RunLevel(1)", L"ITaskSettings::put_Enabled(1)",
                       L"ITaskSettings::put_StartWhenAvailable(1)",
                       L"ITaskSettings::put_Compatibility(2)",
                       L"ITaskSettings::put_ExecutionTimeLimit(\"PT2H\")",
                       L"ITaskSettings::put_AllowHardTerminate(1)",
                       L"ITaskSettings::put_DisallowStartIfOnBatteries(0)",
                       L"ITaskSettings::put_StopIfGoingOnBatteries(0)",
                       L"ITaskSettings::put_Hidden(1)", L"ITaskSettings::put_MultipleInstances(0)",
                       L"ITaskSettings::put_MultipleInstances(2)",
                       L"IDailyTrigger::put_Id(\"Time Trigger\")",
                       L"IDailyTrigger::put_ExecutionTimeLimit(\"PT2H\")",
                       L"IDailyTrigger::put_StartBoundary(\"" + start + L"\")",
                       L"IRepetitionPattern::put_Interval(\"PT4H\")",
                       L"IExecAction::put_Path(\"" + ProgramPath + L"\")",
                       L"IExecAction::put_Arguments(\"" + Arguments + L"\")"}));
    EXPECT_EQ(StartTimes().count(start), 1U);
}

TEST_F(TaskInstallationTest, OnlyTheLogonTaskDependsOnTheVersionOfWindows)
{
    struct Version
    {
        DWORD major;
        DWORD minor;
        std::wstring query;
    };
    const Version versions[] = {
        {6, 0, LogonQuery},           {6, 1, LogonQuery},           {6, 2, LogonQuery},
        {6, 3, LogonQuery},           {10, 0, LogonQueryWindows10}, {10, 1, LogonQueryWindows10},
        {11, 0, LogonQueryWindows10},
    };
    for (const Version& version : versions)
    {
        SCOPED_TRACE(testing::Message() << version.major << '.' << version.minor);
        run.windows.major = version.major;
        run.windows.minor = version.minor;
        EXPECT_EQ(run.Install(3), 0);
        EXPECT_EQ(run.TextPut(L"IEventTrigger::put_Subscription"), version.query);
        EXPECT_EQ(run.Install(1), 0);
        EXPECT_EQ(run.TextPut(L"IEventTrigger::put_Subscription"), NewOrChangedQuery);
    }
}

TEST_F(TaskInstallationTest, TheVersionQuestionComparesEveryFieldAsGreaterOrEqual)
{
    ASSERT_EQ(run.Install(3), 0);
    ASSERT_EQ(run.windows.questions.size(), 1U);
    const PretendedWindows::Question& question = run.windows.questions.front();
    EXPECT_EQ(question.wanted.dwOSVersionInfoSize, sizeof(OSVERSIONINFOEXW));
    EXPECT_EQ(question.wanted.dwMajorVersion, 10U);
    EXPECT_EQ(question.wanted.dwMinorVersion, 0U);
    EXPECT_EQ(question.wanted.wServicePackMajor, 0U);
    EXPECT_EQ(question.wanted.wServicePackMinor, 0U);
    EXPECT_EQ(question.fields & 0x33U, 0x33U);
    EXPECT_EQ(question.fields & ~0x33U, 0U);
    for (const DWORD field : {0x01U, 0x02U, 0x10U, 0x20U})
    {
        EXPECT_EQ(ConditionOf(question.conditions, field), 3U) << field;
    }
}

TEST_F(TaskInstallationTest, OtherKindsDoNotAskForTheVersion)
{
    for (const unsigned kind : {0U, 1U, 2U, 4U})
    {
        run.Install(kind);
    }
    EXPECT_TRUE(run.windows.questions.empty());
}

TEST_F(TaskInstallationTest, InstallingTwiceLeavesOneTaskWithTheSecondDefinition)
{
    ASSERT_EQ(run.Install(1, L"C:\\first.exe", L"-first"), 0);
    ASSERT_EQ(run.Install(1, L"C:\\second.exe", L"-second"), 0);
    ASSERT_EQ(run.scheduler.ledger.tasks.size(), 1U);
    const Journal& task = run.scheduler.ledger.tasks.begin()->second;
    EXPECT_EQ(task.at(task.size() - 2), L"IExecAction::put_Path(\"C:\\second.exe\")");
    EXPECT_EQ(task.back(), L"IExecAction::put_Arguments(\"-second\")");
}

TEST_F(TaskInstallationTest, ATaskOfTheSameNameThatCannotBeDeletedIsPassedOver)
{
    ASSERT_EQ(run.Install(1), 0);
    run.scheduler.ledger.FailAlways(L"ITaskFolder::DeleteTask", E_ACCESSDENIED);
    EXPECT_EQ(run.Install(1), 0);
    EXPECT_EQ(run.output, Registered);
}

TEST_F(TaskInstallationTest, KindsWithoutATriggerOfTheirOwnGetNone)
{
    for (const unsigned kind : {2U, 4U, 17U, 0xFFFFFFFFU})
    {
        SCOPED_TRACE(kind);
        EXPECT_EQ(run.Install(kind), 0);
        EXPECT_EQ(std::count_if(run.journal.begin(), run.journal.end(),
                                [](const std::wstring& line)
                                {
                                    return line.find(L"Trigger::") != std::wstring::npos ||
                                           line.starts_with(L"ITriggerCollection::");
                                }),
                  0);
    }
    ASSERT_EQ(run.scheduler.ledger.tasks.size(), 2U);
    EXPECT_EQ(run.scheduler.ledger.tasks.count(L"Palvo Orvela 7.0 Job Management - Job Start"), 1U);
    EXPECT_EQ(run.scheduler.ledger.tasks.count(L"Unknown"), 1U);
}

TEST_F(TaskInstallationTest, PathAndArgumentsReachTheTaskAsTheyAre)
{
    const std::wstring long30000(30000, L'x');
    const std::wstring texts[] = {L"",
                                  L"C:\\Program Files\\With blanks\\a b.exe",
                                  L"C:\\\u00DCml\u00E4ut\\\u65E5\u672C\u8A9E\\\U0001F5A8.exe",
                                  L"%s%n%x%%1843 {0}",
                                  L"\"already quoted\" & <xml/>",
                                  std::wstring(L"lone ") + static_cast<wchar_t>(0xD800) + L" end",
                                  long30000};
    for (const std::wstring& text : texts)
    {
        EXPECT_EQ(run.Install(1, text, text), 0);
        const Journal& task = run.scheduler.ledger.tasks.begin()->second;
        EXPECT_EQ(task.at(task.size() - 2), L"IExecAction::put_Path(\"" + text + L"\")");
        EXPECT_EQ(task.back(), L"IExecAction::put_Arguments(\"" + text + L"\")");
        EXPECT_EQ(run.output, Registered);
    }
}

TEST_F(TaskInstallationTest, TheClockChoosesAmongExactlyTwentyFourStartTimes)
{
    long long now = 1'700'000'000;
    const Replaced<"msvcrt", "_time64", __time64_t(__time64_t*)> clock(
        [&](__time64_t* target)
        {
            if (target != nullptr)
            {
                *target = now;
            }
            return now;
        });
    std::set<std::wstring> seen;
    for (int i = 0; i < 600; ++i)
    {
        now += 1 + i % 7;
        ASSERT_EQ(run.Install(0), 0);
        seen.insert(run.TextPut(L"IDailyTrigger::put_StartBoundary"));
    }
    EXPECT_EQ(seen, StartTimes());
}

TEST_F(TaskInstallationTest, AClockThatStandsStillGivesTheSameStartAgain)
{
    long long now = 1'700'000'000;
    const Replaced<"msvcrt", "_time64", __time64_t(__time64_t*)> clock(
        [&](__time64_t* target)
        {
            if (target != nullptr)
            {
                *target = now;
            }
            return now;
        });
    for (int i = 0; i < 10; ++i)
    {
        now += 1 + i;
        ASSERT_EQ(run.Install(0), 0);
        const std::wstring start = run.TextPut(L"IDailyTrigger::put_StartBoundary");
        ASSERT_EQ(run.Install(0), 0);
        EXPECT_EQ(run.TextPut(L"IDailyTrigger::put_StartBoundary"), start);
    }
}

TEST_F(TaskInstallationTest, ComStartsAndEndsOnceForEveryTask)
{
    run.Install(1);
    run.Install(0);
    run.Install(3);
    EXPECT_EQ(run.scheduler.uninitializations, 3U);
}

TEST_F(TaskInstallationTest, ComThatWasInitialisedBeforeIsUsedAndGivenBack)
{
    run.scheduler.ledger.Fail(L"CoInitializeEx", S_FALSE);
    EXPECT_EQ(run.Install(1), 0);
    EXPECT_EQ(run.output, Registered);
    EXPECT_EQ(run.journal.back(), L"CoUninitialize()");
}
