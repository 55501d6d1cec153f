#include "EventLogReader.h"

#include "FakeEventChannel.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace
{
static_assert(std::has_virtual_destructor_v<EventLogReader>);

class EventLogReaderTest : public ::testing::Test
{
protected:
    /// A channel with `count` events, with record ids from 1 up.
    void FillChannel(std::uint64_t count)
    {
        for (std::uint64_t id = 1; id <= count; ++id)
        {
            channel.events.push_back({id, L"Printer " + std::to_wstring(id), std::nullopt});
        }
    }

    /// A reader of a channel that holds just this event, at which it stands.
    void ReadSingle(const FakeEvent& event)
    {
        channel.events = {event};
        EXPECT_TRUE(reader.OpenQuery());
        EXPECT_TRUE(reader.MoveNext());
    }

    FakeEventChannel channel;
    EventLogReader reader{0};
};

TEST(PrinterEventQueryTest, AsksForBothEventsFromTheRecordIdOnInclusive)
{
    EXPECT_EQ(PrinterEventQuery(4711),
              L"Event/System[(EventID=300 or EventID=306) and EventRecordID >= 4711]");
}

TEST(PrinterEventQueryTest, HoldsNumbersBeyond32BitsWhole)
{
    EXPECT_EQ(PrinterEventQuery(18446744073709551615ULL),
              L"Event/System[(EventID=300 or EventID=306) and EventRecordID >= "
              L"18446744073709551615]");
}

TEST_F(EventLogReaderTest, OpensThePrintServiceChannelNewestFirst)
{
    EventLogReader fromSeven(7);
    ASSERT_TRUE(fromSeven.OpenQuery());

    ASSERT_EQ(channel.queries.size(), 1U);
    EXPECT_EQ(channel.queries[0].session, nullptr);
    EXPECT_EQ(channel.queries[0].channel, L"Microsoft-Windows-PrintService/Operational");
    EXPECT_EQ(channel.queries[0].text,
              L"Event/System[(EventID=300 or EventID=306) and EventRecordID >= 7]");
    EXPECT_EQ(channel.queries[0].flags, 0x201U);
}

TEST_F(EventLogReaderTest, FailedQueryIsToldWithItsError)
{
    channel.queryError = ERROR_EVT_CHANNEL_NOT_FOUND;
    EXPECT_FALSE(reader.OpenQuery());
    EXPECT_EQ(GetLastError(), DWORD{ERROR_EVT_CHANNEL_NOT_FOUND});
}

TEST_F(EventLogReaderTest, FetchesTenAtATimeWithoutTimeLimitOrFlags)
{
    FillChannel(11);
    ASSERT_TRUE(reader.OpenQuery());
    for (int i = 0; i < 10; ++i)
    {
        ASSERT_TRUE(reader.MoveNext());
    }
    EXPECT_EQ(channel.fetches, 1U);
    ASSERT_TRUE(reader.MoveNext());

    EXPECT_EQ(channel.batchSizes, (std::vector<DWORD>{10, 10}));
    EXPECT_EQ(channel.timeouts, (std::vector<DWORD>{0xFFFFFFFF, 0xFFFFFFFF}));
    EXPECT_EQ(channel.nextFlags, (std::vector<DWORD>{0, 0}));
}

TEST_F(EventLogReaderTest, VisitsEveryEventOnceNewestFirst)
{
    FillChannel(23);
    ASSERT_TRUE(reader.OpenQuery());
    for (std::uint64_t id = 23; id >= 1; --id)
    {
        ASSERT_TRUE(reader.MoveNext());
        ASSERT_EQ(reader.ReadNext(), DWORD{ERROR_SUCCESS});
        ASSERT_EQ(reader.RecordId(), id);
        ASSERT_EQ(reader.PrinterName(), L"Printer " + std::to_wstring(id));
    }
    EXPECT_FALSE(reader.MoveNext());
    EXPECT_EQ(reader.EventsRead(), 23U);
}

TEST_F(EventLogReaderTest, HoldsNoMoreThanOneBatchOfEvents)
{
    FillChannel(25);
    ASSERT_TRUE(reader.OpenQuery());
    while (reader.MoveNext())
    {
        reader.ReadNext();
        ASSERT_LE(channel.OpenHandles(), 11U); // the query and a batch
    }
    EXPECT_EQ(channel.OpenHandles(), 1U); // the last batch went back before the last fetch
    EXPECT_EQ(channel.refusedCalls, 0U);
}

TEST_F(EventLogReaderTest, EndGivesEverythingBack)
{
    FillChannel(5);
    {
        EventLogReader shortLived(0);
        ASSERT_TRUE(shortLived.OpenQuery());
        ASSERT_TRUE(shortLived.MoveNext());
        shortLived.ReadNext();
    }
    EXPECT_EQ(channel.OpenHandles(), 0U);
    EXPECT_EQ(channel.refusedCalls, 0U);
}

TEST_F(EventLogReaderTest, FetchesNoMoreAfterTheEnd)
{
    FillChannel(1);
    ASSERT_TRUE(reader.OpenQuery());
    ASSERT_TRUE(reader.MoveNext());
    ASSERT_FALSE(reader.MoveNext());
    ASSERT_FALSE(reader.MoveNext());
    EXPECT_EQ(channel.fetches, 2U);
}

TEST_F(EventLogReaderTest, FailedFetchEndsTheReading)
{
    FillChannel(15);
    channel.nextError = 1734; // the batch was too large
    channel.failingFetch = 2;
    ASSERT_TRUE(reader.OpenQuery());
    for (int i = 0; i < 10; ++i)
    {
        ASSERT_TRUE(reader.MoveNext());
    }
    EXPECT_FALSE(reader.MoveNext());
    EXPECT_FALSE(reader.MoveNext());
    EXPECT_EQ(channel.fetches, 2U);
    EXPECT_EQ(reader.EventsRead(), 10U);
}

TEST_F(EventLogReaderTest, FetchOfNothingEndsTheReading)
{
    channel.emptyFetches = true;
    ASSERT_TRUE(reader.OpenQuery());
    EXPECT_FALSE(reader.MoveNext());
    EXPECT_EQ(reader.EventsRead(), 0U);
}

TEST_F(EventLogReaderTest, RendersTheFiveValuesInTheirOrder)
{
    ReadSingle({1, L"A", std::nullopt});
    EXPECT_EQ(reader.ReadNext(), 0U);
    EXPECT_EQ(channel.renderedPaths,
              (std::vector<std::wstring>{L"Event/System/EventID", L"Event/System/EventID/Qualifier",
                                         L"Event/System/EventRecordID",
                                         L"Event/UserData/PrinterCreated/Param1",
                                         L"Event/UserData/PrinterSet/Param1"}));
    EXPECT_EQ(channel.contextFlags, DWORD{EvtRenderContextValues});
}

TEST_F(EventLogReaderTest, RenderingGivesItsContextBack)
{
    ReadSingle({1, L"A", std::nullopt});
    reader.ReadNext();
    EXPECT_EQ(channel.OpenHandles(), 2U); // the query and the event
}

TEST_F(EventLogReaderTest, ChangedPrinterComesBeforeTheCreatedOne)
{
    ReadSingle({1, L"Created", L"Changed"});
    reader.ReadNext();
    EXPECT_EQ(reader.PrinterName(), L"Changed");
}

TEST_F(EventLogReaderTest, CreatedPrinterCountsWhenTheChangedOneIsEmpty)
{
    ReadSingle({1, L"Created", L""});
    reader.ReadNext();
    EXPECT_EQ(reader.PrinterName(), L"Created");
}

TEST_F(EventLogReaderTest, EventWithoutAPrinterHasAnEmptyName)
{
    ReadSingle({1, std::nullopt, std::nullopt});
    EXPECT_EQ(reader.ReadNext(), 0U);
    EXPECT_EQ(reader.PrinterName(), L"");
}

TEST_F(EventLogReaderTest, TextsThatPointNowhereAreEmpty)
{
    ReadSingle({1, L"Created", L"Changed", 300, std::nullopt, ERROR_SUCCESS, true});
    EXPECT_EQ(reader.ReadNext(), 0U);
    EXPECT_EQ(reader.PrinterName(), L"");
}

TEST_F(EventLogReaderTest, QualifierStandsInTheHighHalfOfTheEventId)
{
    ReadSingle({1, L"A", std::nullopt, 306, std::uint16_t{0x8001}});
    reader.ReadNext();
    EXPECT_EQ(reader.EventId(), 0x80010132U);
}

TEST_F(EventLogReaderTest, EventIdWithoutAQualifierStandsAlone)
{
    ReadSingle({1, L"A", std::nullopt, 300});
    reader.ReadNext();
    EXPECT_EQ(reader.EventId(), 300U);
}

TEST_F(EventLogReaderTest, RecordIdHas64Bits)
{
    ReadSingle({0x123456789ABCDEF0, L"A", std::nullopt});
    reader.ReadNext();
    EXPECT_EQ(reader.RecordId(), 0x123456789ABCDEF0U);
}

TEST_F(EventLogReaderTest, PrinterNameIsDataWhateverItHolds)
{
    const std::wstring name = std::wstring(L"%s%n \"quoted\" \u0416 ") + wchar_t{0xD800};
    ReadSingle({1, name, std::nullopt});
    reader.ReadNext();
    EXPECT_EQ(reader.PrinterName(), name);
}

TEST_F(EventLogReaderTest, FailedContextIsToldWithItsError)
{
    ReadSingle({1, L"A", std::nullopt});
    channel.contextError = ERROR_EVT_INVALID_QUERY;
    EXPECT_EQ(reader.ReadNext(), DWORD{ERROR_EVT_INVALID_QUERY});
    EXPECT_EQ(reader.PrinterName(), L"");
}

TEST_F(EventLogReaderTest, FailureWithoutAnErrorIsAFailureAllTheSame)
{
    ReadSingle({1, L"A", std::nullopt});
    channel.contextError = ERROR_SUCCESS;
    EXPECT_NE(reader.ReadNext(), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(reader.PrinterName(), L"");
}

TEST_F(EventLogReaderTest, FailedRenderingIsToldWithItsError)
{
    ReadSingle({1, L"A", std::nullopt, 300, std::nullopt, ERROR_EVT_INVALID_EVENT_DATA});
    EXPECT_EQ(reader.ReadNext(), DWORD{ERROR_EVT_INVALID_EVENT_DATA});
    EXPECT_EQ(channel.renderings, 1U);
    EXPECT_EQ(reader.PrinterName(), L"");
    EXPECT_EQ(channel.OpenHandles(), 2U);
}

TEST_F(EventLogReaderTest, FailedRenderingIntoTheBufferIsToldWithItsError)
{
    ReadSingle({1, L"A", std::nullopt});
    channel.secondRenderError = ERROR_OUTOFMEMORY;
    EXPECT_EQ(reader.ReadNext(), DWORD{ERROR_OUTOFMEMORY});
    EXPECT_EQ(reader.PrinterName(), L"");
    EXPECT_EQ(channel.OpenHandles(), 2U);
}

TEST_F(EventLogReaderTest, RenderingThatNeedsNoBufferGivesNoValues)
{
    ReadSingle({1, L"A", std::nullopt});
    channel.renderWithoutBuffer = true;
    SetLastError(ERROR_SUCCESS);
    EXPECT_NE(reader.ReadNext(), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(reader.PrinterName(), L"");
}

TEST_F(EventLogReaderTest, RenderingWithMissingValuesIsNotRead)
{
    ReadSingle({9, L"A", std::nullopt});
    channel.renderedValues = 4;
    reader.ReadNext();
    EXPECT_EQ(reader.PrinterName(), L"");
    EXPECT_EQ(reader.RecordId(), 0U);
    EXPECT_EQ(reader.EventId(), 0U);
}

TEST_F(EventLogReaderTest, EventThatCannotBeRenderedKeepsTheIdsOfTheLastAndNoName)
{
    channel.events = {{2, L"New", std::nullopt},
                      {1, L"Old", std::nullopt, 300, std::nullopt, ERROR_EVT_INVALID_EVENT_DATA}};
    ASSERT_TRUE(reader.OpenQuery());
    ASSERT_TRUE(reader.MoveNext());
    reader.ReadNext();
    ASSERT_TRUE(reader.MoveNext());
    reader.ReadNext();
    EXPECT_EQ(reader.RecordId(), 2U);
    EXPECT_EQ(reader.PrinterName(), L"");
}
} // namespace
