#include "ProgramPaths.h"

#include "Replaced.h"

#include <combaseapi.h>
#include <initguid.h>
#include <knownfolders.h>
#include <shlobj.h>

#include <gtest/gtest.h>

#include <cstring>

namespace
{
using KnownFolder = Replaced<"SHELL32", "SHGetKnownFolderPath", decltype(SHGetKnownFolderPath)>;
using Free = Replaced<"OLE32", "CoTaskMemFree", decltype(CoTaskMemFree)>;

wchar_t* TaskText(const std::wstring& text)
{
    const std::size_t size = (text.size() + 1) * sizeof(wchar_t);
    auto* copy = static_cast<wchar_t*>(CoTaskMemAlloc(size));
    std::memcpy(copy, text.c_str(), size);
    return copy;
}

TEST(ProgramPathsTest, SiblingsLieInTheProgramsDirectory)
{
    const ProgramPaths paths = ProgramPathsIn(L"C:\\Program Files\\Palvo");
    EXPECT_EQ(paths.configuration, L"C:\\Program Files\\Palvo\\PalvoPrinterConfiguration.exe");
    EXPECT_EQ(paths.query, L"C:\\Program Files\\Palvo\\PalvoPrinterQuery.exe");
    EXPECT_EQ(paths.writer, L"C:\\Program Files\\Palvo\\PalvoPrinterConfigurationWriter.exe");
}

TEST(ProgramPathsTest, WithoutADirectoryThereAreNoPaths)
{
    const ProgramPaths paths = ProgramPathsIn(L"");
    EXPECT_EQ(paths.configuration, L"");
    EXPECT_EQ(paths.query, L"");
    EXPECT_EQ(paths.writer, L"");
}

TEST(ProgramPathsTest, ProgramMayLieInADrivesRoot)
{
    EXPECT_EQ(ProgramPathsIn(L"C:").writer, L"C:\\PalvoPrinterConfigurationWriter.exe");
}

TEST(LogDirectoryTest, LiesBelowProgramData)
{
    const KnownFolder folder(
        [](REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path)
        {
            *path = TaskText(L"D:\\Pro%s%nData");
            return S_OK;
        });
    EXPECT_EQ(
        LogDirectory(),
        L"D:\\Pro%s%nData\\Palvo\\PrinterDriver\\V6.0\\PalvoPrinterConfiguration\\PalvoOrvela");
}

TEST(LogDirectoryTest, AsksForProgramDataAndHasItCreated)
{
    GUID asked = {};
    DWORD flags = 0;
    HANDLE token = INVALID_HANDLE_VALUE;
    const KnownFolder folder(
        [&](REFKNOWNFOLDERID id, DWORD wanted, HANDLE user, PWSTR* path)
        {
            asked = id;
            flags = wanted;
            token = user;
            *path = TaskText(L"C:\\ProgramData");
            return S_OK;
        });
    LogDirectory();
    EXPECT_TRUE(IsEqualGUID(asked, FOLDERID_ProgramData));
    EXPECT_EQ(flags, 0x8000U);
    EXPECT_EQ(token, nullptr);
}

TEST(LogDirectoryTest, GivesTheFoldersTextBack)
{
    int freed = 0;
    const Free free(
        [&](LPVOID memory)
        {
            ++freed;
            Free::Original(memory);
        });
    const KnownFolder folder(
        [](REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path)
        {
            *path = TaskText(L"C:\\ProgramData");
            return S_OK;
        });
    LogDirectory();
    EXPECT_EQ(freed, 1);
}

TEST(LogDirectoryTest, EmptyWhenProgramDataCannotBeHad)
{
    const KnownFolder folder(
        [](REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path)
        {
            *path = nullptr;
            return E_FAIL;
        });
    EXPECT_EQ(LogDirectory(), L"");
}

TEST(LogDirectoryTest, EmptyWhenTheFailingCallLeavesAText)
{
    const KnownFolder folder(
        [](REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path)
        {
            *path = TaskText(L"C:\\Nonsense");
            return E_ACCESSDENIED;
        });
    EXPECT_EQ(LogDirectory(), L"");
}

TEST(LogDirectoryTest, EmptyWhenThereIsNoText)
{
    const KnownFolder folder(
        [](REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path)
        {
            *path = nullptr;
            return S_OK;
        });
    EXPECT_EQ(LogDirectory(), L"");
}
} // namespace
