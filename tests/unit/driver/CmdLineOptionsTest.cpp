#include "CmdLineOptions.h"

#include "TestLog.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

namespace
{
template <class Enumeration>
constexpr bool Is32Bits = std::is_same_v<std::underlying_type_t<Enumeration>, std::uint32_t>;
static_assert(Is32Bits<NewOrChangedEventTypeEnum> && Is32Bits<CmdLineOptionsEnum> &&
              Is32Bits<WarmupOptionEnum> && Is32Bits<NgenOptionEnum>);

static_assert(offsetof(CmdLineOptions, eventType) == 0);
static_assert(offsetof(CmdLineOptions, mode) == 4);
static_assert(offsetof(CmdLineOptions, warmup) == 8);
static_assert(offsetof(CmdLineOptions, ngen) == 12);
static_assert(sizeof(CmdLineOptions) == 16);

class CmdLineOptionsTest : public ::testing::Test
{
protected:
    template <class Enumeration> std::wstring Name(std::uint32_t value)
    {
        return DisplayName(static_cast<Enumeration>(value), testLog.Log());
    }

    TestLog testLog;
};

TEST_F(CmdLineOptionsTest, ModesHaveTheirNames)
{
    const std::vector<std::wstring> names = {
        L"InvalidArgumentList",     L"NoCmdLineOption",           L"NewOrChangedEvent",
        L"PeriodicRefreshEvent",    L"OnDemandAutoConfigRefresh", L"DisplayHelp",
        L"DeleteLogFile",           L"InstallScheduledTask",      L"UninstallScheduledTask",
        L"AddPrinterDriverInstance"};
    for (std::uint32_t value = 0; value < names.size(); ++value)
    {
        EXPECT_EQ(Name<CmdLineOptionsEnum>(value), names[value]);
    }
    EXPECT_TRUE(testLog.Messages().empty());
}

TEST_F(CmdLineOptionsTest, NativeImageRequestsHaveTheirNames)
{
    EXPECT_EQ(Name<NgenOptionEnum>(0), L"NoNgen");
    EXPECT_EQ(Name<NgenOptionEnum>(1), L"InstallNgen");
    EXPECT_EQ(Name<NgenOptionEnum>(2), L"UninstallNgen");
}

TEST_F(CmdLineOptionsTest, WarmupRequestsHaveTheirNames)
{
    EXPECT_EQ(Name<WarmupOptionEnum>(0), L"NoWarmup");
    EXPECT_EQ(Name<WarmupOptionEnum>(1), L"Warmup");
}

TEST_F(CmdLineOptionsTest, EventTypesHaveTheirNames)
{
    EXPECT_EQ(Name<NewOrChangedEventTypeEnum>(0), L"NotNewOrChangedEvent");
    EXPECT_EQ(Name<NewOrChangedEventTypeEnum>(1), L"NormalNewOrChangedEvent");
    EXPECT_EQ(Name<NewOrChangedEventTypeEnum>(2), L"NewOrChangedTask");
    EXPECT_EQ(Name<NewOrChangedEventTypeEnum>(3), L"XmlConfigEvent");
    EXPECT_EQ(Name<NewOrChangedEventTypeEnum>(4), L"UserLogonEvent");
}

TEST_F(CmdLineOptionsTest, ValuesOutsideAreLoggedAndHaveNoName)
{
    EXPECT_EQ(Name<CmdLineOptionsEnum>(10), L"");
    EXPECT_EQ(Name<NgenOptionEnum>(3), L"");
    EXPECT_EQ(Name<WarmupOptionEnum>(2), L"");
    EXPECT_EQ(Name<NewOrChangedEventTypeEnum>(4294967295U), L"");
    EXPECT_EQ(testLog.Messages(),
              (std::vector<std::wstring>{
                  L"ERROR: Unhandled CmdLineOptionsEnum value: 10",
                  L"ERROR: Unhandled NgenOptionEnum value: 3",
                  L"ERROR: Unhandled WarmupOptionEnum value: 2",
                  L"ERROR: Unhandled NewOrChangedEventTypeEnum value: 4294967295"}));
}

TEST_F(CmdLineOptionsTest, NewOptionsAskForNothing)
{
    const CmdLineOptions options;
    EXPECT_EQ(static_cast<int>(options.eventType), 0);
    EXPECT_EQ(static_cast<int>(options.mode), 1);
    EXPECT_EQ(static_cast<int>(options.warmup), 0);
    EXPECT_EQ(static_cast<int>(options.ngen), 0);
}
} // namespace
