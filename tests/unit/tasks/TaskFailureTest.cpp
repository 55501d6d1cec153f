#include "LegacyPlvException.h"
#include "TaskRun.h"

namespace
{
constexpr HRESULT Failure = static_cast<HRESULT>(0x8A1B2C3D);
const std::string Registered = "\n Success! Task successfully registered.";

/// What is printed when the last call of `calls` fails; empty when its failure is passed over.
std::string FailureText(const ExpectedSteps& steps, const Journal& calls)
{
    const std::wstring& call = calls.back();
    // The settings are asked for a second time only to change what several starts at once do.
    if (call == L"ITaskDefinition::get_Settings()" &&
        std::count(calls.begin(), calls.end(), call) == 2)
    {
        return "\nCannot create the first trigger: ";
    }
    const auto step = std::find_if(steps.begin(), steps.end(),
                                   [&](const ExpectedStep& s) { return s.call == call; });
    return step == steps.end() ? "NO STEP" : step->failure;
}

/// The calls of a run that succeeds.
Journal WholeRun(TaskRun& run, unsigned kind)
{
    run.scheduler.Reset();
    EXPECT_EQ(run.Install(kind), 0);
    Journal calls = run.journal;
    calls.pop_back();
    return calls;
}

/// Makes one call of an installation fail and checks all that follows from it.
void CheckFailingCall(TaskRun& run, const KindName& kind, std::size_t number, const Journal& whole)
{
    run.scheduler.Reset();
    run.scheduler.ledger.FailCall(number, Failure);
    const int result = run.Install(kind.kind);
    const ExpectedSteps steps =
        InstallSteps(kind, LogonQueryWindows10, run.TextPut(L"IDailyTrigger::put_StartBoundary"));
    Journal calls = run.journal;
    calls.resize(number);
    SCOPED_TRACE(testing::Message() << "kind " << kind.kind << ", call " << number << ": "
                                    << testing::PrintToString(calls.back()));
    EXPECT_EQ(run.scheduler.Faults(), L"");

    const std::string text = FailureText(steps, calls);
    if (text.empty())
    {
        EXPECT_EQ(result, 0);
        EXPECT_EQ(run.output, Registered);
        EXPECT_EQ(run.journal.size(), whole.size() + 1);
        return;
    }
    EXPECT_EQ(result, 1);
    EXPECT_EQ(run.output, text + "8a1b2c3d");
    EXPECT_TRUE(run.scheduler.ledger.tasks.empty());
    // Nothing more is tried, and COM ends if it began.
    if (number > 1)
    {
        calls.push_back(L"CoUninitialize()");
    }
    EXPECT_EQ(run.journal, calls);
}
} // namespace

TEST(TaskFailureTest, EachStepOfAnInstallationThatFailsSaysItsOwnSentenceAndRegistersNothing)
{
    TaskRun run;
    for (const KindName& kind : KindNames)
    {
        const Journal whole = WholeRun(run, kind.kind);
        for (std::size_t number = 1; number <= whole.size(); ++number)
        {
            CheckFailingCall(run, kind, number, whole);
        }
    }
}

TEST(TaskFailureTest, AFailureAfterTheOldTaskWasDeletedRegistersNothing)
{
    TaskRun run;
    ASSERT_EQ(run.Install(0), 0);
    run.scheduler.ledger.Fail(L"IRepetitionPattern::put_Interval", E_INVALIDARG);
    EXPECT_EQ(run.Install(0), 1);
    EXPECT_EQ(run.output, "\nCannot put the repetition interval: 80070057");
    EXPECT_TRUE(run.scheduler.ledger.tasks.empty());
    EXPECT_EQ(run.Install(0), 0);
    EXPECT_EQ(run.scheduler.ledger.tasks.size(), 1U);
}

TEST(TaskFailureTest, AFailureIsPrintedInLowerCaseHexadecimalWithoutLeadingText)
{
    for (const auto& [result, text] : std::vector<std::pair<unsigned, std::string>>{
             {0x80000000, "80000000"}, {0x8007000E, "8007000e"}, {0xFFFFFFFF, "ffffffff"}})
    {
        TaskRun run;
        run.scheduler.ledger.FailAlways(L"ITaskService::Connect", static_cast<HRESULT>(result));
        EXPECT_EQ(run.Install(1), 1);
        EXPECT_EQ(run.output, "ITaskService::Connect failed: " + text);
    }
}

