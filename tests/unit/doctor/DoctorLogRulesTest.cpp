#include "DoctorFacts.h"

namespace
{
/// A line that was written `minutes` ago.
LogEntry Line(const Facts& facts, std::uint64_t minutes, const wchar_t* message, DWORD process = 7)
{
    return {facts.localTime - minutes * Minute, process, message};
}

TEST(DoctorLogLines, AreThoseOfTheProgramAlone)
{
    const auto entry =
        ParseLogLine(L"[3/7/2024 12:05:09 PM] PalvoPrinterConfiguration(PID41): # x");
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->process, 41U);
    EXPECT_EQ(entry->message, L"# x");
    const auto midnight =
        ParseLogLine(L"[3/7/2024 12:05:09 AM] PalvoPrinterConfiguration(PID41): ");
    ASSERT_TRUE(midnight);
    EXPECT_EQ(entry->time - midnight->time, 12 * 60 * Minute);
    EXPECT_EQ(midnight->message, L"");
    for (const wchar_t* other : {L"", L"]", L"hello", L"[3/7/2024 12:05:09 PM] Other(PID41): x",
                                 L"[3/7/2024 13:05:09 PM] PalvoPrinterConfiguration(PID41): x",
                                 L"[13/7/2024 1:05:09 PM] PalvoPrinterConfiguration(PID41): x",
                                 L"[3/7/2024 1:05:09 PM] PalvoPrinterConfiguration(PID): x",
                                 L"[3/7/2024 1:05:09 PM] PalvoPrinterConfiguration(PID4x): x",
                                 L"[3/7/2024 1:05:09 PM] PalvoPrinterConfiguration(PID41)x"})
    {
        EXPECT_FALSE(ParseLogLine(other)) << other;
    }
}

TEST(DoctorLogLines, AreCountedToTheLastLineEnd)
{
    LogFacts log;
    ParseLog("[3/7/2024 1:05:09 PM] PalvoPrinterConfiguration(PID4): a\r\n\0x\r\n[3/7/2024 1:0",
             log);
    EXPECT_EQ(log.entries.size(), 1U);
    LogFacts odd;
    ParseLog(std::string("\0\r\n\n\r\n", 6), odd);
    EXPECT_EQ(odd.foreignLines, 3U);
}

TEST(DoctorLogRules, CountARunThatNobodyEnded)
{
    Facts facts = WellFacts();
    facts.log.entries = {Line(facts, 9, L"# Called with 1 argument(s): -r"),
                         Line(facts, 8, L"# Processing a periodic refresh event: x")};
    EXPECT_EQ(FindingsOf(facts),
              L"run-unfinished: Runs without an end within a week: 1; process 7 stopped after \"# "
              L"Processing a periodic refresh event: x\".\n");
    facts.log.liveProcesses = {7};
    EXPECT_EQ(FindingsOf(facts), L"");
    // The process id belongs to another run by now.
    facts.log.entries.push_back(Line(facts, 7, L"# Called with no arguments"));
    EXPECT_EQ(FindingsOf(facts), L"");
    facts.log.liveProcesses = {};
    facts.log.entries.push_back(Line(facts, 6, L"Refresh event done...exiting."));
    EXPECT_EQ(FindingsOf(facts),
              L"run-unfinished: Runs without an end within a week: 1; process 7 stopped after \"# "
              L"Processing a periodic refresh event: x\".\n");
}

TEST(DoctorLogRules, TakeNoLineThatMayBeTheLastForWithinWork)
{
    for (const wchar_t* last :
         {L"", L"#\tResolved Args: x", L"Log trimmed.", L"NewOrChanged event done...exiting.",
          L"- No supported printers need to be processed. Done. Exiting.",
          L"# Spawn PalvoPrinterConfigurationWriter in the background", L"-Redundant instance x"})
    {
        Facts facts = WellFacts();
        facts.log.entries = {Line(facts, 9, last)};
        EXPECT_EQ(FindingsOf(facts), L"") << last;
    }
}

TEST(DoctorLogRules, ForgetAWeekAgo)
{
    Facts facts = WellFacts();
    facts.log.entries = {Line(facts, 7 * 24 * 60 + 1, L"ERROR: a")};
    EXPECT_EQ(FindingsOf(facts), L"");
    facts.log.entries = {Line(facts, 7 * 24 * 60, L"ERROR: a")};
    EXPECT_EQ(FindingsOf(facts),
              L"log-errors: Failures in the log within a week: 1, the last \"ERROR: a\".\n");
}

TEST(DoctorLogRules, AllowLinesOfSeveralCopiesToCrossForTwoMinutes)
{
    Facts facts = WellFacts();
    facts.log.entries = {Line(facts, 10, L"a"), Line(facts, 12, L"b")};
    EXPECT_EQ(FindingsOf(facts), L"");
    facts.log.entries = {Line(facts, 10, L"a"), Line(facts, 13, L"b")};
    EXPECT_EQ(FindingsOf(facts),
              L"clock-back: The log's time goes back by 3 minutes within a week.\n");
}

TEST(DoctorLogRules, MissLinesOnlyWhileWindowsRan)
{
    Facts facts = WellFacts();
    facts.log.entries = {Line(facts, 26 * 60 + 1, L"a")};
    facts.log.upTime = 26 * 60 * Minute;
    EXPECT_EQ(FindingsOf(facts), L"");
    facts.log.upTime = 26 * 60 * Minute + 1;
    EXPECT_EQ(FindingsOf(facts), L"log-silent: The log's last line is 26 hours old.\n");
    facts.log.entries[0].time += Minute;
    EXPECT_EQ(FindingsOf(facts), L"");
}

TEST(DoctorLogRules, FindAGapInWhichWindowsWasUpAndAwake)
{
    constexpr wchar_t Gap[] = L"log-silent: The log has no line from 1603-09-26T00:00:00 to "
                              L"1603-09-27T02:01:00.\n";
    Facts facts = WellFacts(); // 1603-09-28T00:00:00
    facts.log.entries = {Line(facts, 48 * 60, L"a"), Line(facts, 22 * 60, L"b")};
    facts.log.upTime = 49 * 60 * Minute;
    EXPECT_EQ(FindingsOf(facts), L"");
    facts.log.entries[1].time += Minute;
    EXPECT_EQ(FindingsOf(facts), Gap);
    facts.log.asleep = Minute;
    EXPECT_EQ(FindingsOf(facts), L"");
    facts.log.asleep = 0;
    facts.log.entries[0].time -= 60 * Minute;
    facts.log.upTime = 48 * 60 * Minute;
    EXPECT_EQ(FindingsOf(facts), Gap) << "began when Windows had started";
    facts.log.upTime -= Minute;
    EXPECT_EQ(FindingsOf(facts), L"");
}

TEST(DoctorLogRules, CountRedundantRunsSinceTheLastWork)
{
    Facts facts = WellFacts();
    facts.log.entries = {Line(facts, 90, L"-Redundant instance a"),
                         Line(facts, 60, L"-Redundant instance b"),
                         Line(facts, 30, L"-Redundant instance c")};
    EXPECT_EQ(FindingsOf(facts),
              L"runs-redundant: The last 3 runs were redundant, for 60 minutes.\n");
    facts.log.entries.push_back(Line(facts, 5, L"Refresh event done...exiting."));
    EXPECT_EQ(FindingsOf(facts), L"");
}
} // namespace
