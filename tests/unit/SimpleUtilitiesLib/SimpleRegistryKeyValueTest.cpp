#include "SimpleRegistryKey.h"

#include "ExactValue.h"
#include "RegistryKeyFixture.h"
#include "Replaced.h"

#include <gtest/gtest.h>

namespace
{
using SetDouble = Replaced<"ADVAPI32", "RegSetValueExW", decltype(RegSetValueExW)>;
using QueryDouble = Replaced<"ADVAPI32", "RegQueryValueExW", decltype(RegQueryValueExW)>;
using Bytes = std::vector<std::uint8_t>;

class RegistryKeyValueTest : public RegistryKeyTest
{
protected:
    /// What GetValue gives for a value of these bytes.
    Bytes Read(DWORD type, const Bytes& stored)
    {
        StoreExactly(root, L"Key", L"v", type, stored);
        EXPECT_TRUE(Key()->GetValue(L"v", bytes));
        return bytes;
    }

    Bytes bytes = {9, 9};
};

TEST_F(RegistryKeyValueTest, NumberIsStoredAsEightBytesLeastFirst)
{
    Key()->SetValue(L"n", std::uint64_t{0x8807060504030201});
    const auto value = root.Get(L"Key", L"n");
    ASSERT_TRUE(value.has_value());
    EXPECT_EQ(value->type, 11U);
    EXPECT_EQ(value->bytes, (Bytes{1, 2, 3, 4, 5, 6, 7, 0x88}));
}

TEST_F(RegistryKeyValueTest, StringIsStoredWithExactlyOneZero)
{
    Key()->SetValue(L"s", std::wstring(L"a\x4E2D"));
    const auto value = root.Get(L"Key", L"s");
    ASSERT_TRUE(value.has_value());
    EXPECT_EQ(value->type, 1U);
    EXPECT_EQ(value->bytes, (Bytes{'a', 0, 0x2D, 0x4E, 0, 0}));
}

TEST_F(RegistryKeyValueTest, EmptyStringIsStoredAsTwoZeroBytes)
{
    Key()->SetValue(L"s", std::wstring());
    const auto value = root.Get(L"Key", L"s");
    ASSERT_TRUE(value.has_value());
    EXPECT_EQ(value->type, 1U);
    EXPECT_EQ(value->bytes, (Bytes{0, 0}));
}

TEST_F(RegistryKeyValueTest, StringIsStoredWholeThoughAZeroStandsInIt)
{
    Key()->SetValue(L"s", std::wstring(L"a\0b", 3));
    const auto value = root.Get(L"Key", L"s");
    ASSERT_TRUE(value.has_value());
    EXPECT_EQ(value->bytes, (Bytes{'a', 0, 0, 0, 'b', 0, 0, 0}));
}

TEST_F(RegistryKeyValueTest, ValueThatCannotBeWrittenThrows)
{
    const auto key = Key();
    const SetDouble set(
        [](HKEY, LPCWSTR, DWORD reserved, DWORD, const BYTE*, DWORD) -> LSTATUS
        {
            EXPECT_EQ(reserved, 0U);
            return ERROR_ACCESS_DENIED;
        });
    ExpectRegistryRequest(L"RegistryKey::SetValue", [&] { key->SetValue(L"n", 1ULL); });
    ExpectRegistryRequest(L"RegistryKey::SetValue",
                          [&] { key->SetValue(L"s", std::wstring(L"x")); });
}

TEST_F(RegistryKeyValueTest, BytesAreReadWhateverTheirType)
{
    for (const DWORD type : {0U, 1U, 3U, 4U, 7U, 11U})
    {
        EXPECT_EQ(Read(type, {1, 2, 3, 4, 5, 6}), (Bytes{1, 2, 3, 4, 5, 6})) << "type " << type;
    }
}

TEST_F(RegistryKeyValueTest, ValueOfNoBytesIsFoundAndEmptyAndAskedForOnce)
{
    EXPECT_EQ(Read(REG_BINARY, {}), Bytes());
    int queries = 0;
    const QueryDouble query(
        [&](HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size)
        {
            ++queries;
            return decltype(query)::Original(key, name, reserved, type, data, size);
        });
    EXPECT_TRUE(Key()->GetValue(L"v", bytes));
    EXPECT_EQ(queries, 1);
}

TEST_F(RegistryKeyValueTest, ValueOfOneByteIsReadWhole)
{
    EXPECT_EQ(Read(REG_BINARY, {7}), Bytes{7});
}

TEST_F(RegistryKeyValueTest, OddNumberOfBytesIsReadWhole)
{
    EXPECT_EQ(Read(REG_SZ, {1, 2, 3}), (Bytes{1, 2, 3}));
}

TEST_F(RegistryKeyValueTest, ValueOfOneMebibyteIsReadWhole)
{
    const Bytes large(0x100000, 0xAB);
    EXPECT_EQ(Read(REG_BINARY, large), large);
}

TEST_F(RegistryKeyValueTest, MissingValueIsNotFoundAndEmptiesTheBytes)
{
    EXPECT_FALSE(Key()->GetValue(L"none", bytes));
    EXPECT_TRUE(bytes.empty());
}

TEST_F(RegistryKeyValueTest, DeniedOrUnusableHandleIsNotFound)
{
    const auto key = Key();
    for (const LSTATUS status : {2, 5, 6})
    {
        const QueryDouble query([&](HKEY, LPCWSTR, LPDWORD, LPDWORD, LPBYTE, LPDWORD)
                                { return status; });
        EXPECT_FALSE(key->GetValue(L"v", bytes)) << "status " << status;
    }
}

TEST_F(RegistryKeyValueTest, HandleThatIsNoneIsNotFound)
{
    EXPECT_FALSE(RegistryKey(reinterpret_cast<HKEY>(0x7FFF0), false).GetValue(L"v", bytes));
}

TEST_F(RegistryKeyValueTest, AnyOtherErrorThrows)
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

TEST_F(RegistryKeyValueTest, ValueThatGoesBetweenTheTwoQueriesIsFoundAndEmpty)
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

TEST_F(RegistryKeyValueTest, ValueThatShrinksBetweenTheTwoQueriesIsReadAsItIs)
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

TEST_F(RegistryKeyValueTest, ValueThatGrowsBetweenTheTwoQueriesThrows)
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

TEST_F(RegistryKeyValueTest, StringIsReadBackAsItWasWritten)
{
    const std::wstring text = L" %s%n \x4E2D\xD800 * ";
    Key()->SetValue(L"s", text);
    EXPECT_EQ(Key()->GetString(L"s", L"default"), text);
    Key()->SetValue(L"s", std::wstring());
    EXPECT_EQ(Key()->GetString(L"s", L"default"), L"");
}

TEST_F(RegistryKeyValueTest, MissingStringIsTheDefault)
{
    EXPECT_EQ(Key()->GetString(L"none", L"default"), L"default");
}

TEST_F(RegistryKeyValueTest, StringOfNoBytesIsEmpty)
{
    StoreExactly(root, L"Key", L"s", REG_SZ, {});
    EXPECT_EQ(Key()->GetString(L"s", L"default"), L"");
}

TEST_F(RegistryKeyValueTest, StringWithoutAZeroIsReadToItsEnd)
{
    StoreExactly(root, L"Key", L"s", REG_SZ, {'a', 0, 0x2D, 0x4E});
    EXPECT_EQ(Key()->GetString(L"s", L""), L"a\x4E2D");
}

TEST_F(RegistryKeyValueTest, OddLastByteOfAStringIsDropped)
{
    StoreExactly(root, L"Key", L"s", REG_SZ, {'a', 0, 'b'});
    EXPECT_EQ(Key()->GetString(L"s", L""), L"a");
    StoreExactly(root, L"Key", L"s", REG_SZ, {'a'});
    EXPECT_EQ(Key()->GetString(L"s", L"default"), L"");
}

TEST_F(RegistryKeyValueTest, StringEndsAtItsFirstZero)
{
    StoreExactly(root, L"Key", L"s", REG_SZ, {'a', 0, 0, 0, 'b', 0, 0, 0});
    EXPECT_EQ(Key()->GetString(L"s", L""), L"a");
}

TEST_F(RegistryKeyValueTest, BytesOfAnotherTypeAreTakenAsText)
{
    StoreExactly(root, L"Key", L"s", REG_DWORD, {'a', 0, 'b', 0});
    EXPECT_EQ(Key()->GetString(L"s", L""), L"ab");
    StoreExactly(root, L"Key", L"s", REG_BINARY, {'a', 0, 'b', 0});
    EXPECT_EQ(Key()->GetString(L"s", L""), L"ab");
}

TEST_F(RegistryKeyValueTest, StringOfOneMebibyteIsReadWhole)
{
    const std::wstring text(0x80000, L'x');
    Key()->SetValue(L"s", text);
    EXPECT_EQ(Key()->GetString(L"s", L""), text);
}
} // namespace
