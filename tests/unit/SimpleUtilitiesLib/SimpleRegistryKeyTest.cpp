#include "SimpleRegistryKey.h"

#include "ExactValue.h"
#include "LegacyPlvException.h"
#include "RedirectedRoot.h"
#include "Replaced.h"
#include "ScarceMemory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

namespace
{
using OpenDouble = Replaced<"ADVAPI32", "RegOpenKeyExW", decltype(RegOpenKeyExW)>;
using CreateDouble = Replaced<"ADVAPI32", "RegCreateKeyExW", decltype(RegCreateKeyExW)>;
using SetDouble = Replaced<"ADVAPI32", "RegSetValueExW", decltype(RegSetValueExW)>;
using QueryDouble = Replaced<"ADVAPI32", "RegQueryValueExW", decltype(RegQueryValueExW)>;
using QueryInfoDouble = Replaced<"ADVAPI32", "RegQueryInfoKeyW", decltype(RegQueryInfoKeyW)>;
using EnumDouble = Replaced<"ADVAPI32", "RegEnumKeyExW", decltype(RegEnumKeyExW)>;
using CloseDouble = Replaced<"ADVAPI32", "RegCloseKey", decltype(RegCloseKey)>;
using Bytes = std::vector<std::uint8_t>;
using Names = std::vector<std::wstring>;

/// The exception that `work` throws.
template <class Work> std::optional<ExceptionRegistryRequest> ThrownBy(Work work)
{
    try
    {
        work();
    }
    catch (const ExceptionRegistryRequest& e)
    {
        return e;
    }
    return std::nullopt;
}

template <class Work> void ExpectRegistryRequest(const wchar_t* method, Work work)
{
    const auto e = ThrownBy(work);
    ASSERT_TRUE(e.has_value()) << "nothing was thrown";
    EXPECT_EQ(e->Method(), method);
    EXPECT_EQ(e->File(), L"src\\SimpleUtilitiesLib\\SimpleRegistryKey");
    EXPECT_EQ(e->Details(), L"");
}

class RegistryKeyTest : public testing::Test
{
protected:
    std::shared_ptr<RegistryKey> Key()
    {
        return RegistryKey::CreateRegistryKey(HKEY_USERS, L"Key", KEY_READ | KEY_WRITE, errorText);
    }

    /// What GetValue gives for a value of these bytes.
    Bytes Read(DWORD type, const Bytes& stored)
    {
        StoreExactly(root, L"Key", L"v", type, stored);
        EXPECT_TRUE(Key()->GetValue(L"v", bytes));
        return bytes;
    }

