#include "LogFile.h"

#include "ScarceMemory.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace
{
/// Whether somebody keeps the mutex of the log in `directory`.
bool HasMutex(const std::wstring& directory)
{
    const KernelHandle mutex(OpenMutexW(SYNCHRONIZE, FALSE, LogMutexName(directory).c_str()));
    return mutex.IsValid();
}

/// Exit codes of the processes in which the log of a process is tested.
constexpr int AsItShould = 0;
constexpr int NotAsItShould = 3;

TEST(LogFileLifetimeTest, LaterCallsGiveTheFirstLogUnchanged)
{
    const TemporaryFolder folder;
    LogFile& first = LogFile::Get(folder.Path(), L"First");
    LogFile& second = LogFile::Get(folder.Of(L"other"), L"Second");
    EXPECT_EQ(&first, &second);
    EXPECT_EQ(second.Path(), folder.Path() + L"\\First.log");
    EXPECT_EQ(GetFileAttributesW(folder.Of(L"other").c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST(LogFileLifetimeTest, MutexIsClosedWithALogOfItsOwn)
{
    const TemporaryFolder folder;
    {
        const LogFile log(folder.Path(), L"Log");
        EXPECT_TRUE(HasMutex(folder.Path()));
    }
    EXPECT_FALSE(HasMutex(folder.Path()));
}

// The rest in processes of their own: there is one log in each, made by the first call.

int FirstCallWithoutMemory()
{
    const TemporaryFolder folder;
    const ScarceMemory memory;
    LogFile* log = nullptr;
    ScarceMemory::Allow(0);
    try
    {
        log = &LogFile::Get(folder.Path(), L"Log");
    }
    catch (...)
    {
        ScarceMemory::End();
    }
    ScarceMemory::End();
    return log != nullptr && log->Path().empty() ? AsItShould : NotAsItShould;
}

TEST(LogFileLifetimeDeathTest, FirstCallWithoutMemoryGivesALogThatIsOffAndDoesNotThrow)
{
    EXPECT_EXIT(std::exit(FirstCallWithoutMemory()), testing::ExitedWithCode(AsItShould), "");
}

/// The log must still be there when the last of the process's own functions runs. It lies in a
/// folder that outlives it.
const TemporaryFolder& FolderOfTheLastLine()
{
    static const TemporaryFolder folder;
    return folder;
}

void WriteTheLastLine()
{
    const std::wstring& directory = FolderOfTheLastLine().Path();
    LogFile& log = LogFile::Get(directory, L"Log");
    log.Write(L"last");
    if (!HasMutex(directory) || !FileBytes(log.Path()).ends_with("): last\r\n"))
    {
        TerminateProcess(GetCurrentProcess(), NotAsItShould);
    }
}

TEST(LogFileLifetimeDeathTest, LogOfTheProcessOutlivesWhatWasMadeBeforeIt)
{
    EXPECT_EXIT(
        {
            FolderOfTheLastLine();
            std::atexit(&WriteTheLastLine);
            LogFile::Get(FolderOfTheLastLine().Path(), L"Log");
            std::exit(AsItShould);
        },
        testing::ExitedWithCode(AsItShould), "");
}
} // namespace
