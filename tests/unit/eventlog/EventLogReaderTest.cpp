#include "EventLogReader.h"

#include "FakeEventChannel.h"
#include "FieldOffsets.h"
#include "PrivateMember.h"

#include <gtest/gtest.h>

#include <type_traits>

using Batch = std::array<EventHandle, 10>;
PRIVATE_FIELD(ChannelPath, EventLogReader, const wchar_t*, channelPath);
PRIVATE_FIELD(QueryText, EventLogReader, std::wstring, queryText);
PRIVATE_FIELD(Query, EventLogReader, EventHandle, query);
PRIVATE_FIELD(BatchCapacity, EventLogReader, DWORD, batchCapacity);
PRIVATE_FIELD(BatchOfEvents, EventLogReader, Batch, batch);
PRIVATE_FIELD(ReturnedCount, EventLogReader, DWORD, returnedCount);
PRIVATE_FIELD(CurrentIndex, EventLogReader, DWORD, currentIndex);
PRIVATE_FIELD(EventsRead, EventLogReader, std::uint32_t, eventsRead);
PRIVATE_FIELD(EndReached, EventLogReader, bool, endReached);
PRIVATE_FIELD(CurrentValid, EventLogReader, bool, currentValid);
PRIVATE_FIELD(RecordId, EventLogReader, std::uint64_t, recordId);
PRIVATE_FIELD(EventId, EventLogReader, std::uint32_t, eventId);
PRIVATE_FIELD(ReservedText, EventLogReader, std::wstring, reservedText);
PRIVATE_FIELD(PrinterName, EventLogReader, std::wstring, printerName);
PRIVATE_FIELD(Context, EventLogReader, EventHandle, context);
PRIVATE_FIELD(Buffer, EventLogReader, std::vector<BYTE>, buffer);

