#include "LogFile.h"

#include "Journal.h"
#include "Replaced.h"
#include "ScarceMemory.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

namespace
{
using CreateFileDouble = Replaced<"KERNEL32", "CreateFileW", decltype(CreateFileW)>;
using DispositionDouble =
    Replaced<"KERNEL32", "SetFileInformationByHandle", decltype(SetFileInformationByHandle)>;
using EndOfFileDouble = Replaced<"KERNEL32", "SetEndOfFile", decltype(SetEndOfFile)>;
using ReadFileDouble = Replaced<"KERNEL32", "ReadFile", decltype(ReadFile)>;
using SeekDouble = Replaced<"KERNEL32", "SetFilePointerEx", decltype(SetFilePointerEx)>;
using WriteFileDouble = Replaced<"KERNEL32", "WriteFile", decltype(WriteFile)>;
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

    /// The same for a log to trim, where `name` becomes another name of `other` just before it is
    /// opened with this access.
    std::string AfterPlanting(const std::wstring& other, const wchar_t* name, DWORD accessThen)
    {
        bool isPlanted = false;
        const CreateFileDouble createFile(
            [&](LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security,
                DWORD disposition, DWORD flags, HANDLE model)
            {
                if (path == folder.Of(name) && access == accessThen)
                {
                    DeleteFileW(path);
                    isPlanted = CreateHardLinkW(path, other.c_str(), nullptr) != FALSE;
                }
                return decltype(createFile)::Original(path, access, sharing, security, disposition,
                                                      flags, model);
            });
        std::string after = After(NumberedLines(FourMebibytes + 64));
        EXPECT_TRUE(isPlanted);
        return after;
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

TEST_F(LogFileTrimTest, CopyLiesBesideTheLogWhenThatIsEmptied)
{
    const std::string lines = NumberedLines(FourMebibytes + 64);
    bool isCopied = false;
    const EndOfFileDouble endOfFile(
        [&](HANDLE file)
        {
            // Whoever reads it must share everything: the program may write and delete it.
            const FileHandle copy(
                CreateFileW(folder.Of(L"Log.log.plvold").c_str(), GENERIC_READ,
                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                            OPEN_EXISTING, 0, nullptr));
            std::string bytes(lines.size() + 1, ' ');
            DWORD length = 0;
            ReadFile(copy.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &length, nullptr);
            isCopied = bytes.substr(0, length) == lines;
            return decltype(endOfFile)::Original(file);
        });
    After(lines);
    EXPECT_TRUE(isCopied);
}

TEST_F(LogFileTrimTest, FilesAreUsedInOrderAndDenyOtherWriters)
{
    Journal journal;
    const CreateFileDouble createFile(
        [&](LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security,
            DWORD disposition, DWORD flags, HANDLE other)
        {
            const std::wstring name = path;
            if (name != folder.Path())
            {
                journal.push_back(name.substr(name.rfind(L'.')) +
                                  ((access & GENERIC_READ) != 0 ? L" read" : L"") +
                                  ((access & GENERIC_WRITE) != 0 ? L" write" : L"") +
                                  ((access & FILE_APPEND_DATA) != 0 ? L" append" : L"") +
                                  ((access & DELETE) != 0 ? L" delete" : L"") + L", share " +
                                  std::to_wstring(sharing) + L", " + std::to_wstring(disposition));
            }
            return decltype(createFile)::Original(path, access, sharing, security, disposition,
                                                  flags, other);
        });
    const EndOfFileDouble endOfFile(
        [&](HANDLE file)
        {
            journal.push_back(L"emptied");
            return decltype(endOfFile)::Original(file);
        });
    After(NumberedLines(FourMebibytes + 64));
    EXPECT_EQ(journal,
              (Journal{L".log write, share 3, 3", L".plvold delete, share 7, 3",
                       L".log read write, share 1, 3", L".plvold read write delete, share 1, 1",
                       L"emptied", L".plvold delete, share 7, 3", L".log append, share 1, 3"}));
}

TEST_F(LogFileTrimTest, NoMemoryIsNeededBetweenTheCopyAndItsDeletion)
{
    const std::string lines = NumberedLines(FourMebibytes + 64);
    folder.WriteFile(L"Log.log", lines);
    {
        const ScarceMemory memory;
        const EndOfFileDouble endOfFile(
            [](HANDLE file)
            {
                ScarceMemory::Allow(0);
                return decltype(endOfFile)::Original(file);
            });
        const DispositionDouble disposition(
            [](HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID information, DWORD size)
            {
                ScarceMemory::End();
                return decltype(disposition)::Original(file, kind, information, size);
            });
        const LogFile log(folder.Path(), L"Log");
        ScarceMemory::End();
    }
    ExpectSame(WithoutLastLine(FileBytes(folder.Of(L"Log.log"))), lines.substr(2097152 + 64));
    EXPECT_FALSE(HasCopy());
}

TEST_F(LogFileTrimTest, LogThatIsAlsoAnotherFileIsLeftAlone)
{
    const std::string lines = NumberedLines(FourMebibytes + 64);
    const std::wstring other = folder.WriteFile(L"other", lines);
    ASSERT_TRUE(CreateHardLinkW(folder.Of(L"Log.log").c_str(), other.c_str(), nullptr));
    const LogFile log(folder.Path(), L"Log");
    ExpectSame(FileBytes(other), lines);
    EXPECT_FALSE(HasCopy());
}

TEST_F(LogFileTrimTest, FileThatAnOlderCopyIsAnotherNameOfKeepsItsBytes)
{
    const std::wstring other = folder.WriteFile(L"other", "mine");
    ASSERT_TRUE(CreateHardLinkW(folder.Of(L"Log.log.plvold").c_str(), other.c_str(), nullptr));
    const std::string lines = NumberedLines(FourMebibytes + 64);
    ExpectSame(WithoutLastLine(After(lines)), lines.substr(2097152 + 64));
    EXPECT_EQ(FileBytes(other), "mine");
    EXPECT_FALSE(HasCopy());
}

TEST_F(LogFileTrimTest, WhatIsPutInTheLogsPlaceAfterItsSizeWasReadIsLeftAlone)
{
    const std::string lines = NumberedLines(FourMebibytes + 64);
    const std::wstring other = folder.WriteFile(L"other", lines);
    ExpectSame(AfterPlanting(other, L"Log.log", GENERIC_READ | GENERIC_WRITE), lines);
    ExpectSame(FileBytes(other), lines);
    EXPECT_FALSE(HasCopy());
}

TEST_F(LogFileTrimTest, WhatIsPutInTheCopysPlaceAfterTheOlderOneWasDeletedIsLeftAlone)
{
    const std::string lines = NumberedLines(FourMebibytes + 64);
    const std::wstring other = folder.WriteFile(L"other", "mine");
    ExpectSame(WithoutLastLine(
                   AfterPlanting(other, L"Log.log.plvold", GENERIC_READ | GENERIC_WRITE | DELETE)),
               lines);
    EXPECT_EQ(FileBytes(other), "mine");
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
            return access == (GENERIC_READ | GENERIC_WRITE)
                       ? INVALID_HANDLE_VALUE
                       : decltype(createFile)::Original(path, access, sharing, security,
                                                        disposition, flags, other);
        });
    ExpectSame(WithoutLastLine(After(lines)), lines);
    EXPECT_FALSE(HasCopy());
}

