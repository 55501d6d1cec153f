#include "StandardOutput.h"

#include "OutputCapture.h"
#include "PretendedCodePage.h"
#include "WindowsHeaders.h"

#include <cstdio>
#include <io.h>

namespace
{
TEST(StandardOutputTest, PrintsTheTextAsItIs)
{
    EXPECT_EQ(OutputOf([] { StandardOutput::Write(L"\tone\ntwo"); }), "\tone\ntwo");
}

TEST(StandardOutputTest, TextIsOutBeforeTheCallReturns)
{
    long length = 0;
    OutputOf(
        [&]
        {
            // As in the program itself; the test programs have switched it off.
            std::setvbuf(stdout, nullptr, _IOFBF, 4096);
            StandardOutput::Write(L"text");
            length = _filelength(_fileno(stdout));
            std::setvbuf(stdout, nullptr, _IONBF, 0);
        });
    EXPECT_EQ(length, 4);
}

TEST(StandardOutputTest, PercentSignsAreData)
{
    EXPECT_EQ(OutputOf([] { StandardOutput::Write(L"%s%n%d\n"); }), "%s%n%d\n");
}

TEST(StandardOutputTest, CharactersOutsideTheCodePageDoNotEndTheLine)
{
    const PretendedCodePage codePage(1252);
    EXPECT_EQ(OutputOf([] { StandardOutput::Write(L"a\x4E2D\xDC00z\n"); }), "a??z\n");
}
} // namespace
