#include "DoctorFacts.h"

#include "DoctorOptions.h"
#include "Looks.h"
#include "ProgramPaths.h"

namespace
{
using Texts = std::vector<std::wstring>;

ValueFact Value(DWORD type, std::vector<std::uint8_t> bytes)
{
    return {ERROR_SUCCESS, type, std::move(bytes)};
}

TEST(DoctorRules, FindNothingOnAWellMachine)
{
    const Report report = Judge(WellFacts());
    EXPECT_EQ(FindingsOf(WellFacts()), L"");
    EXPECT_TRUE(report.unseen.empty());
    EXPECT_EQ(report.ExitCode(), 0);
}

TEST(DoctorRules, JudgeTheSwitchByWhatTheProgramReads)
{
    Facts facts = WellFacts();
    facts.settings.runSwitch = Value(REG_DWORD, {1, 0, 0, 0});
    EXPECT_EQ(FindingsOf(facts), L"");
    facts.settings.runSwitch = Value(REG_QWORD, {0, 0, 0, 0, 1, 0, 0, 0});
    facts.settings.effectiveSwitch = 0;
    EXPECT_EQ(FindingsOf(facts),
              L"run-switch-off: The value InstallAndRunEnhancedAutoConfigScheduledTasks is 0.\n"
              L"run-switch-type: The value InstallAndRunEnhancedAutoConfigScheduledTasks is "
              L"REG_QWORD of 8 bytes, not a DWORD.\n");
}

TEST(DoctorRules, SayOfAValueThatMayNotBeReadThatItWasNotSeen)
{
    Facts facts = WellFacts();
    facts.settings.prompt.error = ERROR_ACCESS_DENIED;
    const Report report = Judge(facts);
    ASSERT_EQ(report.unseen.size(), 1U);
    EXPECT_EQ(report.unseen[0].reason,
              L"The value PromptToAttachDebugger cannot be read: error 5.");
    EXPECT_EQ(report.ExitCode(), 2);
}

TEST(DoctorRules, KnowWhatWindowsTriesOnTheWayOfAnUnquotedPath)
{
    EXPECT_EQ(PathsOnTheWay(L"C:\\A b\\c.x d.exe"),
              (Texts{L"C:\\A", L"C:\\A.exe", L"C:\\A b\\c.x", L"C:\\A b\\c.x.exe"}));
    EXPECT_EQ(PathsOnTheWay(L"C:\\Suite\\P.exe"), Texts());
}

TEST(DoctorRules, UndoXmlEscapesOnce)
{
    EXPECT_EQ(XmlText(L"<A><Command>C:\\R&amp;D &amp;lt; x&gt;</Command></A>", L"Command"),
              L"C:\\R&D &lt; x>");
    EXPECT_EQ(XmlText(L"<Command>never ended", L"Command"), L"");
}

TEST(DoctorRules, TakeATasksPathInQuotesAndOtherNamesOfSystem)
{
    Facts facts = WellFacts();
    TaskFact& task = facts.tasks.tasks[0];
    task.program = L"\"c:\\suite\\palvoprinterconfiguration.exe\"";
    task.account = L"NT AUTHORITY\\System";
    EXPECT_EQ(FindingsOf(facts), L"");
}

TEST(DoctorRules, FindNoFaultInResultsOfEveryDay)
{
    Facts facts = WellFacts();
    for (const HRESULT result : {0, 1, 0x41301, 0x41303, 0x41325})
    {
        facts.tasks.tasks[0].lastResult = result;
        EXPECT_EQ(FindingsOf(facts), L"") << result;
    }
    facts.tasks.tasks[0].lastResult = 2;
    EXPECT_EQ(FindingsOf(facts),
              L"task-result: The last run of the task \"Task\" ended with 0x00000002.\n");
}

TEST(DoctorRules, LetATaskRunForAnHour)
{
    Facts facts = WellFacts();
    facts.tasks.tasks[0].running = true;
    facts.tasks.tasks[0].lastRun = facts.localTime - 60 * Minute + 1;
    EXPECT_EQ(FindingsOf(facts), L"");
    facts.tasks.tasks[0].lastRun = facts.localTime - 60 * Minute;
    EXPECT_EQ(FindingsOf(facts),
              L"task-runs-long: The task \"Task\" has been running for 60 minutes.\n");
}

TEST(DoctorRules, CompareThePositionWithWhatTheChannelHolds)
{
    Facts facts = WellFacts();
    facts.channel.position = 3;
    facts.channel.newestPrinterEvent.record = 3;
    EXPECT_EQ(FindingsOf(facts), L"") << "the oldest event";
    facts.channel.position = 9;
    EXPECT_EQ(FindingsOf(facts), L"") << "the newest event";
    facts.channel.position = 10;
    EXPECT_EQ(FindingsOf(facts),
              L"position-beyond: The stored position 10 is beyond the newest event 9.\n");
    facts.channel.position = 0;
    EXPECT_EQ(FindingsOf(facts), L"") << "just installed";
}

TEST(DoctorRules, LetJobsPushThePositionOutOfAChannelThatIsAsInstalled)
{
    constexpr wchar_t Lost[] = L"The channel begins with event 3; event 2 was dealt with last.";
    const std::wstring finding = std::wstring(L"channel-lost-position: ") + Lost + L"\n";
    Facts facts = WellFacts();
    facts.channel.position = 2;
    facts.channel.newestPrinterEvent.record = 0;
    const Report report = Judge(facts);
    ASSERT_EQ(report.notes.size(), 1U);
    EXPECT_EQ(report.notes[0].text, Lost);
    EXPECT_EQ(report.ExitCode(), 0);
    facts.channel.maximumSize = 1052671;
    EXPECT_EQ(FindingsOf(facts),
              L"channel-small: The channel holds only 1052671 bytes.\n" + finding);
    facts = WellFacts();
    facts.channel.position = 2;
    facts.channel.enabled = false;
    facts.channel.newestPrinterEvent.record = 0;
    EXPECT_EQ(FindingsOf(facts), L"channel-off: The channel "
                                 L"Microsoft-Windows-PrintService/Operational is off.\n" +
                                     finding);
    facts = WellFacts();
    facts.channel.oldest = {};
    facts.channel.newest = {};
    facts.channel.newestPrinterEvent = {};
    EXPECT_EQ(FindingsOf(facts),
              L"channel-lost-position: The channel is empty; event 7 was dealt with last.\n");
}

TEST(DoctorRules, LetAnEventWaitForAnHour)
{
    Facts facts = WellFacts();
    facts.channel.newestPrinterEvent = {8, facts.utcTime - 60 * Minute + 1};
    EXPECT_EQ(FindingsOf(facts), L"");
    facts.channel.newestPrinterEvent = {8, facts.utcTime - 60 * Minute};
    EXPECT_EQ(FindingsOf(facts),
              L"events-waiting: Printer event 8 has been waiting for 60 minutes.\n");
}

TEST(DoctorRules, TakeAnEventForDealtWithByALaterPassForAllPrinters)
{
    for (const wchar_t* pass : {L"# Procesing a special NewOrChanged event.",
                                L"# Procesing a queued special NewOrChanged event.",
                                L"# Processing on-demand auto-configuration: setup",
                                L"# Processing a periodic refresh event: PeriodicRefreshTask"})
    {
        Facts facts = WellFacts();
        facts.channel.position = 0; // as -IT leaves it
        facts.channel.newestPrinterEvent = {8, facts.utcTime - 90 * Minute};
        const auto findings = [&facts, pass](std::uint64_t age)
        {
            const std::uint64_t time = facts.localTime - age;
            facts.log.entries = {{time, 1, L"# Called with 1 argument(s): -r"},
                                 {time, 1, pass},
                                 {time, 1, L"Refresh event done...exiting."}};
            return FindingsOf(facts);
        };
        EXPECT_EQ(findings(90 * Minute), L"") << pass;
        EXPECT_EQ(findings(90 * Minute + 1),
                  L"events-waiting: Printer event 8 has been waiting for 90 minutes.\n")
            << pass;
    }
}

TEST(DoctorRules, TellOfEachPrinterWhetherItsEventWaitsAndWhenARunCame)
{
    Facts facts = WellFacts();
    PrinterFact printer;
    printer.name = L"A";
    printer.driverVersion = 4;
    printer.manifest = L"m";
    printer.platform = L"PV6P2.0";
    facts.printers.printers = {printer};
    facts.channel.lastEvents = {{L"A", 7}, {L"B", 9}};
    const auto note = [&facts] { return Judge(facts).notes.at(0).text; };
    EXPECT_EQ(note(), L"\"A\" is supported; its last event is 7 and was dealt with; the log has no "
                      L"run for it.");
    facts.channel.lastEvents[L"A"] = 8;
    const std::uint64_t noon = 1000ULL * 24 * 60 * Minute;
    facts.log.entries = {{noon - 9 * Minute, 1, L"# Processing a x event for multiple printers."},
                         {noon - 8 * Minute, 1, L"# Processing a x event for 'B'."},
                         {noon - 8 * Minute, 1, L"NewOrChanged event done...exiting."}};
    EXPECT_EQ(note(), L"\"A\" is supported; its last event is 8 and waits; the last run for it or "
                      L"for all began at 1603-09-27T23:51:00.");
    facts.log.entries.push_back({noon - 7 * Minute, 1, L"# Processing a x event for 'A'."});
    EXPECT_EQ(note(), L"\"A\" is supported; its last event is 8 and waits; the last run for it or "
                      L"for all began at 1603-09-27T23:53:00.");
    facts.log.entries.push_back({noon, 1, L"Processing queued configuration request from a x."});
    EXPECT_EQ(note(), L"\"A\" is supported; its last event is 8 and waits; the last run for it or "
                      L"for all began at 1603-09-28T00:00:00.");
}

TEST(DoctorRules, BlameAHeldMutexOnNobodyWhileACopyRuns)
{
    Facts facts = WellFacts();
    facts.work.instances = {{L"refreshes", true}};
    facts.work.processes = {{7, L"palvoprinterconfiguration.EXE", facts.utcTime}};
    EXPECT_EQ(FindingsOf(facts), L"");
    facts.work.processes[0].file = L"PalvoPrinterQuery.exe";
    EXPECT_EQ(FindingsOf(facts),
              L"mutex-foreign: The instance mutex for refreshes is held, and no copy runs.\n");
}

TEST(DoctorRules, KnowTheLogsPathAsTheProgramHasIt)
{
    EXPECT_EQ(LookAtLog().path, LogDirectory() + L"\\PalvoPrinterConfiguration.log");
}

TEST(DoctorOptions, TakeWhatTheHelpNamesAndNothingElse)
{
    const auto options =
        ParseDoctorOptions({L"--json", L"--folder", L"C:\\S", L"--hung-after", L"5"});
    ASSERT_TRUE(options);
    EXPECT_TRUE(options->json);
    EXPECT_EQ(options->folder, L"C:\\S");
    EXPECT_EQ(options->hungAfterMinutes, 5U);
    for (const Texts& wrong : {Texts{L"-json"}, Texts{L"--folder"}, Texts{L"--hung-after", L"1h"},
                               Texts{L"--hung-after", L""}, Texts{L"--hung-after", L"1234567"}})
    {
        EXPECT_FALSE(ParseDoctorOptions(wrong)) << wrong.size();
    }
}
} // namespace