    RedirectedRoot root{HKEY_USERS};
    std::wstring errorText = L"old";
    Bytes bytes = {9, 9};
    Names names = {L"old"};
};

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

TEST_F(RegistryKeyTest, NumberIsStoredAsEightBytesLeastFirst)
{
    Key()->SetValue(L"n", std::uint64_t{0x8807060504030201});
    const auto value = root.Get(L"Key", L"n");
    ASSERT_TRUE(value.has_value());
    EXPECT_EQ(value->type, 11U);
    EXPECT_EQ(value->bytes, (Bytes{1, 2, 3, 4, 5, 6, 7, 0x88}));
}

TEST_F(RegistryKeyTest, StringIsStoredWithExactlyOneZero)
{
    Key()->SetValue(L"s", std::wstring(L"a\x4E2D"));
    const auto value = root.Get(L"Key", L"s");
    ASSERT_TRUE(value.has_value());
    EXPECT_EQ(value->type, 1U);
    EXPECT_EQ(value->bytes, (Bytes{'a', 0, 0x2D, 0x4E, 0, 0}));
}

TEST_F(RegistryKeyTest, EmptyStringIsStoredAsTwoZeroBytes)
{
    Key()->SetValue(L"s", std::wstring());
    const auto value = root.Get(L"Key", L"s");
    ASSERT_TRUE(value.has_value());
    EXPECT_EQ(value->type, 1U);
    EXPECT_EQ(value->bytes, (Bytes{0, 0}));
}

TEST_F(RegistryKeyTest, StringIsStoredWholeThoughAZeroStandsInIt)
{
    Key()->SetValue(L"s", std::wstring(L"a\0b", 3));
    const auto value = root.Get(L"Key", L"s");
    ASSERT_TRUE(value.has_value());
    EXPECT_EQ(value->bytes, (Bytes{'a', 0, 0, 0, 'b', 0, 0, 0}));
}

TEST_F(RegistryKeyTest, ValueThatCannotBeWrittenThrows)
{
    const auto key = Key();
    const SetDouble set([](HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) -> LSTATUS
                        { return ERROR_ACCESS_DENIED; });
    ExpectRegistryRequest(L"RegistryKey::SetValue", [&] { key->SetValue(L"n", 1ULL); });
    ExpectRegistryRequest(L"RegistryKey::SetValue",
                          [&] { key->SetValue(L"s", std::wstring(L"x")); });
}

TEST_F(RegistryKeyTest, BytesAreReadWhateverTheirType)
{
    for (const DWORD type : {0U, 1U, 3U, 4U, 7U, 11U})
    {
        EXPECT_EQ(Read(type, {1, 2, 3, 4, 5, 6}), (Bytes{1, 2, 3, 4, 5, 6})) << "type " << type;
    }
}

TEST_F(RegistryKeyTest, ValueOfNoBytesIsFoundAndEmpty)
{
    EXPECT_EQ(Read(REG_BINARY, {}), Bytes());
}

TEST_F(RegistryKeyTest, ValueOfOneByteIsReadWhole)
{
    EXPECT_EQ(Read(REG_BINARY, {7}), Bytes{7});
}

TEST_F(RegistryKeyTest, OddNumberOfBytesIsReadWhole)
{
    EXPECT_EQ(Read(REG_SZ, {1, 2, 3}), (Bytes{1, 2, 3}));
}

TEST_F(RegistryKeyTest, ValueOfOneMebibyteIsReadWhole)
{
    const Bytes large(0x100000, 0xAB);
    EXPECT_EQ(Read(REG_BINARY, large), large);
}

TEST_F(RegistryKeyTest, MissingValueIsNotFoundAndEmptiesTheBytes)
{
    EXPECT_FALSE(Key()->GetValue(L"none", bytes));
    EXPECT_TRUE(bytes.empty());
}

TEST_F(RegistryKeyTest, DeniedOrUnusableHandleIsNotFound)
{
    const auto key = Key();
    for (const LSTATUS status : {2, 5, 6})
    {
        const QueryDouble query([&](HKEY, LPCWSTR, LPDWORD, LPDWORD, LPBYTE, LPDWORD)
                                { return status; });
        EXPECT_FALSE(key->GetValue(L"v", bytes)) << "status " << status;
    }
}

TEST_F(RegistryKeyTest, HandleThatIsNoneIsNotFound)
{
    EXPECT_FALSE(RegistryKey(reinterpret_cast<HKEY>(0x7FFF0), false).GetValue(L"v", bytes));
}

TEST_F(RegistryKeyTest, AnyOtherErrorThrows)
{
    const auto key = Key();
    for (const LSTATUS status : {1, 8, 234, 1018, 1009})
    {
        const QueryDouble query([&](HKEY, LPCWSTR, LPDWORD, LPDWORD, LPBYTE, LPDWORD)
                                { return status; });
        ExpectRegistryRequest(L"RegistryKey::GetValue",
                              [&] { static_cast<void>(key->GetValue(L"v", bytes)); });
    }
}

TEST_F(RegistryKeyTest, ValueThatGoesBetweenTheTwoQueriesIsFoundAndEmpty)
{
    StoreExactly(root, L"Key", L"v", REG_BINARY, {1, 2, 3});
    const auto key = Key();
    for (const LSTATUS status : {2, 5, 6})
    {
        const QueryDouble query(
            [&](HKEY handle, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                LPDWORD size)
            {
                return data == nullptr
                           ? decltype(query)::Original(handle, name, reserved, type, data, size)
                           : status;
            });
        bytes = {9};
        EXPECT_TRUE(key->GetValue(L"v", bytes)) << "status " << status;
        EXPECT_TRUE(bytes.empty());
    }
}

TEST_F(RegistryKeyTest, ValueThatShrinksBetweenTheTwoQueriesIsReadAsItIs)
{
    StoreExactly(root, L"Key", L"v", REG_BINARY, {1, 2, 3});
    const auto key = Key();
    const QueryDouble query(
        [&](HKEY handle, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size)
        {
            const LSTATUS status =
                decltype(query)::Original(handle, name, reserved, type, data, size);
            *size += data == nullptr ? 10U : 0U;
            return status;
        });
    EXPECT_TRUE(key->GetValue(L"v", bytes));
    EXPECT_EQ(bytes, (Bytes{1, 2, 3}));
}

TEST_F(RegistryKeyTest, ValueThatGrowsBetweenTheTwoQueriesThrows)
{
    StoreExactly(root, L"Key", L"v", REG_BINARY, {1, 2, 3});
    const auto key = Key();
    const QueryDouble query(
        [&](HKEY handle, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size)
        {
            const LSTATUS status =
                decltype(query)::Original(handle, name, reserved, type, data, size);
            *size -= data == nullptr ? 1U : 0U;
            return status;
        });
    ExpectRegistryRequest(L"RegistryKey::GetValue",
                          [&] { static_cast<void>(key->GetValue(L"v", bytes)); });
}

TEST_F(RegistryKeyTest, StringIsReadBackAsItWasWritten)
{
    const std::wstring text = L" %s%n \x4E2D\xD800 * ";
    Key()->SetValue(L"s", text);
    EXPECT_EQ(Key()->GetString(L"s", L"default"), text);
    Key()->SetValue(L"s", std::wstring());
    EXPECT_EQ(Key()->GetString(L"s", L"default"), L"");
}

TEST_F(RegistryKeyTest, MissingStringIsTheDefault)
{
    EXPECT_EQ(Key()->GetString(L"none", L"default"), L"default");
}

TEST_F(RegistryKeyTest, StringOfNoBytesIsEmpty)
{
    StoreExactly(root, L"Key", L"s", REG_SZ, {});
    EXPECT_EQ(Key()->GetString(L"s", L"default"), L"");
}

TEST_F(RegistryKeyTest, StringWithoutAZeroIsReadToItsEnd)
{
    StoreExactly(root, L"Key", L"s", REG_SZ, {'a', 0, 0x2D, 0x4E});
    EXPECT_EQ(Key()->GetString(L"s", L""), L"a\x4E2D");
}

TEST_F(RegistryKeyTest, OddLastByteOfAStringIsDropped)
{
    StoreExactly(root, L"Key", L"s", REG_SZ, {'a', 0, 'b'});
    EXPECT_EQ(Key()->GetString(L"s", L""), L"a");
    StoreExactly(root, L"Key", L"s", REG_SZ, {'a'});
    EXPECT_EQ(Key()->GetString(L"s", L"default"), L"");
}

TEST_F(RegistryKeyTest, StringEndsAtItsFirstZero)
{
    StoreExactly(root, L"Key", L"s", REG_SZ, {'a', 0, 0, 0, 'b', 0, 0, 0});
    EXPECT_EQ(Key()->GetString(L"s", L""), L"a");
}

TEST_F(RegistryKeyTest, BytesOfAnotherTypeAreTakenAsText)
{
    StoreExactly(root, L"Key", L"s", REG_DWORD, {'a', 0, 'b', 0});
    EXPECT_EQ(Key()->GetString(L"s", L""), L"ab");
    StoreExactly(root, L"Key", L"s", REG_BINARY, {'a', 0, 'b', 0});
    EXPECT_EQ(Key()->GetString(L"s", L""), L"ab");
}

TEST_F(RegistryKeyTest, StringOfOneMebibyteIsReadWhole)
{
    const std::wstring text(0x80000, L'x');
    Key()->SetValue(L"s", text);
    EXPECT_EQ(Key()->GetString(L"s", L""), text);
}

TEST_F(RegistryKeyTest, SubkeysAreListed)
{
    const std::wstring longest(255, L'k');
    root.CreateKey(L"Key\\b\\deeper");
    root.CreateKey(L"Key\\" + longest);
    root.CreateKey(L"Key\\a \x4E2D");
    EXPECT_TRUE(Key()->EnumerateSubKeys(names));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (Names{L"a \x4E2D", L"b", longest}));
}

TEST_F(RegistryKeyTest, KeyWithoutSubkeysGivesFalseAndAnEmptyList)
{
    EXPECT_FALSE(Key()->EnumerateSubKeys(names));
    EXPECT_TRUE(names.empty());
}

TEST_F(RegistryKeyTest, KeyThatIsNotOpenHasNoSubkeysToTell)
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

TEST_F(RegistryKeyTest, KeyWhoseInformationCannotBeReadGivesFalse)
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

TEST_F(RegistryKeyTest, NamesAreReadInOrderIntoRoomForTheLongest)
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

TEST_F(RegistryKeyTest, ErrorAmongTheSubkeysEmptiesTheList)
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
