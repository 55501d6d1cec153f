#include "Printer.h"

#include "FakeSpooler.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace
{
static_assert(std::has_virtual_destructor_v<Printer>);
static_assert(sizeof(Printer) == 16, "the virtual table's address and one handle");

class PrinterTest : public ::testing::Test
{
protected:
    PrinterTest()
    {
        spooler.printers[L"Left"] = {};
        spooler.printers[L"Right"] = {};
    }

    FakeSpooler spooler;
};

TEST_F(PrinterTest, NewOneHoldsNoPrinter)
{
    const Printer printer;
    EXPECT_TRUE(printer.Handle() == nullptr || printer.Handle() == INVALID_HANDLE_VALUE);
}

TEST_F(PrinterTest, OpensByNameWithoutDefaults)
{
    Printer printer;
    EXPECT_TRUE(printer.Open(L"Left"));
    EXPECT_EQ(spooler.openedNames, std::vector<std::wstring>{L"Left"});
    EXPECT_TRUE(spooler.defaultsWereNull);
    EXPECT_EQ(spooler.OpenPrinters(), 1U);
}

TEST_F(PrinterTest, UnknownPrinterDoesNotOpen)
{
    Printer printer;
    EXPECT_FALSE(printer.Open(L"Nowhere"));
    EXPECT_TRUE(printer.Handle() == nullptr || printer.Handle() == INVALID_HANDLE_VALUE);
}

TEST_F(PrinterTest, WhatAFailedOpeningLeavesIsNotClosed)
{
    {
        Printer printer;
        printer.Open(L"Nowhere");
    }
    EXPECT_EQ(spooler.refusedCalls, 0U);
}

TEST_F(PrinterTest, AllOnesIsNoPrinterThoughTheCallSucceeds)
{
    spooler.opensWithoutHandle = true;
    {
        Printer printer;
        EXPECT_FALSE(printer.Open(L"Left"));
    }
    EXPECT_EQ(spooler.refusedCalls, 0U);
}

TEST_F(PrinterTest, OpeningAnotherClosesTheFirstBeforehand)
{
    Printer printer;
    ASSERT_TRUE(printer.Open(L"Left"));
    ASSERT_TRUE(printer.Open(L"Right"));
    EXPECT_EQ(spooler.calls, (Journal{L"open Left", L"close Left", L"open Right"}));
}

TEST_F(PrinterTest, CloseSetsTheHandleToAllOnes)
{
    Printer printer;
    ASSERT_TRUE(printer.Open(L"Left"));
    printer.Close();
    EXPECT_EQ(printer.Handle(), INVALID_HANDLE_VALUE);
    EXPECT_EQ(spooler.OpenPrinters(), 0U);
}

TEST_F(PrinterTest, ClosesOnceOnly)
{
    {
        Printer printer;
        ASSERT_TRUE(printer.Open(L"Left"));
        printer.Close();
        printer.Close();
    }
    EXPECT_EQ(spooler.refusedCalls, 0U);
}

TEST_F(PrinterTest, EndOfItsLifeClosesThePrinter)
{
    {
        Printer printer;
        ASSERT_TRUE(printer.Open(L"Left"));
    }
    EXPECT_EQ(spooler.OpenPrinters(), 0U);
    EXPECT_EQ(spooler.refusedCalls, 0U);
}
} // namespace
