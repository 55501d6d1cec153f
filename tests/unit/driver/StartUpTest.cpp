#include "MainDriverFixture.h"

#include <aclapi.h>

namespace
{
/// What comes before the mode, and in which order.
class StartUpTest : public MainDriverFixture
{
protected:
    /// Runs the program and expects the writer to be started once, before the mode's line.
    void ExpectWriterBefore(const std::wstring& modesLine, int exitCode,
                            const std::vector<const wchar_t*>& arguments,
                            const std::wstring& writer)
    {
        journal.clear();
        EXPECT_EQ(Program(arguments), exitCode);
        EXPECT_EQ(Count(writer), 1) << "the writer";
        const auto mode =
            std::find_if(journal.begin(), journal.end(),
                         [&](const std::wstring& line) { return line.starts_with(modesLine); });
        EXPECT_NE(mode, journal.end()) << "the mode";
        EXPECT_LT(Position(writer), mode - journal.begin());
    }
};

TEST_F(StartUpTest, StartUpInOrder)
{
    Program({L"-?"}); // the log is there from now on
    journal.clear();
    using Explicit = Replaced<"ADVAPI32", "BuildExplicitAccessWithNameW",
                              decltype(BuildExplicitAccessWithNameW)>;
    const Explicit grant(
        [this](PEXPLICIT_ACCESSW access, LPWSTR trustee, DWORD rights, ACCESS_MODE mode,
               DWORD inheritance)
        {
            journal.push_back(std::wstring(L"grant ") + trustee);
            Explicit::Original(access, trustee, rights, mode, inheritance);
        });
    EXPECT_EQ(Program({L"-?"}), 1);
    ASSERT_EQ(journal.size(), 6U);
    EXPECT_EQ(
        Journal(journal.begin(), journal.end() - 1),
        (Journal{L"ProgramData", L"grant NT AUTHORITY\\LOCAL SERVICE",
                 L"grant NT AUTHORITY\\Authenticated Users",
                 L"log: # Called with 1 argument(s): -?",
                 L"log: #\tResolved Args: NoNgen, NoWarmup, DisplayHelp, NotNewOrChangedEvent, "
                 L"-i "}));
    EXPECT_TRUE(journal[5].starts_with(L"out: \nPalvoPrinterConfiguration"));
}

TEST_F(StartUpTest, WriterOfTheBackgroundStartsBeforeEveryMode)
{
    const std::wstring usage = L"out: \nPalvoPrinterConfiguration";
    const std::wstring images = BackgroundWriter(L"-IN", L"");
    ExpectWriterBefore(usage, 1, {L"-IN", L"-x"}, images);
    ExpectWriterBefore(usage, 1, {L"-?", L"-IN"}, images);
    ExpectWriterBefore(L"log: # Invoked to delete log file.", 0, {L"-DL", L"-IN"}, images);
    ExpectWriterBefore(L"CreateEventW RefreshRequestEvent", 0, {L"-r", L"-IN"}, images);
    ExpectWriterBefore(L"log: -Processing NewOrChanged event: UserLogonTask", 0,
                       {L"-c", L"-i", L"UserLogonTask", L"-IN", L"-w"},
                       BackgroundWriter(L"-IN -w", L"UserLogonTask PID: "));
}

TEST_F(StartUpTest, WriterOfTheBackgroundStartsBeforeThePreScanThatEndsTheRun)
{
    AddEvent(1, L"x");
    ExpectWriterBefore(L"scan", 0, {L"-c", L"-i", L"NewOrChangedTask", L"-IN", L"-w"},
                       BackgroundWriter(L"-IN -w", L"NewOrChangedTask PID: "));
    EXPECT_EQ(Messages().back(), L"- No supported printers need to be processed. Done. Exiting.");
}

TEST_F(StartUpTest, PromptComesAfterThePreScan)
{
    AskForDebugger();
    AddSupportedPrinter(L"P");
    AddEvent(1, L"x");
    AddEvent(2, L"P");
    journal.clear();
    Program({L"-c", L"-i", L"NewOrChangedTask"});
    EXPECT_EQ(Count(Box), 1);
    EXPECT_GT(Position(Box), Position(L"CloseHandle ScanCheckMutex"));
    EXPECT_LT(Position(Box), Position(L"log: -Processing NewOrChanged event: NewOrChangedTask"));
}

TEST_F(StartUpTest, PromptIsOfferedOnceThoughTheWriterStartsInTheBackground)
{
    AskForDebugger();
    Program({L"-r", L"-IN"});
    EXPECT_EQ(Count(Box), 1);
    EXPECT_LT(Position(Box), Position(L"log: # Spawn PalvoPrinterConfigurationWriter in the "
                                      L"background with the arg(s): -IN"));
}

TEST_F(StartUpTest, RunThatThePreScanEndsOffersNoPrompt)
{
    AskForDebugger();
    AddEvent(1, L"x");
    EXPECT_EQ(Program({L"-c", L"-i", L"NewOrChangedTask"}), 0);
    EXPECT_EQ(Count(Box), 0);
}

TEST_F(StartUpTest, HelpOffersThePromptToo)
{
    AskForDebugger();
    Program({L"-?"});
    EXPECT_EQ(Count(Box), 1);
}
} // namespace
