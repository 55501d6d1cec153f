#include "Sids.h"

#include "Replaced.h"
#include "ScarceMemory.h"

#include <gtest/gtest.h>

#include <sddl.h>

#include <malloc.h>

#include <cwchar>

namespace
{
using LookupSidDouble = Replaced<"ADVAPI32", "LookupAccountSidW", decltype(LookupAccountSidW)>;
using LookupNameDouble = Replaced<"ADVAPI32", "LookupAccountNameW", decltype(LookupAccountNameW)>;
using TokenInformationDouble =
    Replaced<"ADVAPI32", "GetTokenInformation", decltype(GetTokenInformation)>;
using SidToTextDouble =
    Replaced<"ADVAPI32", "ConvertSidToStringSidW", decltype(ConvertSidToStringSidW)>;

/// Where a call that fails leaves an address; nobody's.
int garbage = 0;

/// Notes what is given back with LocalFree while it lives, and gives it back.
class FreedMemory
{
public:
    std::vector<void*> memory;

private:
    Replaced<"KERNEL32", "LocalFree", decltype(LocalFree)> localFree{
        [this](HLOCAL freed) -> HLOCAL
        {
            memory.push_back(freed);
            return freed == &garbage ? nullptr : decltype(localFree)::Original(freed);
        }};
};

std::wstring TextOf(PSID sid)
{
    LocalPointer<wchar_t*> text;
    return ConvertSidToStringSidW(sid, text.Receive()) ? text.Get() : L"NO SID";
}

class SidsTest : public testing::Test
{
protected:
    Sid system = SidFromText(L"S-1-5-18");
    std::wstring name = L"old name";
    std::wstring domain = L"old domain";
    std::vector<BYTE> bytes = {1, 2, 3};
};

TEST_F(SidsTest, TextBecomesASid)
{
    EXPECT_EQ(TextOf(SidFromText(L"S-1-5-32-544").Get()), L"S-1-5-32-544");
}

TEST_F(SidsTest, TextThatIsNoSidBecomesNothing)
{
    EXPECT_FALSE(SidFromText(L"S-1-x").IsValid());
}

TEST_F(SidsTest, WhatAFailedConversionLeavesIsNeitherASidNorGivenBack)
{
    const Replaced<"ADVAPI32", "ConvertStringSidToSidW", decltype(ConvertStringSidToSidW)> convert(
        [](LPCWSTR, PSID* sid)
        {
            *sid = &garbage;
            return FALSE;
        });
    const FreedMemory freed;
    EXPECT_FALSE(SidFromText(L"S-1-5-18").IsValid());
    EXPECT_EQ(freed.memory, std::vector<void*>{});
}

TEST_F(SidsTest, SidIsGivenBackAtTheEndOfItsLife)
{
    void* sid = nullptr;
    const FreedMemory freed;
    {
        const Sid owner = SidFromText(L"S-1-5-18");
        sid = owner.Get();
        ASSERT_NE(sid, nullptr);
        EXPECT_EQ(freed.memory, std::vector<void*>{});
    }
    EXPECT_EQ(freed.memory, std::vector<void*>{sid});
}

TEST_F(SidsTest, AccountOfASidIsLookedUpOnTheLocalMachine)
{
    const LookupSidDouble lookup(
        [&](LPCWSTR machine, PSID sid, LPWSTR nameBuffer, LPDWORD nameLength, LPWSTR domainBuffer,
            LPDWORD domainLength, PSID_NAME_USE)
        {
            EXPECT_EQ(machine, nullptr);
            EXPECT_EQ(sid, system.Get());
            EXPECT_EQ(*nameLength, 32U);
            EXPECT_EQ(*domainLength, 32U);
            std::wcscpy(nameBuffer, L"Syst\x00E8me");
            std::wcscpy(domainBuffer, L"AUTORITE NT");
            return TRUE;
        });
    EXPECT_TRUE(LookupAccountNameFromSid(system.Get(), name, domain));
    EXPECT_EQ(name, L"Syst\x00E8me");
    EXPECT_EQ(domain, L"AUTORITE NT");
}

TEST_F(SidsTest, LongNamesAreAskedForAgainWithTheSizesThatTheSystemWants)
{
    const std::wstring longName(99, L'n');
    const std::wstring longDomain(49, L'd');
    int calls = 0;
    const LookupSidDouble lookup(
        [&](LPCWSTR, PSID, LPWSTR nameBuffer, LPDWORD nameLength, LPWSTR domainBuffer,
            LPDWORD domainLength, PSID_NAME_USE)
        {
            if (++calls == 1)
            {
                *nameLength = 100;
                *domainLength = 50;
                SetLastError(ERROR_INSUFFICIENT_BUFFER);
                return FALSE;
            }
            EXPECT_EQ(*nameLength, 100U);
            EXPECT_EQ(*domainLength, 50U);
            std::wcscpy(nameBuffer, longName.c_str());
            std::wcscpy(domainBuffer, longDomain.c_str());
            return TRUE;
        });
    EXPECT_TRUE(LookupAccountNameFromSid(system.Get(), name, domain));
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(name, longName);
    EXPECT_EQ(domain, longDomain);
}

TEST_F(SidsTest, NamesThatFillTheirBuffersEndThere)
{
    const LookupSidDouble lookup(
        [](LPCWSTR, PSID, LPWSTR nameBuffer, LPDWORD nameLength, LPWSTR domainBuffer,
           LPDWORD domainLength, PSID_NAME_USE)
        {
            std::wmemset(nameBuffer, L'n', *nameLength);
            std::wmemset(domainBuffer, L'd', *domainLength);
            return TRUE;
        });
    EXPECT_TRUE(LookupAccountNameFromSid(system.Get(), name, domain));
    EXPECT_EQ(name, std::wstring(32, L'n'));
    EXPECT_EQ(domain, std::wstring(32, L'd'));
}

TEST_F(SidsTest, LookUpIsTriedAgainOnce)
{
    int calls = 0;
    const LookupSidDouble lookup(
        [&](LPCWSTR, PSID, LPWSTR, LPDWORD, LPWSTR, LPDWORD, PSID_NAME_USE)
        {
            ++calls;
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
        });
    EXPECT_FALSE(LookupAccountNameFromSid(system.Get(), name, domain));
    EXPECT_EQ(calls, 2);
}

TEST_F(SidsTest, UnknownSidHasNoAccount)
{
    int calls = 0;
    const LookupSidDouble lookup(
        [&](LPCWSTR, PSID, LPWSTR, LPDWORD, LPWSTR, LPDWORD, PSID_NAME_USE)
        {
            ++calls;
            SetLastError(ERROR_NONE_MAPPED);
            return FALSE;
        });
    EXPECT_FALSE(LookupAccountNameFromSid(system.Get(), name, domain));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(name, L"old name");
    EXPECT_EQ(domain, L"old domain");
}

TEST_F(SidsTest, AccountHasASid)
{
    const Sid administrators = SidFromText(L"S-1-5-32-544");
    ASSERT_TRUE(LookupAccountNameFromSid(administrators.Get(), name, domain));
    ASSERT_TRUE(LookupSidFromAccountName(domain + L"\\" + name, bytes));
    EXPECT_EQ(TextOf(bytes.data()), L"S-1-5-32-544");
}

TEST_F(SidsTest, UnknownAccountHasNoneAndIsAskedForOnce)
{
    int calls = 0;
    const LookupNameDouble lookup(
        [&](LPCWSTR machine, LPCWSTR account, PSID sid, LPDWORD sidSize, LPWSTR referenced,
            LPDWORD domainLength, PSID_NAME_USE use)
        {
            ++calls;
            return decltype(lookup)::Original(machine, account, sid, sidSize, referenced,
                                              domainLength, use);
        });
    EXPECT_FALSE(LookupSidFromAccountName(L"NOWHERE\\Nobody %s", bytes));
    EXPECT_TRUE(bytes.empty());
    EXPECT_EQ(calls, 1);
}

TEST_F(SidsTest, AccountIsAskedForAgainWithTheSizesThatTheSystemWants)
{
    int calls = 0;
    const LookupNameDouble lookup(
        [&](LPCWSTR machine, LPCWSTR account, PSID sid, LPDWORD sidSize, LPWSTR,
            LPDWORD domainLength, PSID_NAME_USE)
        {
            EXPECT_EQ(machine, nullptr);
            EXPECT_STREQ(account, L"D\\n");
            if (++calls == 1)
            {
                EXPECT_EQ(*sidSize, 68U);
                EXPECT_EQ(*domainLength, 32U);
                *sidSize = 100;
                *domainLength = 200;
                SetLastError(ERROR_INSUFFICIENT_BUFFER);
                return FALSE;
            }
            EXPECT_EQ(*sidSize, 100U);
            EXPECT_EQ(*domainLength, 200U);
            CopySid(*sidSize, sid, system.Get());
            return TRUE;
        });
    ASSERT_TRUE(LookupSidFromAccountName(L"D\\n", bytes));
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(bytes.size(), 100U);
    EXPECT_EQ(TextOf(bytes.data()), L"S-1-5-18");
}

TEST_F(SidsTest, AccountIsTriedAgainOnce)
{
    int calls = 0;
    const LookupNameDouble lookup(
        [&](LPCWSTR, LPCWSTR, PSID, LPDWORD, LPWSTR, LPDWORD, PSID_NAME_USE)
        {
            ++calls;
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
        });
    EXPECT_FALSE(LookupSidFromAccountName(L"D\\n", bytes));
    EXPECT_EQ(calls, 2);
    EXPECT_TRUE(bytes.empty());
}

class TokenUserTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Receive()));
    }

    KernelHandle token;
    std::wstring text = L"old";
};

