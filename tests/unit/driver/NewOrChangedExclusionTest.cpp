#include "NewOrChangedScheme.h"

#include "RunFixture.h"
#include "ScarceMemory.h"

#include <stdexcept>

namespace
{
constexpr wchar_t NormalText[] =
    L"-Redundant instance for a NewOrChanged event: An instance is already running to process a "
    L"NewOrChanged event...Queuing request and exiting this instance [Who].";
constexpr wchar_t SpecialText[] =
    L"-Redundant instance for a special NewOrChanged event: An instance is already running to "
    L"process "
    L"a NewOrChanged event...Queuing request and exiting this instance [Who].";

/// Copies that find others at work, and what goes wrong.
class NewOrChangedExclusionTest : public RunFixture
{
protected:
    int RunAs(NewOrChangedEventTypeEnum type, const std::wstring& invoker = L"Who")
    {
        return RunNewOrChanged(NewRun(CmdLineOptionsEnum::NewOrChangedEvent, type, invoker));
    }

    void ExpectRedundant(const std::wstring& posted, const std::wstring& text) const
    {
        EXPECT_EQ(
            journal,
            (Journal{L"log: -Processing NewOrChanged event: Who",
                     L"CreateEventW NormalRequestEvent not signalled",
                     L"CreateEventW SpecialRequestEvent not signalled", L"SetEvent " + posted,
                     L"CreateMutexW NewOrChangedInstanceMutex", L"wait NewOrChangedInstanceMutex 0",
                     L"out: " + text, L"log: " + text, L"CloseHandle NewOrChangedInstanceMutex",
                     L"CloseHandle SpecialRequestEvent", L"CloseHandle NormalRequestEvent"}));
        EXPECT_TRUE(objects.IsSignalled(posted));
    }

    /// The last lines of the log.
    std::vector<std::wstring> Last(std::size_t count) const
    {
        const std::vector<std::wstring> all = testLog.Messages();
        return all.size() < count ? all
                                  : std::vector<std::wstring>(
                                        all.end() - static_cast<std::ptrdiff_t>(count), all.end());
    }

