#include "PreScan.h"

#include "RunFixture.h"

namespace
{
class PreScanTest : public RunFixture
{
protected:
    bool Scan(NewOrChangedEventTypeEnum eventType = NewOrChangedEventTypeEnum::NewOrChangedTask)
    {
        return PreScanFindsNothingToDo(
            NewRun(CmdLineOptionsEnum::NewOrChangedEvent, eventType, L"X"));
    }

    std::optional<std::uint64_t> Position() const
    {
        return machine.Number(L"Software\\Palvo\\PrinterDriver\\V6.0\\PalvoPrinterConfiguration",
                              L"LastEvtRecordProcessed");
    }
};

TEST_F(PreScanTest, OnlyPrinterEventRunsScan)
{
    for (const auto other :
         {NewOrChangedEventTypeEnum::NotNewOrChangedEvent,
          NewOrChangedEventTypeEnum::NormalNewOrChangedEvent,
          NewOrChangedEventTypeEnum::XmlConfigEvent, NewOrChangedEventTypeEnum::UserLogonEvent})
    {
        EXPECT_FALSE(Scan(other));
    }
    EXPECT_TRUE(journal.empty());
}

TEST_F(PreScanTest, NoOtherModeScansWhateverTheEventTypeSays)
{
    for (std::uint32_t mode = 0; mode <= 9; ++mode)
    {
        const auto value = static_cast<CmdLineOptionsEnum>(mode);
        if (value != CmdLineOptionsEnum::NewOrChangedEvent)
        {
            EXPECT_FALSE(PreScanFindsNothingToDo(
                NewRun(value, NewOrChangedEventTypeEnum::NewOrChangedTask, L"X")));
        }
    }
    EXPECT_TRUE(journal.empty());
}

TEST_F(PreScanTest, NothingPertinentStoresTheRecordAndEndsTheRun)
{
    SetPosition(10);
    AddEvent(10, L"x");
    AddEvent(12, L"y");
    journal.clear();
    EXPECT_TRUE(Scan());
    EXPECT_EQ(journal,
              (Journal{L"CreateMutexW ScanCheckMutex", L"wait ScanCheckMutex 600000", L"scan",
                       L"log: Found 1 '300/306' events with IDs from 11 to 12.",
                       L"ReleaseMutex ScanCheckMutex", L"set LastEvtRecordProcessed=12",
                       L"log: - No supported printers need to be processed. Done. Exiting.",
                       L"CloseHandle ScanCheckMutex"}));
    EXPECT_EQ(Position(), 12U);
}

TEST_F(PreScanTest, SupportedPrinterLetsTheRunGoOnAndStoresNothing)
{
    SetPosition(10);
    AddSupportedPrinter(L"P");
    AddEvent(10, L"x");
    AddEvent(12, L"P");
    journal.clear();
    EXPECT_FALSE(Scan());
    EXPECT_EQ(
        journal,
        (Journal{L"CreateMutexW ScanCheckMutex", L"wait ScanCheckMutex 600000", L"scan",
                 L"log: Found one pertinent, non-duplicate '300/306' event in the range of IDs "
                 L"from 11 to 12. One printer added or changed: 'P'",
                 L"ReleaseMutex ScanCheckMutex", L"CloseHandle ScanCheckMutex"}));
    EXPECT_EQ(Position(), 10U);
}

TEST_F(PreScanTest, EmptyChannelLetsTheRunGoOn)
{
    SetPosition(10);
    EXPECT_FALSE(Scan());
    EXPECT_EQ(Position(), 10U);
}

TEST_F(PreScanTest, AbandonedMutexIsOwned)
{
    objects.mutexWaits[L"ScanCheckMutex"] = WAIT_ABANDONED;
    EXPECT_FALSE(Scan());
    EXPECT_EQ(journal, (Journal{L"CreateMutexW ScanCheckMutex", L"wait ScanCheckMutex 600000",
                                L"scan", L"log: Found no new '300/306' events with IDs > 0.",
                                L"ReleaseMutex ScanCheckMutex", L"CloseHandle ScanCheckMutex"}));
}

TEST_F(PreScanTest, ScanRunsThoughTheWaitTimedOut)
{
    objects.mutexWaits[L"ScanCheckMutex"] = WAIT_TIMEOUT;
    EXPECT_FALSE(Scan());
    EXPECT_EQ(journal, (Journal{L"CreateMutexW ScanCheckMutex", L"wait ScanCheckMutex 600000",
                                L"scan", L"log: Found no new '300/306' events with IDs > 0.",
                                L"CloseHandle ScanCheckMutex"}));
}

TEST_F(PreScanTest, ScanRunsThoughTheWaitFailed)
{
    objects.mutexWaits[L"ScanCheckMutex"] = WAIT_FAILED;
    EXPECT_FALSE(Scan());
    EXPECT_EQ(journal[2], L"scan");
}

TEST_F(PreScanTest, ScanRunsWithoutAMutex)
{
    objects.failing = {L"ScanCheckMutex"};
    EXPECT_FALSE(Scan());
    EXPECT_EQ(journal, (Journal{L"CreateMutexW ScanCheckMutex", L"scan",
                                L"log: Found no new '300/306' events with IDs > 0."}));
}

TEST_F(PreScanTest, MoreThan5000EventsLetTheRunGoOn)
{
    for (std::uint64_t id = 1; id <= 5001; ++id)
    {
        AddEvent(id, L"x");
    }
    EXPECT_FALSE(Scan());
    EXPECT_EQ(Position(), std::nullopt);
}

TEST_F(PreScanTest, PositionThatCannotBeStoredDoesNotKeepTheRunFromEnding)
{
    AddEvent(1, L"x");
    using Create = Replaced<"ADVAPI32", "RegCreateKeyExW", decltype(RegCreateKeyExW)>;
    const Create create([](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM, const LPSECURITY_ATTRIBUTES,
                           PHKEY, LPDWORD) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    EXPECT_TRUE(Scan());
    EXPECT_EQ(Position(), std::nullopt);
}
} // namespace