TEST_F(TokenUserTest, IsTheTextOfTheUsersSid)
{
    EXPECT_TRUE(GetTokenUserSidString(token.Get(), text));
    EXPECT_TRUE(text.starts_with(L"S-1-5-"));
}

TEST_F(TokenUserTest, SizeIsAskedForFirst)
{
    std::vector<DWORD> sizes;
    const TokenInformationDouble information(
        [&](HANDLE handle, TOKEN_INFORMATION_CLASS kind, LPVOID buffer, DWORD size, PDWORD needed)
        {
            EXPECT_EQ(handle, token.Get());
            EXPECT_EQ(kind, TokenUser);
            EXPECT_EQ(buffer == nullptr, size == 0);
            sizes.push_back(size);
            return decltype(information)::Original(handle, kind, buffer, size, needed);
        });
    EXPECT_TRUE(GetTokenUserSidString(token.Get(), text));
    ASSERT_EQ(sizes.size(), 2U);
    EXPECT_EQ(sizes[0], 0U);
    EXPECT_GE(sizes[1], sizeof(TOKEN_USER));
}

TEST_F(TokenUserTest, HandleThatIsNoTokenHasNone)
{
    EXPECT_FALSE(GetTokenUserSidString(nullptr, text));
    EXPECT_EQ(text, L"");
}

