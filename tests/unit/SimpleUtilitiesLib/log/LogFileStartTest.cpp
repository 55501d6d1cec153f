#include "LogFile.h"

#include "Journal.h"
#include "OtherThread.h"
#include "Replaced.h"
#include "ScarceMemory.h"
#include "SecurityText.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

namespace
{
using CreateMutexDouble = Replaced<"KERNEL32", "CreateMutexW", decltype(CreateMutexW)>;
using WaitDouble = Replaced<"KERNEL32", "WaitForSingleObject", decltype(WaitForSingleObject)>;
using ReleaseDouble = Replaced<"KERNEL32", "ReleaseMutex", decltype(ReleaseMutex)>;
using CreateDirectoryDouble = Replaced<"KERNEL32", "CreateDirectoryW", decltype(CreateDirectoryW)>;
using CreateFileDouble = Replaced<"KERNEL32", "CreateFileW", decltype(CreateFileW)>;
using ValidDouble =
    Replaced<"ADVAPI32", "IsValidSecurityDescriptor", decltype(IsValidSecurityDescriptor)>;

bool Exists(const std::wstring& path)
{
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

class LogFileStartTest : public testing::Test
{
protected:
    /// The names of the mutexes that building logs in these directories asks for.
    static std::vector<std::wstring> MutexNames(const std::vector<std::wstring>& directories)
    {
        std::vector<std::wstring> names;
        const CreateMutexDouble create(
            [&](LPSECURITY_ATTRIBUTES, BOOL, LPCWSTR name) -> HANDLE
            {
                names.emplace_back(name);
                return nullptr;
            });
        for (const std::wstring& directory : directories)
        {
            const LogFile log(directory, L"Log");
        }
        return names;
    }

    TemporaryFolder folder;
};

TEST_F(LogFileStartTest, FileIsTheNameInTheDirectory)
{
    const LogFile log(folder.Path(), L"Palvo Log");
    EXPECT_EQ(log.Path(), folder.Path() + L"\\Palvo Log.log");
    EXPECT_EQ(log.Directory(), folder.Path());
    EXPECT_TRUE(Exists(log.Path()));
}

TEST_F(LogFileStartTest, AllMissingLevelsOfTheDirectoryAreMade)
{
    LogFile log(folder.Of(L"a\\b c\\\x00E4"), L"Log");
    log.Write(L"x");
    EXPECT_NE(FileBytes(folder.Of(L"a\\b c\\\x00E4\\Log.log")), "");
}

TEST_F(LogFileStartTest, DirectoryMayEndInABackslash)
{
    LogFile log(folder.Of(L"a\\b\\"), L"Log");
    log.Write(L"x");
    EXPECT_NE(FileBytes(folder.Of(L"a\\b\\Log.log")), "");
}

TEST_F(LogFileStartTest, MutexIsNamedAfterTheDirectory)
{
    EXPECT_EQ(LogMutexName(L"C:\\ProgramData\\Palvo \x00C4\\X"),
              L"Global\\c:/programdata/palvo \x00C4/x");
    EXPECT_EQ(MutexNames({L"C:\\A\\b"}), std::vector<std::wstring>{L"Global\\c:/a/b"});
}

TEST_F(LogFileStartTest, SpellingsOfTheDirectoryShareOneMutex)
{
    const auto names =
        MutexNames({L"C:\\Log\\Dir", L"c:\\LOG\\dir", L"C:/Log/Dir", L"C:\\Log/dIR"});
    EXPECT_EQ(names, std::vector<std::wstring>(4, L"Global\\c:/log/dir"));
}

TEST_F(LogFileStartTest, MutexIsOpenToEveryAccountThatRunsTheProgram)
{
    std::multiset<std::wstring> entries;
    const CreateMutexDouble create(
        [&](LPSECURITY_ATTRIBUTES attributes, BOOL owned, LPCWSTR name)
        {
            EXPECT_FALSE(owned);
            EXPECT_EQ(attributes->nLength, sizeof(SECURITY_ATTRIBUTES));
            EXPECT_FALSE(attributes->bInheritHandle);
            entries = EntriesOf(SecurityText(attributes->lpSecurityDescriptor));
            return decltype(create)::Original(attributes, owned, name);
        });
    const LogFile log(folder.Path(), L"Log");
    EXPECT_EQ(entries, (std::multiset<std::wstring>{L"(A;OICI;GA;;;LS)", L"(A;OICI;GA;;;BA)",
                                                    L"(A;OICI;GA;;;AU)"}));
}

TEST_F(LogFileStartTest, DirectoryIsMadeAndFileOpenedUnderTheMutex)
{
    Journal journal;
    const CreateMutexDouble create(
        [&](LPSECURITY_ATTRIBUTES, BOOL, LPCWSTR)
        {
            journal.push_back(L"create");
            return CreateEventW(nullptr, FALSE, FALSE, nullptr);
        });
    const WaitDouble wait(
        [&](HANDLE, DWORD milliseconds) -> DWORD
        {
            journal.push_back(L"wait " + std::to_wstring(milliseconds));
            return 0;
        });
    const ReleaseDouble release(
        [&](HANDLE)
        {
            journal.push_back(L"release");
            return TRUE;
        });
    const CreateDirectoryDouble createDirectory(
        [&](LPCWSTR path, LPSECURITY_ATTRIBUTES security)
        {
            journal.push_back(L"directory");
            return decltype(createDirectory)::Original(path, security);
        });
    const CreateFileDouble createFile(
        [&](LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security,
            DWORD disposition, DWORD flags, HANDLE other)
        {
            journal.push_back(L"file");
            return decltype(createFile)::Original(path, access, sharing, security, disposition,
                                                  flags, other);
        });
    const LogFile log(folder.Of(L"new"), L"Log");
    // The folder and the one above it are looked at; the file is opened and, since it is missing,
    // its folder looked at and the file created.
    EXPECT_EQ(journal, (Journal{L"create", L"wait 5000", L"file", L"file", L"directory", L"file",
                                L"file", L"file", L"release"}));
}

TEST_F(LogFileStartTest, LogWithoutASecurityDescriptorIsOff)
{
    const ValidDouble valid([](PSECURITY_DESCRIPTOR) { return FALSE; });
    int mutexes = 0;
    const CreateMutexDouble create(
        [&](LPSECURITY_ATTRIBUTES, BOOL, LPCWSTR) -> HANDLE
        {
            ++mutexes;
            return nullptr;
        });
    LogFile log(folder.Of(L"new"), L"Log");
    log.Write(L"x");
    EXPECT_EQ(log.Path(), L"");
    EXPECT_EQ(log.Directory(), L"");
    EXPECT_EQ(mutexes, 0);
    EXPECT_FALSE(Exists(folder.Of(L"new")));
}

TEST_F(LogFileStartTest, LogWithoutADirectoryOrANameIsOff)
{
    LogFile nowhere(L"", L"Log");
    nowhere.Write(L"x");
    EXPECT_EQ(nowhere.Path(), L"");
    EXPECT_EQ(nowhere.Directory(), L"");
    LogFile nameless(folder.Of(L"new"), L"");
    nameless.Write(L"x");
    EXPECT_EQ(nameless.Path(), L"");
    EXPECT_EQ(nameless.Directory(), L"");
    EXPECT_FALSE(Exists(folder.Of(L"new")));
}

TEST_F(LogFileStartTest, LogThatIsOffWaitsForNothing)
{
    LogFile log(L"", L"");
    int waits = 0;
    const WaitDouble wait(
        [&](HANDLE, DWORD) -> DWORD
        {
            ++waits;
            return 0;
        });
    log.Write(L"x");
    EXPECT_EQ(log.WaitForMutex().Outcome(), MutexWait::Failed);
    EXPECT_EQ(waits, 0);
}

TEST_F(LogFileStartTest, LogWhoseMutexCannotBeCreatedNeverWrites)
{
    const CreateMutexDouble create([](LPSECURITY_ATTRIBUTES, BOOL, LPCWSTR) -> HANDLE
                                   { return nullptr; });
    LogFile log(folder.Path(), L"Log");
    log.Write(L"one");
    log.Write(L"two");
    EXPECT_EQ(log.Path(), folder.Of(L"Log.log"));
    EXPECT_EQ(log.Directory(), L"");
    EXPECT_FALSE(Exists(log.Path()));
}

TEST_F(LogFileStartTest, TimeOutLeavesDirectoryAndFileAloneAndKeepsThePath)
{
    std::optional<WaitDouble> wait(std::in_place,
                                   [](HANDLE, DWORD milliseconds) -> DWORD
                                   {
                                       EXPECT_EQ(milliseconds, 5000U);
                                       return WAIT_TIMEOUT;
                                   });
    LogFile log(folder.Of(L"new"), L"Log");
    wait.reset();
    EXPECT_EQ(log.Path(), folder.Of(L"new\\Log.log"));
    EXPECT_EQ(log.Directory(), L"");
    EXPECT_FALSE(Exists(folder.Of(L"new")));
}

TEST_F(LogFileStartTest, LogWhoseStartTimedOutWritesLater)
{
    std::optional<WaitDouble> wait(std::in_place,
                                   [](HANDLE, DWORD) -> DWORD { return WAIT_TIMEOUT; });
    LogFile log(folder.Path(), L"Log");
    wait.reset();
    log.Write(L"later");
    EXPECT_TRUE(FileBytes(log.Path()).ends_with("): later\r\n"));
}

TEST_F(LogFileStartTest, AbandonedMutexIsAsGoodAsAnyOther)
{
    const HANDLE mutex = CreateMutexW(nullptr, FALSE, LogMutexName(folder.Of(L"new")).c_str());
    OnOtherThread([&] { WaitForSingleObject(mutex, INFINITE); });
    LogFile log(folder.Of(L"new"), L"Log");
    CloseHandle(mutex);
    log.Write(L"x");
    EXPECT_EQ(log.Directory(), folder.Of(L"new"));
    EXPECT_TRUE(FileBytes(log.Path()).ends_with("): x\r\n"));
}

TEST_F(LogFileStartTest, ResultOfMakingTheDirectoryDoesNotMatter)
{
    const CreateDirectoryDouble createDirectory(
        [](LPCWSTR, LPSECURITY_ATTRIBUTES)
        {
            SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        });
    LogFile log(folder.Path(), L"Log");
    log.Write(L"x");
    EXPECT_EQ(log.Directory(), folder.Path());
    EXPECT_TRUE(FileBytes(log.Path()).ends_with("): x\r\n"));
}

TEST_F(LogFileStartTest, DirectoryThatCannotBeMadeLosesTheLinesAlone)
{
    folder.WriteFile(L"file", "x");
    LogFile log(folder.Of(L"file\\a"), L"Log");
    log.Write(L"x");
    EXPECT_EQ(log.Path(), folder.Of(L"file\\a\\Log.log"));
    EXPECT_EQ(FileBytes(folder.Of(L"file")), "x");
}

TEST_F(LogFileStartTest, StartWithoutMemoryGivesALogThatIsOff)
{
    const ScarceMemory memory;
    const std::wstring directory = folder.Of(L"a\\b");
    const std::wstring name = L"Log of a long name";
    std::optional<LogFile> log;
    std::set<std::wstring> paths;
    ScarceMemory::ForEveryRoom([&] { log.emplace(directory, name); },
                               [&]
                               {
                                   EXPECT_TRUE(log->Directory().empty() || !log->Path().empty());
                                   paths.insert(log->Path());
                                   log.reset();
                               });
    EXPECT_EQ(paths, (std::set<std::wstring>{L"", directory + L"\\" + name + L".log"}));
}
} // namespace
