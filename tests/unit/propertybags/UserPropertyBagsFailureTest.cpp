#include "UserPropertyBagsFixture.h"

#include <sddl.h>

namespace
{
using namespace UserPropertyBagsTests;

using UserPropertyBagsFailureTest = UserPropertyBagsFixture;

TEST_F(UserPropertyBagsFailureTest, MembershipThatCannotBeToldIsNoAdmin)
{
    LogOn(L"Alice", AliceSid);
    sessions.sessions[0].isAdministrator = true;
    sessions.failing[L"CheckTokenMembership"] = ERROR_ACCESS_DENIED;
    Update();
    EXPECT_EQ(Value(AliceSid, L"IsAdmin"), L"0");
    EXPECT_TRUE(
        Happened(L"log: ERROR: Failed checking token membership for the Administrators group."));
}

TEST_F(UserPropertyBagsFailureTest, UnknownUserGetsNoIdentifiersButIsAdmin)
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

TEST_F(UserPropertyBagsFailureTest, SidThatCannotBeReadBackGivesNoIdentifiers)
{
    LogOn(L"Alice", AliceSid);
    int calls = 0;
    using Convert =
        Replaced<"ADVAPI32", "ConvertStringSidToSidW", decltype(ConvertStringSidToSidW)>;
    const Convert convert(
        [&](LPCWSTR text, PSID* sid) -> BOOL
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

TEST_F(UserPropertyBagsFailureTest, UserWhoCannotBeImpersonatedGetsNothing)
{
    LogOn(L"Alice", AliceSid);
    sessions.failing[L"ImpersonateLoggedOnUser"] = ERROR_ACCESS_DENIED;
    Update();
    EXPECT_FALSE(users.HasKey(std::wstring(AliceSid) + L"\\Software"));
    EXPECT_EQ(sessions.OpenTokens(), 0U);
}

TEST_F(UserPropertyBagsFailureTest, TokenThatCannotBeDuplicatedGetsNothing)
{
    LogOn(L"Alice", AliceSid);
    sessions.failing[L"DuplicateTokenEx(all)"] = ERROR_ACCESS_DENIED;
    Update();
    EXPECT_FALSE(users.HasKey(std::wstring(AliceSid) + L"\\Software"));
    EXPECT_EQ(sessions.OpenTokens(), 0U);
}

TEST_F(UserPropertyBagsFailureTest, HiveThatMayNotBeWrittenIsPassedOver)
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

TEST_F(UserPropertyBagsFailureTest, FailedUserIdDoesNotKeepTheOthersBack)
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
    EXPECT_EQ(testLog.Messages().size(), 1U) << "only the device id was written";
}

TEST_F(UserPropertyBagsFailureTest, UserIdThatIsNotWrittenIsNotClaimed)
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

TEST_F(UserPropertyBagsFailureTest, WhatIsNoFailureOfTheRegistryPassesOnAndEndsTheImpersonation)
{
    LogOn(L"Alice", AliceSid);
    using Set = Replaced<"ADVAPI32", "RegSetValueExW", decltype(RegSetValueExW)>;
    const Set set([](HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) -> LSTATUS
                  { throw std::bad_alloc(); });
    EXPECT_THROW(Update(), std::bad_alloc);
    EXPECT_EQ(sessions.Impersonated(), L"itself");
    EXPECT_EQ(sessions.OpenTokens(), 0U);
}
} // namespace