TEST_F(TokenUserTest, TokenWithoutASizeIsNotAskedAgain)
{
    int calls = 0;
    const TokenInformationDouble information(
        [&](HANDLE, TOKEN_INFORMATION_CLASS, LPVOID, DWORD, PDWORD)
        {
            ++calls;
            return FALSE;
        });
    EXPECT_FALSE(GetTokenUserSidString(token.Get(), text));
    EXPECT_EQ(calls, 1);
}

TEST_F(TokenUserTest, TokenThatGivesNothingHasNone)
{
    const TokenInformationDouble information(
        [](HANDLE handle, TOKEN_INFORMATION_CLASS kind, LPVOID buffer, DWORD size, PDWORD needed)
        {
            return buffer == nullptr
                       ? decltype(information)::Original(handle, kind, buffer, size, needed)
                       : FALSE;
        });
    EXPECT_FALSE(GetTokenUserSidString(token.Get(), text));
    EXPECT_EQ(text, L"");
}

TEST_F(TokenUserTest, SidWithoutATextHasNone)
{
    const SidToTextDouble convert(
        [](PSID, LPWSTR* result)
        {
            *result = reinterpret_cast<LPWSTR>(&garbage);
            return FALSE;
        });
    const FreedMemory freed;
    EXPECT_FALSE(GetTokenUserSidString(token.Get(), text));
    EXPECT_EQ(text, L"");
    EXPECT_EQ(freed.memory, std::vector<void*>{});
}

