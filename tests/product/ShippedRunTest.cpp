#include "ShippedFile.h"

#include "Owners.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
struct Outcome
{
    DWORD exitCode = 0;
    std::string output; ///< with plain line feeds
};

/// Runs the program that ships with the one argument -?, to its end.
Outcome AskForHelp()
{
    const TemporaryFolder folder;
    const std::wstring outputPath = folder.Of(L"output.txt");
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    FileHandle output(CreateFileW(outputPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited,
                                  CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output.Get();
    std::wstring commandLine = L"PalvoPrinterConfiguration.exe -?";
    PROCESS_INFORMATION information = {};
    EXPECT_TRUE(CreateProcessW(ShippedFilePath().c_str(), commandLine.data(), nullptr, nullptr,
                               TRUE, 0, nullptr, nullptr, &startup, &information));
    const KernelHandle process(information.hProcess);
    const KernelHandle thread(information.hThread);
    Outcome outcome;
    WaitForSingleObject(process.Get(), INFINITE);
    EXPECT_TRUE(GetExitCodeProcess(process.Get(), &outcome.exitCode));
    output.Reset();
    outcome.output = FileBytes(outputPath);
    std::erase(outcome.output, '\r');
    return outcome;
}
} // namespace

TEST(ShippedRun, HelpPrintsTheUsageAndEndsWithOne)
{
    const Outcome outcome = AskForHelp();
    EXPECT_EQ(outcome.exitCode, 1U);
    EXPECT_EQ(outcome.output,
              "\nPalvoPrinterConfiguration - Palvo Corporation\n\n"
              "\tPalvoPrinterConfiguration.exe [-? | -c | -r | -IT | -UT | -DL | -IN | -UN | -w]\n"
              "\n"
              "\tAuto-Config requires Windows 8 or later, Job Management requires Vista or later.");
}
