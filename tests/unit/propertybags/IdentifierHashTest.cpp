#include "IdentifierHash.h"

#include "Replaced.h"

#include <wincrypt.h>

#include <gtest/gtest.h>

namespace
{
constexpr wchar_t Zeros[] = L"00000000-0000-0000-0000-000000000000";

TEST(IdentifierTextTest, BytesStandInTheirOrderInFiveGroups)
{
    EXPECT_EQ(IdentifierText({0x3f, 0x2a, 0x9c, 0x10, 0x5b, 0x7e, 0x4d, 0x21, 0x8a, 0x0c, 0x91,
                              0xe4, 0xb7, 0xd6, 0xf0, 0x35}),
              L"3f2a9c10-5b7e-4d21-8a0c-91e4b7d6f035");
}

TEST(IdentifierTextTest, ShortDigestIsFilledUpWithZeros)
{
    EXPECT_EQ(IdentifierText({1, 2, 3, 4, 5}), L"01020304-0500-0000-0000-000000000000");
}

TEST(IdentifierTextTest, LongDigestIsCutToSixteenBytes)
{
    EXPECT_EQ(IdentifierText(std::vector<std::uint8_t>(32, 0xAB)),
              L"abababab-abab-abab-abab-abababababab");
}

TEST(IdentifierTextTest, EmptyDigestGivesZeros)
{
    EXPECT_EQ(IdentifierText({}), Zeros);
}

TEST(HashToGuidTextTest, IsTheBeginningOfTheSha256Hash)
{
    EXPECT_EQ(HashToGuidText(L"abc"), L"ba7816bf-8f01-cfea-4141-40de5dae2223");
}

TEST(HashToGuidTextTest, CaseDoesNotMatter)
{
    EXPECT_EQ(HashToGuidText(L"Alice : PC01.CORP.CORP"), L"550a76f9-af2c-0e4d-ea01-38a9db599df8");
    EXPECT_EQ(HashToGuidText(L"alice : pc01.corp.corp"), L"550a76f9-af2c-0e4d-ea01-38a9db599df8");
}

TEST(HashToGuidTextTest, LettersBeyondZAreFoldedToo)
{
    EXPECT_EQ(HashToGuidText(L"\u00C4\u00D6\u00DC \u0416"),
              L"a5307fa1-2c69-2dd8-7a0a-83744880392a");
}

TEST(HashToGuidTextTest, TextIsHashedAsUtf8)
{
    EXPECT_EQ(HashToGuidText(L"\U0001F600"), L"f0443a34-2c5e-f547-83a1-11b51ba56c93");
}

TEST(HashToGuidTextTest, TextIsDataAndNoFormat)
{
    EXPECT_EQ(HashToGuidText(L"%s%n"), L"647e0e1c-ae6d-93d6-941d-c9e217cc33c7");
}

TEST(HashToGuidTextTest, LongTextIsHashedWhole)
{
    EXPECT_EQ(HashToGuidText(std::wstring(5000, L'X')), L"c59d3c04-80cc-2d71-d8f6-46e735e92da6");
}

TEST(HashToGuidTextTest, UnpairedSurrogateGivesZeros)
{
    EXPECT_EQ(HashToGuidText(std::wstring(L"a") + wchar_t{0xD800} + L"b"), Zeros);
}

TEST(HashToGuidTextTest, LowerCasesByTheInvariantLocaleWithTheTerminatingZero)
{
    std::wstring locale = L"?";
    DWORD flags = 0;
    int length = 0;
    bool others = true;
    using Map = Replaced<"KERNEL32", "LCMapStringEx", decltype(LCMapStringEx)>;
    const Map map(
        [&](LPCWSTR name, DWORD mapFlags, LPCWSTR from, int fromLength, LPWSTR to, int toLength,
            LPNLSVERSIONINFO version, LPVOID reserved, LPARAM sort)
        {
            locale = name;
            flags = mapFlags;
            length = fromLength;
            others = others && (version != nullptr || reserved != nullptr || sort != 0);
            return Map::Original(name, mapFlags, from, fromLength, to, toLength, version, reserved,
                                 sort);
        });
    HashToGuidText(L"ABC");
    EXPECT_EQ(locale, L"");
    EXPECT_EQ(flags, 0x100U);
    EXPECT_EQ(length, 4);
    EXPECT_FALSE(others);
}

TEST(HashToGuidTextTest, ConvertsStrictlyToUtf8)
{
    std::vector<UINT> codePages;
    std::vector<DWORD> flags;
    using Convert = Replaced<"KERNEL32", "WideCharToMultiByte", decltype(WideCharToMultiByte)>;
    const Convert convert(
        [&](UINT codePage, DWORD convertFlags, LPCWCH wide, int length, LPSTR bytes, int size,
            LPCCH missing, LPBOOL used)
        {
            codePages.push_back(codePage);
            flags.push_back(convertFlags);
            return Convert::Original(codePage, convertFlags, wide, length, bytes, size, missing,
                                     used);
        });
    HashToGuidText(L"ABC");
    EXPECT_EQ(codePages, (std::vector<UINT>{65001, 65001}));
    EXPECT_EQ(flags, (std::vector<DWORD>{0x80, 0x80}));
}

TEST(HashToGuidTextTest, ConversionThatFailsHalfwayGivesZeros)
{
    using Convert = Replaced<"KERNEL32", "WideCharToMultiByte", decltype(WideCharToMultiByte)>;
    const Convert convert([](UINT, DWORD, LPCWCH, int length, LPSTR bytes, int, LPCCH, LPBOOL)
                          { return bytes == nullptr ? length : 0; });
    EXPECT_EQ(HashToGuidText(L"abc"), Zeros);
}

TEST(HashToGuidTextTest, FailedLowerCasingGivesZeros)
{
    using Map = Replaced<"KERNEL32", "LCMapStringEx", decltype(LCMapStringEx)>;
    const Map map([](LPCWSTR, DWORD, LPCWSTR, int, LPWSTR, int, LPNLSVERSIONINFO, LPVOID, LPARAM)
                  { return 0; });
    EXPECT_EQ(HashToGuidText(L"abc"), Zeros);
}

TEST(HashToGuidTextTest, HashedAnewOnEveryCallWithoutAContainer)
{
    std::vector<DWORD> flags;
    DWORD type = 0;
    bool unnamed = true;
    int released = 0;
    DWORD releaseFlags = 0;
    DWORD hashFlags = 0;
    std::vector<DWORD> hashSizes;
    using Acquire = Replaced<"ADVAPI32", "CryptAcquireContextW", decltype(CryptAcquireContextW)>;
    const Acquire acquire(
        [&](HCRYPTPROV* provider, LPCWSTR container, LPCWSTR name, DWORD wantedType,
            DWORD wantedFlags)
        {
            unnamed = unnamed && container == nullptr && name == nullptr;
            type = wantedType;
            flags.push_back(wantedFlags);
            return Acquire::Original(provider, container, name, wantedType, wantedFlags);
        });
    using Release = Replaced<"ADVAPI32", "CryptReleaseContext", decltype(CryptReleaseContext)>;
    const Release release(
        [&](HCRYPTPROV provider, DWORD wantedFlags)
        {
            ++released;
            releaseFlags |= wantedFlags;
            return Release::Original(provider, wantedFlags);
        });
    using Hash = Replaced<"ADVAPI32", "CryptHashData", decltype(CryptHashData)>;
    const Hash hash(
        [&](HCRYPTHASH object, const BYTE* data, DWORD size, DWORD wantedFlags)
        {
            hashFlags |= wantedFlags;
            hashSizes.push_back(size);
            return Hash::Original(object, data, size, wantedFlags);
        });
    HashToGuidText(L"a");
    HashToGuidText(std::wstring(5000, L'\u00C4'));
    EXPECT_EQ(hashSizes, (std::vector<DWORD>{1, 10000})) << "one call a hash";
    EXPECT_EQ(releaseFlags, 0U);
    EXPECT_EQ(hashFlags, 0U);
    EXPECT_EQ(type, 24U);
    EXPECT_EQ(flags, (std::vector<DWORD>{0xF0000020, 0xF0000020}));
    EXPECT_TRUE(unnamed);
    EXPECT_EQ(released, 2);
}

TEST(HashToGuidTextTest, FailedProviderGivesZeros)
{
    using Acquire = Replaced<"ADVAPI32", "CryptAcquireContextW", decltype(CryptAcquireContextW)>;
    const Acquire acquire([](HCRYPTPROV*, LPCWSTR, LPCWSTR, DWORD, DWORD) { return FALSE; });
    EXPECT_EQ(HashToGuidText(L"abc"), Zeros);
}

TEST(HashToGuidTextTest, FailedHashGivesZeros)
{
    using Create = Replaced<"ADVAPI32", "CryptCreateHash", decltype(CryptCreateHash)>;
    const Create create([](HCRYPTPROV, ALG_ID, HCRYPTKEY, DWORD, HCRYPTHASH*) { return FALSE; });
    EXPECT_EQ(HashToGuidText(L"abc"), Zeros);
}

TEST(HashToGuidTextTest, FailedDataGivesZeros)
{
    using Data = Replaced<"ADVAPI32", "CryptHashData", decltype(CryptHashData)>;
    const Data data([](HCRYPTHASH, const BYTE*, DWORD, DWORD) { return FALSE; });
    EXPECT_EQ(HashToGuidText(L"abc"), Zeros);
}

TEST(HashToGuidTextTest, FailedResultGivesZeros)
{
    using Result = Replaced<"ADVAPI32", "CryptGetHashParam", decltype(CryptGetHashParam)>;
    const Result result(
        [](HCRYPTHASH, DWORD parameter, BYTE* digest, DWORD* size, DWORD flags)
        {
            EXPECT_EQ(parameter, 2U);
            EXPECT_EQ(*size, 32U);
            EXPECT_EQ(flags, 0U);
            digest[0] = 1; // what a failing call leaves there means nothing
            return FALSE;
        });
    EXPECT_EQ(HashToGuidText(L"abc"), Zeros);
}

TEST(HashToGuidTextTest, ProviderThatFailedIsNotReleased)
{
    int released = 0;
    using Acquire = Replaced<"ADVAPI32", "CryptAcquireContextW", decltype(CryptAcquireContextW)>;
    const Acquire acquire(
        [](HCRYPTPROV* provider, LPCWSTR, LPCWSTR, DWORD, DWORD)
        {
            *provider = 0x1234;
            return FALSE;
        });
    using Release = Replaced<"ADVAPI32", "CryptReleaseContext", decltype(CryptReleaseContext)>;
    const Release release(
        [&](HCRYPTPROV, DWORD)
        {
            ++released;
            return TRUE;
        });
    HashToGuidText(L"abc");
    EXPECT_EQ(released, 0);
}

TEST(HashToGuidTextTest, HashThatFailedIsNotDestroyed)
{
    int destroyed = 0;
    using Create = Replaced<"ADVAPI32", "CryptCreateHash", decltype(CryptCreateHash)>;
    const Create create(
        [](HCRYPTPROV, ALG_ID, HCRYPTKEY, DWORD, HCRYPTHASH* hash)
        {
            *hash = 0x1234;
            return FALSE;
        });
    using Destroy = Replaced<"ADVAPI32", "CryptDestroyHash", decltype(CryptDestroyHash)>;
    const Destroy destroy(
        [&](HCRYPTHASH)
        {
            ++destroyed;
            return TRUE;
        });
    HashToGuidText(L"abc");
    EXPECT_EQ(destroyed, 0);
}
} // namespace
