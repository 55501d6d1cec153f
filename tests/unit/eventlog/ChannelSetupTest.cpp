#include "ChannelSetup.h"

#include "FakeChannelSetup.h"
#include "OutputCapture.h"

#include <gtest/gtest.h>

namespace
{
const std::wstring Open =
    L"EvtOpenChannelConfig(null, \"Microsoft-Windows-PrintService/Operational\", 0)";
const std::wstring Enable = L"EvtSetChannelConfigProperty(0, 0, boolean 1)";
const std::wstring Disable = L"EvtSetChannelConfigProperty(0, 0, boolean 0)";
const std::wstring Overwrite = L"EvtSetChannelConfigProperty(6, 0, boolean 0)";
const std::wstring Size = L"EvtSetChannelConfigProperty(8, 0, uint64 1052672)";
const std::wstring Save = L"EvtSaveChannelConfig(0)";
const std::wstring Close = L"EvtClose()";

class ChannelSetupTest : public testing::Test
{
protected:
    /// Configures the channel and returns the status as the number that reaches the exit code.
    int Configure(bool enable)
    {
        int status = -1;
        output = OutputOf([&] { status = static_cast<int>(ConfigurePrintServiceChannel(enable)); });
        return status;
    }

    void TearDown() override
    {
        EXPECT_EQ(channel.openHandles, 0U);
        EXPECT_EQ(channel.misuses, 0U);
    }

    Journal journal;
    FakeChannelSetup channel{journal};
    std::string output;
};

struct FailingStep
{
    std::size_t call;
    int status;
    std::string before;
    std::string after;
};

/// The steps that can fail, with what each one prints around the error code.
const std::vector<FailingStep> FailingSteps = {
    {1, 1, "EvtOpenChannelConfig failed with ", ".\n"},
    {2, 2, "EvtSetChannelConfigProperty for Enabled property failed with ", "\n"},
    {3, 2, "EvtSetChannelConfigProperty for Retention property failed with ", "\n"},
    {4, 3, "EvtChannelLoggingConfigMaxSize for MAx Size property failed with ", "\n"},
    {5, 4, "EvtSaveChannelConfig failed with ", "\n"},
};
} // namespace

TEST_F(ChannelSetupTest, SwitchesThePrintServiceChannelOnWithItsSizeAndItsPolicy)
{
    EXPECT_EQ(Configure(true), 0);
    EXPECT_EQ(output, "Channel properties updated.\n");
    EXPECT_EQ(journal, (Journal{Open, Enable, Overwrite, Size, Save, Close}));
}

TEST_F(ChannelSetupTest, SwitchesTheChannelOffWithTheSameSizeAndPolicy)
{
    EXPECT_EQ(Configure(false), 0);
    EXPECT_EQ(output, "Channel properties updated.\n");
    EXPECT_EQ(journal, (Journal{Open, Disable, Overwrite, Size, Save, Close}));
    EXPECT_EQ(channel.saved, (std::map<int, std::wstring>{
                                 {0, L"boolean 0"}, {6, L"boolean 0"}, {8, L"uint64 1052672"}}));
}

TEST_F(ChannelSetupTest, SavesTheSameConfigurationAgainWhenItRunsTwice)
{
    EXPECT_EQ(Configure(true), 0);
    const auto first = channel.saved;
    EXPECT_EQ(Configure(true), 0);
    EXPECT_EQ(channel.saves, 2U);
    EXPECT_EQ(channel.saved, first);
    EXPECT_EQ(channel.saved, (std::map<int, std::wstring>{
                                 {0, L"boolean 1"}, {6, L"boolean 0"}, {8, L"uint64 1052672"}}));
}

TEST_F(ChannelSetupTest, EachFailingStepHasItsOwnTextAndStatusWithTheErrorOfThatStep)
{
    for (const FailingStep& step : FailingSteps)
    {
        SCOPED_TRACE(step.before);
        channel.FailCall(step.call, 15007);
        EXPECT_EQ(Configure(true), step.status);
        EXPECT_EQ(output, step.before + "15007" + step.after);
    }
}

TEST_F(ChannelSetupTest, AnErrorCodeIsPrintedAsAnUnsignedDecimalNumber)
{
    for (const FailingStep& step : FailingSteps)
    {
        SCOPED_TRACE(step.before);
        channel.FailCall(step.call, 0xFFFFFFFE);
        EXPECT_EQ(Configure(true), step.status);
        EXPECT_EQ(output, step.before + "4294967294" + step.after);
    }
}

TEST_F(ChannelSetupTest, AFailedCallWithoutAnErrorCodeIsStillAFailure)
{
    for (const FailingStep& step : FailingSteps)
    {
        SCOPED_TRACE(step.before);
        channel.FailCall(step.call, 0);
        EXPECT_EQ(Configure(false), step.status);
        EXPECT_EQ(output, step.before + "0" + step.after);
    }
}

TEST_F(ChannelSetupTest, NothingIsAttemptedWhenTheConfigurationCannotBeOpened)
{
    channel.FailCall(1, 5);
    EXPECT_EQ(Configure(true), 1);
    EXPECT_EQ(journal, Journal{Open});
}

TEST_F(ChannelSetupTest, AfterAFailureTheHandleIsClosedAndNothingIsSaved)
{
    const Journal steps = {Open, Enable, Overwrite, Size, Save};
    for (std::size_t failing = 2; failing <= steps.size(); ++failing)
    {
        SCOPED_TRACE(failing);
        journal.clear();
        channel.FailCall(failing, 5);
        Configure(true);
        Journal expected(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(failing));
        expected.push_back(Close);
        EXPECT_EQ(journal, expected);
        EXPECT_EQ(channel.saves, 0U);
        EXPECT_TRUE(channel.saved.empty());
    }
}
