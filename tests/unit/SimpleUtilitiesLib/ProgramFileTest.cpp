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
} // namespace
