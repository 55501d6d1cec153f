#include "SimpleUser.h"

#include "Replaced.h"
#include "WindowsHeaders.h"

#define SECURITY_WIN32
#include <security.h>

#include <gtest/gtest.h>

#include <cwchar>

namespace
{
using UserNameDouble = Replaced<"ADVAPI32", "GetUserNameW", decltype(GetUserNameW)>;
using UserNameExDouble = Replaced<"SECUR32", "GetUserNameExW", decltype(GetUserNameExW)>;
using ComputerNameDouble = Replaced<"KERNEL32", "GetComputerNameW", decltype(GetComputerNameW)>;
using ComputerNameExDouble =
    Replaced<"KERNEL32", "GetComputerNameExW", decltype(GetComputerNameExW)>;

BOOL Give(const wchar_t* name, LPWSTR buffer, LPDWORD size)
{
    const std::size_t length = std::wcslen(name);
    std::wmemcpy(buffer, name, length + 1);
    *size = static_cast<DWORD>(length);
    return TRUE;
}

TEST(CurrentUserNameTest, IsAskedForWith261Characters)
{
    const UserNameDouble userName(
        [](LPWSTR buffer, LPDWORD size)
        {
            EXPECT_EQ(*size, 261U);
            return Give(L"n\x4E2D %s%n", buffer, size);
        });
    EXPECT_EQ(User::GetCurrentUserName(), L"n\x4E2D %s%n");
}

TEST(CurrentUserNameTest, IsTheAccountThatRunsTheThread)
{
    wchar_t name[257] = {};
    DWORD size = 257;
    ASSERT_TRUE(GetUserNameW(name, &size));
    EXPECT_EQ(User::GetCurrentUserName(), name);
    EXPECT_NE(User::GetCurrentUserName(), L"");
}

TEST(CurrentUserNameTest, FailureGivesTheEmptyString)
{
    const UserNameDouble userName(
        [](LPWSTR buffer, LPDWORD)
        {
            *buffer = L'x';
            return FALSE;
        });
    EXPECT_EQ(User::GetCurrentUserName(), L"");
}

TEST(SamCompatibleNameTest, IsAskedForWith260Characters)
{
    const UserNameExDouble userName(
        [](EXTENDED_NAME_FORMAT format, LPWSTR buffer, PULONG size) -> BOOLEAN
        {
            EXPECT_EQ(format, 2);
            EXPECT_EQ(*size, 260U);
            return Give(L"DOMAIN\\name", buffer, size) != FALSE;
        });
    EXPECT_EQ(User::GetCurrentSamCompatibleName(), L"DOMAIN\\name");
}

TEST(SamCompatibleNameTest, FailureGivesTheEmptyString)
{
    const UserNameExDouble userName([](EXTENDED_NAME_FORMAT, LPWSTR, PULONG) -> BOOLEAN
                                    { return FALSE; });
    EXPECT_EQ(User::GetCurrentSamCompatibleName(), L"");
}

TEST(ComputerNameTest, IsAskedForWith32767Characters)
{
    const ComputerNameDouble computerName(
        [](LPWSTR buffer, LPDWORD size)
        {
            EXPECT_EQ(*size, 32767U);
            return Give(L"PC01", buffer, size);
        });
    EXPECT_EQ(User::GetNetBiosComputerName(), L"PC01");
}

TEST(ComputerNameTest, FailureGivesTheEmptyString)
{
    const ComputerNameDouble computerName([](LPWSTR, LPDWORD) { return FALSE; });
    EXPECT_EQ(User::GetNetBiosComputerName(), L"");
}

TEST(PhysicalDnsDomainTest, IsAskedForWith260Characters)
{
    const ComputerNameExDouble computerName(
        [](COMPUTER_NAME_FORMAT format, LPWSTR buffer, LPDWORD size)
        {
            EXPECT_EQ(format, 6);
            EXPECT_EQ(*size, 260U);
            return Give(L"corp.example", buffer, size);
        });
    EXPECT_EQ(User::GetPhysicalDnsDomain(), L"corp.example");
}

TEST(PhysicalDnsDomainTest, FailureGivesTheEmptyString)
{
    const ComputerNameExDouble computerName([](COMPUTER_NAME_FORMAT, LPWSTR, LPDWORD)
                                            { return FALSE; });
    EXPECT_EQ(User::GetPhysicalDnsDomain(), L"");
}
} // namespace
