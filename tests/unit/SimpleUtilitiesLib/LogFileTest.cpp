#include "LogFile.h"

#include "Journal.h"
#include "OtherThread.h"
#include "PrivateMember.h"
#include "Replaced.h"
#include "ScarceMemory.h"
#include "TemporaryFolder.h"
#include "TestLog.h"

#include <gtest/gtest.h>

#include <cwchar>

struct IncludeThreadId
{
    friend bool LogFile::*MemberOf(IncludeThreadId);
};
template struct PrivateMember<IncludeThreadId, &LogFile::includeThreadId>;
struct PathOfLog
{
    friend std::wstring LogFile::*MemberOf(PathOfLog);
};
template struct PrivateMember<PathOfLog, &LogFile::path>;

namespace
{
using WaitDouble = Replaced<"KERNEL32", "WaitForSingleObject", decltype(WaitForSingleObject)>;
using ReleaseDouble = Replaced<"KERNEL32", "ReleaseMutex", decltype(ReleaseMutex)>;
using CreateFileDouble = Replaced<"KERNEL32", "CreateFileW", decltype(CreateFileW)>;
using WriteFileDouble = Replaced<"KERNEL32", "WriteFile", decltype(WriteFile)>;

/// A log of process 4120 of PalvoPrinterConfiguration, at 14:05:09 on 7 March 2024.
class LogFileTest : public testing::Test
{
protected:
    std::string Bytes() const { return FileBytes(log.Path()); }

    /// Whether another thread gets the log's mutex at once.
    bool IsMutexFree() const
    {
        bool isFree = false;
        const HANDLE mutex = OpenMutexW(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE,
                                        LogMutexName(folder.Path()).c_str());
        OnOtherThread([&] { isFree = HeldMutex(mutex, 0).IsHeld(); });
        CloseHandle(mutex);
        return isFree;
    }

