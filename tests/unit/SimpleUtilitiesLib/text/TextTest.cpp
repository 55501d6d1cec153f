#include "Text.h"

#include "MeasuredMemory.h"
#include "PretendedCodePage.h"
#include "Replaced.h"

#include <gtest/gtest.h>

namespace
{
/// Text with characters of a code page of one byte and with some that it lacks: "Ünit", two
/// characters of Chinese, a high surrogate that stands alone.
const std::wstring MixedText = L"\x00DCnit \x4E2D\x6587 \xD800!";

TEST(FromNarrowTest, NullGivesTheEmptyString)
{
    EXPECT_EQ(FromNarrow(nullptr), L"");
}

TEST(FromNarrowTest, EmptyGivesTheEmptyString)
{
    EXPECT_EQ(FromNarrow(""), L"");
}

TEST(FromNarrowTest, ReadsUtf8)
{
    EXPECT_EQ(FromNarrow("x"), L"x");
    EXPECT_EQ(FromNarrow("a\xC3\x9C\xE4\xB8\xAD\xF0\x9F\x96\xA8"), L"a\x00DC\x4E2D\xD83D\xDDA8");
}

TEST(FromNarrowTest, StopsAtTheFirstZeroByte)
{
    EXPECT_EQ(FromNarrow("ab\0cd"), L"ab");
}

TEST(FromNarrowTest, BytesThatAreNoUtf8AreNoFailure)
{
    const std::wstring text = FromNarrow("a\xFF"
                                         "b");
    ASSERT_EQ(text.size(), 3U);
    EXPECT_EQ(text.front(), L'a');
    EXPECT_EQ(text.back(), L'b');
}

TEST(FromNarrowTest, AsksForUtf8WithoutFlags)
{
    int calls = 0;
    const Replaced<"KERNEL32", "MultiByteToWideChar", decltype(MultiByteToWideChar)> convert(
        [&](UINT codePage, DWORD flags, LPCCH bytes, int length, LPWSTR text, int size)
        {
            ++calls;
            EXPECT_EQ(codePage, 65001U);
            EXPECT_EQ(flags, 0U);
            return decltype(convert)::Original(codePage, flags, bytes, length, text, size);
        });
    EXPECT_EQ(FromNarrow("a\xC3\x9C"), L"a\x00DC");
    EXPECT_EQ(calls, 2);
}

TEST(ToNarrowTest, TextThatCannotBeConvertedIsEmpty)
{
    const Replaced<"KERNEL32", "WideCharToMultiByte", decltype(WideCharToMultiByte)> convert(
        [](UINT, DWORD, LPCWCH, int, LPSTR bytes, int, LPCCH, LPBOOL)
        {
            *bytes = 'x'; // what a failing call leaves there means nothing
            return 0;
        });
    char buffer[4] = "###";
    ToNarrow(L"abc", buffer, sizeof(buffer));
    EXPECT_STREQ(buffer, "");
}

TEST(ToNarrowTest, TextOfTheLongestCharactersIsWhole)
{
    std::string expected;
    for (int i = 0; i < 500; ++i)
    {
        expected += "\xEF\xBF\xBF";
    }
    std::string buffer(2000, '#');
    ToNarrow(std::wstring(500, L'\uFFFF'), buffer.data(), buffer.size());
    EXPECT_STREQ(buffer.c_str(), expected.c_str());
}

TEST(ToNarrowTest, WritesUtf8AndAZero)
{
    char buffer[16] = "###############";
    ToNarrow(L"a\x00DC\x4E2D", buffer, sizeof(buffer));
    EXPECT_STREQ(buffer, "a\xC3\x9C\xE4\xB8\xAD");
    ToNarrow(L"b", buffer, sizeof(buffer));
    EXPECT_STREQ(buffer, "b");
}

TEST(ToNarrowTest, TextThatJustFitsIsWhole)
{
    char buffer[5] = "####";
    ToNarrow(L"abcd", buffer, sizeof(buffer));
    EXPECT_STREQ(buffer, "abcd");
}

TEST(ToNarrowTest, LongerTextIsCutAndEndedWithinTheBuffer)
{
    char buffer[6] = {'#', '#', '#', '#', '#', '#'};
    ToNarrow(L"abcdef", buffer, 4);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(buffer[4], '#');
}

TEST(ToNarrowTest, EmptyTextWritesTheZeroAlone)
{
    char buffer[2] = {'#', '#'};
    ToNarrow(L"", buffer, sizeof(buffer));
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(buffer[1], '#');
}

TEST(ToNarrowTest, BufferOfNoBytesIsLeftAlone)
{
    char byte = '#';
    ToNarrow(L"abc", &byte, 0);
    EXPECT_EQ(byte, '#');
}

TEST(ToNarrowTest, BufferOfOneByteHoldsTheZero)
{
    char byte = '#';
    ToNarrow(L"abc", &byte, 1);
    EXPECT_EQ(byte, '\0');
}

TEST(ToCodePageTest, CharactersOutsideTheCodePageBecomeItsDefaultCharacter)
{
    const PretendedCodePage codePage(1252);
    EXPECT_EQ(ToCodePage(MixedText), "\xDCnit ?? ?!");
}

TEST(ToCodePageTest, SimilarCharacterIsNotPutInPlaceOfAMissingOne)
{
    const PretendedCodePage codePage(1252);
    EXPECT_EQ(ToCodePage(L"\x0100\xFF21"), "??");
}

TEST(ToCodePageTest, AsciiIsTheSameInEveryCodePage)
{
    std::wstring text;
    std::string bytes;
    for (char c = 0; c < 0x7F; ++c)
    {
        text += static_cast<wchar_t>(c);
        bytes += c;
    }
    EXPECT_EQ(ToCodePage(text + L"\x7F"), bytes + "\x7F");
}

TEST(ToCodePageTest, EmptyTextGivesNoBytes)
{
    EXPECT_EQ(ToCodePage(L""), "");
}

TEST(ToCodePageTest, MachineWhoseCodePageRefusesTheFlagStillGetsTheText)
{
    const Replaced<"KERNEL32", "WideCharToMultiByte", decltype(WideCharToMultiByte)> convert(
        [](UINT codePage, DWORD flags, LPCWCH text, int length, LPSTR buffer, int size, LPCCH other,
           LPBOOL used)
        {
            EXPECT_EQ(codePage, 0U);
            if (flags != 0)
            {
                SetLastError(ERROR_INVALID_FLAGS);
                return 0;
            }
            return decltype(convert)::Original(65001, flags, text, length, buffer, size, other,
                                               used);
        });
    EXPECT_EQ(ToCodePage(L"\x00DC\x4E2D"), "\xC3\x9C\xE4\xB8\xAD");
}

TEST(ToCodePageTest, TextThatTheSystemCannotConvertKeepsItsAscii)
{
    const Replaced<"KERNEL32", "WideCharToMultiByte", decltype(WideCharToMultiByte)> convert(
        [](UINT, DWORD, LPCWCH, int, LPSTR, int, LPCCH, LPBOOL) { return 0; });
    EXPECT_EQ(ToCodePage(L"a\x7F\x0080\x4E2D z"), "a\x7F?? z");
}

TEST(WithCarriageReturnsTest, EveryLineFeedGetsOne)
{
    EXPECT_EQ(WithCarriageReturns("a\nb\n\nc"), "a\r\nb\r\n\r\nc");
}

TEST(WithCarriageReturnsTest, OneThatIsThereIsNoReasonToLeaveItOut)
{
    EXPECT_EQ(WithCarriageReturns("a\r\nb\r"), "a\r\r\nb\r");
}

TEST(WithCarriageReturnsTest, TextOfAnyLengthIsMadeInOnePiece)
{
    const std::string lineFeeds(10'000'000, '\n');
    const MeasuredMemory memory;
    EXPECT_EQ(WithCarriageReturns(lineFeeds).size(), 20'000'000U);
    EXPECT_LT(MeasuredMemory::MostBytes(), 20'001'000U);
}

TEST(CaseTest, LowerCaseChangesTheLettersAToZAlone)
{
    EXPECT_EQ(LowerCase(L"@AZ[`az{09\x00C4\x00E4\x0410\x0130"),
              L"@az[`az{09\x00C4\x00E4\x0410\x0130");
}

TEST(CaseTest, UpperCaseChangesTheLettersAToZAlone)
{
    EXPECT_EQ(UpperCase(L"@AZ[`az{09\x00C4\x00E4\x0131"), L"@AZ[`AZ{09\x00C4\x00E4\x0131");
}

TEST(CaseTest, ComparisonFoldsTheLettersAToZAlone)
{
    EXPECT_TRUE(EqualsIgnoringCase(L"AbZ", L"aBz"));
    EXPECT_TRUE(EqualsIgnoringCase(L"", L""));
    EXPECT_FALSE(EqualsIgnoringCase(L"\x00C4", L"\x00E4"));
    EXPECT_FALSE(EqualsIgnoringCase(L"@", L"`"));
    EXPECT_FALSE(EqualsIgnoringCase(L"[", L"{"));
    EXPECT_FALSE(EqualsIgnoringCase(L"abc", L"ab"));
    EXPECT_FALSE(EqualsIgnoringCase(L"ab", L"abc"));
}

TEST(ReplaceCharacterTest, EveryOccurrenceIsReplaced)
{
    EXPECT_EQ(ReplaceCharacter(L"\\a\\b\\", L'\\', L'/'), L"/a/b/");
    EXPECT_EQ(ReplaceCharacter(L"ab", L'\\', L'/'), L"ab");
}

TEST(IsEmptyOrBlankTest, BlanksAloneCount)
{
    EXPECT_TRUE(IsEmptyOrBlank(L""));
    EXPECT_TRUE(IsEmptyOrBlank(L"   "));
    EXPECT_FALSE(IsEmptyOrBlank(L" \t"));
    EXPECT_FALSE(IsEmptyOrBlank(L" a "));
    EXPECT_FALSE(IsEmptyOrBlank(L"\x00A0"));
}

TEST(FileNameOfTest, IsWhatFollowsTheLastBackslash)
{
    EXPECT_EQ(FileNameOf(L"C:\\a.b\\c.d.exe"), L"c.d.exe");
    EXPECT_EQ(FileNameOf(L"C:\\a\\"), L"");
    EXPECT_EQ(FileNameOf(L"\\a"), L"a");
}

TEST(FileNameOfTest, PathWithoutABackslashIsWhole)
{
    EXPECT_EQ(FileNameOf(L"a/b.exe"), L"a/b.exe");
    EXPECT_EQ(FileNameOf(L""), L"");
}

TEST(DirectoryOfTest, IsWhatStandsBeforeTheLastBackslash)
{
    EXPECT_EQ(DirectoryOf(L"C:\\a\\b.exe"), L"C:\\a");
    EXPECT_EQ(DirectoryOf(L"\\a"), L"");
    EXPECT_EQ(DirectoryOf(L"a"), L"");
}

TEST(BaseNameOfTest, IsTheFileNameUpToItsLastDot)
{
    EXPECT_EQ(BaseNameOf(L"C:\\a.b\\c.d.exe"), L"c.d");
    EXPECT_EQ(BaseNameOf(L"C:\\a\\.exe"), L"");
}

TEST(BaseNameOfTest, NameWithoutADotIsWhole)
{
    EXPECT_EQ(BaseNameOf(L"C:\\a.b\\program"), L"program");
    EXPECT_EQ(BaseNameOf(L"program"), L"program");
}

TEST(FromNarrowTest, TextThatCannotBeConvertedIsEmpty)
{
    using Convert = Replaced<"KERNEL32", "MultiByteToWideChar", decltype(MultiByteToWideChar)>;
    int failing = 1;
    const Convert convert(
        [&](UINT codePage, DWORD flags, LPCCH narrow, int length, LPWSTR wide, int size) {
            return --failing == 0 ? 0
                                  : Convert::Original(codePage, flags, narrow, length, wide, size);
        });
    EXPECT_EQ(FromNarrow("text"), L"");
    failing = 2;
    EXPECT_EQ(FromNarrow("text"), L"");
    EXPECT_EQ(FromNarrow("text"), L"text");
}
} // namespace
