#include "ProgramRun.h"
#include "ShippedFile.h"

#include <gtest/gtest.h>

TEST(ShippedRun, HelpPrintsTheUsageAndEndsWithOne)
{
    const ProgramRun run = RunToItsEnd(ShippedFilePath(), L"-?");
    EXPECT_EQ(run.exitCode, 1U);
    EXPECT_EQ(run.output,
              "\nPalvoPrinterConfiguration - Palvo Corporation\n\n"
              "\tPalvoPrinterConfiguration.exe [-? | -c | -r | -IT | -UT | -DL | -IN | -UN | -w]\n"
              "\n"
              "\tAuto-Config requires Windows 8 or later, Job Management requires Vista or later.");
}
