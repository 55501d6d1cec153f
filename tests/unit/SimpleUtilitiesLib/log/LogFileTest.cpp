#include "LogFile.h"

#include "LogFileFixture.h"
#include "MeasuredMemory.h"
#include "PretendedCodePage.h"
#include "PrivateMember.h"

struct IncludeThreadId
{
    friend bool LogFile::*MemberOf(IncludeThreadId);
};
template struct PrivateMember<IncludeThreadId, &LogFile::includeThreadId>;

namespace
{
using CreateFileDouble = Replaced<"KERNEL32", "CreateFileW", decltype(CreateFileW)>;
using WriteFileDouble = Replaced<"KERNEL32", "WriteFile", decltype(WriteFile)>;

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

TEST_F(LogFileTest, LineOfAnyLengthNeedsFourTimesItsMessageAtMost)
{
    const std::wstring half(5'000'000, L'\u0436');
    for (const std::wstring& message :
         {std::wstring(10'000'000, L'x'), std::wstring(10'000'000, L'\n'),
          std::wstring(10'000'000, L'\u0436'), half + std::wstring(5'000'000, L'\n')})
    {
        const MeasuredMemory memory;
        log.Write(message);
        EXPECT_LT(MeasuredMemory::MostBytes(), 80'001'000U) << message.substr(0, 1);
    }
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
    const PretendedCodePage codePage(1252);
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
            EXPECT_EQ(disposition, static_cast<DWORD>(OPEN_EXISTING));
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

TEST_F(LogFileTest, FileThatHasASecondNameLosesTheLineAlone)
{
    ASSERT_TRUE(DeleteFileW(log.Path().c_str()));
    const std::wstring other = folder.WriteFile(L"other", "mine");
    ASSERT_TRUE(CreateHardLinkW(log.Path().c_str(), other.c_str(), nullptr));
    log.Write(L"lost");
    EXPECT_EQ(FileBytes(other), "mine");
    EXPECT_TRUE(IsMutexFree());
    ASSERT_TRUE(DeleteFileW(log.Path().c_str()));
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
} // namespace
