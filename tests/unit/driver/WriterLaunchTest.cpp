#include "WriterLaunch.h"

#include "RunFixture.h"
#include "ScarceMemory.h"
#include "WellKnownAccounts.h"

namespace
{
class WriterLaunchTest : public RunFixture
{
protected:
    WriterLaunchTest()
    {
        children.failing.clear();
        children.writesTokens = true;
    }

    std::uint32_t Launch(const WriterRequest& request, const std::wstring& invoker)
    {
        return LaunchWriterForRequest(request, invoker, run.paths, testLog.Log());
    }

    /// Query program and writer end with these codes.
    void EndWith(DWORD query, DWORD writer)
    {
        children.run = [query, writer](const std::wstring& commandLine)
        { return commandLine.starts_with(L"C:\\P\\PalvoPrinterQuery.exe") ? query : writer; };
    }

    /// The lines of the journal that start a program.
    Journal Starts() const
    {
        Journal starts;
        for (const std::wstring& line : journal)
        {
            if (line.starts_with(L"start"))
            {
                starts.push_back(line);
            }
        }
        return starts;
    }

    /// The journal of a refresh whose query program leaves these lines.
    static Journal Whole(Journal query)
    {
        for (const wchar_t* line :
             {L"start: C:\\P\\PalvoPrinterConfigurationWriter.exe  -i "
              L"\"PalvoPrinterConfiguration(4711)\"",
              L"exit code 0", L"CloseHandle thread", L"CloseHandle process", L"users' values"})
        {
            query.push_back(line);
        }
        return query;
    }

