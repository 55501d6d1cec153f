#include "UserPropertyBagsFixture.h"

namespace
{
using namespace UserPropertyBagsTests;

using UserPropertyBagsTest = UserPropertyBagsFixture;

TEST_F(UserPropertyBagsTest, EveryStepOfOneUserInOrder)
{
    LogOn(L"Alice", AliceSid);
    Update();
    EXPECT_EQ(
        journal,
        (Journal{
            L"WTSEnumerateSessionsW",
            L"WTSQueryUserToken 1",
            L"DuplicateTokenEx(all) Alice",
            L"ImpersonateLoggedOnUser Alice/all",
            L"set UserId=e99f5482-95f6-9444-7b48-564d3e240c7c as Alice",
            L"log: Updated UserPropertyBag for 'CORP\\Alice': "
            L"UserId='e99f5482-95f6-9444-7b48-564d3e240c7c', Src='alice : pc01.corp.corp.example'",
            L"set DeviceId=380f3559-d37f-2ed1-f0d5-a507118a4015 as Alice",
            L"log: Updated UserPropertyBags: DeviceId='380f3559-d37f-2ed1-f0d5-a507118a4015', "
            L"Src=' :  : pc01.corp.corp.example'",
            L"RevertToSelf",
            L"TokenElevationType Alice",
            L"DuplicateTokenEx(query) Alice",
            L"CheckTokenMembership Alice/query S-1-5-32-544",
            L"CloseHandle Alice/query",
            L"ImpersonateLoggedOnUser Alice/all",
            L"set IsAdmin=0 as Alice",
            L"RevertToSelf",
            L"CloseHandle Alice/all",
            L"CloseHandle Alice",
        }));
    EXPECT_EQ(sessions.Impersonated(), L"itself");
    EXPECT_EQ(sessions.refusedCalls, 0U);
}

TEST_F(UserPropertyBagsTest, AllTokensAreTakenBeforeAnyUserIsHandled)
{
    LogOn(L"Alice", AliceSid);
    LogOn(L"Bob", BobSid);
    Update();
    ASSERT_GE(journal.size(), 4U);
    EXPECT_EQ(Journal(journal.begin(), journal.begin() + 4),
              (Journal{L"WTSEnumerateSessionsW", L"WTSQueryUserToken 1", L"WTSQueryUserToken 2",
                       L"DuplicateTokenEx(all) Alice"}));
}

TEST_F(UserPropertyBagsTest, UserIdGoesIntoTheUsersOwnHiveOnly)
{
    LogOn(L"Alice", AliceSid);
    LogOn(L"Bob", BobSid);
    users.CreateKey(L".DEFAULT");
    Update();
    EXPECT_EQ(Value(AliceSid, L"UserId"), AliceId);
    EXPECT_EQ(Value(BobSid, L"UserId"), BobId);
    EXPECT_EQ(Value(L".DEFAULT", L"UserId"), L"NO STRING");
}

TEST_F(UserPropertyBagsTest, DeviceIdAndIsAdminGoIntoEveryHive)
{
    LogOn(L"Alice", AliceSid);
    users.CreateKey(L".DEFAULT");
    users.CreateKey(std::wstring(AliceSid) + L"_Classes");
    Update();
    for (const std::wstring& hive :
         {std::wstring(AliceSid), std::wstring(L".DEFAULT"), std::wstring(AliceSid) + L"_Classes"})
    {
        EXPECT_EQ(Value(hive, L"DeviceId"), DeviceId) << hive;
        EXPECT_EQ(Value(hive, L"IsAdmin"), L"0") << hive;
    }
}

TEST_F(UserPropertyBagsTest, SharedHiveEndsWithTheValueOfTheLastUser)
{
    LogOn(L"Alice", AliceSid);
    LogOn(L"Bob", BobSid);
    sessions.sessions[1].isAdministrator = true;
    Update();
    EXPECT_EQ(Value(AliceSid, L"IsAdmin"), L"1");
}

TEST_F(UserPropertyBagsTest, LimitedAdministratorIsAdmin)
{
    LogOn(L"Alice", AliceSid);
    sessions.sessions[0].elevation = TokenElevationTypeLimited;
    sessions.sessions[0].isFullAdministrator = true;
    Update();
    EXPECT_EQ(Value(AliceSid, L"IsAdmin"), L"1");
}

TEST_F(UserPropertyBagsTest, LongAccountNameIsLookedUpAgain)
{
    LogOn(std::wstring(100, L'n'), AliceSid);
    sessions.sessions[0].domain = std::wstring(40, L'd');
    Update();
    ASSERT_FALSE(testLog.Messages().empty());
    EXPECT_TRUE(testLog.Messages()[0].starts_with(L"Updated UserPropertyBag for '" +
                                                  std::wstring(40, L'd') + L"\\" +
                                                  std::wstring(100, L'n') + L"': UserId='"));
}

TEST_F(UserPropertyBagsTest, NamesOfWhichOneAloneIsLongAreLookedUpAgain)
{
    LogOn(L"Alice", AliceSid);
    sessions.sessions[0].domain = std::wstring(32, L'd');
    LogOn(std::wstring(32, L'n'), BobSid);
    Update();
    ASSERT_EQ(testLog.Messages().size(), 4U);
    EXPECT_TRUE(testLog.Messages()[0].starts_with(L"Updated UserPropertyBag for '" +
                                                  std::wstring(32, L'd') + L"\\Alice': UserId='"));
    EXPECT_TRUE(testLog.Messages()[2].starts_with(L"Updated UserPropertyBag for 'CORP\\" +
                                                  std::wstring(32, L'n') + L"': UserId='"));
}

TEST_F(UserPropertyBagsTest, NameOfAUserIsDataAndNoFormat)
{
    LogOn(L"%s%n%d", AliceSid);
    Update();
    ASSERT_FALSE(testLog.Messages().empty());
    EXPECT_TRUE(
        testLog.Messages()[0].starts_with(L"Updated UserPropertyBag for 'CORP\\%s%n%d': UserId='"));
}

TEST_F(UserPropertyBagsTest, ControlCharactersOfANameAreLoggedAsTheyAre)
{
    LogOn(L"a\x07\x1B[2J\x7F", AliceSid);
    Update();
    ASSERT_FALSE(testLog.Messages().empty());
    EXPECT_TRUE(testLog.Messages()[0].starts_with(
        L"Updated UserPropertyBag for 'CORP\\a\x07\x1B[2J\x7F': UserId='"));
}

TEST_F(UserPropertyBagsTest, OwnBagAndTheBagsOfAllHivesAreSpelledEachInItsWay)
{
    LogOn(L"Alice", AliceSid);
    std::vector<std::wstring> paths;
    using Create = Replaced<"ADVAPI32", "RegCreateKeyExW", decltype(RegCreateKeyExW)>;
    const Create create(
        [&](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR type, DWORD options, REGSAM access,
            const LPSECURITY_ATTRIBUTES attributes, PHKEY key, LPDWORD disposition)
        {
            paths.emplace_back(path);
            return Create::Original(root, path, reserved, type, options, access, attributes, key,
                                    disposition);
        });
    Update();
    const std::wstring forAll = L"S-1-5-21-1-2-3-1001\\Software\\Classes\\Local Settings\\"
                                L"Printers\\PropertyBags\\Manufacturers\\Palvo";
    EXPECT_EQ(paths,
              (std::vector<std::wstring>{L"S-1-5-21-1-2-3-1001\\SOFTWARE\\Classes\\Local Settings\\"
                                         L"Printers\\PropertyBags\\Manufacturers\\Palvo",
                                         forAll, forAll}));
}

TEST_F(UserPropertyBagsTest, NoSessionsMeanNoWork)
{
    users.CreateKey(AliceSid);
    Update();
    EXPECT_EQ(journal, Journal{L"WTSEnumerateSessionsW"});
    EXPECT_FALSE(users.HasKey(std::wstring(AliceSid) + L"\\Software"));
}

TEST_F(UserPropertyBagsTest, AllHivesWriterWritesFromTheLastHiveToTheFirst)
{
    users.CreateKey(L"A");
    users.CreateKey(L"B");
    std::vector<std::wstring> paths;
    using Create = Replaced<"ADVAPI32", "RegCreateKeyExW", decltype(RegCreateKeyExW)>;
    const Create create(
        [&](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR type, DWORD options, REGSAM access,
            const LPSECURITY_ATTRIBUTES attributes, PHKEY key, LPDWORD disposition)
        {
            paths.emplace_back(path);
            return Create::Original(root, path, reserved, type, options, access, attributes, key,
                                    disposition);
        });
    SetValueInAllUserPropertyBags(L"Name", L"%s text");
    EXPECT_EQ(paths,
              (std::vector<std::wstring>{std::wstring(L"B") + Bag, std::wstring(L"A") + Bag}));
    EXPECT_EQ(Value(L"A", L"Name"), L"%s text");
    EXPECT_EQ(Value(L"B", L"Name"), L"%s text");
}
} // namespace
