#include "NewOrChangedScheme.h"

#include "NewOrChangedFixture.h"

namespace
{
TEST_F(NewOrChangedSchemeTest, EveryStepForOnePrinter)
{
    AddOnePrinter();
    EXPECT_EQ(RunTask(), 0);
    Expect({task, Poll(true, false), FirstPassForOnePrinter(), oneLaunch, Poll(false, false),
            Ending()});
}

TEST_F(NewOrChangedSchemeTest, SeveralPrintersAreNotNamed)
{
    AddOnePrinter();
    AddSupportedPrinter(L"Other");
    AddEvent(3, L"Other");
    EXPECT_EQ(RunTask(), 0);
    Expect(
        {task,
         Poll(true, false),
         {L"sleep 500", L"scan", L"log: Found 2 '300/306' events with IDs from 2 to 3.",
          L"set LastEvtRecordProcessed=3",
          L"log: # Processing a configuration request from a NewOrChanged event event for multiple "
          L"printers."},
         allLaunch,
         Poll(false, false),
         Ending()});
}

TEST_F(NewOrChangedSchemeTest, FirstPassRunsThoughNoPrinterIsPertinent)
{
    AddEvent(1, L"x");
    EXPECT_EQ(RunTask(), 0);
    Expect(
        {task,
         Poll(true, false),
         {L"sleep 500", L"scan", L"log: Found no new '300/306' events with IDs > 1.",
          L"set LastEvtRecordProcessed=1",
          L"log: # Processing a configuration request from a NewOrChanged event event for multiple "
          L"printers."},
         allLaunch,
         Poll(false, false),
         Ending()});
}

TEST_F(NewOrChangedSchemeTest, EmptyChannelStoresZeroAndProcessesAll)
{
    SetPosition(50);
    journal.clear();
    EXPECT_EQ(RunTask(), 0);
    Expect(
        {task,
         Poll(true, false),
         {L"sleep 500", L"scan", L"log: Found no new '300/306' events with IDs > 0.",
          L"set LastEvtRecordProcessed=0",
          L"log: # Processing a configuration request from a NewOrChanged event event for multiple "
          L"printers."},
         allLaunch,
         Poll(false, false),
         Ending()});
}

TEST_F(NewOrChangedSchemeTest, SiblingsThatCannotBeStartedArePassedOverWithoutAWord)
{
    AddOnePrinter();
    children.failing.insert(L"CreateProcessW");
    EXPECT_EQ(RunTask(), 0);
    Expect({task,
            Poll(true, false),
            FirstPassForOnePrinter(),
            {L"cannot start C:\\P\\PalvoPrinterQuery.exe -e \"Sales Room\"",
             L"cannot start C:\\P\\PalvoPrinterConfigurationWriter.exe -e -i "
             L"\"PalvoPrinterConfiguration(NewOrChangedTask PID: 4711)\"",
             L"users' values"},
            Poll(false, false),
            Ending()});
}

TEST_F(NewOrChangedSchemeTest, QueuedRequestForAProcessedPrinterIsSkipped)
{
    AddOnePrinter();
    WhenTheFirstChildStarts([this] { Post(L"NormalRequestEvent"); });
    EXPECT_EQ(RunTask(), 0);
    Expect(
        {task,
         Poll(true, false),
         FirstPassForOnePrinter(),
         oneLaunch,
         Poll(true, false),
         {L"scan", L"log: Found no new '300/306' events with IDs > 2.",
          L"set LastEvtRecordProcessed=2",
          L"log: ## Skipping queued configuration request from a NewOrChanged event event because "
          L"that printer has already been processed after that request occurred."},
         Poll(false, false),
         Ending()});
}

TEST_F(NewOrChangedSchemeTest, QueuedRequestForOnePrinterNamesIt)
{
    AddOnePrinter();
    AddSupportedPrinter(L"Late");
    WhenTheFirstChildStarts(
        [this]
        {
            AddEvent(7, L"Late");
            Post(L"NormalRequestEvent");
        });
    EXPECT_EQ(RunTask(), 0);
    Expect(
        {task,
         Poll(true, false),
         FirstPassForOnePrinter(),
         oneLaunch,
         Poll(true, false),
         {L"scan",
          L"log: Found one pertinent, non-duplicate '300/306' event in the range of IDs from 3 to "
          L"7. One printer added or changed: 'Late'",
          L"set LastEvtRecordProcessed=7",
          L"log: # Processing a Queued configuration request from a NewOrChanged event event for "
          L"'Late'."},
         Launch(L"-e \"Late\"", L"-e", L"NewOrChangedTask"),
         Poll(false, false),
         Ending()});
}

TEST_F(NewOrChangedSchemeTest, QueuedRequestForSeveralPrintersNamesNone)
{
    AddOnePrinter();
    AddSupportedPrinter(L"Late");
    AddSupportedPrinter(L"Later");
    WhenTheFirstChildStarts(
        [this]
        {
            AddEvent(7, L"Late");
            AddEvent(8, L"Later");
            Post(L"NormalRequestEvent");
        });
    EXPECT_EQ(RunTask(), 0);
    Expect({task,
            Poll(true, false),
            FirstPassForOnePrinter(),
            oneLaunch,
            Poll(true, false),
            {L"scan", L"log: Found 2 '300/306' events with IDs from 3 to 8.",
             L"set LastEvtRecordProcessed=8",
             L"log: # Processing Queued configuration request from a NewOrChanged event event for "
             L"multiple printers."},
            allLaunch,
            Poll(false, false),
            Ending()});
}

TEST_F(NewOrChangedSchemeTest, SpecialRequestNeedsNoScan)
{
    EXPECT_EQ(RunLogon(), 0);
    Expect({logon,
            Poll(false, true),
            {L"log: # Procesing a special NewOrChanged event."},
            Launch(L"-c", L"-c", L"UserLogonTask"),
            Poll(false, false),
            Ending()});
}

TEST_F(NewOrChangedSchemeTest, EveryTypeButTheTasksIsSpecial)
{
    for (const auto type :
         {NewOrChangedEventTypeEnum::NormalNewOrChangedEvent,
          NewOrChangedEventTypeEnum::XmlConfigEvent, NewOrChangedEventTypeEnum::UserLogonEvent})
    {
        journal.clear();
        EXPECT_EQ(RunLogon(type), 0);
        EXPECT_EQ(journal[3], L"SetEvent SpecialRequestEvent");
    }
}

TEST_F(NewOrChangedSchemeTest, QueuedSpecialRequestHasItsOwnLine)
{
    AddOnePrinter();
    WhenTheFirstChildStarts([this] { Post(L"SpecialRequestEvent"); });
    EXPECT_EQ(RunTask(), 0);
    Expect({task,
            Poll(true, false),
            FirstPassForOnePrinter(),
            oneLaunch,
            Poll(false, true),
            {L"log: # Procesing a queued special NewOrChanged event."},
            allLaunch,
            Poll(false, false),
            Ending()});
}

TEST_F(NewOrChangedSchemeTest, FullRunServesANormalRequestToo)
{
    Post(L"NormalRequestEvent");
    EXPECT_EQ(RunLogon(), 0);
    Expect({logon,
            Poll(true, true),
            {L"log: # Procesing a special NewOrChanged event."},
            Launch(L"-c", L"-c", L"UserLogonTask"),
            Poll(false, false),
            Ending()});
}

TEST_F(NewOrChangedSchemeTest, NormalRequestAfterASpecialOneIsAQueuedOne)
{
    AddOnePrinter();
    WhenTheFirstChildStarts([this] { Post(L"NormalRequestEvent"); });
    EXPECT_EQ(RunLogon(), 0);
    Expect(
        {logon,
         Poll(false, true),
         {L"log: # Procesing a special NewOrChanged event."},
         Launch(L"-c", L"-c", L"UserLogonTask"),
         Poll(true, false),
         {L"scan",
          L"log: Found one pertinent, non-duplicate '300/306' event in the range of IDs from 2 to "
          L"2. One printer added or changed: 'Sales Room'",
          L"set LastEvtRecordProcessed=2",
          L"log: # Processing a Queued configuration request from a NewOrChanged event event for "
          L"'Sales Room'."},
         Launch(L"-e \"Sales Room\"", L"-e", L"UserLogonTask"),
         Poll(false, false),
         Ending()});
}

TEST_F(NewOrChangedSchemeTest, PositionIsStoredBeforeTheWriterStarts)
{
    AddOnePrinter();
    std::optional<std::uint64_t> stored;
    WhenTheFirstChildStarts(
        [&]
        {
            stored =
                machine.Number(L"Software\\Palvo\\PrinterDriver\\V6.0\\PalvoPrinterConfiguration",
                               L"LastEvtRecordProcessed");
        });
    RunTask();
    EXPECT_EQ(stored, 2U);
}
} // namespace