    const WriterRequest onePrinter{CmdLineOptionsEnum::NewOrChangedEvent, true, L"Sales Room"};
    const WriterRequest allPrinters{CmdLineOptionsEnum::NewOrChangedEvent, false, L""};
    const WriterRequest refresh{CmdLineOptionsEnum::PeriodicRefreshEvent, false, L""};
};

TEST_F(WriterLaunchTest, EveryStepInOrder)
{
    Launch(allPrinters, L"NewOrChangedTask");
    EXPECT_EQ(journal,
              (Journal{
                  L"LogonUserW NT AUTHORITY\\LOCAL SERVICE 5 0",
                  L"DuplicateTokenEx service",
                  L"CreateEnvironmentBlock service/copy",
                  L"start as service/copy with its environment: C:\\P\\PalvoPrinterQuery.exe -c",
                  L"DestroyEnvironmentBlock",
                  L"CloseHandle service/copy",
                  L"exit code 0",
                  L"CloseHandle service",
                  L"CloseHandle thread",
                  L"CloseHandle process",
                  L"start: C:\\P\\PalvoPrinterConfigurationWriter.exe -c -i "
                  L"\"PalvoPrinterConfiguration(NewOrChangedTask PID: 4711)\"",
                  L"exit code 0",
                  L"CloseHandle thread",
                  L"CloseHandle process",
                  L"users' values",
              }));
}

TEST_F(WriterLaunchTest, PrinterIsNamedToTheQueryProgramOnly)
{
    Launch(onePrinter, L"NewOrChangedTask");
    EXPECT_EQ(
        Starts(),
        (Journal{L"start as service/copy with its environment: C:\\P\\PalvoPrinterQuery.exe -e "
                 L"\"Sales Room\"",
                 L"start: C:\\P\\PalvoPrinterConfigurationWriter.exe -e -i "
                 L"\"PalvoPrinterConfiguration(NewOrChangedTask PID: 4711)\""}));
}

TEST_F(WriterLaunchTest, RefreshWithoutAnInvokerHasTheProcessIdAlone)
{
    Launch(refresh, L"");
    EXPECT_EQ(Starts(),
              (Journal{L"start as service/copy with its environment: C:\\P\\PalvoPrinterQuery.exe ",
                       L"start: C:\\P\\PalvoPrinterConfigurationWriter.exe  -i "
                       L"\"PalvoPrinterConfiguration(4711)\""}));
}

TEST_F(WriterLaunchTest, QueryRunsAsThisAccountWhenLocalServiceCannotLogOn)
{
    children.failing = {L"LogonUserW"};
    EndWith(3, 2);
    EXPECT_EQ(Launch(allPrinters, L"X"), 3U);
    EXPECT_EQ(Starts(), (Journal{L"start: C:\\P\\PalvoPrinterQuery.exe -c",
                                 L"start: C:\\P\\PalvoPrinterConfigurationWriter.exe -c -i "
                                 L"\"PalvoPrinterConfiguration(X PID: 4711)\""}));
    EXPECT_TRUE(testLog.Messages().empty());
}

TEST_F(WriterLaunchTest, WhatAFailedLogonLeavesIsNotClosed)
{
    children.failing = {L"LogonUserW"};
    Launch(allPrinters, L"X");
    EXPECT_EQ(journal, (Journal{L"LogonUserW NT AUTHORITY\\LOCAL SERVICE 5 0",
                                L"start: C:\\P\\PalvoPrinterQuery.exe -c", L"exit code 0",
                                L"CloseHandle thread", L"CloseHandle process",
                                L"start: C:\\P\\PalvoPrinterConfigurationWriter.exe -c -i "
                                L"\"PalvoPrinterConfiguration(X PID: 4711)\"",
                                L"exit code 0", L"CloseHandle thread", L"CloseHandle process",
                                L"users' values"}));
}

TEST_F(WriterLaunchTest, TokenThatCannotBeDuplicatedIsUsedWithoutAWord)
{
    children.failing = {L"DuplicateTokenEx"};
    Launch(refresh, L"");
    EXPECT_EQ(journal,
              Whole({L"LogonUserW NT AUTHORITY\\LOCAL SERVICE 5 0", L"DuplicateTokenEx service",
                     L"CreateEnvironmentBlock service",
                     L"start as service with its environment: C:\\P\\PalvoPrinterQuery.exe ",
                     L"DestroyEnvironmentBlock", L"exit code 0", L"CloseHandle service",
                     L"CloseHandle thread", L"CloseHandle process"}));
}

TEST_F(WriterLaunchTest, EnvironmentThatCannotBeHadIsDoneWithoutAndWithoutAWord)
{
    children.failing = {L"CreateEnvironmentBlock"};
    Launch(refresh, L"");
    EXPECT_EQ(journal, Whole({L"LogonUserW NT AUTHORITY\\LOCAL SERVICE 5 0",
                              L"DuplicateTokenEx service", L"CreateEnvironmentBlock service/copy",
                              L"start as service/copy: C:\\P\\PalvoPrinterQuery.exe ",
                              L"CloseHandle service/copy", L"exit code 0", L"CloseHandle service",
                              L"CloseHandle thread", L"CloseHandle process"}));
}

TEST_F(WriterLaunchTest, LargerExitCodeIsTheResult)
{
    EndWith(3, 2);
    EXPECT_EQ(Launch(refresh, L""), 3U);
    EndWith(2, 3);
    EXPECT_EQ(Launch(refresh, L""), 3U);
}

TEST_F(WriterLaunchTest, HugeExitCodesAreUnsigned)
{
    EndWith(0xFFFFFFFF, 1);
    EXPECT_EQ(Launch(refresh, L""), 0xFFFFFFFFU);
}

TEST_F(WriterLaunchTest, WriterRunsThoughTheQueryProgramCannotBeStarted)
{
    children.failing = {L"CreateProcessAsUserW"};
    EndWith(9, 4);
    EXPECT_EQ(Launch(refresh, L""), 4U);
    EXPECT_EQ(
        journal,
        (Journal{L"LogonUserW NT AUTHORITY\\LOCAL SERVICE 5 0", L"DuplicateTokenEx service",
                 L"CreateEnvironmentBlock service/copy",
                 L"cannot start C:\\P\\PalvoPrinterQuery.exe ", L"DestroyEnvironmentBlock",
                 L"CloseHandle service/copy", L"CloseHandle service",
                 L"start: C:\\P\\PalvoPrinterConfigurationWriter.exe  -i "
                 L"\"PalvoPrinterConfiguration(4711)\"",
                 L"exit code 4", L"CloseHandle thread", L"CloseHandle process", L"users' values"}));
}

TEST_F(WriterLaunchTest, UsersValuesAreWrittenThoughNothingCouldBeStarted)
{
    children.failing = {L"LogonUserW", L"CreateProcessW"};
    EXPECT_EQ(Launch(refresh, L""), 0U);
    EXPECT_EQ(journal, (Journal{L"LogonUserW NT AUTHORITY\\LOCAL SERVICE 5 0",
                                L"cannot start C:\\P\\PalvoPrinterQuery.exe ",
                                L"cannot start C:\\P\\PalvoPrinterConfigurationWriter.exe  -i "
                                L"\"PalvoPrinterConfiguration(4711)\"",
                                L"users' values"}));
    EXPECT_EQ(objects.OpenHandles(), 0U);
}

TEST_F(WriterLaunchTest, WithoutAPathNothingIsStartedAndTheUsersValuesAreWritten)
{
    run.paths = {};
    EndWith(9, 9);
    EXPECT_EQ(Launch(allPrinters, L"X"), 0U);
    EXPECT_EQ(journal, Journal{L"users' values"});
}

TEST_F(WriterLaunchTest, WithoutAPathNothingIsStartedInTheBackground)
{
    EXPECT_EQ(LaunchWriterInBackground(L"X", L"", L" -IN"), 1);
    EXPECT_EQ(journal, Journal{});
}

TEST_F(WriterLaunchTest, WriterStartsAfterTheQueryProgramHasEnded)
{
    children.waits = {WAIT_ABANDONED, WAIT_ABANDONED, WAIT_OBJECT_0};
    Launch(refresh, L"");
    EXPECT_TRUE(children.waits.empty());
    std::vector<std::wstring> startsAndEnds;
    for (const std::wstring& line : journal)
    {
        if (line.starts_with(L"start") || line.starts_with(L"exit code"))
        {
            startsAndEnds.push_back(line.substr(0, 5));
        }
    }
    EXPECT_EQ(startsAndEnds, (Journal{L"start", L"exit ", L"start", L"exit "}));
}

TEST_F(WriterLaunchTest, LocalServiceLogsOnUnderItsLocalisedName)
{
    using LookUp = Replaced<"ADVAPI32", "LookupAccountSidW", decltype(LookupAccountSidW)>;
    const LookUp lookUp(
        [](LPCWSTR, PSID, LPWSTR name, LPDWORD, LPWSTR domain, LPDWORD, PSID_NAME_USE) -> BOOL
        {
            wcscpy(name, L"Lokaler Dienst");
            wcscpy(domain, L"NT-AUTORIT\u00C4T");
            return TRUE;
        });
    AccountNames::OfThisRun() = {}; // whose start looked them up already
    Launch(refresh, L"");
    EXPECT_EQ(journal[0], L"LogonUserW NT-AUTORIT\u00C4T\\Lokaler Dienst 5 0");
}

TEST_F(WriterLaunchTest, LocalServiceLogsOnUnderItsEnglishNameWhenItCannotBeLookedUp)
{
    using LookUp = Replaced<"ADVAPI32", "LookupAccountSidW", decltype(LookupAccountSidW)>;
    const LookUp lookUp(
        [](LPCWSTR, PSID, LPWSTR, LPDWORD, LPWSTR, LPDWORD, PSID_NAME_USE) -> BOOL
        {
            SetLastError(ERROR_NONE_MAPPED);
            return FALSE;
        });
    AccountNames::OfThisRun() = {}; // whose start looked them up already
    Launch(refresh, L"");
    EXPECT_EQ(journal[0], L"LogonUserW NT AUTHORITY\\Local Service 5 0");
}

TEST_F(WriterLaunchTest, QueryRunsAsThisAccountWhenThereIsNoMemoryForTheNameOfLocalService)
{
    AccountNames::OfThisRun() = {}; // whose start looked them up already
    const ScarceMemory memory;
    // Without what is needed before the name there is no launch.
    for (unsigned long allocations = 0; journal.empty(); ++allocations)
    {
        ScarceMemory::Refuse(allocations);
        try
        {
            Launch(refresh, L"");
        }
        catch (const std::bad_alloc&)
        {
            EXPECT_TRUE(journal.empty());
        }
        ScarceMemory::End();
    }
    EXPECT_EQ(journal, Whole({L"start: C:\\P\\PalvoPrinterQuery.exe ", L"exit code 0",
                              L"CloseHandle thread", L"CloseHandle process"}));
}

TEST_F(WriterLaunchTest, BackgroundLaunchDoesNotWait)
{
    bool waited = false;
    children.onWait = [&] { waited = true; };
    EXPECT_EQ(LaunchWriterInBackground(L"UserLogonTask", run.paths.writer, L" -IN -w"), 0);
    EXPECT_FALSE(waited);
    EXPECT_EQ(journal, (Journal{L"start: C:\\P\\PalvoPrinterConfigurationWriter.exe  -IN -w -i "
                                L"\"PalvoPrinterConfiguration(UserLogonTask PID: 4711)\"",
                                L"CloseHandle thread", L"CloseHandle process"}));
}

TEST_F(WriterLaunchTest, BackgroundLaunchThatFailsIsOne)
{
    children.failing = {L"CreateProcessW"};
    EXPECT_EQ(LaunchWriterInBackground(L"", run.paths.writer, L" -UN"), 1);
    EXPECT_EQ(journal, Journal{L"cannot start C:\\P\\PalvoPrinterConfigurationWriter.exe  -UN -i "
                               L"\"PalvoPrinterConfiguration(4711)\""});
}
} // namespace
