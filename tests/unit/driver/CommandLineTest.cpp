#include "ParsedCommandLine.h"

namespace
{
class CommandLineTest : public CommandLineFixture
{
};

TEST_F(CommandLineTest, NoArgumentsAreAnOnDemandRefresh)
{
    Parse({});
    Expect(4);
    EXPECT_EQ(invoker, L"");
    ExpectLog({L"# Called with no arguments",
               L"#\tResolved Args: NoNgen, NoWarmup, OnDemandAutoConfigRefresh, "
               L"NotNewOrChangedEvent, -i "});
}

TEST_F(CommandLineTest, EveryModeHasItsSwitch)
{
    const std::vector<std::pair<std::wstring, unsigned>> switches = {
        {L"-r", 3}, {L"-?", 5}, {L"-DL", 6}, {L"-IT", 7}, {L"-UT", 8}};
    for (const auto& [argument, mode] : switches)
    {
        SCOPED_TRACE(testing::Message() << argument.c_str());
        Parse({argument});
        Expect(mode);
    }
    Parse({L"-c"});
    Expect(2, 1);
}

TEST_F(CommandLineTest, SlashAndCaseDoNotMatter)
{
    Parse({L"/C", L"-I", L"NewOrChangedTask"});
    Expect(2, 2);
    EXPECT_EQ(invoker, L"NewOrChangedTask");
    Parse({L"/dl"});
    Expect(6);
    Parse({L"/in", L"-W"});
    Expect(1, 0, 1, 1);
}

TEST_F(CommandLineTest, LogonTasksCommandLine)
{
    Parse({L"-c", L"-i", L"\"UserLogonTask\"", L"-IN", L"-w"});
    Expect(2, 4, 1, 1);
    EXPECT_EQ(invoker, L"UserLogonTask");
    ExpectLog({L"# Called with 5 argument(s): -c -IN -w -i UserLogonTask",
               L"#\tResolved Args: InstallNgen, Warmup, NewOrChangedEvent, UserLogonEvent, -i "
               L"UserLogonTask"});
}

TEST_F(CommandLineTest, KnownInvokersGiveTheEventTypeInAnyCase)
{
    Parse({L"-c", L"-i", L"usERlogontask"});
    Expect(2, 4);
    EXPECT_EQ(invoker, L"usERlogontask");
    Parse({L"-c", L"-i", L"pojemSERVICE"});
    Expect(2, 3);
    Parse({L"-c", L"-i", L"NEWORCHANGEDTASK"});
    Expect(2, 2);
}

TEST_F(CommandLineTest, OtherInvokersAreNormal)
{
    for (const wchar_t* other : {L"PeriodicRefreshTask", L"x", L"", L"NewOrChangedTask "})
    {
        Parse({L"-c", L"-i", other});
        Expect(2, 1);
        EXPECT_EQ(invoker, other);
    }
}

TEST_F(CommandLineTest, InvokerIsATagOutsideMinusC)
{
    Parse({L"-r", L"-i", L"UserLogonTask"});
    Expect(3, 0);
    EXPECT_EQ(invoker, L"UserLogonTask");
    ExpectLog(
        {L"# Called with 3 argument(s): -r -i UserLogonTask",
         L"#\tResolved Args: NoNgen, NoWarmup, PeriodicRefreshEvent, NotNewOrChangedEvent, -i "
         L"UserLogonTask"});
}

TEST_F(CommandLineTest, InvokerMayComeBeforeTheMode)
{
    Parse({L"-i", L"NewOrChangedTask", L"-c"});
    Expect(2, 2);
}

TEST_F(CommandLineTest, QuotesAreRemovedFromTheInvokerEverywhere)
{
    Parse({L"-c", L"-i", L"\"New\"OrChanged\"Task\""});
    Expect(2, 2);
    EXPECT_EQ(invoker, L"NewOrChangedTask");
}

TEST_F(CommandLineTest, LastInvokerCounts)
{
    Parse({L"-c", L"-i", L"NewOrChangedTask", L"-i", L"UserLogonTask"});
    Expect(2, 4);
    EXPECT_EQ(invoker, L"UserLogonTask");
}

TEST_F(CommandLineTest, ValueOfMinusIIsNotTakenForASwitch)
{
    Parse({L"-i", L"-c"});
    Expect(4);
    EXPECT_EQ(invoker, L"-c");
    ExpectLog({L"# Called with 2 argument(s):  -i -c",
               L"#\tResolved Args: NoNgen, NoWarmup, OnDemandAutoConfigRefresh, "
               L"NotNewOrChangedEvent, -i -c"});
}

TEST_F(CommandLineTest, MinusIAtTheEndLeavesTheInvokerEmpty)
{
    Parse({L"-c", L"-i"});
    Expect(2, 1);
    EXPECT_EQ(invoker, L"");
    ExpectLog(
        {L"# Called with 2 argument(s): -c",
         L"#\tResolved Args: NoNgen, NoWarmup, NewOrChangedEvent, NormalNewOrChangedEvent, -i "});
}

TEST_F(CommandLineTest, MinusIAtTheEndKeepsTheInvokerBefore)
{
    Parse({L"-c", L"-i", L"NewOrChangedTask", L"-i"});
    Expect(2, 2);
    EXPECT_EQ(invoker, L"NewOrChangedTask");
}

TEST_F(CommandLineTest, LastModeSwitchWins)
{
    Parse({L"-r", L"-c"});
    Expect(2, 1);
    Parse({L"-c", L"-r"});
    Expect(3, 0);
}

TEST_F(CommandLineTest, LastNativeImageSwitchWins)
{
    Parse({L"-IN", L"-UN"});
    Expect(1, 0, 2);
    Parse({L"-UN", L"-IN"});
    Expect(1, 0, 1);
}

TEST_F(CommandLineTest, NativeImageOrWarmupSwitchAloneChoosesNoMode)
{
    Parse({L"-IN"});
    Expect(1, 0, 1);
    Parse({L"-UN"});
    Expect(1, 0, 2);
    Parse({L"-w"});
    Expect(1, 0, 0, 1);
}

TEST_F(CommandLineTest, WarmupAloneIsKeptWithoutAComplaint)
{
    Parse({L"-w"});
    ExpectLog({L"# Called with 1 argument(s): -w",
               L"#\tResolved Args: NoNgen, Warmup, NoCmdLineOption, NotNewOrChangedEvent, -i "});
}

TEST_F(CommandLineTest, RemovalOfNativeImagesDropsTheWarmup)
{
    Parse({L"-UN", L"-w"});
    Expect(1, 0, 2, 0);
    ExpectLog({L"ERROR: Can't specify -w with -UN. Ignoring -w.",
               L"# Called with 2 argument(s): -UN -w",
               L"#\tResolved Args: UninstallNgen, NoWarmup, NoCmdLineOption, NotNewOrChangedEvent, "
               L"-i "});
}

TEST_F(CommandLineTest, RemovalOfNativeImagesDropsTheWarmupOfAPrinterEventToo)
{
    Parse({L"-w", L"-c", L"-UN"});
    Expect(2, 1, 2, 0);
}

TEST_F(CommandLineTest, InstallationOfNativeImagesKeepsTheWarmup)
{
    Parse({L"-r", L"-IN", L"-w"});
    Expect(3, 0, 1, 1);
    EXPECT_EQ(testLog.Messages().size(), 2U);
}

TEST_F(CommandLineTest, OnlyAnInvokerIsAnOnDemandRefresh)
{
    Parse({L"-i", L"X"});
    Expect(4);
}

TEST_F(CommandLineTest, WordsWithoutADashPassAndAreCounted)
{
    Parse({L"word", L"c", L"another"});
    Expect(4);
    ExpectLog({L"# Called with 3 argument(s): ",
               L"#\tResolved Args: NoNgen, NoWarmup, OnDemandAutoConfigRefresh, "
               L"NotNewOrChangedEvent, -i "});
}

TEST_F(CommandLineTest, SwitchesAreLoggedAsTheyWereWritten)
{
    Parse({L"/c", L"word", L"-In", L"/W"});
    ExpectLog(
        {L"# Called with 4 argument(s): /c -In /W",
         L"#\tResolved Args: InstallNgen, Warmup, NewOrChangedEvent, NormalNewOrChangedEvent, "
         L"-i "});
}

TEST_F(CommandLineTest, UnknownSwitchEndsTheWalk)
{
    Parse({L"-x", L"-c"});
    Expect(0);
    ExpectLog(
        {L"ERROR: Unrecognized argument: x!", L"# Called with 2 argument(s): -x",
         L"#\tResolved Args: NoNgen, NoWarmup, InvalidArgumentList, NotNewOrChangedEvent, -i "});
}

TEST_F(CommandLineTest, UnknownSwitchUndoesThePrinterEvent)
{
    Parse({L"-c", L"-i", L"NewOrChangedTask", L"/Xyz"});
    Expect(0, 0);
    EXPECT_EQ(testLog.Messages()[0], L"ERROR: Unrecognized argument: Xyz!");
}

TEST_F(CommandLineTest, UnknownSwitchKeepsTheConflictRule)
{
    Parse({L"-UN", L"-w", L"-x"});
    Expect(0, 0, 2, 0);
}

TEST_F(CommandLineTest, MinusEIsUnrecognizedHere)
{
    Parse({L"-e"});
    Expect(0);
}

TEST_F(CommandLineTest, DriverOfTheStoreIsNamedByTheInvoker)
{
    Parse({L"-APDI", L"-i", L"Palvo \"Orvela\" 7"});
    Expect(9);
    EXPECT_EQ(invoker, L"Palvo Orvela 7");
}

TEST_F(CommandLineTest, DriverOfTheStoreTakesExactlyThreeArguments)
{
    Parse({L"-apdi", L"two", L"words"});
    Expect(9);
    EXPECT_EQ(invoker, L"");
    for (const std::vector<std::wstring>& wrong : {std::vector<std::wstring>{L"-APDI"},
                                                   {L"-APDI", L"word"},
                                                   {L"-APDI", L"-i", L"name", L"word"}})
    {
        Parse(wrong);
        Expect(0);
    }
}

TEST_F(CommandLineTest, DriverWithAnotherNumberOfArgumentsIsLoggedAsUnrecognized)
{
    Parse({L"-APDI", L"word"});
    EXPECT_EQ(testLog.Messages()[0], L"ERROR: Unrecognized argument: APDI!");
}

TEST(UsageTextTest, IsWordForWord)
{
    const std::wstring usage = UsageText();
    EXPECT_TRUE(usage.starts_with(L"\nPalvoPrinterConfiguration"));
    const std::size_t bannerEnd = usage.find(L'\n', 1);
    ASSERT_NE(bannerEnd, std::wstring::npos);
    EXPECT_NE(usage.substr(0, bannerEnd).find(L"Palvo", 20), std::wstring::npos);
    EXPECT_EQ(
        usage.substr(bannerEnd),
        L"\n"
        L"\n"
        L"\tPalvoPrinterConfiguration.exe [-? | -c | -r | -IT | -UT | -DL | -IN | -UN | -w]\n"
        L"\n"
        L"\tAuto-Config requires Windows 8 or later, Job Management requires Vista or later.");
}
} // namespace
