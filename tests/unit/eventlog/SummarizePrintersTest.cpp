#include "PrinterEventScan.h"

#include <gtest/gtest.h>

namespace
{
TEST(SummarizePrintersTest, NoEventsSetNoFlag)
{
    PrinterEventScanResult result;
    SummarizePrinters(0, {}, result);
    EXPECT_FALSE(result.noPertinentPrinter);
    EXPECT_FALSE(result.onePrinter);
}

TEST(SummarizePrintersTest, EventsWithoutPrintersAreNotPertinent)
{
    PrinterEventScanResult result;
    SummarizePrinters(3, {}, result);
    EXPECT_TRUE(result.noPertinentPrinter);
    EXPECT_FALSE(result.onePrinter);
}

TEST(SummarizePrintersTest, OnePrinterIsNamed)
{
    PrinterEventScanResult result;
    SummarizePrinters(3, {L"P"}, result);
    EXPECT_FALSE(result.noPertinentPrinter);
    EXPECT_TRUE(result.onePrinter);
    EXPECT_EQ(result.printerName, L"P");
}

TEST(SummarizePrintersTest, SeveralPrintersSetNoFlagAndNoName)
{
    PrinterEventScanResult result;
    SummarizePrinters(3, {L"P", L"Q"}, result);
    EXPECT_FALSE(result.noPertinentPrinter);
    EXPECT_FALSE(result.onePrinter);
    EXPECT_EQ(result.printerName, L"");
}
} // namespace
