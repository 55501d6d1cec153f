#include "LogFile.h"

#include "Journal.h"
#include "Replaced.h"
#include "ScarceMemory.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

namespace
{
using CreateFileDouble = Replaced<"KERNEL32", "CreateFileW", decltype(CreateFileW)>;
using CopyFileDouble = Replaced<"KERNEL32", "CopyFileW", decltype(CopyFileW)>;
using DeleteFileDouble = Replaced<"KERNEL32", "DeleteFileW", decltype(DeleteFileW)>;
using WaitDouble = Replaced<"KERNEL32", "WaitForSingleObject", decltype(WaitForSingleObject)>;
using ReleaseDouble = Replaced<"KERNEL32", "ReleaseMutex", decltype(ReleaseMutex)>;

constexpr std::size_t FourMebibytes = 4194304;

/// Lines of 64 bytes with their numbers, `size` bytes in all; the last line may be cut.
std::string NumberedLines(std::size_t size)
{
    std::string bytes;
    bytes.reserve(size + 64);
    for (std::size_t i = 0; bytes.size() < size; ++i)
    {
        std::string line = std::to_string(i);
        line.resize(62, '.');
        bytes += line + "\r\n";
    }
    bytes.resize(size);
    return bytes;
}

class LogFileTrimTest : public testing::Test
{
protected:
    /// What is in the file after a log was built on one of these bytes.
    std::string After(const std::string& before)
    {
        folder.WriteFile(L"Log.log", before);
        const LogFile log(folder.Path(), L"Log");
        return FileBytes(log.Path());
    }

    /// A trimmed log without its last line, "Log trimmed.".
    static std::string WithoutLastLine(const std::string& after)
    {
        if (!after.ends_with("): Log trimmed.\r\n"))
        {
            return "NOT TRIMMED";
        }
        return after.substr(0, after.rfind('['));
    }

    bool HasCopy() const
    {
        return GetFileAttributesW(folder.Of(L"Log.log.plvold").c_str()) != INVALID_FILE_ATTRIBUTES;
    }

