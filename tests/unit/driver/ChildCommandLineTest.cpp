#include "ChildCommandLine.h"

#include <gtest/gtest.h>

namespace
{
WriterRequest OnePrinter(const std::wstring& name)
{
    return {CmdLineOptionsEnum::NewOrChangedEvent, true, name};
}

TEST(QueryArgumentsTest, OnePrinterIsOneQuotedOperand)
{
    EXPECT_EQ(QueryArguments(OnePrinter(L"Sales Room 3")), L"-e \"Sales Room 3\"");
}

TEST(QueryArgumentsTest, SeveralPrintersAreMinusC)
{
    EXPECT_EQ(QueryArguments({CmdLineOptionsEnum::NewOrChangedEvent, false, L""}), L"-c");
}

TEST(QueryArgumentsTest, RefreshesHaveNone)
{
    EXPECT_EQ(QueryArguments({CmdLineOptionsEnum::PeriodicRefreshEvent, false, L""}), L"");
    EXPECT_EQ(QueryArguments({CmdLineOptionsEnum::OnDemandAutoConfigRefresh, false, L""}), L"");
}

TEST(QueryArgumentsTest, RefreshHasNoneThoughAPrinterIsNamed)
{
    EXPECT_EQ(QueryArguments({CmdLineOptionsEnum::PeriodicRefreshEvent, true, L"P"}), L"");
}

TEST(QueryArgumentsTest, NameOfThePrinterIsDataWhateverItHolds)
{
    const std::wstring name =
        std::wstring(L"%s%n \u0416") + wchar_t{0xD800} + std::wstring(30000, L'x');
    EXPECT_EQ(QueryArguments(OnePrinter(name)), L"-e \"" + name + L"\"");
}

TEST(QueryArgumentsTest, QuotesInTheNameOfThePrinterStayInTheOneOperand)
{
    EXPECT_EQ(QueryArguments(OnePrinter(L"A \"B\" C")), L"-e \"A \\\"B\\\" C\"");
    EXPECT_EQ(QueryArguments(OnePrinter(L"\"")), L"-e \"\\\"\"");
}

TEST(QueryArgumentsTest, BackslashesChangeOnlyWhereTheyStandBeforeAQuote)
{
    EXPECT_EQ(QueryArguments(OnePrinter(L"\\\\server\\P")), L"-e \"\\\\server\\P\"");
    EXPECT_EQ(QueryArguments(OnePrinter(L"P\\")), L"-e \"P\\\\\"");
    EXPECT_EQ(QueryArguments(OnePrinter(L"a\\\"b")), L"-e \"a\\\\\\\"b\"");
}

TEST(WriterArgumentsTest, OnePrinterIsMinusEWithoutTheName)
{
    EXPECT_EQ(WriterArguments(OnePrinter(L"Sales Room 3")), L"-e");
}

TEST(WriterArgumentsTest, SeveralPrintersAreMinusC)
{
    EXPECT_EQ(WriterArguments({CmdLineOptionsEnum::NewOrChangedEvent, false, L""}), L"-c");
}

TEST(WriterArgumentsTest, RefreshesHaveNone)
{
    EXPECT_EQ(WriterArguments({CmdLineOptionsEnum::PeriodicRefreshEvent, true, L"P"}), L"");
    EXPECT_EQ(WriterArguments({CmdLineOptionsEnum::OnDemandAutoConfigRefresh, false, L""}), L"");
}

TEST(InvokerTagTest, NamesTheInvokerAndTheProcess)
{
    EXPECT_EQ(InvokerTag(L"-c", L"NewOrChangedTask", 4711),
              L"-c -i \"PalvoPrinterConfiguration(NewOrChangedTask PID: 4711)\"");
}

TEST(InvokerTagTest, EmptyInvokerLeavesTheProcessIdAlone)
{
    EXPECT_EQ(InvokerTag(L"", L"", 4711), L" -i \"PalvoPrinterConfiguration(4711)\"");
}

TEST(InvokerTagTest, ArgumentsThatBeginWithABlankStayAsTheyAre)
{
    EXPECT_EQ(InvokerTag(L" -IN -w", L"X", 1),
              L" -IN -w -i \"PalvoPrinterConfiguration(X PID: 1)\"");
}

TEST(InvokerTagTest, LargestProcessIdIsUnsigned)
{
    EXPECT_EQ(InvokerTag(L"", L"", 4294967295U), L" -i \"PalvoPrinterConfiguration(4294967295)\"");
}

TEST(InvokerTagTest, InvokerIsDataWhateverItHolds)
{
    const std::wstring invoker = L"%s%n%d" + std::wstring(30000, L'i') + wchar_t{0xDC00};
    EXPECT_EQ(InvokerTag(L"-c", invoker, 7),
              L"-c -i \"PalvoPrinterConfiguration(" + invoker + L" PID: 7)\"");
}

TEST(ChildCommandLineTest, PathIsNotQuoted)
{
    EXPECT_EQ(ChildCommandLine(L"C:\\Program Files\\x.exe", L"-c"), L"C:\\Program Files\\x.exe -c");
}

TEST(ChildCommandLineTest, BlankStandsThoughThereAreNoArguments)
{
    EXPECT_EQ(ChildCommandLine(L"C:\\x.exe", L""), L"C:\\x.exe ");
}
} // namespace