TEST_F(TokenUserTest, TextIsGivenBackToTheSystem)
{
    void* given = nullptr;
    const SidToTextDouble convert(
        [&](PSID sid, LPWSTR* result)
        {
            const BOOL converted = decltype(convert)::Original(sid, result);
            given = *result;
            return converted;
        });
    const FreedMemory freed;
    EXPECT_TRUE(GetTokenUserSidString(token.Get(), text));
    EXPECT_EQ(freed.memory, std::vector<void*>{given});
}

TEST_F(TokenUserTest, LookUpsWithoutMemoryFailAndDoNotThrow)
{
    const ScarceMemory memory;
    const Sid system = SidFromText(L"S-1-5-18");
    std::wstring name = L"an old name that is longer than its object";
    std::wstring domain = L"an old domain that is longer than its object";
    std::vector<BYTE> bytes;
    const std::wstring account = L"NT AUTHORITY\\SYSTEM";
    bool found = false;
    int failures = 0;
    ScarceMemory::ForEveryRoom(
        [&] { found = LookupAccountNameFromSid(system.Get(), name, domain); },
        [&]
        {
            failures += found ? 0 : 1;
            EXPECT_EQ(name, found ? L"SYSTEM" : L"an old name that is longer than its object");
        });
    EXPECT_TRUE(found);
    ScarceMemory::ForEveryRoom([&] { found = LookupSidFromAccountName(account, bytes); },
                               [&]
                               {
                                   failures += found ? 0 : 1;
                                   EXPECT_EQ(bytes.empty(), !found);
                               });
    EXPECT_TRUE(found);
    ScarceMemory::ForEveryRoom([&] { found = GetTokenUserSidString(token.Get(), text); },
                               [&]
                               {
                                   failures += found ? 0 : 1;
                                   EXPECT_EQ(text.empty(), !found);
                               });
    EXPECT_TRUE(found);
    EXPECT_GT(failures, 4);
}

TEST_F(SidsTest, LackOfMemoryIsTheLastErrorOfALookUp)
{
    const ScarceMemory memory;
    const std::wstring account = L"NT AUTHORITY\\SYSTEM";
    ScarceMemory::Allow(0);
    SetLastError(0);
    const bool found = LookupSidFromAccountName(account, bytes);
    const DWORD error = GetLastError();
    ScarceMemory::End();
    EXPECT_FALSE(found);
    EXPECT_EQ(error, 8U);
}

TEST_F(TokenUserTest, EmptyTextIsNone)
{
    const SidToTextDouble convert(
        [](PSID, LPWSTR* result)
        {
            *result = static_cast<wchar_t*>(LocalAlloc(LPTR, 2));
            return TRUE;
        });
    EXPECT_FALSE(GetTokenUserSidString(token.Get(), text));
}

TEST_F(SidsTest, BuffersOfALookUpHaveTheRoomThatTheSystemIsToldOf)
{
    const LookupSidDouble lookup(
        [](LPCWSTR, PSID, LPWSTR nameBuffer, LPDWORD nameLength, LPWSTR domainBuffer,
           LPDWORD domainLength, PSID_NAME_USE)
        {
            EXPECT_GE(_msize(nameBuffer), *nameLength * sizeof(wchar_t));
            EXPECT_GE(_msize(domainBuffer), *domainLength * sizeof(wchar_t));
            SetLastError(ERROR_NONE_MAPPED);
            return FALSE;
        });
    EXPECT_FALSE(LookupAccountNameFromSid(system.Get(), name, domain));
}
} // namespace