TEST(TaskFailureTest, SecurityThatWasInitialisedBeforeEndsTheCall)
{
    TaskRun run;
    run.scheduler.ledger.FailAlways(L"CoInitializeSecurity", static_cast<HRESULT>(0x80010119));
    EXPECT_EQ(run.Install(1), 1);
    EXPECT_EQ(run.output, "\nCoInitializeSecurity failed: 80010119");
    EXPECT_EQ(run.scheduler.uninitializations, 1U);
    EXPECT_EQ(run.scheduler.Faults(), L"");
}

TEST(TaskFailureTest, ComOfAnotherModelIsNotUninitialised)
{
    TaskRun run;
    run.scheduler.ledger.FailAlways(L"CoInitializeEx", static_cast<HRESULT>(0x80010106));
    EXPECT_EQ(run.Install(1), 1);
    EXPECT_EQ(run.output, "\nCoInitializeEx failed: 80010106");
    EXPECT_EQ(run.scheduler.uninitializations, 0U);
}

TEST(TaskFailureTest, AnAnswerThatIsASuccessOfAnotherKindIsASuccess)
{
    TaskRun run;
    for (const KindName& kind : KindNames)
    {
        const std::size_t count = WholeRun(run, kind.kind).size();
        for (std::size_t number = 1; number <= count; ++number)
        {
            run.scheduler.Reset();
            run.scheduler.ledger.FailCall(number, static_cast<HRESULT>(0x0004131C));
            EXPECT_EQ(run.Install(kind.kind), 0) << kind.kind << ", call " << number;
            EXPECT_EQ(run.output, Registered);
            EXPECT_EQ(run.scheduler.ledger.tasks.size(), 1U);
            EXPECT_EQ(run.scheduler.Faults(), L"");
        }
    }
}

TEST(TaskFailureTest, WithoutRoomForTheTimeLimitNothingIsTriedOrSaid)
{
    TaskRun run;
    run.scheduler.ledger.failingText = 1;
    EXPECT_EQ(run.Install(1), 1);
    EXPECT_EQ(run.output, "");
    EXPECT_TRUE(run.journal.empty());
}

TEST(TaskFailureTest, WithoutRoomForAnyOtherTextTheComErrorLeavesAndEverythingIsGivenBack)
{
    TaskRun run;
    for (const KindName& kind : KindNames)
    {
        run.scheduler.Reset();
        ASSERT_EQ(run.Install(kind.kind), 0);
        const std::size_t count = run.scheduler.ledger.allocatedTexts;
        ASSERT_GT(count, 7U);
        for (std::size_t number = 2; number <= count; ++number)
        {
            SCOPED_TRACE(testing::Message() << kind.kind << ", text " << number);
            run.scheduler.Reset();
            run.scheduler.ledger.failingText = number;
            try
            {
                run.Install(kind.kind);
                ADD_FAILURE() << "no exception";
            }
            catch (const LegacyPlvComException& e)
            {
                EXPECT_EQ(static_cast<unsigned>(e.Result()), 0x8007000EU);
            }
            EXPECT_EQ(run.journal.back(), L"CoUninitialize()");
            EXPECT_EQ(run.scheduler.Faults(), L"");
            EXPECT_TRUE(run.scheduler.ledger.tasks.empty());
        }
    }
}

TEST(TaskFailureTest, EveryTextIsGivenBackBeforeComEnds)
{
    std::size_t late = 0;
    TaskRun run;
    for (const KindName& kind : KindNames)
    {
        const std::size_t count = WholeRun(run, kind.kind).size();
        for (std::size_t number = 1; number <= count; ++number)
        {
            run.scheduler.Reset();
            run.scheduler.ledger.FailCall(number, Failure);
            run.Install(kind.kind);
            late += run.scheduler.textsAtTheEnd;
        }
    }
    EXPECT_EQ(late, 0U) << "texts were given back after COM's end";
}
