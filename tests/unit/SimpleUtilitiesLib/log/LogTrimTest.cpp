#include "LogTrim.h"

#include "WindowsHeaders.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
constexpr std::uint64_t TwoMebibytes = 2097152;

/// The first byte that is kept of a log of these bytes and of `dropped` bytes more than 2 MiB in
/// all, which is read in blocks of `blockSize`.
std::optional<std::uint64_t> FirstKept(std::uint64_t dropped, const std::string& bytes,
                                       std::size_t blockSize = 0x10000)
{
    LogTrim::Scanner scanner(TwoMebibytes + dropped);
    for (std::size_t start = 0; start < bytes.size(); start += blockSize)
    {
        if (const auto found = scanner.Feed(std::string_view(bytes).substr(start, blockSize)))
        {
            return found;
        }
    }
    return std::nullopt;
}

std::string Line(std::size_t characters)
{
    return std::string(characters, 'x') + "\r\n";
}

TEST(LogTrimTest, LargestLogIsFourMebibytes)
{
    EXPECT_EQ(LogTrim::LargestLog, 4194304U);
}

TEST(LogTrimTest, LinesAreDroppedUntilTheCountIsMoreThanTheSizeLessTwoMebibytes)
{
    const std::string lines = Line(48) + Line(48) + Line(48) + Line(48);
    EXPECT_EQ(FirstKept(49, lines), 0U);
    EXPECT_EQ(FirstKept(50, lines), 50U);
    EXPECT_EQ(FirstKept(99, lines), 50U);
    EXPECT_EQ(FirstKept(100, lines), 100U);
    EXPECT_EQ(FirstKept(101, lines), 100U);
}

TEST(LogTrimTest, LineWithoutACarriageReturnCountsAsIfItHadOne)
{
    const std::string lines = "12345678\n12345678\n12345678\n";
    EXPECT_EQ(FirstKept(9, lines), 0U);
    EXPECT_EQ(FirstKept(10, lines), 9U);
    EXPECT_EQ(FirstKept(20, lines), 18U);
}

TEST(LogTrimTest, LineWithoutACarriageReturnCountsSoAmongManyThatHaveOne)
{
    for (std::size_t place = 0; place < 40; ++place)
    {
        std::string lines;
        for (std::size_t i = 0; i < 40; ++i)
        {
            lines += i == place ? "12345678\n" : "12345678\r\n";
        }
        // Every line counts ten, and one has nine bytes.
        EXPECT_EQ(FirstKept(199, lines), place < 19 ? 189U : 190U) << place;
        EXPECT_EQ(FirstKept(200, lines), place < 20 ? 199U : 200U) << place;
    }
}

TEST(LogTrimTest, LineWithoutACarriageReturnCountsSoWhereverItStandsAmongThoseThatAreDropped)
{
    for (std::size_t place = 0; place < 499; ++place)
    {
        std::string lines;
        for (std::size_t i = 0; i < 600; ++i)
        {
            lines += i == place ? "1234567\n" : "1234567\r\n";
        }
        // Every line counts nine, and one has eight bytes.
        EXPECT_EQ(FirstKept(4499, lines), 4490U) << place;
        EXPECT_EQ(FirstKept(4500, lines), 4499U) << place;
    }
}

TEST(LogTrimTest, LineFeedsAloneAtTheEndOfABlockCountTwoEach)
{
    std::string usual;
    for (int i = 0; i < 9; ++i)
    {
        usual += "1234567\r\n";
    }
    for (std::size_t alone = 1; alone < 20; ++alone)
    {
        const std::string block = usual + std::string(alone, '\n');
        EXPECT_EQ(FirstKept(81 + 2 * alone - 1, block + block, block.size()), 81 + alone - 1);
        EXPECT_EQ(FirstKept(81 + 2 * alone, block + block, block.size()), 81 + alone);
    }
}

