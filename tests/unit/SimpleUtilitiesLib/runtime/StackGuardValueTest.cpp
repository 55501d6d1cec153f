#include "StackGuard.h"

#include <gtest/gtest.h>

namespace
{
constexpr StackGuardSources Sources = {.counter = 0x123456789A,
                                       .time = 0x01DC5B6E12345678,
                                       .processId = 0x1234,
                                       .threadId = 0x5678,
                                       .address = 0x00000000005FFE60};

class StackGuardValueTest : public testing::TestWithParam<std::uint64_t StackGuardSources::*>
{
};

TEST_P(StackGuardValueTest, ChangesWithEveryBitOfItsSource)
{
    for (int bit = 0; bit < 64; ++bit)
    {
        StackGuardSources others = Sources;
        others.*GetParam() ^= std::uint64_t{1} << bit;
        EXPECT_NE(StackGuardOf(others), StackGuardOf(Sources)) << bit;
        EXPECT_EQ(StackGuardOf(others) & 0xFF, 0U) << bit;
    }
}

INSTANTIATE_TEST_SUITE_P(OfEachSource, StackGuardValueTest,
                         testing::Values(&StackGuardSources::counter, &StackGuardSources::time,
                                         &StackGuardSources::processId,
                                         &StackGuardSources::threadId,
                                         &StackGuardSources::address));
} // namespace
