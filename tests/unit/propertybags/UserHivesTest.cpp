#include "UserHives.h"

#include "RedirectedRoot.h"
#include "Replaced.h"

#include <gtest/gtest.h>

namespace
{
class UserHivesTest : public ::testing::Test
{
protected:
    RedirectedRoot users{HKEY_USERS};
};

TEST_F(UserHivesTest, ComeFromTheLastEnumeratedToTheFirst)
{
    for (const wchar_t* hive : {L"A", L"B", L"C"})
    {
        users.CreateKey(hive);
    }
    std::vector<std::wstring> enumerated;
    for (DWORD i = 0; i < 3; ++i)
    {
        wchar_t name[8] = {};
        DWORD length = 8;
        ASSERT_EQ(RegEnumKeyExW(users.Key(), i, name, &length, nullptr, nullptr, nullptr, nullptr),
                  ERROR_SUCCESS);
        enumerated.emplace_back(name);
    }
    const std::vector<std::wstring> reversed(enumerated.rbegin(), enumerated.rend());
    EXPECT_EQ(UserHivesLastToFirst(), reversed);
}

TEST_F(UserHivesTest, NoneWithoutAHive)
{
    EXPECT_TRUE(UserHivesLastToFirst().empty());
}

TEST_F(UserHivesTest, NoneWhenTheRootCannotBeOpened)
{
    users.CreateKey(L"A");
    using Open = Replaced<"ADVAPI32", "RegOpenKeyExW", decltype(RegOpenKeyExW)>;
    const Open open([](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) -> LSTATUS
                    { return ERROR_ACCESS_DENIED; });
    EXPECT_TRUE(UserHivesLastToFirst().empty());
}

TEST_F(UserHivesTest, NoneWhenTheEnumerationBreaksOff)
{
    users.CreateKey(L"A");
    users.CreateKey(L"B");
    using Enumerate = Replaced<"ADVAPI32", "RegEnumKeyExW", decltype(RegEnumKeyExW)>;
    const Enumerate enumerate(
        [](HKEY key, DWORD index, LPWSTR name, LPDWORD length, LPDWORD reserved, LPWSTR type,
           LPDWORD typeLength, PFILETIME time) -> LSTATUS
        {
            return index == 1 ? ERROR_ACCESS_DENIED
                              : Enumerate::Original(key, index, name, length, reserved, type,
                                                    typeLength, time);
        });
    EXPECT_TRUE(UserHivesLastToFirst().empty());
}

TEST_F(UserHivesTest, BagLiesBelowTheHive)
{
    EXPECT_EQ(
        PropertyBagPath(L"S-1-5-18"),
        L"S-1-5-18\\Software\\Classes\\Local Settings\\Printers\\PropertyBags\\Manufacturers\\"
        L"Palvo");
}

TEST_F(UserHivesTest, NameOfAHiveIsDataAndNoFormat)
{
    EXPECT_EQ(PropertyBagPath(L"%s%n"),
              L"%s%n\\Software\\Classes\\Local Settings\\Printers\\PropertyBags\\Manufacturers\\"
              L"Palvo");
}

TEST_F(UserHivesTest, WhateverIsThrownForOneHiveTheNextFollows)
{
    users.CreateKey(L"A");
    users.CreateKey(L"B");
    int visited = 0;
    static int failures;
    failures = 0;
    EXPECT_NO_THROW(ForEveryPropertyBag(
        [&](RegistryKey&)
        {
            ++visited;
            throw 1;
        },
        []() noexcept { ++failures; }));
    EXPECT_EQ(visited, 2);
    EXPECT_EQ(failures, 2);
}

TEST_F(UserHivesTest, HiveIsVisitedWithoutCreatingABag)
{
    users.CreateKey(L"A");
    std::vector<std::wstring> visited;
    ForEveryHive([&](const std::wstring& hive) { visited.push_back(hive); },
                 []() noexcept { ADD_FAILURE(); });
    EXPECT_EQ(visited, std::vector<std::wstring>{L"A"});
    EXPECT_FALSE(users.HasKey(PropertyBagPath(L"A")));
}

TEST_F(UserHivesTest, BagThatIsHandledIsNoFailure)
{
    users.CreateKey(L"A");
    int visited = 0;
    ForEveryPropertyBag([&](RegistryKey&) { ++visited; }, []() noexcept { ADD_FAILURE(); });
    EXPECT_EQ(visited, 1);
}
} // namespace
