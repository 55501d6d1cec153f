#include "UserPropertyBags.h"

#include "FakeNames.h"
#include "FakeSessions.h"
#include "FakeWmi.h"
#include "RedirectedRoot.h"
#include "RegistryJournal.h"
#include "TestLog.h"

#include <sddl.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace
{
constexpr wchar_t Bag[] =
    L"\\Software\\Classes\\Local Settings\\Printers\\PropertyBags\\Manufacturers\\Palvo";
constexpr wchar_t AliceSid[] = L"S-1-5-21-1-2-3-1001";
constexpr wchar_t BobSid[] = L"S-1-5-21-1-2-3-1002";
constexpr wchar_t AliceId[] = L"e99f5482-95f6-9444-7b48-564d3e240c7c";
constexpr wchar_t BobId[] = L"d12625fb-eb8d-21a9-a318-d086f5c3f8fb";
constexpr wchar_t DeviceId[] = L"380f3559-d37f-2ed1-f0d5-a507118a4015";

class UserPropertyBagsTest : public ::testing::Test
{
protected:
    void LogOn(const std::wstring& name, const std::wstring& sid)
    {
        FakeSession session;
        session.id = static_cast<DWORD>(sessions.sessions.size()) + 1;
        session.name = name;
        session.sid = sid;
        session.domain = L"CORP";
        sessions.sessions.push_back(session);
        users.CreateKey(sid);
    }

    void Update() { UpdateUserPropertyBags(testLog.Log()); }
    std::wstring Value(const std::wstring& hive, const std::wstring& name) const
    {
        return users.String(hive + Bag, name);
    }
    bool Happened(const std::wstring& line) const
    {
        return std::find(journal.begin(), journal.end(), line) != journal.end();
    }

    TestLog testLog;
    RedirectedRoot users{HKEY_USERS};
    Journal journal;
    Journal wmiJournal;
    FakeWmi wmi{wmiJournal};
    FakeNames names;
    FakeSessions sessions{journal};
    RegistryJournal registry{journal, [this] { return sessions.Impersonated(); }};
    LogJournal log{journal};
};

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

TEST_F(UserPropertyBagsTest, MembershipThatCannotBeToldIsNoAdmin)
{
    LogOn(L"Alice", AliceSid);
    sessions.sessions[0].isAdministrator = true;
    sessions.failing[L"CheckTokenMembership"] = ERROR_ACCESS_DENIED;
    Update();
    EXPECT_EQ(Value(AliceSid, L"IsAdmin"), L"0");
    EXPECT_TRUE(
        Happened(L"log: ERROR: Failed checking token membership for the Administrators group."));
}

TEST_F(UserPropertyBagsTest, UnknownUserGetsNoIdentifiersButIsAdmin)
{
    LogOn(L"Alice", AliceSid);
    for (const wchar_t* step : {L"TokenUser", L"TokenUser(filled)", L"LookupAccountSidW"})
    {
        SCOPED_TRACE(step);
        sessions.failing = {{step, ERROR_ACCESS_DENIED}};
        Update();
        EXPECT_EQ(Value(AliceSid, L"UserId"), L"NO STRING");
        EXPECT_EQ(Value(AliceSid, L"DeviceId"), L"NO STRING");
        EXPECT_EQ(Value(AliceSid, L"IsAdmin"), L"0");
    }
    EXPECT_TRUE(testLog.Messages().empty());
}

TEST_F(UserPropertyBagsTest, SidThatCannotBeReadBackGivesNoIdentifiers)
{
    LogOn(L"Alice", AliceSid);
    int calls = 0;
    using Convert =
        Replaced<"ADVAPI32", "ConvertStringSidToSidW", decltype(ConvertStringSidToSidW)>;
    const Convert convert(
        [&](LPCWSTR text, PSID* sid) -> WINBOOL
        {
            // The doubled token reads its SID twice before.
            return ++calls <= 2 ? Convert::Original(text, sid) : FALSE;
        });
    Update();
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(Value(AliceSid, L"UserId"), L"NO STRING");
    EXPECT_EQ(Value(AliceSid, L"DeviceId"), L"NO STRING");
    EXPECT_EQ(Value(AliceSid, L"IsAdmin"), L"0");
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

TEST_F(UserPropertyBagsTest, NameOfAUserIsDataAndNoFormat)
{
    LogOn(L"%s%n%d", AliceSid);
    Update();
    ASSERT_FALSE(testLog.Messages().empty());
    EXPECT_TRUE(
        testLog.Messages()[0].starts_with(L"Updated UserPropertyBag for 'CORP\\%s%n%d': UserId='"));
}

TEST_F(UserPropertyBagsTest, UserWhoCannotBeImpersonatedGetsNothing)
{
    LogOn(L"Alice", AliceSid);
    sessions.failing[L"ImpersonateLoggedOnUser"] = ERROR_ACCESS_DENIED;
    Update();
    EXPECT_FALSE(users.HasKey(std::wstring(AliceSid) + L"\\Software"));
    EXPECT_EQ(sessions.OpenTokens(), 0U);
}

TEST_F(UserPropertyBagsTest, TokenThatCannotBeDuplicatedGetsNothing)
{
    LogOn(L"Alice", AliceSid);
    sessions.failing[L"DuplicateTokenEx(all)"] = ERROR_ACCESS_DENIED;
    Update();
    EXPECT_FALSE(users.HasKey(std::wstring(AliceSid) + L"\\Software"));
    EXPECT_EQ(sessions.OpenTokens(), 0U);
}

TEST_F(UserPropertyBagsTest, HiveThatMayNotBeWrittenIsPassedOver)
{
    LogOn(L"Alice", AliceSid);
    users.CreateKey(L".DEFAULT");
    users.CreateKey(L"Z");
    using Create = Replaced<"ADVAPI32", "RegCreateKeyExW", decltype(RegCreateKeyExW)>;
    std::vector<REGSAM> accesses;
    const Create create(
        [&](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR type, DWORD options, REGSAM access,
            const LPSECURITY_ATTRIBUTES attributes, PHKEY key, LPDWORD disposition) -> LSTATUS
        {
            accesses.push_back(access);
            return path[0] == L'Z' ? ERROR_ACCESS_DENIED
                                   : Create::Original(root, path, reserved, type, options, access,
                                                      attributes, key, disposition);
        });
    Update();
    EXPECT_EQ(Value(AliceSid, L"DeviceId"), DeviceId);
    EXPECT_EQ(Value(L".DEFAULT", L"DeviceId"), DeviceId);
    EXPECT_FALSE(users.HasKey(L"Z\\Software"));
    EXPECT_EQ(accesses,
              (std::vector<REGSAM>{0x20006, 0x2001F, 0x2001F, 0x2001F, 0x2001F, 0x2001F, 0x2001F}));
}

TEST_F(UserPropertyBagsTest, FailedUserIdDoesNotKeepTheOthersBack)
{
    LogOn(L"Alice", AliceSid);
    using Set = Replaced<"ADVAPI32", "RegSetValueExW", decltype(RegSetValueExW)>;
    const Set set(
        [](HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
           DWORD size) -> LSTATUS
        {
            return std::wstring(name) == L"UserId"
                       ? ERROR_ACCESS_DENIED
                       : Set::Original(key, name, reserved, type, data, size);
        });
    Update();
    EXPECT_EQ(Value(AliceSid, L"DeviceId"), DeviceId);
    EXPECT_EQ(Value(AliceSid, L"IsAdmin"), L"0");
}

TEST_F(UserPropertyBagsTest, UserIdThatIsNotWrittenIsNotClaimed)
{
    LogOn(L"Alice", AliceSid);
    using Create = Replaced<"ADVAPI32", "RegCreateKeyExW", decltype(RegCreateKeyExW)>;
    const Create create([](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM, const LPSECURITY_ATTRIBUTES,
                           PHKEY, LPDWORD) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    Update();
    EXPECT_EQ(testLog.Messages(),
              std::vector<std::wstring>{L"Updated UserPropertyBags: "
                                        L"DeviceId='380f3559-d37f-2ed1-f0d5-a507118a4015', "
                                        L"Src=' :  : pc01.corp.corp.example'"});
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
