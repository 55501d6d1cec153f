#include "ParsedCommandLine.h"

namespace
{
class CommandLineBadInputTest : public CommandLineFixture
{
};

TEST_F(CommandLineBadInputTest, EmptyArgumentIsAWord)
{
    Parse({L""});
    Expect(4);
    ExpectLog({L"# Called with 1 argument(s): ",
               L"#\tResolved Args: NoNgen, NoWarmup, OnDemandAutoConfigRefresh, "
               L"NotNewOrChangedEvent, -i "});
}

TEST_F(CommandLineBadInputTest, DashAloneIsUnrecognized)
{
    Parse({L"-"});
    Expect(0);
    ExpectLog(
        {L"ERROR: Unrecognized argument: !", L"# Called with 1 argument(s): -",
         L"#\tResolved Args: NoNgen, NoWarmup, InvalidArgumentList, NotNewOrChangedEvent, -i "});
}

TEST_F(CommandLineBadInputTest, SecondDashBelongsToTheKey)
{
    Parse({L"--c"});
    Expect(0);
    EXPECT_EQ(testLog.Messages()[0], L"ERROR: Unrecognized argument: -c!");
}

TEST_F(CommandLineBadInputTest, FormatsInArgumentsAreData)
{
    Parse({L"-c", L"-i", L"%s%n%d", L"-%s%n"});
    Expect(0);
    EXPECT_EQ(invoker, L"%s%n%d");
    ExpectLog({L"ERROR: Unrecognized argument: %s%n!",
               L"# Called with 4 argument(s): -c -%s%n -i %s%n%d",
               L"#\tResolved Args: NoNgen, NoWarmup, InvalidArgumentList, NotNewOrChangedEvent, -i "
               L"%s%n%d"});
}

TEST_F(CommandLineBadInputTest, EightThousandArgumentsAreWalked)
{
    std::vector<std::wstring> arguments(7999, L"-r");
    arguments.push_back(L"-c");
    Parse(arguments);
    Expect(2, 1);
    ASSERT_EQ(testLog.Messages().size(), 2U);
    EXPECT_EQ(testLog.Messages()[0].size(),
              std::wstring(L"# Called with 8000 argument(s): ").size() + 8000 * 3 - 1);
}

TEST_F(CommandLineBadInputTest, ArgumentOf30000CharactersIsKeptWhole)
{
    const std::wstring name(30000, L'n');
    Parse({L"-c", L"-i", name});
    Expect(2, 1);
    EXPECT_EQ(invoker, name);
    EXPECT_EQ(testLog.Messages()[0], L"# Called with 3 argument(s): -c -i " + name);
}

TEST_F(CommandLineBadInputTest, UnpairedSurrogatesLoseNoLine)
{
    const std::wstring odd = std::wstring(L"a") + wchar_t{0xD800} + L"b";
    Parse({L"-c", L"-i", odd});
    Expect(2, 1);
    EXPECT_EQ(invoker, odd);
    EXPECT_EQ(testLog.Messages().size(), 2U);
    EXPECT_TRUE(testLog.Messages()[0].starts_with(L"# Called with 3 argument(s): -c -i a"));
    EXPECT_TRUE(testLog.Messages()[0].ends_with(L"b"));
}

TEST_F(CommandLineBadInputTest, LettersBeyondZAreNotFoldedIntoASwitch)
{
    Parse({L"-\u017F"}); // the long s
    Expect(0);
    Parse({L"-\u212A"}); // the Kelvin sign
    Expect(0);
}

TEST_F(CommandLineBadInputTest, LineEndsInAnInvokerStayInIt)
{
    Parse({L"-r", L"-i", L"a\nb"});
    EXPECT_EQ(invoker, L"a\nb");
    Expect(3);
}

TEST_F(CommandLineBadInputTest, InvokerOfAnEarlierCallIsForgotten)
{
    Parse({L"-r", L"-i", L"X"});
    Parse({L"-r"});
    EXPECT_EQ(invoker, L"");
}

TEST_F(CommandLineBadInputTest, EmptyArgumentVectorIsNoArguments)
{
    const wchar_t* nothing[] = {nullptr};
    options = ParseCommandLine(0, nothing, testLog.Log(), invoker);
    Expect(4);
    EXPECT_EQ(testLog.Messages()[0], L"# Called with no arguments");
}
} // namespace
