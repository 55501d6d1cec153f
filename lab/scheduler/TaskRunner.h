// Starting tasks: by events, by the clock, on demand.
#pragma once

#include "SchedulerTime.h"
#include "TaskInstances.h"

#include <cstdint>
#include <string>
#include <vector>

namespace PalvoLab
{

enum class StartOutcome
{
    Started,
    Queued,
    Ignored,   // an instance runs, and the task wants no second one
    Disabled,  // the task, its trigger, or starting on demand or on battery
    NoProgram, // the program could not be started; the last result says why
};

struct TaskStart
{
    std::wstring task;
    std::wstring reason;
    StartOutcome outcome = StartOutcome::Disabled;
    std::uint32_t instance = 0;
    std::uint32_t processId = 0;
    std::wstring commandLine;
};

// Starts what the events that were logged since the last look ask for: one instance for each event
// and trigger. Returns when the programs run; does not wait for their ends.
std::vector<TaskStart> RunDueTasks();

// Lets the tasks not see the events that were logged since the last look.
void SkipDueTasks();

// Starts a task by hand.
TaskStart RunTaskNow(const StoredTask& task);

struct ClockTurn
{
    bool isMachineOff = false; // nothing runs while the time passes
    std::uint32_t graceMilliseconds = 30000;
};

// Lets the lab's time pass: everything that falls due on the way starts in its order, and what
// runs longer than it may is terminated. Programs take real time, the clock jumps: what runs gets
// the grace to finish before its time limit or another start can meet it.
std::vector<TaskStart> TurnClock(LabTime to, const ClockTurn& turn);

// Sets the machine's clock back, which the program sees too. What was due is due once more; what
// runs may still run as long.
void SetClockBack(std::uint32_t seconds);

// The instant that the next daily trigger of the task fires; nothing when it has none.
std::optional<LabTime> NextRun(const StoredTask& task, LabTime after);

// The host has seen its program end: stores the result and starts what was queued.
void FinishInstance(const TaskInstance& instance, std::uint32_t result);

// Ends all that runs, and forgets all tasks, their log and the clock's position.
void ResetScheduler();

} // namespace PalvoLab
