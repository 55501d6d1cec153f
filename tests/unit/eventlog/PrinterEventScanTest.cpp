#include "PrinterEventScan.h"

#include "FakeEventChannel.h"
#include "FakeSpooler.h"
#include "RedirectedRoot.h"
#include "TestLog.h"

#include <gtest/gtest.h>

namespace
{
constexpr wchar_t OwnKey[] = L"Software\\Palvo\\PrinterDriver\\V6.0\\PalvoPrinterConfiguration";

class PrinterEventScanTest : public ::testing::Test
{
protected:
    PrinterEventScanTest()
    {
        manifest =
            folder.WriteFile(L"p-manifest.ini", "[PV-Private]\r\nDriverPlatform=PV6P2.0\r\n");
        found = {true, true, L"left over", 77};
    }

    void AddSupportedPrinter(const std::wstring& name)
    {
        spooler.printers[name] = {4, {{manifest}}};
    }
    void AddOtherPrinter(const std::wstring& name) { spooler.printers[name] = {3, std::nullopt}; }
    void Event(std::uint64_t id, const std::wstring& printer)
    {
        channel.events.push_back({id, printer, std::nullopt});
    }
    void SetPosition(std::uint64_t id) { machine.SetNumber(OwnKey, L"LastEvtRecordProcessed", id); }
    bool Scan() { return ScanForPrinterEvents(testLog.Log(), found); }

    void ExpectMessage(const std::wstring& message)
    {
        EXPECT_EQ(testLog.Messages(), std::vector<std::wstring>{message});
    }
    void ExpectFlags(bool noPertinentPrinter, bool onePrinter, const std::wstring& name)
    {
        EXPECT_EQ(found.noPertinentPrinter, noPertinentPrinter);
        EXPECT_EQ(found.onePrinter, onePrinter);
        EXPECT_EQ(found.printerName, name);
    }