    TemporaryFolder folder;
};

// EXPECT_EQ would print megabytes.
void ExpectSame(const std::string& actual, const std::string& expected)
{
    EXPECT_EQ(actual.size(), expected.size());
    EXPECT_TRUE(actual == expected);
}

TEST_F(LogFileTrimTest, LogOfExactlyFourMebibytesIsNotTrimmed)
{
    const std::string lines = NumberedLines(FourMebibytes);
    ExpectSame(After(lines), lines);
    EXPECT_FALSE(HasCopy());
}

TEST_F(LogFileTrimTest, OneByteMoreLeavesTheWholeLinesOfTheLastTwoMebibytes)
{
    const std::string lines = NumberedLines(FourMebibytes) + "x";
    // The line that ends at byte 2,097,216 is the first to end behind the size less 2 MiB,
    // 2,097,153.
    ExpectSame(WithoutLastLine(After(lines)), lines.substr(2097152));
    EXPECT_FALSE(HasCopy());
}

TEST_F(LogFileTrimTest, LastLineWithoutAnEndIsKeptHoweverLargeTheLogIs)
{
    const std::string lines = NumberedLines(FourMebibytes + 65536) + "x";
    // As above, with 65,536 bytes more before the line.
    ExpectSame(WithoutLastLine(After(lines)), lines.substr(2097152 + 65536));
}

TEST_F(LogFileTrimTest, LastLineIsWrittenAsAnyOther)
{
    const std::string after = After(NumberedLines(FourMebibytes + 64));
    EXPECT_TRUE(after.ends_with("] SimpleUtilitiesLibTests(PID" +
                                std::to_string(GetCurrentProcessId()) + "): Log trimmed.\r\n"));
}

TEST_F(LogFileTrimTest, TrimmedLogIsNotTrimmedAgain)
{
    const std::string once = After(NumberedLines(FourMebibytes + 64));
    const LogFile again(folder.Path(), L"Log");
    ExpectSame(FileBytes(again.Path()), once);
}

TEST_F(LogFileTrimTest, KeptLinesKeepEveryByteOfTheirText)
{
    std::string odd;
    for (int byte = 0; byte < 256; ++byte)
    {
        odd += byte == '\n' ? std::string("\r\n") : std::string(1, static_cast<char>(byte));
    }
    odd += "\r\n\r\r\n\x1A"
           "after control Z\r\n";
    const std::string lines = NumberedLines(FourMebibytes) + odd;
    const std::string after = WithoutLastLine(After(lines));
    ExpectSame(after, lines.substr(lines.size() - after.size()));
    EXPECT_TRUE(after.ends_with(odd));
    EXPECT_GT(after.size(), 2097152U - 64U);
}

TEST_F(LogFileTrimTest, KeptLineThatEndsInALineFeedAloneEndsInCarriageReturnAndLineFeedAfterwards)
{
    const std::string lines = NumberedLines(FourMebibytes);
    const std::string after = WithoutLastLine(After(lines + "one\n\ntwo\r\nthree\r\r\nfour\r"));
    EXPECT_TRUE(after.ends_with("..\r\none\r\n\r\ntwo\r\nthree\r\r\nfour\r"));
}

TEST_F(LogFileTrimTest, LineEndThatTwoReadsShareIsOneLineEnd)
{
    // The carriage return is the last byte that fits when a power of two is read at a time.
    for (const std::size_t length : {4095U, 8191U, 16383U, 32767U, 65535U, 131071U})
    {
        const std::string tail = std::string(length, 'x') + "\r\nnext\r\n";
        const std::string after = WithoutLastLine(After(NumberedLines(FourMebibytes) + tail));
        EXPECT_TRUE(after.ends_with(".\r\n" + tail)) << length;
    }
}

TEST_F(LogFileTrimTest, LogOfBareLineFeedsMayBeTrimmedOnceMore)
{
    const std::string once = After(std::string(FourMebibytes + 64, '\n'));
    // Every line feed counts two, so the last 2 MiB + 32 of them were kept; now they are two bytes.
    std::string expected;
    for (std::size_t i = 0; i < 2097152 + 2097152 / 2 + 32; ++i)
    {
        expected += "\r\n";
    }
    ExpectSame(WithoutLastLine(once), expected);
    const LogFile again(folder.Path(), L"Log");
    EXPECT_LT(FileBytes(again.Path()).size(), 2097152U + 200U);
}

TEST_F(LogFileTrimTest, LogThatIsOneEndlessLineIsCutAtAPiece)
{
    const std::string line(FourMebibytes + 4096, 'x');
    // The size less 2 MiB is 2,101,248. A piece of 4096 characters counts 4097: 512 pieces count
    // 2,097,664, which is not more, and 513 count 2,101,761, which is. The 513th piece starts at
    // byte 2,097,152.
    ExpectSame(WithoutLastLine(After(line)), line.substr(2097152));
}

TEST_F(LogFileTrimTest, OlderCopyIsOverwritten)
{
    folder.WriteFile(L"Log.log.plvold", "older\r\n");
    const std::string lines = NumberedLines(FourMebibytes + 64);
    ExpectSame(WithoutLastLine(After(lines)), lines.substr(2097152 + 64));
    EXPECT_FALSE(HasCopy());
}

TEST_F(LogFileTrimTest, CopyLiesBesideTheLog)
{
    std::vector<std::wstring> names;
    const CopyFileDouble copy(
        [&](LPCWSTR from, LPCWSTR to, BOOL failIfThere)
        {
            names = {from, to};
            EXPECT_FALSE(failIfThere);
            return decltype(copy)::Original(from, to, failIfThere);
        });
    After(NumberedLines(FourMebibytes + 64));
    EXPECT_EQ(names,
              (std::vector<std::wstring>{folder.Of(L"Log.log"), folder.Of(L"Log.log.plvold")}));
}

TEST_F(LogFileTrimTest, FilesAreUsedInOrderAndDenyOtherWriters)
{
    Journal journal;
    const DeleteFileDouble deleteFile(
        [&](LPCWSTR path)
        {
            journal.push_back(std::wstring(path).substr(folder.Path().size()) + L" deleted");
            return decltype(deleteFile)::Original(path);
        });
    const CreateFileDouble createFile(
        [&](LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security,
            DWORD disposition, DWORD flags, HANDLE other)
        {
            const std::wstring name = path;
            EXPECT_EQ(security, nullptr);
            EXPECT_EQ(flags, static_cast<DWORD>(FILE_ATTRIBUTE_NORMAL));
            journal.push_back(name.substr(name.rfind(L'.')) +
                              ((access & GENERIC_READ) != 0 ? L" read" : L"") +
                              ((access & GENERIC_WRITE) != 0 ? L" write" : L"") +
                              ((access & FILE_APPEND_DATA) != 0 ? L" append" : L"") + L", share " +
                              std::to_wstring(sharing) + L", " + std::to_wstring(disposition));
            return decltype(createFile)::Original(path, access, sharing, security, disposition,
                                                  flags, other);
        });
    After(NumberedLines(FourMebibytes + 64));
    EXPECT_EQ(journal, (Journal{L".log write, share 3, 4", L".plvold read, share 1, 3",
                                L".log read write, share 1, 2", L"\\Log.log.plvold deleted",
                                L".log append, share 1, 4"}));
}

TEST_F(LogFileTrimTest, NoMemoryIsNeededBetweenTheCopyAndItsDeletion)
{
    const std::string lines = NumberedLines(FourMebibytes + 64);
    folder.WriteFile(L"Log.log", lines);
    {
        const ScarceMemory memory;
        const CopyFileDouble copy(
            [](LPCWSTR from, LPCWSTR to, BOOL failIfThere)
            {
                ScarceMemory::Allow(0);
                return decltype(copy)::Original(from, to, failIfThere);
            });
        const DeleteFileDouble deleteFile(
            [](LPCWSTR path)
            {
                ScarceMemory::End();
                return decltype(deleteFile)::Original(path);
            });
        const LogFile log(folder.Path(), L"Log");
        ScarceMemory::End();
    }
    ExpectSame(WithoutLastLine(FileBytes(folder.Of(L"Log.log"))), lines.substr(2097152 + 64));
    EXPECT_FALSE(HasCopy());
}

TEST_F(LogFileTrimTest, LastLineIsWrittenUnderTheMutexThatIsHeld)
{
    Journal journal;
    const WaitDouble wait(
        [&](HANDLE handle, DWORD milliseconds)
        {
            journal.push_back(L"wait " + std::to_wstring(milliseconds));
            return decltype(wait)::Original(handle, milliseconds);
        });
    const ReleaseDouble release(
        [&](HANDLE handle)
        {
            journal.push_back(L"release");
            return decltype(release)::Original(handle);
        });
    After(NumberedLines(FourMebibytes + 64));
    EXPECT_EQ(journal, (Journal{L"wait 5000", L"wait 5000", L"release", L"release"}));
}

TEST_F(LogFileTrimTest, LogThatCannotBeOpenedIsLeftAlone)
{
    const std::string lines = NumberedLines(FourMebibytes + 64);
    folder.WriteFile(L"Log.log", lines);
    {
        const FileHandle other(CreateFileW(folder.Of(L"Log.log").c_str(), GENERIC_READ,
                                           FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(other);
        const LogFile log(folder.Path(), L"Log");
    }
    ExpectSame(FileBytes(folder.Of(L"Log.log")), lines);
    EXPECT_FALSE(HasCopy());
}

TEST_F(LogFileTrimTest, LogWhoseSizeIsUnknownIsLeftAlone)
{
    const Replaced<"KERNEL32", "GetFileSizeEx", decltype(GetFileSizeEx)> fileSize(
        [](HANDLE, PLARGE_INTEGER size)
        {
            size->QuadPart = FourMebibytes + 64; // what a failing call leaves there means nothing
            return FALSE;
        });
    const std::string lines = NumberedLines(FourMebibytes + 64);
    ExpectSame(After(lines), lines);
}

TEST_F(LogFileTrimTest, LogThatAProgramWritesMeanwhileIsKeptAndSaidToBeTrimmed)
{
    const std::string lines = NumberedLines(FourMebibytes + 64);
    const CreateFileDouble createFile(
        [&](LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security,
            DWORD disposition, DWORD flags, HANDLE other)
        {
            return disposition == CREATE_ALWAYS
                       ? INVALID_HANDLE_VALUE
                       : decltype(createFile)::Original(path, access, sharing, security,
                                                        disposition, flags, other);
        });
    ExpectSame(WithoutLastLine(After(lines)), lines);
    EXPECT_FALSE(HasCopy());
}

TEST_F(LogFileTrimTest, LogThatCannotBeCopiedKeepsItsLines)
{
    const CopyFileDouble copy([](LPCWSTR, LPCWSTR, BOOL) { return FALSE; });
    const std::string lines = NumberedLines(FourMebibytes + 64);
    ExpectSame(WithoutLastLine(After(lines)), lines);
    EXPECT_FALSE(HasCopy());
}

TEST_F(LogFileTrimTest, CopyThatCannotBeOpenedIsDeletedAllTheSame)
{
    std::vector<std::wstring> deleted;
    const CreateFileDouble createFile(
        [&](LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security,
            DWORD disposition, DWORD flags, HANDLE other)
        {
            return std::wstring(path).ends_with(L".plvold")
                       ? INVALID_HANDLE_VALUE
                       : decltype(createFile)::Original(path, access, sharing, security,
                                                        disposition, flags, other);
        });
    const DeleteFileDouble deleteFile(
        [&](LPCWSTR path)
        {
            deleted.emplace_back(path);
            return decltype(deleteFile)::Original(path);
        });
    const std::string lines = NumberedLines(FourMebibytes + 64);
    ExpectSame(WithoutLastLine(After(lines)), lines);
    EXPECT_EQ(deleted, std::vector<std::wstring>{folder.Of(L"Log.log.plvold")});
    EXPECT_FALSE(HasCopy());
}

TEST_F(LogFileTrimTest, FileThatCannotBeSoughtInGetsTheLastLineAlone)
{
    const Replaced<"KERNEL32", "SetFilePointerEx", decltype(SetFilePointerEx)> seek(
        [](HANDLE, LARGE_INTEGER, PLARGE_INTEGER, DWORD) { return FALSE; });
    ExpectSame(WithoutLastLine(After(NumberedLines(FourMebibytes + 64))), "");
    EXPECT_FALSE(HasCopy());
}

/// The trimmed log when the tail's first read brings 1,000 bytes and the second none, successfully
/// or not.
class LogFileTrimCutTest : public LogFileTrimTest, public testing::WithParamInterface<BOOL>
{
};

TEST_P(LogFileTrimCutTest, CopyThatIsNotReadToItsEndTearsNoLine)
{
    int readsOfTheTail = -1;
    const Replaced<"KERNEL32", "SetFilePointerEx", decltype(SetFilePointerEx)> seek(
        [&](HANDLE file, LARGE_INTEGER position, PLARGE_INTEGER result, DWORD from)
        {
            readsOfTheTail = 0;
            return decltype(seek)::Original(file, position, result, from);
        });
    const Replaced<"KERNEL32", "ReadFile", decltype(ReadFile)> read(
        [&](HANDLE file, LPVOID buffer, DWORD size, LPDWORD length, LPOVERLAPPED overlapped)
        {
            if (readsOfTheTail < 0)
            {
                return decltype(read)::Original(file, buffer, size, length, overlapped);
            }
            if (++readsOfTheTail == 1)
            {
                return decltype(read)::Original(file, buffer, 1000, length, overlapped);
            }
            *length = GetParam() ? 0 : 64; // a failing read brings nothing, whatever it says
            return GetParam();
        });
    const std::string lines = NumberedLines(FourMebibytes + 64);
    // Of 1,000 bytes the 15 whole lines.
    ExpectSame(WithoutLastLine(After(lines)), lines.substr(2097152 + 64, 960));
}

INSTANTIATE_TEST_SUITE_P(FailingAndEndingEarly, LogFileTrimCutTest, testing::Values(FALSE, TRUE));

TEST_F(LogFileTrimTest, ReadThatFailsWithinALongLineLeavesNothingOfThatLine)
{
    int readsOfTheTail = -1;
    const Replaced<"KERNEL32", "SetFilePointerEx", decltype(SetFilePointerEx)> seek(
        [&](HANDLE file, LARGE_INTEGER position, PLARGE_INTEGER result, DWORD from)
        {
            readsOfTheTail = 0;
            return decltype(seek)::Original(file, position, result, from);
        });
    const Replaced<"KERNEL32", "ReadFile", decltype(ReadFile)> read(
        [&](HANDLE file, LPVOID buffer, DWORD size, LPDWORD length, LPOVERLAPPED overlapped)
        {
            return readsOfTheTail >= 0 && ++readsOfTheTail > 4
                       ? FALSE
                       : decltype(read)::Original(file, buffer, size, length, overlapped);
        });
    // One line of 64 bytes is kept, and the long one behind it, which takes many reads.
    const std::string numbered = NumberedLines(2097152 + 192);
    const std::string log = numbered + std::string(2097152 - 66, 'x') + "\r\n";
    ExpectSame(WithoutLastLine(After(log)), numbered.substr(2097152 + 128));
}

TEST_F(LogFileTrimTest, ReadThatFailsWhenAllWasReadLosesNothing)
{
    const Replaced<"KERNEL32", "ReadFile", decltype(ReadFile)> read(
        [](HANDLE file, LPVOID buffer, DWORD size, LPDWORD length, LPOVERLAPPED overlapped)
        {
            decltype(read)::Original(file, buffer, size, length, overlapped);
            return *length != 0 ? TRUE : FALSE;
        });
    const std::string lines = NumberedLines(FourMebibytes) + "x";
    ExpectSame(WithoutLastLine(After(lines)), lines.substr(2097152));
}

TEST_F(LogFileTrimTest, CopyThatCannotBeReadLeavesTheLastLineAlone)
{
    const Replaced<"KERNEL32", "ReadFile", decltype(ReadFile)> read(
        [](HANDLE, LPVOID, DWORD, LPDWORD, LPOVERLAPPED) { return FALSE; });
    ExpectSame(WithoutLastLine(After(NumberedLines(FourMebibytes + 64))), "");
    EXPECT_FALSE(HasCopy());
}

using WriteFileDouble = Replaced<"KERNEL32", "WriteFile", decltype(WriteFile)>;

/// What is left of a log whose write number `failing` of the tail does as `write` does.
class LogFileTrimWriteTest : public LogFileTrimTest
{
protected:
    using Write = std::function<BOOL(HANDLE file, LPCVOID bytes, DWORD size, LPDWORD written)>;

    std::string AfterFailing(int failing, const Write& write, const std::string& before)
    {
        int writes = 0;
        const WriteFileDouble writeFile(
            [&](HANDLE file, LPCVOID bytes, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
            {
                const bool isTail =
                    std::string_view(static_cast<const char*>(bytes), size).find("Log trimmed.") ==
                    std::string_view::npos;
                writes += isTail ? 1 : 0;
                return isTail && writes == failing
                           ? write(file, bytes, size, written)
                           : decltype(writeFile)::Original(file, bytes, size, written, overlapped);
            });
        folder.WriteFile(L"Log.log", before);
        const LogFile log(folder.Path(), L"Log");
        EXPECT_EQ(writes, failing) << "written after the write that failed";
        return FileBytes(log.Path());
    }

    /// Takes the first `taken` bytes and says so.
    static Write Short(DWORD taken)
    {
        return [taken](HANDLE file, LPCVOID bytes, DWORD, LPDWORD written)
        { return WriteFileDouble::Original(file, bytes, taken, written, nullptr); };
    }

    const std::string lines = NumberedLines(FourMebibytes + 64);
    const std::string kept = lines.substr(2097152 + 64);
};

TEST_F(LogFileTrimWriteTest, WriteThatFailsLeavesTheLinesBeforeItWithoutAHole)
{
    const Write fails = [](HANDLE, LPCVOID, DWORD size, LPDWORD written)
    {
        *written = size; // what a failing call leaves there means nothing
        SetLastError(ERROR_DISK_FULL);
        return FALSE;
    };
    ExpectSame(WithoutLastLine(AfterFailing(1, fails, lines)), "");
    const std::string after = WithoutLastLine(AfterFailing(3, fails, lines));
    EXPECT_GT(after.size(), 4096U);
    EXPECT_LT(after.size(), kept.size() / 2);
    ExpectSame(after, kept.substr(0, after.size()));
    EXPECT_TRUE(after.ends_with(".\r\n"));
    EXPECT_FALSE(HasCopy());
}

TEST_F(LogFileTrimWriteTest, WriteThatFallsShortLeavesWholeLines)
{
    ExpectSame(WithoutLastLine(AfterFailing(1, Short(0), lines)), "");
    ExpectSame(WithoutLastLine(AfterFailing(1, Short(63), lines)), "");
    ExpectSame(WithoutLastLine(AfterFailing(1, Short(64), lines)), kept.substr(0, 64));
    ExpectSame(WithoutLastLine(AfterFailing(1, Short(1000), lines)), kept.substr(0, 960));
    const std::string afterOne = WithoutLastLine(AfterFailing(2, Short(0), lines));
    const std::string after = WithoutLastLine(AfterFailing(2, Short(1000), lines));
    ExpectSame(after, kept.substr(0, after.size()));
    EXPECT_EQ(after.size(), afterOne.size() + 960);
}

TEST_F(LogFileTrimWriteTest, LineThatTakesSeveralWritesIsCutOffWhole)
{
    // One line of 64 bytes is kept, and the long one behind it.
    const std::string numbered = NumberedLines(2097152 + 192);
    const std::string log = numbered + std::string(2097152 - 66, 'x') + "\r\n";
    ExpectSame(WithoutLastLine(AfterFailing(4, Short(1000), log)), numbered.substr(2097152 + 128));
}

TEST_F(LogFileTrimWriteTest, TornLineStaysWhenItCannotBeCutOff)
{
    const Replaced<"KERNEL32", "SetFilePointerEx", decltype(SetFilePointerEx)> seek(
        [](HANDLE file, LARGE_INTEGER position, PLARGE_INTEGER result, DWORD from)
        {
            // The copy is sought in from here on, the log to lines before that.
            return position.QuadPart < 2097152
                       ? FALSE
                       : decltype(seek)::Original(file, position, result, from);
        });
    ExpectSame(WithoutLastLine(AfterFailing(1, Short(1000), lines)), kept.substr(0, 1000));
}

TEST_F(LogFileTrimTest, ReadThatFailsWithinAPieceEndsThePiece)
{
    // The piece of which ten bytes are read is the first to count more than the size less 2 MiB.
    DWORD left = 2097152 + 64 + 10;
    const Replaced<"KERNEL32", "ReadFile", decltype(ReadFile)> read(
        [&](HANDLE file, LPVOID buffer, DWORD size, LPDWORD length, LPOVERLAPPED overlapped)
        {
            const BOOL isRead =
                decltype(read)::Original(file, buffer, std::min(size, left), length, overlapped);
            left -= *length;
            return isRead && *length != 0;
        });
    const Replaced<"KERNEL32", "SetFilePointerEx", decltype(SetFilePointerEx)> seek(
        [&](HANDLE file, LARGE_INTEGER position, PLARGE_INTEGER result, DWORD from)
        {
            left = MAXDWORD; // the tail can be read
            return decltype(seek)::Original(file, position, result, from);
        });
    const std::string lines = NumberedLines(FourMebibytes + 64);
    ExpectSame(WithoutLastLine(After(lines)), lines.substr(2097152 + 64));
}
} // namespace
