#include "LegacyPlvException.h"
#include "TaskRun.h"

namespace
{
constexpr HRESULT Failure = static_cast<HRESULT>(0x8A1B2C3D);

/// Every deletion that there is: of each kind, and of the job-start task.
struct Deletion
{
    std::wstring name;
    int (*run)();
};

template <unsigned Kind> int DeleteKind()
{
    return DeleteTask(Kind);
}

const std::vector<Deletion> Deletions = {
    {L"Palvo PalvoOrvela Printer Configuration - Periodic Refresh", &DeleteKind<0>},
    {L"Palvo PalvoOrvela Printer Configuration - New or Changed", &DeleteKind<1>},
    {L"Palvo Orvela 7.0 Job Management - Job Start", &DeleteKind<2>},
    {L"Palvo PalvoOrvela Printer Configuration - User Logon", &DeleteKind<3>},
    {L"Unknown", &DeleteKind<4>},
    {L"Unknown", &DeleteKind<0xFFFFFFFF>},
    {L"Palvo Orvela 7.0 Job Management - Job Start", &DeleteJobStartTask},
};
} // namespace

TEST(TaskDeletionTest, ADeletionReachesTheRootFolderAndDeletesByName)
{
    TaskRun run;
    for (const Deletion& deletion : Deletions)
    {
        run.scheduler.Reset();
        run.scheduler.ledger.tasks[deletion.name] = {};
        run.scheduler.ledger.tasks[L"another task"] = {};
        EXPECT_EQ(run.Do(deletion.run), 0);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.journal, CallsOf(DeleteSteps(deletion.name)));
        ASSERT_EQ(run.scheduler.ledger.tasks.size(), 1U);
        EXPECT_EQ(run.scheduler.ledger.tasks.count(L"another task"), 1U);
        EXPECT_EQ(run.scheduler.Faults(), L"");
        EXPECT_EQ(run.scheduler.textsAtTheEnd, 0U);
    }
}

TEST(TaskDeletionTest, ATaskThatDoesNotExistIsNoFailure)
{
    TaskRun run;
    for (const Deletion& deletion : Deletions)
    {
        run.scheduler.Reset();
        EXPECT_EQ(run.Do(deletion.run), 0);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.journal, CallsOf(DeleteSteps(deletion.name)));
    }
}

TEST(TaskDeletionTest, WhateverTheDeletionItselfGivesIsPassedOver)
{
    TaskRun run;
    for (const Deletion& deletion : Deletions)
    {
        run.scheduler.Reset();
        run.scheduler.ledger.tasks[deletion.name] = {};
        run.scheduler.ledger.FailAlways(L"ITaskFolder::DeleteTask", E_ACCESSDENIED);
        EXPECT_EQ(run.Do(deletion.run), 0);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.scheduler.Faults(), L"");
    }
}

TEST(TaskDeletionTest, EachStepThatFailsSaysItsOwnSentenceAndDeletesNothing)
{
    TaskRun run;
    for (const Deletion& deletion : Deletions)
    {
        const ExpectedSteps steps = DeleteSteps(deletion.name);
        for (std::size_t number = 1; number < steps.size(); ++number)
        {
            run.scheduler.Reset();
            run.scheduler.ledger.tasks[deletion.name] = {};
            run.scheduler.ledger.FailCall(number, Failure);
            SCOPED_TRACE(steps.at(number - 1).failure);
            EXPECT_EQ(run.Do(deletion.run), 1);
            EXPECT_EQ(run.output, steps.at(number - 1).failure + "8a1b2c3d");
            Journal calls = CallsOf(steps);
            calls.resize(number);
            // COM counts its users: one that never came must not leave for another.
            if (number > 1)
            {
                calls.push_back(L"CoUninitialize()");
            }
            EXPECT_EQ(run.journal, calls);
            EXPECT_EQ(run.scheduler.ledger.tasks.size(), 1U);
            EXPECT_EQ(run.scheduler.Faults(), L"");
            EXPECT_EQ(run.scheduler.textsAtTheEnd, 0U);
        }
    }
}

TEST(TaskDeletionTest, WithoutRoomForATextTheComErrorLeavesAndEverythingIsGivenBack)
{
    TaskRun run;
    for (const Deletion& deletion : Deletions)
    {
        run.scheduler.Reset();
        ASSERT_EQ(run.Do(deletion.run), 0);
        const std::size_t count = run.scheduler.ledger.allocatedTexts;
        ASSERT_EQ(count, 2U);
        for (std::size_t number = 1; number <= count; ++number)
        {
            run.scheduler.Reset();
            run.scheduler.ledger.failingText = number;
            try
            {
                run.Do(deletion.run);
                ADD_FAILURE() << "no exception";
            }
            catch (const LegacyPlvComException& e)
            {
                EXPECT_EQ(static_cast<unsigned>(e.Result()), 0x8007000EU);
            }
            EXPECT_EQ(run.journal.back(), L"CoUninitialize()");
            EXPECT_EQ(run.scheduler.Faults(), L"");
        }
    }
}
