#include "IdentifierDlls.h"

#include "Replaced.h"

#include <windows.h>

#include <gtest/gtest.h>

namespace
{
class IdentifierDllsTest : public ::testing::Test
{
protected:
    using SystemDirectory =
        Replaced<"KERNEL32", "GetSystemDirectoryW", decltype(GetSystemDirectoryW)>;
    using Load = Replaced<"KERNEL32", "LoadLibraryW", decltype(LoadLibraryW)>;

    std::vector<std::wstring> loaded;
    const Load load{[this](LPCWSTR path) -> HMODULE
                    {
                        loaded.emplace_back(path);
                        return Load::Original(path);
                    }};
};

TEST_F(IdentifierDllsTest, AreLoadedFromTheSystemsFolderByTheirFullPaths)
{
    LoadDllsOfIdentifiers();
    wchar_t folder[MAX_PATH] = {};
    ASSERT_NE(GetSystemDirectoryW(folder, MAX_PATH), 0U);
    EXPECT_EQ(loaded, (std::vector<std::wstring>{std::wstring(folder) + L"\\SECUR32.dll",
                                                 std::wstring(folder) + L"\\OLE32.dll",
                                                 std::wstring(folder) + L"\\OLEAUT32.dll"}));
    for (const wchar_t* name : {L"SECUR32.dll", L"OLE32.dll", L"OLEAUT32.dll"})
    {
        EXPECT_NE(GetModuleHandleW(name), nullptr) << std::wstring(name);
    }
}

TEST_F(IdentifierDllsTest, AreLeftAloneWhenTheFolderCannotBeHad)
{
    const SystemDirectory systemDirectory(
        [](LPWSTR, UINT) -> UINT
        {
            SetLastError(ERROR_ACCESS_DENIED);
            return 0;
        });
    LoadDllsOfIdentifiers();
    EXPECT_TRUE(loaded.empty());
}

TEST_F(IdentifierDllsTest, AreLeftAloneWhenTheFoldersPathIsTooLong)
{
    UINT given = 0;
    const SystemDirectory systemDirectory(
        [&](LPWSTR, UINT size)
        {
            given = size;
            return size;
        });
    LoadDllsOfIdentifiers();
    EXPECT_EQ(given, 260U);
    EXPECT_TRUE(loaded.empty());
}
} // namespace
