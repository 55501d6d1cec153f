#include "MainDriver.h"

#include "RunFixture.h"

namespace
{
class ModeDispatchTest : public RunFixture
{
protected:
    int RunModeOfNumber(std::uint32_t mode)
    {
        return RunMode(NewRun(static_cast<CmdLineOptionsEnum>(mode),
                              NewOrChangedEventTypeEnum::NotNewOrChangedEvent, L"X"));
    }
};

TEST_F(ModeDispatchTest, ValueThatIsNoModePrintsTheUsageAndIsOne)
{
    for (const std::uint32_t mode : {10U, 0x80000000U, 0xFFFFFFFFU})
    {
        journal.clear();
        EXPECT_EQ(RunModeOfNumber(mode), 1);
        ASSERT_EQ(journal.size(), 1U);
        EXPECT_TRUE(journal[0].starts_with(L"out: \nPalvoPrinterConfiguration"));
    }
}

TEST_F(ModeDispatchTest, NoModeDoesNothingAndIsOne)
{
    EXPECT_EQ(RunModeOfNumber(1), 1);
    EXPECT_TRUE(journal.empty());
}
} // namespace
