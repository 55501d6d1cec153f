#include "Format.h"

#include "Replaced.h"
#include "ScarceMemory.h"
#include "SkippedTests.h"

#include <gtest/gtest.h>

#include <new>

namespace
{
TEST(FormatTest, NumbersFollowThePrintfRules)
{
    EXPECT_EQ(Format(L"%02u", 5U), L"05");
    EXPECT_EQ(Format(L"%u", 0U), L"0");
    EXPECT_EQ(Format(L"%u", 4294967295U), L"4294967295");
    EXPECT_EQ(Format(L"%d|%ld", -1, -2L), L"-1|-2");
    EXPECT_EQ(Format(L"%lu/0x%lx", 31UL, 31UL), L"31/0x1f");
    EXPECT_EQ(Format(L"%x %lX %#x", 48879U, 48879UL, 48879U), L"beef BEEF 0xbeef");
    EXPECT_EQ(Format(L"%+d|% d|%-4u|%4u|%04u", 1, 2, 3U, 4U, 5U), L"+1| 2|3   |   4|0005");
}

TEST(FormatTest, NumbersOf64BitsTakeTheI64Prefix)
{
    EXPECT_EQ(Format(L"%I64u", 18446744073709551615ULL), L"18446744073709551615");
    EXPECT_EQ(Format(L"%I64d", -9223372036854775807LL), L"-9223372036854775807");
    EXPECT_EQ(Format(L"%I64x", 0x123456789ABCULL), L"123456789abc");
}

TEST(FormatTest, WidthAndPrecisionMayBeArguments)
{
    EXPECT_EQ(Format(L"[%*u]", 5, 42U), L"[   42]");
    EXPECT_EQ(Format(L"[%.*s]", 2, L"abc"), L"[ab]");
    EXPECT_EQ(Format(L"[%*.*s]", 4, 1, L"abc"), L"[   a]");
    EXPECT_EQ(Format(L"[%5s|%-5s|%.1s]", L"ab", L"ab", L"ab"), L"[   ab|ab   |a]");
}

TEST(FormatTest, SmallSTakesWideTextAndCapitalSNarrowText)
{
    EXPECT_EQ(Format(L"%s", L"w\x4E2D"), L"w\x4E2D");
    EXPECT_EQ(Format(L"%S", "narrow"), L"narrow");
    EXPECT_EQ(Format(L"%s-%S", std::wstring(L"w"), std::string("n")), L"w-n");
}

TEST(FormatTest, BytesOfNarrowTextBeyondAsciiAreTheCharactersOfTheirNumbers)
{
    EXPECT_EQ(Format(L"<%S>", "Z\xFCrich \x80\xFF"), L"<Z\x00FCrich \x0080\x00FF>");
    EXPECT_EQ(Format("<%S>", "\xE4\xB8\xAD"), L"<\x00E4\x00B8\x00AD>");
}

TEST(FormatTest, SmallSTakesWideTextInANarrowFormatToo)
{
    EXPECT_EQ(Format("%s%lu/0x%lx: %s", L" = ", 2UL, 2UL, L"t\x4E2D"), L" = 2/0x2: t\x4E2D");
    EXPECT_EQ(Format("%s%s\\%s", L"C:", L"\\x", L"y"), L"C:\\x\\y");
}

TEST(FormatTest, NarrowFormatIsReadAsUtf8)
{
    EXPECT_EQ(Format("\xE4\xB8\xAD%u", 1U), L"\x4E2D"
                                            L"1");
}

TEST(FormatTest, TwoPercentSignsGiveOne)
{
    EXPECT_EQ(Format(L"100%%"), L"100%");
}

TEST(FormatTest, FormatWithoutTextGivesTheEmptyString)
{
    EXPECT_EQ(Format(L""), L"");
    EXPECT_EQ(Format(L"%s", L""), L"");
}

TEST(FormatTest, PercentSignsInArgumentsAreData)
{
    EXPECT_EQ(Format(L"<%s>", L"%s%n%1$s%%"), L"<%s%n%1$s%%>");
}

TEST(FormatTest, UnpairedSurrogatesPass)
{
    EXPECT_EQ(Format(L"<%s>", L"\xDC00\xD800"), L"<\xDC00\xD800>");
}

TEST(FormatTest, ArgumentMayBeAMillionCharactersLong)
{
    const std::wstring text(1'000'000, L'x');
    EXPECT_EQ(Format(L"[%s]", text), L"[" + text + L"]");
}

TEST(FormatTest, TextThatTheRuntimeCannotMeasureIsEmpty)
{
    SKIP_WITH_VISUAL_CPP("its headers make these functions of others");
    const Replaced<"msvcrt", "_vscwprintf", int(const wchar_t*, char*)> measure(
        [](const wchar_t*, char*) { return -1; });
    EXPECT_EQ(Format(L"%s", std::wstring(1000, L'p')), L"");
}

TEST(FormatTest, TextThatTheRuntimeCannotWriteIsEmpty)
{
    SKIP_WITH_VISUAL_CPP("its headers make these functions of others");
    const Replaced<"msvcrt", "_vsnwprintf", int(wchar_t*, std::size_t, const wchar_t*, char*)>
        write(
            [](wchar_t* text, std::size_t, const wchar_t*, char*)
            {
                text[0] = L'p';
                return -1;
            });
    EXPECT_EQ(Format(L"%s", L"paper"), L"");
    EXPECT_EQ(Format(L"%s", std::wstring(1000, L'p')), L"");
}

TEST(FormatTest, TextOfAnyLengthIsWhole)
{
    std::wstring text;
    for (std::size_t length = 0; length <= 600; ++length)
    {
        ASSERT_EQ(Format(L"%s", text), text);
        text += static_cast<wchar_t>(L'a' + length % 26);
    }
}

TEST(FormatTest, MemoryThatRunsOutIsABadAllocation)
{
    const ScarceMemory memory;
    const std::wstring text(100, L'x');
    ScarceMemory::Allow(0);
    bool thrown = false;
    try
    {
        static_cast<void>(Format(L"%s", text));
    }
    catch (const std::bad_alloc&)
    {
        thrown = true;
    }
    ScarceMemory::End();
    EXPECT_TRUE(thrown);
}

// What the check of formats makes of an argument's type; a format that does not fit ends the
// compilation.
static_assert(FormatCheck::KindOf<std::wstring>() == FormatCheck::Kind::WideText);
static_assert(FormatCheck::KindOf<wchar_t[3]>() == FormatCheck::Kind::WideText);
static_assert(FormatCheck::KindOf<wchar_t*>() == FormatCheck::Kind::WideText);
static_assert(FormatCheck::KindOf<std::string>() == FormatCheck::Kind::NarrowText);
static_assert(FormatCheck::KindOf<char[3]>() == FormatCheck::Kind::NarrowText);
static_assert(FormatCheck::KindOf<unsigned>() == FormatCheck::Kind::Number32);
static_assert(FormatCheck::KindOf<long>() == FormatCheck::Kind::Number32);
static_assert(FormatCheck::KindOf<unsigned long long>() == FormatCheck::Kind::Number64);
static_assert(FormatCheck::KindOf<double>() == FormatCheck::Kind::Unsupported);
static_assert(FormatCheck::KindOf<void*>() == FormatCheck::Kind::Unsupported);
} // namespace
