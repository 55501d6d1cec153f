#include "ProgramRun.h"
#include "ShippedFile.h"

#include <gtest/gtest.h>

namespace
{
ProgramRun Probe(const std::wstring& what)
{
    return RunToItsEnd(TestFolder() + L"\\product\\StackGuardProbe.exe", what);
}

TEST(StackGuard, AProgramThatWritesBeyondABufferEndsAtOnce)
{
    // STATUS_STACK_BUFFER_OVERRUN
    EXPECT_EQ(Probe(L"smash").exitCode, 0xC0000409U);
}

TEST(StackGuard, TellsTheDebuggerWhatWasOverwrittenAndLetsNoHandlerRun)
{
    const ProgramRun run = Probe(L"smash");
    ASSERT_TRUE(run.exception.has_value());
    EXPECT_EQ(run.exception->code, 0xC0000409U);
    // FAST_FAIL_STACK_COOKIE_CHECK_FAILURE
    EXPECT_EQ(run.exception->parameters, std::vector<ULONG_PTR>{2});
    EXPECT_FALSE(run.exception->isFirstChance);
}

TEST(StackGuard, IsThereBeforeTheFirstConstructorAndStaysAsItIs)
{
    const std::string values = Probe(L"guard").output;
    ASSERT_EQ(values.size(), 34U);
    EXPECT_EQ(values.substr(0, 16), values.substr(17, 16));
    EXPECT_NE(values.substr(0, 16), "0000000000000000");
}

TEST(StackGuard, HasAZeroInItsLowestByteAndNowhereElseByRule)
{
    const std::string value = Probe(L"guard").output.substr(0, 16);
    EXPECT_EQ(value.substr(14), "00");
    EXPECT_NE(value.substr(0, 8), "00000000");
}

TEST(StackGuard, IsAnotherOneInEveryProcess)
{
    EXPECT_NE(Probe(L"guard").output, Probe(L"guard").output);
}
} // namespace
