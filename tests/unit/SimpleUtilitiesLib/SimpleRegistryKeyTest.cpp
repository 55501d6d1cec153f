#include "SimpleRegistryKey.h"

#include "FieldOffsets.h"
#include "PrivateMember.h"
#include "RegistryKeyFixture.h"
#include "Replaced.h"
#include "ScarceMemory.h"

#include <gtest/gtest.h>

PRIVATE_FIELD(KeyHandle, RegistryKey, HKEY, handle);
PRIVATE_FIELD(KeyIsOwned, RegistryKey, bool, ownsHandle);
PRIVATE_FIELD(KeyReserve, RegistryKey, void*, reserved);

namespace
{
TEST(RegistryKeyFieldsTest, StandInTheirOrderAndTheReserveIsNull)
{
    const RegistryKey key(HKEY_USERS, false);
    EXPECT_EQ(OffsetsOf(key, MemberOf(KeyHandle{}), MemberOf(KeyIsOwned{}), MemberOf(KeyReserve{})),
              (std::vector<std::size_t>{0, 8, 16}));
    static_assert(sizeof(RegistryKey) == 24);
    EXPECT_EQ(key.*MemberOf(KeyHandle{}), HKEY_USERS);
    EXPECT_FALSE(key.*MemberOf(KeyIsOwned{}));
    EXPECT_EQ(key.*MemberOf(KeyReserve{}), nullptr);
}

using OpenDouble = Replaced<"ADVAPI32", "RegOpenKeyExW", decltype(RegOpenKeyExW)>;
using CreateDouble = Replaced<"ADVAPI32", "RegCreateKeyExW", decltype(RegCreateKeyExW)>;
using CloseDouble = Replaced<"ADVAPI32", "RegCloseKey", decltype(RegCloseKey)>;

TEST_F(RegistryKeyTest, OpensAKeyThatExists)
{
    root.CreateKey(L"a\\b");
    EXPECT_NE(RegistryKey::OpenRegistryKey(HKEY_USERS, L"a\\b", KEY_READ), nullptr);
}

TEST_F(RegistryKeyTest, KeyThatDoesNotExistIsNeitherOpenedNorMade)
{
    EXPECT_EQ(RegistryKey::OpenRegistryKey(HKEY_USERS, L"a", KEY_READ), nullptr);
    EXPECT_FALSE(root.HasKey(L"a"));
}

TEST_F(RegistryKeyTest, OpensWithTheAccessThatIsGiven)
{
    const OpenDouble open(
        [](HKEY rootKey, LPCWSTR subKey, DWORD options, REGSAM access, PHKEY) -> LSTATUS
        {
            EXPECT_EQ(rootKey, HKEY_USERS);
            EXPECT_STREQ(subKey, L"a\\b");
            EXPECT_EQ(options, 0U);
            EXPECT_EQ(access, 0x2001FU);
            return ERROR_ACCESS_DENIED;
        });
    EXPECT_EQ(RegistryKey::OpenRegistryKey(HKEY_USERS, L"a\\b", 0x2001F), nullptr);
}

TEST_F(RegistryKeyTest, CreatesAllMissingLevelsAndClearsTheErrorText)
{
    const auto key = RegistryKey::CreateRegistryKey(HKEY_USERS, L"a\\b\\c", KEY_READ, errorText);
    EXPECT_NE(key, nullptr);
    EXPECT_EQ(errorText, L"");
    EXPECT_TRUE(root.HasKey(L"a\\b\\c"));
}

TEST_F(RegistryKeyTest, CreatesAnOrdinaryKeyWithTheAccessThatIsGiven)
{
    const CreateDouble create(
        [](HKEY rootKey, LPCWSTR subKey, DWORD reserved, LPWSTR keyClass, DWORD options,
           REGSAM access, const LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition)
        {
            EXPECT_EQ(reserved, 0U);
            EXPECT_EQ(keyClass, nullptr);
            EXPECT_EQ(options, 0U);
            EXPECT_EQ(access, 0x20006U);
            EXPECT_EQ(security, nullptr);
            return decltype(create)::Original(rootKey, subKey, reserved, keyClass, options, access,
                                              security, key, disposition);
        });
    EXPECT_NE(RegistryKey::CreateRegistryKey(HKEY_USERS, L"a", 0x20006, errorText), nullptr);
    EXPECT_NE(RegistryKey::CreateRegistryKey(HKEY_USERS, L"b", 0x20006), nullptr);
}

TEST_F(RegistryKeyTest, KeyThatCannotBeCreatedIsToldByTheErrorText)
{
    const CreateDouble create([](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM,
                                 const LPSECURITY_ATTRIBUTES, PHKEY, LPDWORD) -> LSTATUS
                              { return 0x2FFFFFFF; });
    EXPECT_EQ(RegistryKey::CreateRegistryKey(HKEY_USERS, L"a\\%s \x4E2D", KEY_WRITE, errorText),
              nullptr);
    EXPECT_EQ(errorText, L"RegCreateKeyEx(a\\%s \x4E2D) failed!  = 805306367/0x2fffffff: Unknown "
                         L"value");
}

TEST_F(RegistryKeyTest, ErrorTextHoldsTheSystemsText)
{
    const CreateDouble create([](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM,
                                 const LPSECURITY_ATTRIBUTES, PHKEY, LPDWORD) -> LSTATUS
                              { return ERROR_ACCESS_DENIED; });
    EXPECT_EQ(RegistryKey::CreateRegistryKey(HKEY_USERS, L"k", KEY_WRITE, errorText), nullptr);
    EXPECT_TRUE(errorText.starts_with(L"RegCreateKeyEx(k) failed!  = 5/0x5: "));
    EXPECT_TRUE(errorText.ends_with(L"\r\n"));
}

TEST_F(RegistryKeyTest, CreatingWithoutMemoryGivesNoKeyAndDoesNotThrow)
{
    const ScarceMemory memory;
    const std::wstring name(300, L'k');
    const CreateDouble create([](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM,
                                 const LPSECURITY_ATTRIBUTES, PHKEY, LPDWORD) -> LSTATUS
                              { return ERROR_ACCESS_DENIED; });
    std::shared_ptr<RegistryKey> key;
    ScarceMemory::ForEveryRoom(
        [&] { key = RegistryKey::CreateRegistryKey(HKEY_USERS, name, 0, errorText); },
        [&] { EXPECT_EQ(key, nullptr); });
    EXPECT_TRUE(errorText.starts_with(L"RegCreateKeyEx(" + name));
}

TEST_F(RegistryKeyTest, KeyThatWasCreatedWithoutMemoryForItIsClosed)
{
    const ScarceMemory memory;
    int open = 0;
    const CreateDouble create(
        [&](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM, const LPSECURITY_ATTRIBUTES, PHKEY key,
            LPDWORD) -> LSTATUS
        {
            ++open;
            *key = reinterpret_cast<HKEY>(0x1234);
            return ERROR_SUCCESS;
        });
    const CloseDouble close(
        [&](HKEY) -> LSTATUS
        {
            --open;
            return ERROR_SUCCESS;
        });
    std::shared_ptr<RegistryKey> key;
    ScarceMemory::ForEveryRoom(
        [&] { key = RegistryKey::CreateRegistryKey(HKEY_USERS, L"k", 0, errorText); },
        [&]
        {
            EXPECT_EQ(open, key == nullptr ? 0 : 1);
            key.reset();
            EXPECT_EQ(open, 0);
        });
}

TEST_F(RegistryKeyTest, OpeningWithoutMemoryGivesNoKeyAndDoesNotThrow)
{
    const ScarceMemory memory;
    int open = 0;
    const OpenDouble openKey(
        [&](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY key) -> LSTATUS
        {
            ++open;
            *key = reinterpret_cast<HKEY>(0x1234);
            return ERROR_SUCCESS;
        });
    const CloseDouble close(
        [&](HKEY) -> LSTATUS
        {
            --open;
            return ERROR_SUCCESS;
        });
    std::shared_ptr<RegistryKey> key;
    int refusals = 0;
    ScarceMemory::ForEveryRoom([&]
                               { key = RegistryKey::OpenRegistryKey(HKEY_USERS, L"k", KEY_READ); },
                               [&]
                               {
                                   EXPECT_EQ(open, key == nullptr ? 0 : 1);
                                   refusals += key == nullptr ? 1 : 0;
                                   key.reset();
                                   EXPECT_EQ(open, 0);
                               });
    EXPECT_GT(refusals, 0);
}

TEST_F(RegistryKeyTest, WhatAFailingCallLeavesIsNobodysToClose)
{
    const auto garbage = reinterpret_cast<HKEY>(0x1234);
    const OpenDouble open(
        [&](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY key) -> LSTATUS
        {
            *key = garbage;
            return ERROR_ACCESS_DENIED;
        });
    const CreateDouble create(
        [&](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM, const LPSECURITY_ATTRIBUTES, PHKEY key,
            LPDWORD) -> LSTATUS
        {
            *key = garbage;
            return ERROR_ACCESS_DENIED;
        });
    int closings = 0;
    const CloseDouble close(
        [&](HKEY) -> LSTATUS
        {
            ++closings;
            return ERROR_SUCCESS;
        });
    EXPECT_EQ(RegistryKey::OpenRegistryKey(HKEY_USERS, L"k", KEY_READ), nullptr);
    EXPECT_EQ(RegistryKey::CreateRegistryKey(HKEY_USERS, L"k", KEY_WRITE, errorText), nullptr);
    EXPECT_THROW(RegistryKey::CreateRegistryKey(HKEY_USERS, L"k", KEY_WRITE),
                 ExceptionRegistryRequest);
    EXPECT_EQ(closings, 0);
}

TEST_F(RegistryKeyTest, CallerWithoutAnErrorTextGetsAnException)
{
    const CreateDouble create([](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM,
                                 const LPSECURITY_ATTRIBUTES, PHKEY, LPDWORD) -> LSTATUS
                              { return ERROR_ACCESS_DENIED; });
    const auto create239 = [] { RegistryKey::CreateRegistryKey(HKEY_USERS, L"k", KEY_WRITE); };
    ExpectRegistryRequest(L"RegistryKey::CreateRegistryKey", create239);
    EXPECT_EQ(ThrownBy(create239)->Line(), 239U);
}

TEST_F(RegistryKeyTest, LastOwnerClosesTheKey)
{
    HKEY closed = nullptr;
    int closings = 0;
    const CloseDouble close(
        [&](HKEY key)
        {
            closed = key;
            ++closings;
            return decltype(close)::Original(key);
        });
    auto first = Key();
    auto second = first;
    first.reset();
    EXPECT_EQ(closings, 0);
    second.reset();
    EXPECT_EQ(closings, 1);
    EXPECT_NE(closed, nullptr);
}

TEST_F(RegistryKeyTest, KeyOfSomebodyElseIsNotClosed)
{
    int closings = 0;
    const CloseDouble close(
        [&](HKEY) -> LSTATUS
        {
            ++closings;
            return ERROR_SUCCESS;
        });
    {
        const RegistryKey users(HKEY_USERS, false);
    }
    EXPECT_EQ(closings, 0);
}

TEST_F(RegistryKeyTest, ClosingLeavesTheLastErrorAlone)
{
    const CloseDouble close(
        [](HKEY key)
        {
            SetLastError(1);
            return decltype(close)::Original(key);
        });
    auto key = Key();
    SetLastError(0xABCDE);
    key.reset();
    EXPECT_EQ(GetLastError(), 0xABCDEU);
}
} // namespace
