#include "RefreshScheme.h"

#include "RunFixture.h"

namespace
{
constexpr wchar_t Query[] = L"start: C:\\P\\PalvoPrinterQuery.exe ";
constexpr wchar_t Writer[] = L"start: C:\\P\\PalvoPrinterConfigurationWriter.exe  -i "
                             L"\"PalvoPrinterConfiguration(PeriodicRefreshTask PID: 4711)\"";
constexpr wchar_t Redundant[] =
    L"-Redundant instance for Refresh event: An instance is already running to process a periodic "
    L"refresh event...Queuing request and exiting this instance [PeriodicRefreshTask].";
constexpr wchar_t UpdateLine[] = L"log: Update UserPropertyBags With Desktop GUIDs before exiting "
                                 L"after processing queued request(s)";

class RefreshSchemeTest : public RunFixture
{
protected:
    int Refresh(CmdLineOptionsEnum mode = CmdLineOptionsEnum::PeriodicRefreshEvent)
    {
        return RunRefresh(
            NewRun(mode, NewOrChangedEventTypeEnum::NotNewOrChangedEvent, L"PeriodicRefreshTask"));
    }

    /// Takes the written list of applications out of the journal's line.
    void ShortenBags()
    {
        for (std::wstring& line : journal)
        {
            if (line.starts_with(L"set DesktopAppGUIDs=7.0:"))
            {
                line = L"bags";
            }
        }
    }

    const Journal opening{L"CreateEventW RefreshRequestEvent signalled",
                          L"CreateMutexW RefreshInstanceMutex", L"wait RefreshInstanceMutex 0"};

