#include "StandardOutput.h"

#include "OutputCapture.h"
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
    if (GetACP() != 1252)
    {
        GTEST_SKIP() << "the expected bytes are those of code page 1252, this machine has "
                     << GetACP();
    }
    EXPECT_EQ(OutputOf([] { StandardOutput::Write(L"a\x4E2D\xDC00z\n"); }), "a??z\n");
}
} // namespace
