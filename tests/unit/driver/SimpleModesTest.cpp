#include "SimpleModes.h"

#include "RunFixture.h"
#include "SpoolerPackages.h"

namespace
{
using Install = Replaced<"WINSPOOL.DRV", "InstallPrinterDriverFromPackageW",
                         decltype(InstallPrinterDriverFromPackageW)>;
using Delete =
    Replaced<"KERNEL32", "SetFileInformationByHandle", decltype(SetFileInformationByHandle)>;

constexpr wchar_t DeletedLine[] = L"# Invoked to delete log file. Done...exiting.";

class SimpleModesTest : public RunFixture
{
protected:
    int DeleteFailingWith(DWORD error)
    {
        const Delete failing(
            [error](HANDLE, FILE_INFO_BY_HANDLE_CLASS, LPVOID, DWORD) -> BOOL
            {
                SetLastError(error);
                return FALSE;
            });
        return DeleteLog(run);
    }

    int InstallDriver(const std::wstring& name, HRESULT result)
    {
        run.invoker = name;
        const Install install(
            [this, result](LPCWSTR server, LPCWSTR infPath, LPCWSTR driver, LPCWSTR environment,
                           DWORD flags)
            {
                const bool expected =
                    server == nullptr && infPath == nullptr && environment == nullptr && flags == 0;
                journal.push_back(std::wstring(L"install ") + driver + (expected ? L"" : L" BAD"));
                return result;
            });
        return AddPrinterDriverInstance(run);
    }
};

TEST_F(SimpleModesTest, UsageGoesToStandardOutputAndIsOne)
{
    EXPECT_EQ(DisplayUsage(), 1);
    ASSERT_EQ(journal.size(), 1U);
    EXPECT_TRUE(journal[0].starts_with(L"out: \nPalvoPrinterConfiguration"));
    EXPECT_TRUE(journal[0].ends_with(
        L"\n\n\tPalvoPrinterConfiguration.exe [-? | -c | -r | -IT | -UT | -DL | -IN | -UN | -w]\n\n"
        L"\tAuto-Config requires Windows 8 or later, Job Management requires Vista or later."));
}

TEST_F(SimpleModesTest, DeletedLogBeginsAnewWithOneLine)
{
    testLog.Log().Write(L"old line");
    EXPECT_EQ(DeleteLog(run), 0);
    EXPECT_EQ(testLog.Messages(), std::vector<std::wstring>{DeletedLine});
}

TEST_F(SimpleModesTest, LogThatIsNotThereIsNoFailure)
{
    DeleteFileW(testLog.Log().Path().c_str());
    EXPECT_EQ(DeleteLog(run), 0);
    EXPECT_EQ(testLog.Messages(), std::vector<std::wstring>{DeletedLine});
}

TEST_F(SimpleModesTest, FileNotFoundAloneIsNoFailure)
{
    EXPECT_EQ(DeleteFailingWith(ERROR_FILE_NOT_FOUND), 0);
    EXPECT_EQ(DeleteFailingWith(ERROR_PATH_NOT_FOUND), 1);
    EXPECT_EQ(DeleteFailingWith(ERROR_SHARING_VIOLATION), 1);
    EXPECT_EQ(DeleteFailingWith(ERROR_ACCESS_DENIED), 1);
}

TEST_F(SimpleModesTest, FailureWithoutAnErrorIsAFailure)
{
    EXPECT_EQ(DeleteFailingWith(ERROR_SUCCESS), 1);
}

TEST_F(SimpleModesTest, LogThatCannotBeDeletedStillGetsTheLine)
{
    testLog.Log().Write(L"old line");
    EXPECT_EQ(DeleteFailingWith(ERROR_ACCESS_DENIED), 1);
    EXPECT_EQ(testLog.Messages(), (std::vector<std::wstring>{L"old line", DeletedLine}));
}

TEST_F(SimpleModesTest, LogThatAnotherProgramHoldsOpenIsAFailure)
{
    testLog.Log().Write(L"old line");
    const FileHandle holder(CreateFileW(testLog.Log().Path().c_str(), GENERIC_READ,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                        0, nullptr));
    ASSERT_TRUE(holder);
    EXPECT_EQ(DeleteLog(run), 1);
}

TEST_F(SimpleModesTest, LogThatIsADirectoryIsAFailure)
{
    DeleteFileW(testLog.Log().Path().c_str());
    ASSERT_TRUE(CreateDirectoryW(testLog.Log().Path().c_str(), nullptr));
    EXPECT_EQ(DeleteLog(run), 1);
    RemoveDirectoryW(testLog.Log().Path().c_str());
}

TEST_F(SimpleModesTest, DriverIsInstalledByTheInvokersName)
{
    EXPECT_EQ(InstallDriver(L"Palvo Orvela 7", S_OK), 0);
    EXPECT_EQ(journal, (Journal{L"install Palvo Orvela 7",
                                L"out: Added driver instance for 'Palvo Orvela 7'.\n",
                                L"log: Added driver instance for 'Palvo Orvela 7'"}));
}

TEST_F(SimpleModesTest, FailedInstallationIsPrintedLoggedAndReturned)
{
    const auto failure = static_cast<HRESULT>(0x80070705);
    EXPECT_EQ(InstallDriver(L"Palvo Orvela 7", failure), failure);
    EXPECT_EQ(journal, (Journal{L"install Palvo Orvela 7",
                                L"out: ERROR: Failed to add driver instance for 'Palvo Orvela 7': "
                                L"HRESULT=0x80070705.\n",
                                L"log: ERROR: Failed to add driver instance for 'Palvo Orvela 7': "
                                L"HRESULT=0x80070705"}));
}

TEST_F(SimpleModesTest, SuccessOfAnotherKindIsSuccessAndReturned)
{
    EXPECT_EQ(InstallDriver(L"D", S_FALSE), 1);
    EXPECT_EQ(journal[1], L"out: Added driver instance for 'D'.\n");
}

TEST_F(SimpleModesTest, EmptyNameOfADriverReachesTheSpooler)
{
    InstallDriver(L"", S_OK);
    EXPECT_EQ(journal[0], L"install ");
}

TEST_F(SimpleModesTest, NameOfADriverIsDataAndNoFormat)
{
    InstallDriver(L"%s%n%d", E_FAIL);
    EXPECT_EQ(journal, (Journal{L"install %s%n%d",
                                L"out: ERROR: Failed to add driver instance for '%s%n%d': "
                                L"HRESULT=0x80004005.\n",
                                L"log: ERROR: Failed to add driver instance for '%s%n%d': "
                                L"HRESULT=0x80004005"}));
}
} // namespace
