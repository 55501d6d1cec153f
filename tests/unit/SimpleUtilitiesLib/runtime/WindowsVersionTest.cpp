#include "WindowsVersion.h"

#include "Replaced.h"
#include "WindowsHeaders.h"

#include <gtest/gtest.h>

namespace
{
using VerifyDouble = Replaced<"KERNEL32", "VerifyVersionInfoW", decltype(VerifyVersionInfoW)>;

/// The conditions that VerSetConditionMask makes of these fields, all compared in the same way.
DWORDLONG Conditions(std::initializer_list<DWORD> fields, BYTE comparison)
{
    DWORDLONG conditions = 0;
    for (const DWORD field : fields)
    {
        conditions = VerSetConditionMask(conditions, field, comparison);
    }
    return conditions;
}

TEST(WindowsVersionTest, ComparesVersionAndServicePackAsGreaterOrEqual)
{
    const VerifyDouble verify(
        [](LPOSVERSIONINFOEXW wanted, DWORD fields, DWORDLONG conditions)
        {
            EXPECT_EQ(wanted->dwOSVersionInfoSize, 284U);
            EXPECT_EQ(wanted->dwMajorVersion, 6U);
            EXPECT_EQ(wanted->dwMinorVersion, 2U);
            EXPECT_EQ(wanted->wServicePackMajor, 0U);
            EXPECT_EQ(wanted->wServicePackMinor, 0U);
            EXPECT_EQ(fields, 0x33U);
            EXPECT_EQ(conditions, Conditions({0x1, 0x2, 0x10, 0x20}, 3));
            return TRUE;
        });
    EXPECT_TRUE(IsWindowsVersionOrLater(6, 2));
}

TEST(WindowsVersionTest, RefusalMeansAnEarlierWindows)
{
    const VerifyDouble verify([](LPOSVERSIONINFOEXW, DWORD, DWORDLONG) { return FALSE; });
    EXPECT_FALSE(IsWindowsVersionOrLater(10, 0));
}

TEST(WindowsVersionTest, ThisWindowsIsVistaOrLaterAndNotTheHundredth)
{
    EXPECT_TRUE(IsWindowsVersionOrLater(6, 0));
    EXPECT_FALSE(IsWindowsVersionOrLater(100, 0));
}

TEST(PrintServerTest, IsAskedForBySuitesOneOfWhichIsEnough)
{
    const VerifyDouble verify(
        [](LPOSVERSIONINFOEXW wanted, DWORD fields, DWORDLONG conditions)
        {
            EXPECT_EQ(wanted->dwOSVersionInfoSize, 284U);
            EXPECT_EQ(wanted->wSuiteMask, 0x0003U);
            EXPECT_EQ(fields, 0x40U);
            EXPECT_EQ(conditions, Conditions({0x40}, 7));
            return TRUE;
        });
    EXPECT_TRUE(IsPrintServer());
}

TEST(PrintServerTest, RefusalMeansNone)
{
    const VerifyDouble verify([](LPOSVERSIONINFOEXW, DWORD, DWORDLONG) { return FALSE; });
    EXPECT_FALSE(IsPrintServer());
}
} // namespace
