#include "LogFile.h"

#include "Journal.h"
#include "LogFile.h"
#include "PrivateMember.h"
#include "Replaced.h"
#include "ScarceMemory.h"
#include "SecurityText.h"
#include "TemporaryFolder.h"
#include "WellKnownAccounts.h"

#include <gtest/gtest.h>

#include <sddl.h>

#include <set>

struct PathOfGrantedLog
{
    friend std::wstring LogFile::*MemberOf(PathOfGrantedLog);
};
template struct PrivateMember<PathOfGrantedLog, &LogFile::path>;

namespace
{
using SetSecurityDouble = Replaced<"ADVAPI32", "SetSecurityInfo", decltype(SetSecurityInfo)>;
using CreateFileDouble = Replaced<"KERNEL32", "CreateFileW", decltype(CreateFileW)>;

class LogFileAccessTest : public testing::Test
{
protected:
    /// The entries that a grant adds to or leaves in the log file's DACL.
    template <class Grant> std::multiset<std::wstring> EntriesAfter(Grant grant)
    {
        std::multiset<std::wstring> entries;
        const SetSecurityDouble setSecurity(
            [&](HANDLE, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID, PSID, PACL list, PACL) -> DWORD
            {
                entries = EntriesOf(SecurityText(list));
                return ERROR_SUCCESS;
            });
        EXPECT_TRUE(grant(log));
        return entries;
    }

    void PutASecondNameInTheLogsPlace()
    {
        ASSERT_TRUE(MoveFileExW(log.Path().c_str(), folder.Of(L"moved").c_str(), 0));
        const std::wstring other = folder.WriteFile(L"other", "mine");
        ASSERT_TRUE(CreateHardLinkW(log.Path().c_str(), other.c_str(), nullptr));
    }

