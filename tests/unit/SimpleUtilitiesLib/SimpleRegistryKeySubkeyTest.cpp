#include "SimpleRegistryKey.h"

#include "RegistryKeyFixture.h"
#include "Replaced.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{
using QueryInfoDouble = Replaced<"ADVAPI32", "RegQueryInfoKeyW", decltype(RegQueryInfoKeyW)>;
using EnumDouble = Replaced<"ADVAPI32", "RegEnumKeyExW", decltype(RegEnumKeyExW)>;
using Names = std::vector<std::wstring>;

class RegistryKeySubkeyTest : public RegistryKeyTest
{
protected:
    Names names = {L"old"};
};

TEST_F(RegistryKeySubkeyTest, SubkeysAreListed)
{
    const std::wstring longest(255, L'k');
    root.CreateKey(L"Key\\b\\deeper");
    root.CreateKey(L"Key\\" + longest);
    root.CreateKey(L"Key\\a \x4E2D");
    EXPECT_TRUE(Key()->EnumerateSubKeys(names));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (Names{L"a \x4E2D", L"b", longest}));
}

TEST_F(RegistryKeySubkeyTest, KeyWithoutSubkeysGivesFalseAndAnEmptyList)
{
    EXPECT_FALSE(Key()->EnumerateSubKeys(names));
    EXPECT_TRUE(names.empty());
}

TEST_F(RegistryKeySubkeyTest, KeyThatIsNotOpenHasNoSubkeysToTell)
{
    int queries = 0;
    const QueryInfoDouble query(
        [&](HKEY, LPWSTR, LPDWORD, LPDWORD, LPDWORD, LPDWORD, LPDWORD, LPDWORD, LPDWORD, LPDWORD,
            LPDWORD, PFILETIME) -> LSTATUS
        {
            ++queries;
            return ERROR_SUCCESS;
        });
    EXPECT_FALSE(RegistryKey(nullptr, true).EnumerateSubKeys(names));
    EXPECT_TRUE(names.empty());
    EXPECT_EQ(queries, 0);
}

TEST_F(RegistryKeySubkeyTest, KeyWhoseInformationCannotBeReadGivesFalse)
{
    root.CreateKey(L"Key\\a");
    const auto key = Key();
    const QueryInfoDouble query(
        [&](HKEY, LPWSTR, LPDWORD, LPDWORD, LPDWORD count, LPDWORD, LPDWORD, LPDWORD, LPDWORD,
            LPDWORD, LPDWORD, PFILETIME) -> LSTATUS
        {
            *count = 1;
            return ERROR_ACCESS_DENIED;
        });
    EXPECT_FALSE(key->EnumerateSubKeys(names));
    EXPECT_TRUE(names.empty());
}

TEST_F(RegistryKeySubkeyTest, NamesAreReadInOrderIntoRoomForTheLongest)
{
    root.CreateKey(L"Key\\abc");
    root.CreateKey(L"Key\\d");
    const auto key = Key();
    std::vector<DWORD> indices;
    const EnumDouble enumerate(
        [&](HKEY handle, DWORD index, LPWSTR name, LPDWORD length, LPDWORD reserved,
            LPWSTR keyClass, LPDWORD classLength, PFILETIME time)
        {
            EXPECT_EQ(*length, 4U);
            EXPECT_EQ(reserved, nullptr);
            if (index == 0)
            {
                EXPECT_EQ(std::wstring(name, 4), std::wstring(4, L'\0'));
            }
            indices.push_back(index);
            return decltype(enumerate)::Original(handle, index, name, length, reserved, keyClass,
                                                 classLength, time);
        });
    EXPECT_TRUE(key->EnumerateSubKeys(names));
    EXPECT_EQ(indices, (std::vector<DWORD>{0, 1, 2}));
}

TEST_F(RegistryKeySubkeyTest, ErrorAmongTheSubkeysEmptiesTheList)
{
    root.CreateKey(L"Key\\a");
    root.CreateKey(L"Key\\b");
    const auto key = Key();
    const EnumDouble enumerate(
        [&](HKEY handle, DWORD index, LPWSTR name, LPDWORD length, LPDWORD reserved,
            LPWSTR keyClass, LPDWORD classLength, PFILETIME time) -> LSTATUS
        {
            return index == 1 ? ERROR_MORE_DATA
                              : decltype(enumerate)::Original(handle, index, name, length, reserved,
                                                              keyClass, classLength, time);
        });
    EXPECT_FALSE(key->EnumerateSubKeys(names));
    EXPECT_TRUE(names.empty());
}
} // namespace
