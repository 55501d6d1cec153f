#include "WellKnownAccounts.h"

#include "LogFile.h"
#include "Replaced.h"
#include "ScarceMemory.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <sddl.h>

#include <cwchar>
#include <set>

namespace
{
using namespace WellKnownAccounts;
using LookupSidDouble = Replaced<"ADVAPI32", "LookupAccountSidW", decltype(LookupAccountSidW)>;

TEST(WellKnownAccountsTest, TableHoldsThreeAccountsInTheirOrder)
{
    ASSERT_EQ(All.size(), 3U);
    EXPECT_STREQ(All[0].sid, L"S-1-5-19");
    EXPECT_STREQ(All[1].sid, L"S-1-5-32-544");
    EXPECT_STREQ(All[2].sid, L"S-1-5-11");
    for (const WellKnownAccount& account : All)
    {
        EXPECT_STREQ(account.fallbackDomain, L"NT AUTHORITY");
    }
    EXPECT_STREQ(All[0].fallbackName, L"Local Service");
    EXPECT_STREQ(All[1].fallbackName, L"Administrators");
    EXPECT_STREQ(All[2].fallbackName, L"Authenticated Users");
}

TEST(WellKnownAccountsTest, SingleAccountsAreThoseOfTheTable)
{
    EXPECT_STREQ(LocalService.sid, L"S-1-5-19");
    EXPECT_STREQ(Administrators.sid, L"S-1-5-32-544");
    EXPECT_STREQ(AuthenticatedUsers.sid, L"S-1-5-11");
}

TEST(TrusteeNameTest, IsLocalised)
{
    const LookupSidDouble lookup(
        [](LPCWSTR, PSID sid, LPWSTR name, LPDWORD, LPWSTR domain, LPDWORD, PSID_NAME_USE)
        {
            wchar_t* text = nullptr;
            EXPECT_TRUE(ConvertSidToStringSidW(sid, &text));
            EXPECT_STREQ(text, L"S-1-5-19");
            LocalFree(text);
            std::wcscpy(name, L"Lokaler Dienst");
            std::wcscpy(domain, L"NT-AUTORIT\x00C4T");
            return TRUE;
        });
    EXPECT_EQ(TrusteeName(LocalService), L"NT-AUTORIT\x00C4T\\Lokaler Dienst");
    EXPECT_EQ(ResolveAccount(LocalService).name, L"Lokaler Dienst");
    EXPECT_EQ(ResolveAccount(LocalService).domain, L"NT-AUTORIT\x00C4T");
}

TEST(TrusteeNameTest, IsTheFallbackWhenTheLookUpFails)
{
    const LookupSidDouble lookup(
        [](LPCWSTR, PSID, LPWSTR, LPDWORD, LPWSTR, LPDWORD, PSID_NAME_USE)
        {
            SetLastError(ERROR_NONE_MAPPED);
            return FALSE;
        });
    EXPECT_EQ(TrusteeName(LocalService), L"NT AUTHORITY\\Local Service");
    EXPECT_EQ(TrusteeName(Administrators), L"NT AUTHORITY\\Administrators");
    EXPECT_EQ(TrusteeName(AuthenticatedUsers), L"NT AUTHORITY\\Authenticated Users");
}

TEST(TrusteeNameTest, IsTheFallbackWhenTheSidCannotBeConverted)
{
    const Replaced<"ADVAPI32", "ConvertStringSidToSidW", decltype(ConvertStringSidToSidW)> convert(
        [](LPCWSTR, PSID*) { return FALSE; });
    EXPECT_EQ(TrusteeName(LocalService), L"NT AUTHORITY\\Local Service");
}

TEST(TrusteeNameTest, IsTheFallbackWhenTheNameIsEmpty)
{
    const LookupSidDouble lookup(
        [](LPCWSTR, PSID, LPWSTR name, LPDWORD, LPWSTR domain, LPDWORD, PSID_NAME_USE)
        {
            *name = L'\0';
            std::wcscpy(domain, L"D");
            return TRUE;
        });
    EXPECT_EQ(TrusteeName(LocalService), L"NT AUTHORITY\\Local Service");
}

TEST(TrusteeNameTest, IsEmptyWithoutMemory)
{
    const ScarceMemory memory;
    const std::wstring whole = TrusteeName(Administrators);
    std::wstring name;
    std::set<std::wstring> names;
    ScarceMemory::ForEveryFailure(
        [&]
        {
            AccountNames::OfThisRun() = {};
            name = TrusteeName(Administrators);
        },
        [&] { names.insert(name); });
    EXPECT_EQ(names, (std::set<std::wstring>{L"", L"NT AUTHORITY\\Administrators", whole}));
}

TEST(TrusteeNameTest, SidIsGivenBack)
{
    PSID made = nullptr;
    const Replaced<"ADVAPI32", "ConvertStringSidToSidW", decltype(ConvertStringSidToSidW)> convert(
        [&](LPCWSTR text, PSID* sid)
        {
            const BOOL converted = decltype(convert)::Original(text, sid);
            made = *sid;
            return converted;
        });
    std::vector<void*> freed;
    const Replaced<"KERNEL32", "LocalFree", decltype(LocalFree)> localFree(
        [&](HLOCAL memory)
        {
            freed.push_back(memory);
            return decltype(localFree)::Original(memory);
        });
    static_cast<void>(TrusteeName(LocalService));
    EXPECT_EQ(freed, std::vector<void*>{made});
}

/// Notes the look-ups, which fail when they are told to.
class AccountNamesTest : public testing::Test
{
protected:
    std::vector<std::wstring> lookUps;
    bool fails = false;

private:
    LookupSidDouble lookup{[this](LPCWSTR machine, PSID sid, LPWSTR name, LPDWORD nameSize,
                                  LPWSTR domain, LPDWORD domainSize, PSID_NAME_USE use)
                           {
                               LocalPointer<wchar_t*> text;
                               EXPECT_TRUE(ConvertSidToStringSidW(sid, text.Receive()));
                               lookUps.emplace_back(text.Get());
                               return fails
                                          ? FALSE
                                          : LookupSidDouble::Original(machine, sid, name, nameSize,
                                                                      domain, domainSize, use);
                           }};
};

TEST_F(AccountNamesTest, AccountIsLookedUpOncePerRun)
{
    const AccountName first = ResolveAccount(Administrators);
    const AccountName second = ResolveAccount(Administrators);
    static_cast<void>(TrusteeName(LocalService));
    static_cast<void>(TrusteeName(LocalService));
    EXPECT_EQ(lookUps, (std::vector<std::wstring>{L"S-1-5-32-544", L"S-1-5-19"}));
    EXPECT_FALSE(first.name.empty());
    EXPECT_EQ(first.name, second.name);
    EXPECT_EQ(first.domain, second.domain);
}

TEST_F(AccountNamesTest, AccountThatCouldNotBeLookedUpIsLookedUpAgain)
{
    fails = true;
    EXPECT_EQ(TrusteeName(LocalService), L"NT AUTHORITY\\Local Service");
    EXPECT_EQ(TrusteeName(LocalService), L"NT AUTHORITY\\Local Service");
    EXPECT_EQ(lookUps.size(), 2U);
    fails = false;
    EXPECT_NE(TrusteeName(LocalService), L"");
    static_cast<void>(TrusteeName(LocalService));
    EXPECT_EQ(lookUps.size(), 3U);
}

TEST_F(AccountNamesTest, TheSidOfANameThatWasFoundIsKnown)
{
    AccountNames& names = AccountNames::OfThisRun();
    const std::wstring administrators = TrusteeName(Administrators);
    // S-1-5-32-544
    EXPECT_EQ(names.SidOf(administrators),
              (std::vector<BYTE>{1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x20, 2, 0, 0}));
    EXPECT_TRUE(names.SidOf(L"").empty());
    fails = true;
    EXPECT_TRUE(names.SidOf(TrusteeName(LocalService)).empty());
}

TEST_F(AccountNamesTest, StartLooksUpEveryAccountOnce)
{
    const Replaced<"ADVAPI32", "LookupAccountNameW", decltype(LookupAccountNameW)> lookUpName(
        [](LPCWSTR, LPCWSTR name, PSID, LPDWORD, LPWSTR, LPDWORD, PSID_NAME_USE)
        {
            ADD_FAILURE() << "it was looked up again: " << std::wstring(name);
            return FALSE;
        });
    const TemporaryFolder folder;
    const LogFile log(folder.Path(), L"Log");
    EXPECT_TRUE(GrantLocalServiceAccess(log));
    EXPECT_TRUE(GrantAuthenticatedUsersAccess(log));
    EXPECT_EQ(lookUps, (std::vector<std::wstring>{L"S-1-5-19", L"S-1-5-32-544", L"S-1-5-11"}));
}
} // namespace