    TemporaryFolder folder;

private:
    Replaced<"KERNEL32", "GetLocalTime", decltype(GetLocalTime)> localTime{
        [](LPSYSTEMTIME now) { *now = {2024, 3, 4, 7, 14, 5, 9, 999}; }};
    Replaced<"KERNEL32", "GetCurrentProcessId", decltype(GetCurrentProcessId)> processId{
        [] { return 4120; }};
    Replaced<"KERNEL32", "GetModuleFileNameW", decltype(GetModuleFileNameW)> moduleName{
        [](HMODULE module, LPWSTR buffer, DWORD size) -> DWORD
        {
            EXPECT_EQ(module, nullptr);
            EXPECT_EQ(size, 260U);
            const std::wstring path = L"C:\\a.b\\PalvoPrinterConfiguration.exe";
            std::wmemcpy(buffer, path.c_str(), path.size() + 1);
            return static_cast<DWORD>(path.size());
        }};

protected:
    LogFile log{folder.Path(), L"Log"};
    const std::string prefix = "[3/7/2024 2:05:09 PM] PalvoPrinterConfiguration(PID4120): ";
};

TEST_F(LogFileTest, LineHoldsStampProgramProcessAndMessage)
{
    log.Write(L"# Invoked to install scheduled tasks. Done...exiting.");
    EXPECT_EQ(Bytes(), "[3/7/2024 2:05:09 PM] PalvoPrinterConfiguration(PID4120): # Invoked to "
                       "install scheduled tasks. Done...exiting.\r\n");
}

TEST_F(LogFileTest, LineNamesTheThreadWhenThatIsSwitchedOn)
{
    EXPECT_FALSE(log.*MemberOf(IncludeThreadId{}));
    log.*MemberOf(IncludeThreadId{}) = true;
    log.Write(L"x");
    EXPECT_EQ(Bytes(), "[3/7/2024 2:05:09 PM] PalvoPrinterConfiguration(PID4120/TID" +
                           std::to_string(GetCurrentThreadId()) + "): x\r\n");
}

TEST_F(LogFileTest, LinesFollowOneAnother)
{
    log.Write(L"one");
    log.Write(L"");
    log.Write(L"three");
    EXPECT_EQ(Bytes(), prefix + "one\r\n" + prefix + "\r\n" + prefix + "three\r\n");
}

TEST_F(LogFileTest, WhatIsInTheFileStays)
{
    folder.WriteFile(L"Log.log", std::string("\xFF\xFE\x00\x1A\x80 text\n", 11));
    log.Write(L"x");
    EXPECT_EQ(Bytes(), std::string("\xFF\xFE\x00\x1A\x80 text\n", 11) + prefix + "x\r\n");
}

TEST_F(LogFileTest, LineAfterOneWithoutAnEndIsNotLost)
{
    folder.WriteFile(L"Log.log", "no end");
    log.Write(L"x");
    EXPECT_EQ(Bytes(), "no end" + prefix + "x\r\n");
}

TEST_F(LogFileTest, FormattedLineIsALine)
{
    log.WriteFormat(L"ERROR: Failed to add driver instance for '%s': HRESULT=0x%x",
                    std::wstring(L"D%s"), 0x80070005U);
    EXPECT_EQ(Bytes(),
              prefix + "ERROR: Failed to add driver instance for 'D%s': HRESULT=0x80070005\r\n");
}

TEST_F(LogFileTest, PercentSignsInAMessageAreData)
{
    log.Write(L"%s%n%d 100%");
    EXPECT_EQ(Bytes(), prefix + "%s%n%d 100%\r\n");
}

TEST_F(LogFileTest, EveryLineFeedIsWrittenAsCarriageReturnAndLineFeed)
{
    log.Write(L"a\nb\r\nc");
    EXPECT_EQ(Bytes(), prefix + "a\r\nb\r\r\nc\r\n");
}

TEST_F(LogFileTest, CharactersOutsideTheCodePageDoNotEndTheLine)
{
    if (GetACP() != 1252)
    {
        GTEST_SKIP() << "the expected bytes are those of code page 1252, this machine has "
                     << GetACP();
    }
    log.Write(L"Z\x00FCrich \x4E2D\x6587 \xD800\xDC00\xDC00 end");
    log.Write(L"next");
    EXPECT_EQ(Bytes(), prefix + "Z\xFCrich ?? ??? end\r\n" + prefix + "next\r\n");
}

TEST_F(LogFileTest, MessageMayBeAMillionCharactersLong)
{
    log.Write(std::wstring(1'000'000, L'x'));
    EXPECT_EQ(Bytes(), prefix + std::string(1'000'000, 'x') + "\r\n");
}

TEST_F(LogFileTest, LineIsOneWrite)
{
    int writes = 0;
    const WriteFileDouble write(
        [&](HANDLE file, LPCVOID bytes, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
        {
            ++writes;
            return decltype(write)::Original(file, bytes, size, written, overlapped);
        });
    log.Write(L"a\nb");
    EXPECT_EQ(writes, 1);
}

TEST_F(LogFileTest, FileIsOpenedToAppendAndDeniesOtherWriters)
{
    std::wstring opened;
    const CreateFileDouble createFile(
        [&](LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security,
            DWORD disposition, DWORD flags, HANDLE other)
        {
            opened = path;
            EXPECT_EQ(access & (FILE_APPEND_DATA | FILE_WRITE_DATA),
                      static_cast<DWORD>(FILE_APPEND_DATA));
            EXPECT_EQ(sharing, 1U);
            EXPECT_EQ(security, nullptr);
            EXPECT_EQ(disposition, static_cast<DWORD>(OPEN_ALWAYS));
            return decltype(createFile)::Original(path, access, sharing, security, disposition,
                                                  flags, other);
        });
    log.Write(L"x");
    EXPECT_EQ(opened, log.Path());
}

TEST_F(LogFileTest, FileMayBeReadRenamedAndDeletedBetweenLines)
{
    log.Write(L"one");
    EXPECT_TRUE(MoveFileW(log.Path().c_str(), folder.Of(L"old").c_str()));
    log.Write(L"two");
    EXPECT_EQ(Bytes(), prefix + "two\r\n");
    EXPECT_TRUE(DeleteFileW(log.Path().c_str()));
    log.Write(L"three");
    EXPECT_EQ(Bytes(), prefix + "three\r\n");
}

TEST_F(LogFileTest, ReaderThatSharesDoesNotLoseALine)
{
    const FileHandle reader(CreateFileW(log.Path().c_str(), GENERIC_READ,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                        0, nullptr));
    ASSERT_TRUE(reader);
    log.Write(L"x");
    EXPECT_EQ(Bytes(), prefix + "x\r\n");
}

TEST_F(LogFileTest, FileThatAnotherProgramWritesLosesTheLineAlone)
{
    {
        const FileHandle writer(CreateFileW(log.Path().c_str(), GENERIC_WRITE,
                                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                            nullptr, OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(writer);
        log.Write(L"lost");
        EXPECT_TRUE(IsMutexFree());
    }
    log.Write(L"kept");
    EXPECT_EQ(Bytes(), prefix + "kept\r\n");
    EXPECT_EQ(log.Directory(), folder.Path());
}

TEST_F(LogFileTest, FileThatMayNotBeWrittenLosesTheLineAlone)
{
    {
        const CreateFileDouble createFile(
            [](LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE)
            {
                SetLastError(ERROR_ACCESS_DENIED);
                return INVALID_HANDLE_VALUE;
            });
        log.Write(L"lost");
    }
    log.Write(L"kept");
    EXPECT_EQ(Bytes(), prefix + "kept\r\n");
}

TEST_F(LogFileTest, FileThatIsADirectoryLosesTheLineAlone)
{
    ASSERT_TRUE(DeleteFileW(log.Path().c_str()));
    ASSERT_TRUE(CreateDirectoryW(log.Path().c_str(), nullptr));
    log.Write(L"lost");
    EXPECT_TRUE(IsMutexFree());
    ASSERT_TRUE(RemoveDirectoryW(log.Path().c_str()));
    log.Write(L"kept");
    EXPECT_EQ(Bytes(), prefix + "kept\r\n");
}

TEST_F(LogFileTest, FullDiskLosesTheLineAlone)
{
    {
        const WriteFileDouble write(
            [](HANDLE, LPCVOID, DWORD, LPDWORD, LPOVERLAPPED)
            {
                SetLastError(ERROR_DISK_FULL);
                return FALSE;
            });
        log.Write(L"lost");
    }
    EXPECT_TRUE(IsMutexFree());
    log.Write(L"kept");
    EXPECT_EQ(Bytes(), prefix + "kept\r\n");
}

TEST_F(LogFileTest, FileIsTouchedUnderTheMutexAlone)
{
    Journal journal;
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
    const CreateFileDouble createFile(
        [&](LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security,
            DWORD disposition, DWORD flags, HANDLE other)
        {
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
    log.Write(L"x");
    EXPECT_EQ(journal, (Journal{L"wait 5000", L"open", L"close", L"release"}));
}

TEST_F(LogFileTest, LineIsMadeBeforeTheWaitSoThatItsStampIsThatOfTheCall)
{
    Journal journal;
    const Replaced<"KERNEL32", "GetLocalTime", decltype(GetLocalTime)> time(
        [&](LPSYSTEMTIME now)
        {
            journal.push_back(L"time");
            decltype(time)::Original(now);
        });
    const Replaced<"KERNEL32", "GetCurrentProcessId", decltype(GetCurrentProcessId)> process(
        [&]() -> DWORD
        {
            journal.push_back(L"process");
            return 1;
        });
    const WaitDouble wait(
        [&](HANDLE handle, DWORD milliseconds)
        {
            journal.push_back(L"wait");
            return decltype(wait)::Original(handle, milliseconds);
        });
    log.Write(L"x");
    EXPECT_EQ(journal, (Journal{L"time", L"process", L"wait"}));
}

TEST_F(LogFileTest, LogWithoutAPathNeitherWaitsNorOpensAnything)
{
    ASSERT_TRUE(log.WaitForMutex().IsHeld());
    (log.*MemberOf(PathOfLog{})).clear();
    Journal journal;
    const WaitDouble wait(
        [&](HANDLE, DWORD) -> DWORD
        {
            journal.push_back(L"wait");
            return WAIT_TIMEOUT;
        });
    const CreateFileDouble createFile(
        [&](LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE)
        {
            journal.push_back(L"open");
            return INVALID_HANDLE_VALUE;
        });
    log.Write(L"x");
    EXPECT_EQ(journal, Journal());
    EXPECT_EQ(log.Directory(), folder.Path());
}

TEST_F(LogFileTest, TimeOutLosesTheLineAndEmptiesTheDirectory)
{
    {
        const WaitDouble wait([](HANDLE, DWORD) -> DWORD { return WAIT_TIMEOUT; });
        const ReleaseDouble release(
            [](HANDLE)
            {
                ADD_FAILURE() << "released what is not owned";
                return FALSE;
            });
        log.Write(L"lost");
        log.Write(L"lost too");
    }
    EXPECT_EQ(log.Directory(), L"");
    EXPECT_EQ(log.Path(), folder.Of(L"Log.log"));
    log.Write(L"kept");
    EXPECT_EQ(Bytes(), prefix + "kept\r\n");
    EXPECT_EQ(log.Directory(), L"");
}

TEST_F(LogFileTest, FailedWaitLosesTheLine)
{
    {
        const WaitDouble wait([](HANDLE, DWORD) { return WAIT_FAILED; });
        log.Write(L"lost");
    }
    EXPECT_EQ(Bytes(), "");
    EXPECT_EQ(log.Directory(), L"");
}

TEST_F(LogFileTest, AbandonedMutexIsAsGoodAsAnyOther)
{
    OnOtherThread(
        [&]
        {
            HeldMutex held = log.WaitForMutex();
            held.KeepUntilThreadEnds();
        });
    log.Write(L"x");
    EXPECT_EQ(Bytes(), prefix + "x\r\n");
    EXPECT_TRUE(IsMutexFree());
}

TEST_F(LogFileTest, AbandonedIs128)
{
    const WaitDouble wait([](HANDLE, DWORD) -> DWORD { return 128; });
    const ReleaseDouble release([](HANDLE) { return TRUE; });
    log.Write(L"x");
    EXPECT_EQ(Bytes(), prefix + "x\r\n");
}

TEST_F(LogFileTest, MutexIsFreeAfterALine)
{
    log.Write(L"x");
    EXPECT_TRUE(IsMutexFree());
}

TEST_F(LogFileTest, WriterThatOwnsTheMutexWritesAllTheSame)
{
    {
        const HeldMutex held = log.WaitForMutex();
        log.Write(L"x");
        EXPECT_FALSE(IsMutexFree());
    }
    EXPECT_EQ(Bytes(), prefix + "x\r\n");
    EXPECT_TRUE(IsMutexFree());
}

TEST_F(LogFileTest, LineWithoutMemoryIsLostAndTheMutexGivenBack)
{
    const ScarceMemory memory;
    const std::wstring message(100, L'x');
    int lines = 0;
    ScarceMemory::ForEveryRoom([&] { log.WriteFormat(L"<%s>", message); },
                               [&]
                               {
                                   const std::string bytes = Bytes();
                                   EXPECT_TRUE(bytes.empty() || bytes.ends_with("x>\r\n"));
                                   EXPECT_TRUE(IsMutexFree());
                                   lines += bytes.empty() ? 0 : 1;
                                   DeleteFileW(log.Path().c_str());
                               });
    EXPECT_EQ(lines, 1);
}

TEST_F(LogFileTest, LinesOfSeveralWritersAreNeitherLostNorMixed)
{
    constexpr int Writers = 4;
    constexpr int Lines = 50;
    std::wstring directory = folder.Path();
    std::vector<HANDLE> threads;
    for (int i = 0; i < Writers; ++i)
    {
        threads.push_back(CreateThread(
            nullptr, 0,
            [](void* parameter) -> DWORD
            {
                LogFile own(*static_cast<std::wstring*>(parameter), L"Log");
                for (int line = 0; line < Lines; ++line)
                {
                    own.Write(std::wstring(200, L'x'));
                }
                return 0;
            },
            &directory, 0, nullptr));
    }
    WaitForMultipleObjects(Writers, threads.data(), TRUE, INFINITE);
    for (const HANDLE thread : threads)
    {
        CloseHandle(thread);
    }
    const std::string line = prefix + std::string(200, 'x') + "\r\n";
    std::string expected;
    for (int i = 0; i < Writers * Lines; ++i)
    {
        expected += line;
    }
    EXPECT_EQ(Bytes() == expected, true)
        << "the file holds " << Bytes().size() << " bytes of " << expected.size();
}
} // namespace