namespace
{
static_assert(std::has_virtual_destructor_v<EventLogReader>);
// An owner is as large as the handle that it owns.
static_assert(sizeof(EventHandle) == sizeof(EVT_HANDLE));

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

TEST_F(EventLogReaderTest, FieldsHaveTheirOrder)
{
    constexpr std::size_t Text = sizeof(std::wstring);
    // The table of virtual operations, the channel's path, the query's text and its handle, the
    // capacity with a gap of 4 bytes, and the handles.
    constexpr std::size_t Counts = 8 + 8 + Text + 8 + 8 + 10 * 8;
    EXPECT_EQ(OffsetsOf(reader, MemberOf(ChannelPath{}), MemberOf(QueryText{}), MemberOf(Query{}),
                        MemberOf(BatchCapacity{}), MemberOf(BatchOfEvents{})),
              (std::vector<std::size_t>{8, 16, 16 + Text, 24 + Text, 32 + Text}));
    EXPECT_EQ(OffsetsOf(reader, MemberOf(ReturnedCount{}), MemberOf(CurrentIndex{}),
                        MemberOf(EventsRead{}), MemberOf(EndReached{}), MemberOf(CurrentValid{})),
              (std::vector<std::size_t>{Counts, Counts + 4, Counts + 8, Counts + 12, Counts + 13}));
    EXPECT_EQ(
        OffsetsOf(reader, MemberOf(RecordId{}), MemberOf(EventId{}), MemberOf(ReservedText{}),
                  MemberOf(PrinterName{})),
        (std::vector<std::size_t>{Counts + 16, Counts + 24, Counts + 32, Counts + 32 + Text}));
    // Behind the record, what all events share.
    constexpr std::size_t Record = Counts + 32 + 2 * Text;
    EXPECT_EQ(OffsetsOf(reader, MemberOf(Context{}), MemberOf(Buffer{})),
              (std::vector<std::size_t>{Record, Record + 8}));
    static_assert(sizeof(EventLogReader) == Record + 8 + sizeof(std::vector<BYTE>));
}

TEST_F(EventLogReaderTest, FieldsHaveTheirFirstValues)
{
    EXPECT_STREQ(reader.*MemberOf(ChannelPath{}), L"Microsoft-Windows-PrintService/Operational");
    EXPECT_EQ(reader.*MemberOf(QueryText{}),
              L"Event/System[(EventID=300 or EventID=306) and EventRecordID >= 0]");
    EXPECT_EQ((reader.*MemberOf(Query{})).Get(), nullptr);
    EXPECT_EQ(reader.*MemberOf(BatchCapacity{}), 10U);
    for (const EventHandle& event : reader.*MemberOf(BatchOfEvents{}))
    {
        EXPECT_EQ(event.Get(), nullptr);
    }
    EXPECT_EQ(reader.*MemberOf(ReturnedCount{}), 0U);
    EXPECT_EQ(reader.*MemberOf(CurrentIndex{}), 0U);
    EXPECT_EQ(reader.*MemberOf(EventsRead{}), 0U);
    EXPECT_FALSE(reader.*MemberOf(EndReached{}));
    EXPECT_FALSE(reader.*MemberOf(CurrentValid{}));
    EXPECT_EQ(reader.*MemberOf(RecordId{}), 0U);
    EXPECT_EQ(reader.*MemberOf(EventId{}), 0U);
    EXPECT_EQ(reader.*MemberOf(PrinterName{}), L"");
}

TEST_F(EventLogReaderTest, FieldsFollowTheReading)
{
    FillChannel(12);
    ASSERT_TRUE(reader.OpenQuery());
    EXPECT_NE((reader.*MemberOf(Query{})).Get(), nullptr);
    for (int i = 0; i < 11; ++i)
    {
        ASSERT_TRUE(reader.MoveNext());
        reader.ReadNext();
        EXPECT_TRUE(reader.*MemberOf(CurrentValid{}));
    }
    EXPECT_EQ(reader.*MemberOf(ReturnedCount{}), 2U);
    EXPECT_EQ(reader.*MemberOf(CurrentIndex{}), 1U);
    EXPECT_EQ(reader.*MemberOf(EventsRead{}), 11U);
    EXPECT_FALSE(reader.*MemberOf(EndReached{}));
    ASSERT_TRUE(reader.MoveNext());
    reader.ReadNext();
    ASSERT_FALSE(reader.MoveNext());
    EXPECT_TRUE(reader.*MemberOf(EndReached{}));
    EXPECT_EQ(reader.*MemberOf(PrinterName{}), L"Printer 1");
    EXPECT_EQ(reader.*MemberOf(ReservedText{}), L"");
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

TEST_F(EventLogReaderTest, ShortBatchIsNotTheEnd)
{
    FillChannel(8);
    channel.mostPerFetch = 3;
    ASSERT_TRUE(reader.OpenQuery());
    for (std::uint64_t id = 8; id >= 1; --id)
    {
        ASSERT_TRUE(reader.MoveNext());
        ASSERT_EQ(reader.ReadNext(), DWORD{ERROR_SUCCESS});
        ASSERT_EQ(reader.RecordId(), id);
    }
    EXPECT_FALSE(reader.MoveNext());
    EXPECT_EQ(channel.fetches, 4U);
    EXPECT_EQ(reader.EventsRead(), 8U);
}

TEST_F(EventLogReaderTest, HoldsNoMoreThanOneBatchOfEvents)
{
    FillChannel(25);
    ASSERT_TRUE(reader.OpenQuery());
    while (reader.MoveNext())
    {
        reader.ReadNext();
        ASSERT_LE(channel.OpenHandles(), 12U); // the query, a batch and the render context
    }
    EXPECT_EQ(channel.OpenHandles(), 2U); // the last batch went back before the last fetch
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

TEST_F(EventLogReaderTest, AllEventsShareOneContextAndABufferThatGrows)
{
    channel.events = {{4, L"ABCDE", std::nullopt},
                      {3, L"ABC", std::nullopt},
                      {2, std::wstring(1000, L'x'), std::nullopt},
                      {1, L"A", L"B"}};
    ASSERT_TRUE(reader.OpenQuery());
    std::vector<std::wstring> names;
    while (reader.MoveNext())
    {
        EXPECT_EQ(reader.ReadNext(), DWORD{ERROR_SUCCESS});
        names.push_back(reader.PrinterName());
    }
    EXPECT_EQ(names, (std::vector<std::wstring>{L"ABCDE", L"ABC", std::wstring(1000, L'x'), L"B"}));
    EXPECT_EQ(channel.contexts, 1U);
    // Five values of 16 bytes, and two texts with their zeros: the first without a character.
    EXPECT_EQ(channel.renderedSizes, (std::vector<DWORD>{0, 94, 94, 94, 2084, 2084}));
}

TEST_F(EventLogReaderTest, ContextThatCouldNotBeMadeIsAskedForAgainAtTheNextEvent)
{
    FillChannel(3);
    channel.contextError = ERROR_NOT_ENOUGH_MEMORY;
    ASSERT_TRUE(reader.OpenQuery());
    ASSERT_TRUE(reader.MoveNext());
    EXPECT_EQ(reader.ReadNext(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
    ASSERT_TRUE(reader.MoveNext());
    EXPECT_EQ(reader.ReadNext(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
    channel.contextError.reset();
    ASSERT_TRUE(reader.MoveNext());
    EXPECT_EQ(reader.ReadNext(), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(reader.PrinterName(), L"Printer 1");
    EXPECT_EQ(channel.contexts, 3U);
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
    EXPECT_EQ(channel.OpenHandles(), 3U); // the query, the event and the context
}

TEST_F(EventLogReaderTest, FailedRenderingIntoTheBufferIsToldWithItsError)
{
    ReadSingle({1, L"A", std::nullopt});
    channel.secondRenderError = ERROR_OUTOFMEMORY;
    EXPECT_EQ(reader.ReadNext(), DWORD{ERROR_OUTOFMEMORY});
    EXPECT_EQ(reader.PrinterName(), L"");
    EXPECT_EQ(channel.OpenHandles(), 3U); // the query, the event and the context
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