    TestLog testLog; // before the registry is redirected
    TemporaryFolder folder;
    std::wstring manifest;
    RedirectedRoot machine{HKEY_LOCAL_MACHINE};
    FakeEventChannel channel;
    FakeSpooler spooler;
    PrinterEventScanResult found;
};

TEST_F(PrinterEventScanTest, QueryBeginsAtTheStoredRecordId)
{
    SetPosition(4711);
    EXPECT_TRUE(Scan());
    ASSERT_EQ(channel.queries.size(), 1U);
    EXPECT_EQ(channel.queries[0].text,
              L"Event/System[(EventID=300 or EventID=306) and EventRecordID >= 4711]");
}

TEST_F(PrinterEventScanTest, QueryBeginsAtZeroWithoutAStoredRecordId)
{
    EXPECT_TRUE(Scan());
    ASSERT_EQ(channel.queries.size(), 1U);
    EXPECT_EQ(channel.queries[0].text,
              L"Event/System[(EventID=300 or EventID=306) and EventRecordID >= 0]");
}

TEST_F(PrinterEventScanTest, QueryBeginsAtZeroWhenTheStoredValueIsTooShort)
{
    machine.Set(OwnKey, L"LastEvtRecordProcessed", REG_DWORD, {1, 2, 3, 4});
    EXPECT_TRUE(Scan());
    ASSERT_EQ(channel.queries.size(), 1U);
    EXPECT_EQ(channel.queries[0].text,
              L"Event/System[(EventID=300 or EventID=306) and EventRecordID >= 0]");
}

TEST_F(PrinterEventScanTest, StoredValueOfAnotherTypeGivesItsFirstEightBytes)
{
    std::vector<std::uint8_t> megabyte(1048577, 0xFF);
    megabyte[0] = 9;
    std::fill(megabyte.begin() + 1, megabyte.begin() + 8, std::uint8_t{0});
    machine.Set(OwnKey, L"LastEvtRecordProcessed", REG_BINARY, megabyte);
    EXPECT_TRUE(Scan());
    ASSERT_EQ(channel.queries.size(), 1U);
    EXPECT_EQ(channel.queries[0].text,
              L"Event/System[(EventID=300 or EventID=306) and EventRecordID >= 9]");
}

TEST_F(PrinterEventScanTest, FailedQueryIsReportedAsNoNewEvents)
{
    SetPosition(50);
    channel.queryError = ERROR_EVT_CHANNEL_NOT_FOUND;
    EXPECT_TRUE(Scan());
    ExpectFlags(false, false, L"");
    EXPECT_EQ(found.newestRecordId, 0U);
    ExpectMessage(L"Found no new '300/306' events with IDs > 0.");
    EXPECT_EQ(channel.fetches, 0U);
}

TEST_F(PrinterEventScanTest, FailedQueryWithoutAnErrorFindsNoEvents)
{
    channel.queryError = ERROR_SUCCESS;
    EXPECT_TRUE(Scan());
    ExpectFlags(false, false, L"");
    ExpectMessage(L"Found no new '300/306' events with IDs > 0.");
}

TEST_F(PrinterEventScanTest, EmptyChannelNamesZeroAndSetsNothing)
{
    SetPosition(50);
    Event(49, L"P");
    EXPECT_TRUE(Scan());
    ExpectFlags(false, false, L"");
    EXPECT_EQ(found.newestRecordId, 0U);
    ExpectMessage(L"Found no new '300/306' events with IDs > 0.");
}

TEST_F(PrinterEventScanTest, AnchorAloneIsNamedAndNothingIsPertinent)
{
    SetPosition(50);
    AddSupportedPrinter(L"P");
    Event(50, L"P");
    EXPECT_TRUE(Scan());
    ExpectFlags(true, false, L"");
    EXPECT_EQ(found.newestRecordId, 50U);
    ExpectMessage(L"Found no new '300/306' events with IDs > 50.");
}

TEST_F(PrinterEventScanTest, AnchorsPrinterIsNeverExamined)
{
    SetPosition(50);
    AddSupportedPrinter(L"Anchor");
    AddOtherPrinter(L"New");
    Event(50, L"Anchor");
    Event(51, L"New");
    EXPECT_TRUE(Scan());
    EXPECT_EQ(spooler.openedNames, std::vector<std::wstring>{L"New"});
    ExpectFlags(true, false, L"");
}

TEST_F(PrinterEventScanTest, OldestNewEventIsSkippedWhenTheAnchorHasGone)
{
    SetPosition(50);
    AddSupportedPrinter(L"Oldest");
    AddSupportedPrinter(L"Newest");
    Event(53, L"Oldest");
    Event(60, L"Newest");
    EXPECT_TRUE(Scan());
    ExpectFlags(false, true, L"Newest");
    ExpectMessage(L"Found one pertinent, non-duplicate '300/306' event in the range of IDs from 54 "
                  L"to 60. One printer added or changed: 'Newest'");
}

TEST_F(PrinterEventScanTest, ThreeEventsOfOneSupportedPrinterGiveThatPrinter)
{
    SetPosition(50);
    AddSupportedPrinter(L"Sales Room");
    Event(50, L"Other");
    Event(51, L"Sales Room");
    Event(55, L"Sales Room");
    Event(58, L"Sales Room");
    EXPECT_TRUE(Scan());
    ExpectFlags(false, true, L"Sales Room");
    EXPECT_EQ(found.newestRecordId, 58U);
    ExpectMessage(L"Found one pertinent, non-duplicate '300/306' event in the range of IDs from 51 "
                  L"to 58. One printer added or changed: 'Sales Room'");
}

TEST_F(PrinterEventScanTest, PrinterWhoseDriverIsReadAtALaterEventCounts)
{
    AddSupportedPrinter(L"Sales");
    spooler.unansweredQueries = 1;
    SetPosition(11);
    Event(11, L"x");
    Event(12, L"Sales");
    Event(13, L"Sales");
    EXPECT_TRUE(Scan());
    ExpectFlags(false, true, L"Sales");
    ExpectMessage(L"Found one pertinent, non-duplicate '300/306' event in the range of IDs from 12 "
                  L"to 13. One printer added or changed: 'Sales'");
}

TEST_F(PrinterEventScanTest, NamesThatDifferInCaseAreSeveralPrinters)
{
    SetPosition(50);
    AddSupportedPrinter(L"printer");
    AddSupportedPrinter(L"PRINTER");
    Event(50, L"x");
    Event(51, L"printer");
    Event(52, L"PRINTER");
    EXPECT_TRUE(Scan());
    ExpectFlags(false, false, L"");
    EXPECT_EQ(found.newestRecordId, 52U);
    ExpectMessage(L"Found 2 '300/306' events with IDs from 51 to 52.");
}

TEST_F(PrinterEventScanTest, EventsOfOtherPrintersAreCountedAndNotPertinent)
{
    SetPosition(1);
    AddOtherPrinter(L"Other");
    for (std::uint64_t id = 1; id <= 4; ++id)
    {
        Event(id, L"Other");
    }
    EXPECT_TRUE(Scan());
    ExpectFlags(true, false, L"");
    EXPECT_EQ(found.newestRecordId, 4U);
    ExpectMessage(L"Found 3 '300/306' events with IDs from 2 to 4.");
}

TEST_F(PrinterEventScanTest, ChangedPrintersCountLikeCreatedOnes)
{
    AddSupportedPrinter(L"P");
    channel.events = {{1, L"x", std::nullopt}, {2, std::nullopt, L"P", 306}};
    EXPECT_TRUE(Scan());
    ExpectFlags(false, true, L"P");
}

TEST_F(PrinterEventScanTest, NameInTheMessageIsDataAndNoFormat)
{
    AddSupportedPrinter(L"%s%n%d 100%");
    Event(1, L"x");
    Event(2, L"%s%n%d 100%");
    EXPECT_TRUE(Scan());
    ExpectMessage(
        L"Found one pertinent, non-duplicate '300/306' event in the range of IDs from 2 to "
        L"2. One printer added or changed: '%s%n%d 100%'");
}

TEST_F(PrinterEventScanTest, RecordIdsBeyond32BitsAreLoggedWhole)
{
    SetPosition(0x100000000);
    Event(0x100000000, L"x");
    Event(0x100000005, L"x");
    EXPECT_TRUE(Scan());
    EXPECT_EQ(found.newestRecordId, 0x100000005U);
    ExpectMessage(L"Found 1 '300/306' events with IDs from 4294967297 to 4294967301.");
}

TEST_F(PrinterEventScanTest, EventThatCannotBeRenderedCountsWithoutAPrinter)
{
    AddSupportedPrinter(L"Broken");
    channel.events = {{1, L"x", std::nullopt},
                      {2, L"Broken", std::nullopt, 300, std::nullopt, ERROR_EVT_INVALID_EVENT_DATA},
                      {3, L"y", std::nullopt}};
    EXPECT_TRUE(Scan());
    ExpectFlags(true, false, L"");
    EXPECT_EQ(spooler.openedNames, (std::vector<std::wstring>{L"y", L""}));
    ExpectMessage(L"Found 2 '300/306' events with IDs from 2 to 3.");
}

TEST_F(PrinterEventScanTest, FailedFetchEndsTheScanWithoutAMessageOfItsOwn)
{
    AddSupportedPrinter(L"P");
    for (std::uint64_t id = 1; id <= 15; ++id)
    {
        Event(id, L"P");
    }
    channel.nextError = 1734;
    channel.failingFetch = 2;
    EXPECT_TRUE(Scan());
    ExpectFlags(false, true, L"P");
    ExpectMessage(
        L"Found one pertinent, non-duplicate '300/306' event in the range of IDs from 7 to "
        L"15. One printer added or changed: 'P'");
}

TEST_F(PrinterEventScanTest, FiveThousandEventsAreCounted)
{
    AddSupportedPrinter(L"P");
    for (std::uint64_t id = 1; id <= 5000; ++id)
    {
        Event(id, L"P");
    }
    EXPECT_TRUE(Scan());
    ExpectFlags(false, true, L"P");
    EXPECT_EQ(found.newestRecordId, 5000U);
    ExpectMessage(
        L"Found one pertinent, non-duplicate '300/306' event in the range of IDs from 2 to "
        L"5000. One printer added or changed: 'P'");
}

TEST_F(PrinterEventScanTest, OneMoreThanFiveThousandEventsEndTheScan)
{
    AddSupportedPrinter(L"P");
    for (std::uint64_t id = 1; id <= 5001; ++id)
    {
        Event(id, L"P");
    }
    EXPECT_FALSE(Scan());
    ExpectFlags(false, false, L"");
    EXPECT_EQ(found.newestRecordId, 5001U);
    ExpectMessage(
        L"Found more than 5000 unprocessed '300' and '306' events. Will stop counting and "
        L"process all printers.");
    EXPECT_EQ(channel.fetches, 501U);
    EXPECT_EQ(channel.OpenHandles(), 0U);
    EXPECT_EQ(spooler.OpenPrinters(), 0U);
}

TEST_F(PrinterEventScanTest, EventsBehindAShortBatchCount)
{
    AddSupportedPrinter(L"P");
    AddSupportedPrinter(L"Q");
    channel.mostPerFetch = 4;
    Event(1, L"x");
    Event(2, L"P");
    for (std::uint64_t id = 3; id <= 9; ++id)
    {
        Event(id, L"Q");
    }
    EXPECT_TRUE(Scan());
    ExpectFlags(false, false, L"");
    ExpectMessage(L"Found 8 '300/306' events with IDs from 2 to 9.");
}

TEST_F(PrinterEventScanTest, EverythingIsGivenBackAtTheEnd)
{
    AddSupportedPrinter(L"P");
    for (std::uint64_t id = 1; id <= 12; ++id)
    {
        Event(id, L"P");
    }
    EXPECT_TRUE(Scan());
    EXPECT_EQ(channel.OpenHandles(), 0U);
    EXPECT_EQ(spooler.OpenPrinters(), 0U);
    EXPECT_EQ(channel.refusedCalls, 0U);
    EXPECT_EQ(spooler.refusedCalls, 0U);
}

TEST_F(PrinterEventScanTest, StoresNothing)
{
    SetPosition(5);
    Event(5, L"x");
    Event(6, L"x");
    EXPECT_TRUE(Scan());
    EXPECT_EQ(machine.Number(OwnKey, L"LastEvtRecordProcessed"), 5U);
}

TEST_F(PrinterEventScanTest, CreatesNoKeyWhenNothingIsStored)
{
    EXPECT_TRUE(Scan());
    EXPECT_FALSE(machine.HasKey(L"Software"));
}
} // namespace
