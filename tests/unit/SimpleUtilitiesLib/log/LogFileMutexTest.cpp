#include "LogFile.h"

#include "Journal.h"
#include "LogFileFixture.h"
#include "PrivateMember.h"
#include "ScarceMemory.h"

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

class LogFileMutexTest : public LogFileTest
{
};

TEST_F(LogFileMutexTest, FileIsTouchedUnderTheMutexAlone)
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

TEST_F(LogFileMutexTest, LineIsMadeAndConvertedBeforeTheWait)
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
    const Replaced<"KERNEL32", "WideCharToMultiByte", decltype(WideCharToMultiByte)> convert(
        [&](UINT codePage, DWORD flags, LPCWSTR wide, int length, LPSTR narrow, int size,
            LPCSTR replacement, LPBOOL isReplaced)
        {
            journal.push_back(L"conversion");
            return decltype(convert)::Original(codePage, flags, wide, length, narrow, size,
                                               replacement, isReplaced);
        });
    const WaitDouble wait(
        [&](HANDLE handle, DWORD milliseconds)
        {
            journal.push_back(L"wait");
            return decltype(wait)::Original(handle, milliseconds);
        });
    log.Write(L"\x4E2D"); // ASCII needs no conversion
    EXPECT_EQ(journal, (Journal{L"time", L"process", L"conversion", L"wait"}));
}

TEST_F(LogFileMutexTest, LogWithoutAPathNeitherWaitsNorOpensAnything)
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

TEST_F(LogFileMutexTest, TimeOutLosesTheLineAndEmptiesTheDirectory)
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

TEST_F(LogFileMutexTest, FailedWaitLosesTheLine)
{
    {
        const WaitDouble wait([](HANDLE, DWORD) { return WAIT_FAILED; });
        log.Write(L"lost");
    }
    EXPECT_EQ(Bytes(), "");
    EXPECT_EQ(log.Directory(), L"");
}

TEST_F(LogFileMutexTest, AbandonedMutexIsAsGoodAsAnyOther)
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

TEST_F(LogFileMutexTest, AbandonedIs128)
{
    const WaitDouble wait([](HANDLE, DWORD) -> DWORD { return 128; });
    const ReleaseDouble release([](HANDLE) { return TRUE; });
    log.Write(L"x");
    EXPECT_EQ(Bytes(), prefix + "x\r\n");
}

TEST_F(LogFileMutexTest, MutexIsFreeAfterALine)
{
    log.Write(L"x");
    EXPECT_TRUE(IsMutexFree());
}

TEST_F(LogFileMutexTest, WriterThatOwnsTheMutexWritesAllTheSame)
{
    {
        const HeldMutex held = log.WaitForMutex();
        log.Write(L"x");
        EXPECT_FALSE(IsMutexFree());
    }
    EXPECT_EQ(Bytes(), prefix + "x\r\n");
    EXPECT_TRUE(IsMutexFree());
}

TEST_F(LogFileMutexTest, LineWithoutMemoryIsLostAndTheMutexGivenBack)
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

TEST_F(LogFileMutexTest, LineOfTheProgramsOwnTextThrowsNothingWithoutMemory)
{
    const ScarceMemory memory;
    ScarceMemory::Allow(0);
    bool thrown = false;
    try
    {
        log.Write(L"NewOrChanged event done...exiting.");
    }
    catch (...)
    {
        thrown = true;
    }
    ScarceMemory::End();
    EXPECT_FALSE(thrown);
    EXPECT_EQ(Bytes(), "");
    EXPECT_TRUE(IsMutexFree());
}

TEST_F(LogFileMutexTest, LinesOfSeveralWritersAreNeitherLostNorMixed)
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