TEST(LogTrimTest, LineFeedAloneDoesNotBorrowTheCarriageReturnOfALineBeforeIt)
{
    std::string lines;
    for (int i = 0; i < 454; ++i)
    {
        lines += "1234567\r\n";
    }
    lines += "12345678\r\n"; // 4096 bytes until here
    lines += "\r\nx\n" + Line(14);
    // The line "x" has two bytes and counts three.
    EXPECT_EQ(FirstKept(4116, lines + Line(8), lines.size()), 4100U);
    EXPECT_EQ(FirstKept(4117, lines + Line(8), lines.size()), 4116U);
}

TEST(LogTrimTest, LineFeedAloneAtTheEndOfABlockDoesNotBorrowTheCarriageReturnThatFollows)
{
    // The line "x" has two bytes and counts three, the next one five.
    const std::string lines = "x\n\ryz\r\n";
    EXPECT_EQ(FirstKept(2, lines, 3), 0U);
    EXPECT_EQ(FirstKept(3, lines, 3), 2U);
}

TEST(LogTrimTest, NothingBeforeTheBytesIsRead)
{
    constexpr std::size_t Page = 0x1000;
    char* pages = static_cast<char*>(
        VirtualAlloc(nullptr, 2 * Page, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
    ASSERT_NE(pages, nullptr);
    DWORD before = 0;
    ASSERT_TRUE(VirtualProtect(pages, Page, PAGE_NOACCESS, &before));
    const std::string lines = Line(48) + Line(48);
    lines.copy(pages + Page, lines.size());
    LogTrim::Scanner scanner(TwoMebibytes + 100);
    EXPECT_EQ(scanner.Feed({pages + Page, lines.size()}), std::nullopt);
    EXPECT_TRUE(VirtualFree(pages, 0, MEM_RELEASE));
}

TEST(LogTrimTest, LongLineIsReadInPiecesThatCountOneMoreEach)
{
    const std::string lines = Line(10000) + Line(8);
    EXPECT_EQ(FirstKept(4096, lines), 0U);
    EXPECT_EQ(FirstKept(4097, lines), 4096U);
    EXPECT_EQ(FirstKept(8193, lines), 4096U);
    EXPECT_EQ(FirstKept(8194, lines), 8192U);
    // 10,000 characters and a line feed, and one for each of the three pieces.
    EXPECT_EQ(FirstKept(10003, lines), 8192U);
    EXPECT_EQ(FirstKept(10004, lines), 10002U);
}

TEST(LogTrimTest, LineOf4095CharactersAndItsLineFeedIsOnePiece)
{
    const std::string lines = Line(4095) + Line(8);
    EXPECT_EQ(FirstKept(4096, lines), 0U);
    EXPECT_EQ(FirstKept(4097, lines), 4097U);
}

TEST(LogTrimTest, LineFeedAfter4096CharactersIsAPieceOfItsOwn)
{
    const std::string lines = Line(4096) + Line(8);
    EXPECT_EQ(FirstKept(4096, lines), 0U);
    EXPECT_EQ(FirstKept(4097, lines), 4096U);
    EXPECT_EQ(FirstKept(4098, lines), 4096U);
    EXPECT_EQ(FirstKept(4099, lines), 4098U);
}

TEST(LogTrimTest, CarriageReturnThatNoLineFeedFollowsIsACharacter)
{
    const std::string lines = "a\rb\r\n"
                              "cd\r\n";
    EXPECT_EQ(FirstKept(4, lines), 0U);
    EXPECT_EQ(FirstKept(5, lines), 5U);
    const std::string twice = "a\r\r\n"
                              "cd\r\n";
    EXPECT_EQ(FirstKept(3, twice), 0U);
    EXPECT_EQ(FirstKept(4, twice), 4U);
}

TEST(LogTrimTest, LineThatHasNotEndedIsNotKeptYet)
{
    EXPECT_EQ(FirstKept(10, Line(8) + "abc"), std::nullopt);
    EXPECT_EQ(FirstKept(10, Line(8) + "abc\n"), 10U);
    EXPECT_EQ(FirstKept(10, Line(8) + "\r"), std::nullopt);
    EXPECT_EQ(FirstKept(0, ""), std::nullopt);
}

TEST(LogTrimTest, SmallerFileIsKeptWhole)
{
    LogTrim::Scanner scanner(5);
    EXPECT_EQ(scanner.Feed("a\r\nb"), 0U);
}

TEST(LogTrimTest, AnyByteButTheLineFeedIsACharacter)
{
    std::string line;
    for (int byte = 0; byte < 256; ++byte)
    {
        if (byte != '\n' && byte != '\r')
        {
            line += static_cast<char>(byte);
        }
    }
    EXPECT_EQ(FirstKept(255, line + "\r\nnext\r\n"), 0U);
    EXPECT_EQ(FirstKept(256, line + "\r\nnext\r\n"), 256U);
}

TEST(LogTrimTest, BlocksMayEndAnywhere)
{
    const std::string lines =
        Line(20) + "a\rb\r\r\n" + Line(5000) + "\n\n" + Line(0) + Line(7) + "end\r\r\n";
    for (std::uint64_t dropped = 0; dropped < lines.size() + 8; ++dropped)
    {
        const auto whole = FirstKept(dropped, lines);
        EXPECT_EQ(FirstKept(dropped, lines, 1), whole) << "dropped " << dropped;
        EXPECT_EQ(FirstKept(dropped, lines, 7), whole) << "dropped " << dropped;
    }
}

TEST(LogTrimTest, AnswerStays)
{
    LogTrim::Scanner scanner(TwoMebibytes + 5);
    EXPECT_EQ(scanner.Feed("abcd\r\nefgh\r\n"), 0U);
    EXPECT_EQ(scanner.Feed("ijkl\r\n"), 0U);
}

TEST(LogTrimTest, AnswerStaysThoughThePieceEndsAtACarriageReturnThatWasHeld)
{
    LogTrim::Scanner scanner(TwoMebibytes);
    EXPECT_EQ(scanner.Feed(std::string(4095, 'x') + "\ry"), 0U);
    EXPECT_EQ(scanner.Feed("z"), 0U);
}

TEST(LogTrimTest, LongLineMayEndInACarriageReturnOfItsOwn)
{
    const std::string lines = std::string(4095, 'x') + "\ry\r\n" + Line(8);
    EXPECT_EQ(FirstKept(4096, lines), 0U);
    EXPECT_EQ(FirstKept(4097, lines), 4096U);
    EXPECT_EQ(FirstKept(4099, lines), 4096U);
    EXPECT_EQ(FirstKept(4100, lines), 4099U);
}

std::string WithLineEnds(const std::string& bytes)
{
    std::string text(2 * bytes.size() + 1, '#');
    const std::size_t length = LogTrim::WriteLineEnds(bytes, text.data());
    EXPECT_EQ(text[length], '#');
    return text.substr(0, length);
}

TEST(LogTrimLineEndTest, LineFeedThatStandsAloneGetsACarriageReturn)
{
    EXPECT_EQ(WithLineEnds("a\nbc\n\nd"), "a\r\nbc\r\n\r\nd");
    EXPECT_EQ(WithLineEnds("\n"), "\r\n");
}

TEST(LogTrimLineEndTest, LineFeedBehindACarriageReturnStaysAsItIs)
{
    EXPECT_EQ(WithLineEnds("a\r\n\r\nb\r\r\nc\n\r\n"), "a\r\n\r\nb\r\r\nc\r\n\r\n");
}

TEST(LogTrimLineEndTest, LineFeedThatStandsAloneIsFoundAmongManyThatDoNot)
{
    for (std::size_t place = 0; place < 40; ++place)
    {
        std::string lines;
        std::string expected;
        for (std::size_t i = 0; i < 40; ++i)
        {
            lines += i == place ? "12345678\n" : "12345678\r\n";
            expected += "12345678\r\n";
        }
        EXPECT_EQ(WithLineEnds(lines), expected) << place;
    }
}

TEST(LogTrimLineEndTest, NoOtherByteChanges)
{
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte)
    {
        bytes += byte == '\n' ? std::string() : std::string(1, static_cast<char>(byte));
    }
    EXPECT_EQ(WithLineEnds(bytes), bytes);
    EXPECT_EQ(WithLineEnds(""), "");
}
} // namespace