    void Expect(Journal expected, const Journal& rest)
    {
        expected.insert(expected.end(), rest.begin(), rest.end());
        ShortenBags();
        EXPECT_EQ(journal, expected);
    }
};

TEST_F(RefreshSchemeTest, EveryStepOfASingleRequest)
{
    EXPECT_EQ(Refresh(), 0);
    Expect(opening, {L"log: # Processing a periodic refresh event: PeriodicRefreshTask",
                     L"poll RefreshRequestEvent 0: yes", Query, Writer, L"users' values",
                     L"poll RefreshRequestEvent 0: no", UpdateLine, L"bags",
                     L"log: Refresh event done...exiting.", L"CloseHandle RefreshInstanceMutex",
                     L"CloseHandle RefreshRequestEvent"});
}

TEST_F(RefreshSchemeTest, OnDemandRefreshHasItsOwnLine)
{
    EXPECT_EQ(Refresh(CmdLineOptionsEnum::OnDemandAutoConfigRefresh), 0);
    EXPECT_EQ(journal[3], L"log: # Processing on-demand auto-configuration: PeriodicRefreshTask");
}

TEST_F(RefreshSchemeTest, RedundantCopyLeavesItsRequestAndGoes)
{
    objects.mutexWaits[L"RefreshInstanceMutex"] = WAIT_TIMEOUT;
    objects.MakeEvent(L"RefreshRequestEvent", false);
    EXPECT_EQ(Refresh(), 1);
    Expect(opening, {std::wstring(L"out: ") + Redundant, std::wstring(L"log: ") + Redundant,
                     L"SetEvent RefreshRequestEvent", L"CloseHandle RefreshInstanceMutex",
                     L"CloseHandle RefreshRequestEvent"});
    EXPECT_TRUE(objects.IsSignalled(L"RefreshRequestEvent"));
}

TEST_F(RefreshSchemeTest, QueuedRequestGetsAPassOfItsOwn)
{
    bool queued = false;
    children.run = [&](const std::wstring&)
    {
        if (!queued)
        {
            queued = true;
            objects.MakeEvent(L"RefreshRequestEvent", true);
        }
        return DWORD{0};
    };
    EXPECT_EQ(Refresh(), 0);
    Expect(opening, {L"log: # Processing a periodic refresh event: PeriodicRefreshTask",
                     L"poll RefreshRequestEvent 0: yes", Query, Writer, L"users' values",
                     L"poll RefreshRequestEvent 0: yes",
                     L"log: Processing queued configuration request from a periodic refresh event.",
                     Query, Writer, L"users' values", L"poll RefreshRequestEvent 0: no", UpdateLine,
                     L"bags", L"log: Refresh event done...exiting.",
                     L"CloseHandle RefreshInstanceMutex", L"CloseHandle RefreshRequestEvent"});
}

TEST_F(RefreshSchemeTest, WithoutARequestNothingIsDone)
{
    objects.MakeEvent(L"RefreshRequestEvent", false);
    EXPECT_EQ(Refresh(), 0);
    Expect(opening, {L"log: # Processing a periodic refresh event: PeriodicRefreshTask",
                     L"poll RefreshRequestEvent 0: no", L"log: Refresh event done...exiting.",
                     L"CloseHandle RefreshInstanceMutex", L"CloseHandle RefreshRequestEvent"});
}

TEST_F(RefreshSchemeTest, AbandonedMutexMakesThisCopyTheWorkingOne)
{
    objects.mutexWaits[L"RefreshInstanceMutex"] = WAIT_ABANDONED;
    EXPECT_EQ(Refresh(), 0);
    EXPECT_EQ(journal[3], L"log: # Processing a periodic refresh event: PeriodicRefreshTask");
}

TEST_F(RefreshSchemeTest, FailedWaitMakesThisCopyTheWorkingOne)
{
    objects.mutexWaits[L"RefreshInstanceMutex"] = WAIT_FAILED;
    EXPECT_EQ(Refresh(), 0);
    EXPECT_EQ(journal[4], L"poll RefreshRequestEvent 0: yes");
}

TEST_F(RefreshSchemeTest, MissingMutexMakesThisCopyTheWorkingOne)
{
    objects.failing = {L"RefreshInstanceMutex"};
    EXPECT_EQ(Refresh(), 0);
    EXPECT_EQ(journal[2], L"log: # Processing a periodic refresh event: PeriodicRefreshTask");
    EXPECT_EQ(journal[3], L"poll RefreshRequestEvent 0: yes");
}

TEST_F(RefreshSchemeTest, MissingEventMeansNoRequest)
{
    objects.failing = {L"RefreshRequestEvent"};
    EXPECT_EQ(Refresh(), 0);
    EXPECT_EQ(journal.back(), L"CloseHandle RefreshInstanceMutex");
    EXPECT_EQ(journal[journal.size() - 2], L"log: Refresh event done...exiting.");
}

TEST_F(RefreshSchemeTest, ExitCodesOfTheSiblingsAreIgnored)
{
    children.run = [](const std::wstring&) { return DWORD{0xFFFFFFFF}; };
    EXPECT_EQ(Refresh(), 0);
}

TEST_F(RefreshSchemeTest, SiblingsThatCannotBeStartedArePassedOverWithoutAWord)
{
    children.failing.insert(L"CreateProcessW");
    EXPECT_EQ(Refresh(), 0);
    Expect(opening,
           {L"log: # Processing a periodic refresh event: PeriodicRefreshTask",
            L"poll RefreshRequestEvent 0: yes", L"cannot start C:\\P\\PalvoPrinterQuery.exe ",
            L"cannot start C:\\P\\PalvoPrinterConfigurationWriter.exe  -i "
            L"\"PalvoPrinterConfiguration(PeriodicRefreshTask PID: 4711)\"",
            L"users' values", L"poll RefreshRequestEvent 0: no", UpdateLine, L"bags",
            L"log: Refresh event done...exiting.", L"CloseHandle RefreshInstanceMutex",
            L"CloseHandle RefreshRequestEvent"});
}

TEST_F(RefreshSchemeTest, InvokerIsDataAndNoFormat)
{
    objects.mutexWaits[L"RefreshInstanceMutex"] = WAIT_TIMEOUT;
    EXPECT_EQ(RunRefresh(NewRun(CmdLineOptionsEnum::PeriodicRefreshEvent,
                                NewOrChangedEventTypeEnum::NotNewOrChangedEvent, L"%s%n%d")),
              1);
    EXPECT_TRUE(journal[3].ends_with(L"exiting this instance [%s%n%d]."));
    EXPECT_TRUE(journal[4].ends_with(L"exiting this instance [%s%n%d]."));
}

TEST_F(RefreshSchemeTest, InitialInvocationIsNeverMentioned)
{
    Refresh();
    for (const std::wstring& message : testLog.Messages())
    {
        EXPECT_EQ(message.find(L"initial invocation"), std::wstring::npos);
    }
}
} // namespace
