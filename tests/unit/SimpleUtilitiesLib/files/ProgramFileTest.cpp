#include "ProgramFile.h"

#include "Replaced.h"
#include "Text.h"

#include <gtest/gtest.h>

#include <cwchar>

namespace
{
using ModuleNameDouble = Replaced<"KERNEL32", "GetModuleFileNameW", decltype(GetModuleFileNameW)>;

/// A module whose path is a whole buffer long or longer.
DWORD Cut(HMODULE, LPWSTR buffer, DWORD size)
{
    std::wmemset(buffer, L'p', size);
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return size;
}

TEST(ProgramPathTest, IsTheFullPathOfTheRunningProgram)
{
    const std::wstring path = ProgramPath();
    EXPECT_EQ(path.substr(1, 2), L":\\");
    EXPECT_EQ(LowerCase(FileNameOf(path)), L"simpleutilitieslibtests.exe");
}

TEST(ProgramPathTest, AsksForTheProgramItselfWith260Characters)
{
    const ModuleNameDouble moduleName(
        [](HMODULE module, LPWSTR buffer, DWORD size) -> DWORD
        {
            EXPECT_EQ(module, nullptr);
            EXPECT_EQ(size, 260U);
            std::wmemcpy(buffer, L"C:\\p.exe", 9);
            return 8;
        });
    EXPECT_EQ(ProgramPath(), L"C:\\p.exe");
}

TEST(ProgramPathTest, PathThatDoesNotFitIsCut)
{
    const ModuleNameDouble moduleName(&Cut);
    EXPECT_EQ(ProgramPath(), std::wstring(259, L'p'));
    EXPECT_EQ(ProgramPath(261), std::wstring(260, L'p'));
}

TEST(ProgramPathTest, FailureGivesTheEmptyString)
{
    const ModuleNameDouble moduleName([](HMODULE, LPWSTR, DWORD) { return 0; });
    EXPECT_EQ(ProgramPath(), L"");
}

/// A module that lies in a directory of so many characters.
class ModuleInADirectory
{
public:
    explicit ModuleInADirectory(std::size_t length)
        : directory(L"C:\\" + std::wstring(length - 3, L'd'))
    {
    }
    const std::wstring directory;

private:
    ModuleNameDouble moduleName{[this](HMODULE module, LPWSTR buffer, DWORD size) -> DWORD
                                {
                                    EXPECT_EQ(module, nullptr);
                                    EXPECT_EQ(size, 260U);
                                    const std::wstring path = directory + L"\\p.exe";
                                    const std::size_t length =
                                        std::min<std::size_t>(path.size(), size - 1);
                                    std::wmemcpy(buffer, path.c_str(), length);
                                    buffer[length] = L'\0';
                                    return path.size() < size ? static_cast<DWORD>(length) : size;
                                }};
};

TEST(ProgramDirectoryTest, IsThePartOfThePathBeforeItsLastBackslash)
{
    const ModuleInADirectory module(253);
    EXPECT_EQ(ProgramDirectory(), module.directory);
}

TEST(ProgramDirectoryTest, IsEmptyWhenThePathDoesNotFit)
{
    const ModuleInADirectory module(254);
    EXPECT_EQ(ProgramDirectory(), L"");
}

TEST(ProgramDirectoryTest, IsEmptyWhenThereIsNoPath)
{
    const ModuleNameDouble moduleName([](HMODULE, LPWSTR, DWORD) { return 0; });
    EXPECT_EQ(ProgramDirectory(), L"");
}
} // namespace