    const std::vector<std::wstring> endOfARun{L"NewOrChanged event done...exiting.", L"", L""};
};

TEST_F(NewOrChangedExclusionTest, RedundantCopyOfTheTaskPostsNormallyAndGoes)
{
    objects.mutexWaits[L"NewOrChangedInstanceMutex"] = WAIT_TIMEOUT;
    EXPECT_EQ(RunAs(NewOrChangedEventTypeEnum::NewOrChangedTask), 1);
    ExpectRedundant(L"NormalRequestEvent", NormalText);
}

TEST_F(NewOrChangedExclusionTest, RedundantSpecialCopyPostsSpeciallyAndGoes)
{
    for (const auto type :
         {NewOrChangedEventTypeEnum::UserLogonEvent, NewOrChangedEventTypeEnum::XmlConfigEvent,
          NewOrChangedEventTypeEnum::NormalNewOrChangedEvent})
    {
        journal.clear();
        objects.mutexWaits[L"NewOrChangedInstanceMutex"] = WAIT_TIMEOUT;
        EXPECT_EQ(RunAs(type), 1);
        ExpectRedundant(L"SpecialRequestEvent", SpecialText);
    }
}

TEST_F(NewOrChangedExclusionTest, InvokerIsDataAndNoFormat)
{
    objects.mutexWaits[L"NewOrChangedInstanceMutex"] = WAIT_TIMEOUT;
    EXPECT_EQ(RunAs(NewOrChangedEventTypeEnum::UserLogonEvent, L"%s%n%d"), 1);
    EXPECT_EQ(testLog.Messages()[0], L"-Processing NewOrChanged event: %s%n%d");
    EXPECT_TRUE(testLog.Messages()[1].ends_with(L"exiting this instance [%s%n%d]."));
}

TEST_F(NewOrChangedExclusionTest, AbandonedMutexMakesThisCopyTheWorkingOne)
{
    objects.mutexWaits[L"NewOrChangedInstanceMutex"] = WAIT_ABANDONED;
    EXPECT_EQ(RunAs(NewOrChangedEventTypeEnum::UserLogonEvent), 0);
    EXPECT_EQ(testLog.Messages()[1], L"# Procesing a special NewOrChanged event.");
    EXPECT_EQ(std::count(journal.begin(), journal.end(), L"ReleaseMutex NewOrChangedInstanceMutex"),
              1);
}

TEST_F(NewOrChangedExclusionTest, FailedWaitMakesThisCopyTheWorkingOne)
{
    objects.mutexWaits[L"NewOrChangedInstanceMutex"] = WAIT_FAILED;
    EXPECT_EQ(RunAs(NewOrChangedEventTypeEnum::UserLogonEvent), 0);
    EXPECT_EQ(testLog.Messages()[1], L"# Procesing a special NewOrChanged event.");
    EXPECT_EQ(std::count(journal.begin(), journal.end(), L"ReleaseMutex NewOrChangedInstanceMutex"),
              0);
}

TEST_F(NewOrChangedExclusionTest, MissingMutexMakesThisCopyTheWorkingOne)
{
    objects.failing = {L"NewOrChangedInstanceMutex"};
    EXPECT_EQ(RunAs(NewOrChangedEventTypeEnum::UserLogonEvent), 0);
    EXPECT_EQ(testLog.Messages()[1], L"# Procesing a special NewOrChanged event.");
}

TEST_F(NewOrChangedExclusionTest, RequestThatCannotBePostedLeavesNothingToDo)
{
    objects.failing = {L"NormalRequestEvent", L"SpecialRequestEvent"};
    EXPECT_EQ(RunAs(NewOrChangedEventTypeEnum::UserLogonEvent), 0);
    EXPECT_EQ(testLog.Messages(),
              (std::vector<std::wstring>{L"-Processing NewOrChanged event: Who",
                                         L"NewOrChanged event done...exiting.", L"", L""}));
}

TEST_F(NewOrChangedExclusionTest, AnyExceptionIsLoggedOnceAndTheRunEndsNormally)
{
    children.run = [](const std::wstring&) -> DWORD { throw 1; };
    EXPECT_EQ(RunAs(NewOrChangedEventTypeEnum::UserLogonEvent), 0);
    EXPECT_EQ(
        testLog.Messages(),
        (std::vector<std::wstring>{
            L"-Processing NewOrChanged event: Who", L"# Procesing a special NewOrChanged event.",
            L"An exception occurred while looping for NewOrChanged event processing.",
            L"NewOrChanged event done...exiting.", L"", L""}));
}

TEST_F(NewOrChangedExclusionTest, ExceptionBeforeTheRequestIsPostedIsCaughtToo)
{
    const std::wstring exception =
        L"An exception occurred while looping for NewOrChanged event processing.";
    NewRun(CmdLineOptionsEnum::NewOrChangedEvent, NewOrChangedEventTypeEnum::UserLogonEvent,
           L"Who");
    const ScarceMemory memory;
    using Set = Replaced<"KERNEL32", "SetEvent", decltype(SetEvent)>;
    const Set set(
        [](HANDLE) -> BOOL
        {
            ScarceMemory::End();
            return TRUE;
        });
    int exitCode = -1;
    std::ptrdiff_t exceptions = 0;
    ScarceMemory::ForEveryFailure([&] { exitCode = RunNewOrChanged(run); },
                                  [&]
                                  {
                                      EXPECT_EQ(exitCode, 0);
                                      EXPECT_EQ(Last(3), endOfARun);
                                      const std::vector<std::wstring> messages = testLog.Messages();
                                      exceptions +=
                                          std::count(messages.begin(), messages.end(), exception);
                                      DeleteFileW(testLog.Log().Path().c_str());
                                  });
    EXPECT_GT(exceptions, 0);
}

TEST_F(NewOrChangedExclusionTest, ExceptionGivesTheMutexBack)
{
    children.run = [](const std::wstring&) -> DWORD { throw std::runtime_error("out of luck"); };
    RunAs(NewOrChangedEventTypeEnum::UserLogonEvent);
    EXPECT_EQ(std::count(journal.begin(), journal.end(), L"ReleaseMutex NewOrChangedInstanceMutex"),
              1);
}

TEST_F(NewOrChangedExclusionTest, PositionThatCannotBeWrittenEndsTheRunNormally)
{
    AddEvent(1, L"x");
    using Set = Replaced<"ADVAPI32", "RegSetValueExW", decltype(RegSetValueExW)>;
    const Set set([](HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) -> LSTATUS
                  { return ERROR_ACCESS_DENIED; });
    EXPECT_EQ(RunAs(NewOrChangedEventTypeEnum::NewOrChangedTask), 0);
    EXPECT_EQ(Last(4),
              (std::vector<std::wstring>{
                  L"An exception occurred while looping for NewOrChanged event processing.",
                  L"NewOrChanged event done...exiting.", L"", L""}));
}

TEST_F(NewOrChangedExclusionTest, KeyThatCannotBeCreatedIsPassedOver)
{
    AddEvent(1, L"x");
    using Create = Replaced<"ADVAPI32", "RegCreateKeyExW", decltype(RegCreateKeyExW)>;
    const Create create([](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM, const LPSECURITY_ATTRIBUTES,
                           PHKEY, LPDWORD) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    EXPECT_EQ(RunAs(NewOrChangedEventTypeEnum::NewOrChangedTask), 0);
    EXPECT_EQ(std::count(journal.begin(), journal.end(), L"start: C:\\P\\PalvoPrinterQuery.exe -c"),
              1);
}

TEST_F(NewOrChangedExclusionTest, RequestIsServedThoughTheLogCannotBeWritten)
{
    DeleteFileW(testLog.Log().Path().c_str());
    ASSERT_TRUE(CreateDirectoryW(testLog.Log().Path().c_str(), nullptr));
    EXPECT_EQ(RunAs(NewOrChangedEventTypeEnum::UserLogonEvent), 0);
    EXPECT_EQ(std::count(journal.begin(), journal.end(), L"start: C:\\P\\PalvoPrinterQuery.exe -c"),
              1);
    RemoveDirectoryW(testLog.Log().Path().c_str());
}

TEST_F(NewOrChangedExclusionTest, ExitCodesOfTheSiblingsAreIgnored)
{
    children.run = [](const std::wstring&) { return DWORD{0xFFFFFFFF}; };
    EXPECT_EQ(RunAs(NewOrChangedEventTypeEnum::UserLogonEvent), 0);
}

TEST_F(NewOrChangedExclusionTest, PrinterNameIsDataInLogAndCommandLine)
{
    AddSupportedPrinter(L"%s%n 100% \"A\"");
    AddEvent(1, L"x");
    AddEvent(2, L"%s%n 100% \"A\"");
    EXPECT_EQ(RunAs(NewOrChangedEventTypeEnum::NewOrChangedTask), 0);
    EXPECT_EQ(testLog.Messages()[2],
              L"# Processing a configuration request from a NewOrChanged event "
              L"event for '%s%n 100% \"A\"'.");
    EXPECT_EQ(std::count(journal.begin(), journal.end(),
                         L"start: C:\\P\\PalvoPrinterQuery.exe -e \"%s%n 100% \\\"A\\\"\""),
              1);
}

TEST_F(NewOrChangedExclusionTest, InitialInvocationIsNeverMentioned)
{
    RunAs(NewOrChangedEventTypeEnum::UserLogonEvent);
    for (const std::wstring& message : testLog.Messages())
    {
        EXPECT_EQ(message.find(L"initial invocation"), std::wstring::npos);
    }
}
} // namespace