TEST_F(LogFileTrimTest, LogThatCannotBeCopiedWholeKeepsItsLines)
{
    const std::string lines = NumberedLines(FourMebibytes + 64);
    const auto expectKept = [&]
    {
        ExpectSame(WithoutLastLine(After(lines)), lines);
        EXPECT_FALSE(HasCopy());
    };
    {
        const ReadFileDouble read([](HANDLE, LPVOID, DWORD, LPDWORD, LPOVERLAPPED)
                                  { return FALSE; });
        expectKept();
    }
    {
        DWORD left = FourMebibytes; // and then nothing comes, though nothing fails
        const ReadFileDouble read(
            [&](HANDLE file, LPVOID buffer, DWORD size, LPDWORD length, LPOVERLAPPED overlapped)
            {
                const BOOL isRead = decltype(read)::Original(file, buffer, std::min(size, left),
                                                             length, overlapped);
                left -= *length;
                return isRead;
            });
        expectKept();
    }
    int writes = 0;
    const WriteFileDouble shortWrite(
        [&](HANDLE file, LPCVOID bytes, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
        {
            ++writes;
            return decltype(shortWrite)::Original(file, bytes, writes == 2 ? size - 1 : size,
                                                  written, overlapped);
        });
    expectKept();
    EXPECT_EQ(writes, 3); // the last one is that of the last line
    {
        const WriteFileDouble failingWrite(
            [](HANDLE file, LPCVOID bytes, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
            {
                decltype(failingWrite)::Original(file, bytes, size, written, overlapped);
                return size == 65536 ? FALSE : TRUE;
            });
        expectKept();
    }
}

TEST_F(LogFileTrimTest, CopyThatCannotBeMadeLeavesTheLogAlone)
{
    const CreateFileDouble createFile(
        [&](LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security,
            DWORD disposition, DWORD flags, HANDLE other)
        {
            return disposition == CREATE_NEW
                       ? INVALID_HANDLE_VALUE
                       : decltype(createFile)::Original(path, access, sharing, security,
                                                        disposition, flags, other);
        });
    const std::string lines = NumberedLines(FourMebibytes + 64);
    ExpectSame(WithoutLastLine(After(lines)), lines);
    EXPECT_FALSE(HasCopy());
}

TEST_F(LogFileTrimTest, OlderCopyThatStaysIsNotTakenForTheNewOne)
{
    folder.WriteFile(L"Log.log.plvold", "older\r\n");
    const DispositionDouble disposition([](HANDLE, FILE_INFO_BY_HANDLE_CLASS, LPVOID, DWORD)
                                        { return FALSE; });
    const std::string lines = NumberedLines(FourMebibytes + 64);
    ExpectSame(WithoutLastLine(After(lines)), lines);
    EXPECT_EQ(FileBytes(folder.Of(L"Log.log.plvold")), "older\r\n");
}

TEST_F(LogFileTrimTest, LogThatCannotBeEmptiedKeepsItsLines)
{
    const std::string lines = NumberedLines(FourMebibytes + 64);
    {
        const EndOfFileDouble endOfFile([](HANDLE) { return FALSE; });
        ExpectSame(WithoutLastLine(After(lines)), lines);
        EXPECT_FALSE(HasCopy());
    }
    // The copy to its beginning, the copy to the first line to keep, the log to its beginning.
    for (int failing = 1; failing <= 3; ++failing)
    {
        int seeks = 0;
        const SeekDouble seek(
            [&](HANDLE file, LARGE_INTEGER position, PLARGE_INTEGER result, DWORD from) {
                return ++seeks == failing ? FALSE
                                          : decltype(seek)::Original(file, position, result, from);
            });
        ExpectSame(WithoutLastLine(After(lines)), lines);
        EXPECT_EQ(seeks, failing);
        EXPECT_FALSE(HasCopy());
    }
}

/// The trimmed log when the tail's first read brings 1,000 bytes and the second none, successfully
/// or not.
class LogFileTrimCutTest : public LogFileTrimTest, public testing::WithParamInterface<BOOL>
{
};

TEST_P(LogFileTrimCutTest, CopyThatIsNotReadToItsEndTearsNoLine)
{
    int readsOfTheTail = -1;
    const EndOfFileDouble endOfFile(
        [&](HANDLE file)
        {
            // Nothing has to be cut off: of a line that is not whole nothing is written.
            const bool isEmptied = readsOfTheTail < 0 && decltype(endOfFile)::Original(file);
            readsOfTheTail = 0;
            return static_cast<BOOL>(isEmptied);
        });
    const ReadFileDouble read(
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
    const EndOfFileDouble endOfFile(
        [&](HANDLE file)
        {
            readsOfTheTail = 0;
            return decltype(endOfFile)::Original(file);
        });
    const ReadFileDouble read(
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
    const ReadFileDouble read(
        [](HANDLE file, LPVOID buffer, DWORD size, LPDWORD length, LPOVERLAPPED overlapped)
        {
            decltype(read)::Original(file, buffer, size, length, overlapped);
            return *length != 0 ? TRUE : FALSE;
        });
    const std::string lines = NumberedLines(FourMebibytes) + "x";
    ExpectSame(WithoutLastLine(After(lines)), lines.substr(2097152));
}

/// The trimmed log when the copy can be read up to byte `readable` while the first line to keep is
/// looked for, and whole before and after that.
class LogFileTrimSearchTest : public LogFileTrimTest
{
protected:
    std::string AfterSearching(DWORD readable, const std::string& before)
    {
        int seeks = 0; // the first is to the beginning of the copy, the second to that line
        const SeekDouble seek(
            [&](HANDLE file, LARGE_INTEGER position, PLARGE_INTEGER result, DWORD from)
            {
                ++seeks;
                return decltype(seek)::Original(file, position, result, from);
            });
        const ReadFileDouble read(
            [&](HANDLE file, LPVOID buffer, DWORD size, LPDWORD length, LPOVERLAPPED overlapped)
            {
                if (seeks != 1)
                {
                    return decltype(read)::Original(file, buffer, size, length, overlapped);
                }
                const BOOL isRead = decltype(read)::Original(file, buffer, std::min(size, readable),
                                                             length, overlapped);
                readable -= *length;
                return static_cast<BOOL>(isRead && *length != 0);
            });
        return WithoutLastLine(After(before));
    }

    const std::string lines = NumberedLines(FourMebibytes + 64);
};

TEST_F(LogFileTrimSearchTest, CopyThatCannotBeReadLosesNothing)
{
    ExpectSame(AfterSearching(0, lines), lines);
    EXPECT_FALSE(HasCopy());
}

TEST_F(LogFileTrimSearchTest, CopyThatCannotBeReadToTheEndOfTheFirstLineToKeepLosesNothing)
{
    // The line that begins here is the first to count more than the size less 2 MiB.
    constexpr DWORD Start = 2097152 + 64;
    ExpectSame(AfterSearching(Start + 63, lines), lines);
    ExpectSame(AfterSearching(Start + 64, lines), lines.substr(Start));
}

/// What is left of a log whose write number `failing` of the tail does as `write` does.
class LogFileTrimWriteTest : public LogFileTrimTest
{
protected:
    using Write = std::function<BOOL(HANDLE file, LPCVOID bytes, DWORD size, LPDWORD written)>;

    std::string AfterFailing(int failing, const Write& write, const std::string& before)
    {
        bool isEmptied = false;
        const EndOfFileDouble endOfFile(
            [&](HANDLE file)
            {
                isEmptied = true;
                return decltype(endOfFile)::Original(file);
            });
        int writes = 0;
        const WriteFileDouble writeFile(
            [&](HANDLE file, LPCVOID bytes, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
            {
                const bool isTail =
                    isEmptied &&
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

TEST_F(LogFileTrimWriteTest, WriteThatFailsAfterSomeBytesLeavesNoneOfThem)
{
    const Write fails = [](HANDLE file, LPCVOID bytes, DWORD, LPDWORD written)
    {
        WriteFileDouble::Original(file, bytes, 1000, written, nullptr);
        return FALSE;
    };
    ExpectSame(WithoutLastLine(AfterFailing(1, fails, lines)), "");
    const std::string before = WithoutLastLine(AfterFailing(2, Short(0), lines));
    ExpectSame(WithoutLastLine(AfterFailing(2, fails, lines)), before);
}

TEST_F(LogFileTrimWriteTest, LastLineOfOneByteIsCutOffWhenItsWriteFails)
{
    const Write fails = [](HANDLE file, LPCVOID bytes, DWORD size, LPDWORD written)
    {
        WriteFileDouble::Original(file, bytes, size, written, nullptr);
        return FALSE;
    };
    const std::string log = NumberedLines(FourMebibytes) + "x";
    // 128 blocks of 256 lines, none of the last byte before the end is known, and that byte.
    ExpectSame(WithoutLastLine(AfterFailing(130, fails, log)), log.substr(2097152, 2097152));
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
    int seeks = 0;
    const SeekDouble seek(
        [&](HANDLE file, LARGE_INTEGER position, PLARGE_INTEGER result, DWORD from)
        { return ++seeks > 3 ? FALSE : decltype(seek)::Original(file, position, result, from); });
    ExpectSame(WithoutLastLine(AfterFailing(1, Short(1000), lines)), kept.substr(0, 1000));
}
} // namespace