    TemporaryFolder folder;
    LogFile log{folder.Path(), L"Log"};
};

TEST_F(LogFileAccessTest, LocalServiceMayReadWriteAndDelete)
{
    const auto wanted = ListFromText(L"D:(A;OICI;0xc0010000;;;LS)").Entries();
    EXPECT_EQ(EntriesAfter(&GrantLocalServiceAccess).count(*wanted.begin()), 1U);
}

TEST_F(LogFileAccessTest, AuthenticatedUsersMayReadWriteAndDelete)
{
    const auto wanted = ListFromText(L"D:(A;OICI;0xc0010000;;;AU)").Entries();
    EXPECT_EQ(EntriesAfter(&GrantAuthenticatedUsersAccess).count(*wanted.begin()), 1U);
}

TEST_F(LogFileAccessTest, GrantWorksOnARealFileAndTheLogGoesOn)
{
    EXPECT_TRUE(GrantLocalServiceAccess(log));
    EXPECT_TRUE(GrantAuthenticatedUsersAccess(log));
    log.Write(L"after");
    EXPECT_TRUE(FileBytes(log.Path()).ends_with("): after\r\n"));
}

TEST_F(LogFileAccessTest, FileIsOpenedUnderTheMutexAndClosedBeforeItIsGivenBack)
{
    Journal journal;
    const Replaced<"KERNEL32", "WaitForSingleObject", decltype(WaitForSingleObject)> wait(
        [&](HANDLE, DWORD milliseconds) -> DWORD
        {
            journal.push_back(L"wait " + std::to_wstring(milliseconds));
            return 0;
        });
    const Replaced<"KERNEL32", "ReleaseMutex", decltype(ReleaseMutex)> release(
        [&](HANDLE)
        {
            journal.push_back(L"release");
            return TRUE;
        });
    const CreateFileDouble createFile(
        [&](LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security,
            DWORD disposition, DWORD flags, HANDLE other)
        {
            EXPECT_EQ(path, log.Path());
            journal.push_back(L"open");
            return decltype(createFile)::Original(path, access, sharing, security, disposition,
                                                  flags, other);
        });
    const Replaced<"KERNEL32", "CloseHandle", decltype(CloseHandle)> close(
        [&](HANDLE handle)
        {
            journal.push_back(L"close");
            return decltype(close)::Original(handle);
        });
    EXPECT_TRUE(GrantLocalServiceAccess(log));
    EXPECT_EQ(journal, (Journal{L"wait 5000", L"open", L"open", L"close", L"close", L"release"}));
}

TEST_F(LogFileAccessTest, FileIsOpenedBeforeTheAccountsNameIsLookedUp)
{
    Journal journal;
    const CreateFileDouble createFile(
        [&](LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security,
            DWORD disposition, DWORD flags, HANDLE other)
        {
            journal.push_back(L"open");
            return decltype(createFile)::Original(path, access, sharing, security, disposition,
                                                  flags, other);
        });
    using ConvertDouble =
        Replaced<"ADVAPI32", "ConvertStringSidToSidW", decltype(ConvertStringSidToSidW)>;
    const ConvertDouble convert(
        [&](LPCWSTR text, PSID* sid)
        {
            journal.push_back(text);
            return decltype(convert)::Original(text, sid);
        });
    using GetSecurityDouble = Replaced<"ADVAPI32", "GetSecurityInfo", decltype(GetSecurityInfo)>;
    const GetSecurityDouble getSecurity(
        [&](HANDLE handle, SE_OBJECT_TYPE type, SECURITY_INFORMATION wanted, PSID* owner,
            PSID* group, PACL* dacl, PACL* sacl, PSECURITY_DESCRIPTOR* descriptor)
        {
            journal.push_back(L"read");
            return decltype(getSecurity)::Original(handle, type, wanted, owner, group, dacl, sacl,
                                                   descriptor);
        });
    AccountNames::OfThisRun() = {}; // whose names the log looked up at its start
    EXPECT_TRUE(GrantLocalServiceAccess(log));
    EXPECT_TRUE(GrantAuthenticatedUsersAccess(log));
    EXPECT_EQ(journal, (Journal{L"open", L"open", L"S-1-5-19", L"read", L"open", L"open",
                                L"S-1-5-11", L"read"}));
}

TEST_F(LogFileAccessTest, AccountOfAFileThatCannotBeOpenedIsNotLookedUp)
{
    AccountNames::OfThisRun() = {};
    ASSERT_TRUE(DeleteFileW(log.Path().c_str()));
    const Replaced<"ADVAPI32", "ConvertStringSidToSidW", decltype(ConvertStringSidToSidW)> convert(
        [&](LPCWSTR, PSID*)
        {
            ADD_FAILURE() << "it was looked up";
            return FALSE;
        });
    EXPECT_FALSE(GrantLocalServiceAccess(log));
}

TEST_F(LogFileAccessTest, TimeOutLeavesTheFileAlone)
{
    const Replaced<"KERNEL32", "WaitForSingleObject", decltype(WaitForSingleObject)> wait(
        [](HANDLE, DWORD) -> DWORD { return WAIT_TIMEOUT; });
    const CreateFileDouble createFile(
        [](LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE)
        {
            ADD_FAILURE() << "the file was opened";
            return INVALID_HANDLE_VALUE;
        });
    EXPECT_FALSE(GrantLocalServiceAccess(log));
    EXPECT_FALSE(GrantAuthenticatedUsersAccess(log));
}

TEST_F(LogFileAccessTest, AnySingleAllocationThatFailsChangesNoDacl)
{
    const ScarceMemory memory;
    int applied = 0;
    const SetSecurityDouble setSecurity(
        [&](HANDLE, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID, PSID, PACL, PACL) -> DWORD
        {
            ++applied;
            return ERROR_SUCCESS;
        });
    bool granted = false;
    std::set<bool> outcomes;
    ScarceMemory::ForEveryFailure(
        [&]
        {
            applied = 0;
            granted = GrantLocalServiceAccess(log);
        },
        [&]
        {
            EXPECT_EQ(applied, granted ? 1 : 0);
            outcomes.insert(granted);
        });
    EXPECT_TRUE(granted);
    EXPECT_EQ(outcomes, (std::set<bool>{false, true}));
}

TEST_F(LogFileAccessTest, LogThatIsOffGrantsNothing)
{
    const LogFile off(L"", L"");
    EXPECT_FALSE(GrantLocalServiceAccess(off));
    EXPECT_FALSE(GrantAuthenticatedUsersAccess(off));
}

TEST_F(LogFileAccessTest, PathThatIsEmptyOrBlankGrantsNothingThoughTheMutexIsHad)
{
    const CreateFileDouble createFile(
        [](LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE)
        {
            ADD_FAILURE() << "a file was opened";
            return INVALID_HANDLE_VALUE;
        });
    for (const wchar_t* path : {L"", L" ", L"   "})
    {
        log.*MemberOf(PathOfGrantedLog{}) = path;
        EXPECT_TRUE(log.WaitForMutex().IsHeld());
        EXPECT_FALSE(GrantLocalServiceAccess(log));
        EXPECT_FALSE(GrantAuthenticatedUsersAccess(log));
    }
}

TEST_F(LogFileAccessTest, GrantWithoutMemoryIsAFailureAndGivesTheMutexBack)
{
    const ScarceMemory memory;
    int balance = 0;
    const Replaced<"KERNEL32", "WaitForSingleObject", decltype(WaitForSingleObject)> wait(
        [&](HANDLE, DWORD) -> DWORD
        {
            ++balance;
            return 0;
        });
    const Replaced<"KERNEL32", "ReleaseMutex", decltype(ReleaseMutex)> release(
        [&](HANDLE)
        {
            --balance;
            return TRUE;
        });
    int applied = 0;
    const SetSecurityDouble setSecurity(
        [&](HANDLE, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID, PSID, PACL, PACL) -> DWORD
        {
            ++applied;
            return ERROR_SUCCESS;
        });
    bool granted = false;
    int refusals = 0;
    ScarceMemory::ForEveryRoom(
        [&]
        {
            applied = 0;
            granted = GrantAuthenticatedUsersAccess(log);
        },
        [&]
        {
            EXPECT_EQ(applied, granted ? 1 : 0);
            EXPECT_EQ(balance, 0);
            refusals += granted ? 0 : 1;
        });
    EXPECT_TRUE(granted);
    EXPECT_GT(refusals, 0);
}

TEST_F(LogFileAccessTest, FileWithASecondNameIsNotOpenedForAGrant)
{
    PutASecondNameInTheLogsPlace();
    std::vector<DWORD> opened;
    const CreateFileDouble createFile(
        [&](LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security,
            DWORD disposition, DWORD flags, HANDLE model)
        {
            opened.push_back(access);
            return decltype(createFile)::Original(path, access, sharing, security, disposition,
                                                  flags, model);
        });
    EXPECT_FALSE(GrantLocalServiceAccess(log));
    EXPECT_FALSE(GrantAuthenticatedUsersAccess(log));
    EXPECT_EQ(opened, (std::vector<DWORD>{0, 0}));
}

TEST_F(LogFileAccessTest, FileWithASecondNameThatComesAfterTheLookKeepsItsDacl)
{
    int plantings = 0;
    const CreateFileDouble createFile(
        [&](LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security,
            DWORD disposition, DWORD flags, HANDLE model)
        {
            if (access == 0xF0000 && plantings++ == 0)
            {
                PutASecondNameInTheLogsPlace();
            }
            return decltype(createFile)::Original(path, access, sharing, security, disposition,
                                                  flags, model);
        });
    bool isSet = false;
    const SetSecurityDouble setSecurity(
        [&](HANDLE, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID, PSID, PACL, PACL) -> DWORD
        {
            isSet = true;
            return ERROR_SUCCESS;
        });
    EXPECT_FALSE(GrantLocalServiceAccess(log));
    EXPECT_EQ(plantings, 1);
    EXPECT_FALSE(isSet);
}

TEST_F(LogFileAccessTest, FileThatIsGoneGrantsNothing)
{
    ASSERT_TRUE(DeleteFileW(log.Path().c_str()));
    EXPECT_FALSE(GrantLocalServiceAccess(log));
    EXPECT_EQ(GetFileAttributesW(log.Path().c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(LogFileAccessTest, RefusedDaclIsAFailure)
{
    const SetSecurityDouble setSecurity([](HANDLE, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID, PSID,
                                           PACL, PACL) -> DWORD { return ERROR_ACCESS_DENIED; });
    EXPECT_FALSE(GrantLocalServiceAccess(log));
    EXPECT_FALSE(GrantAuthenticatedUsersAccess(log));
}

TEST_F(LogFileAccessTest, NothingIsLogged)
{
    GrantLocalServiceAccess(log);
    GrantAuthenticatedUsersAccess(log);
    EXPECT_EQ(FileBytes(log.Path()), "");
}
} // namespace
