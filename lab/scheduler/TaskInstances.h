// The running instances of tasks. Each has a host, palvotaskhost.exe, that starts the program,
// waits for its end and stores its result, as the scheduler's service does on Windows.
#pragma once

#include "Owners.h"
#include "SchedulerTime.h"
#include "TaskStore.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace PalvoLab
{

struct TaskInstance
{
    std::uint32_t id = 0;
    std::wstring task;
    std::uint32_t serial = 0; // of the registration that started it
    std::wstring reason;      // the trigger's id, "demand", ...
    std::wstring program;
    std::wstring commandLine; // exactly as the program gets it
    std::wstring directory;
    std::wstring account;
    LabTime started = 0;      // by the lab's clock
    std::uint64_t limit = 0;  // seconds it may run; 0: for ever
    bool mayTerminate = true; // the task allows a hard end
    bool isTerminated = false;
    std::uint32_t hostId = 0; // process ids
    std::uint32_t processId = 0;

    // An event whose only lasting handle is the host's: as long as it exists, the host lives. It is
    // signalled when the program runs or could not be started.
    std::wstring event;
};

// An instance whose host has just been made.
struct StartingInstance
{
    std::uint32_t id = 0;
    KernelHandle started; // the instance's event
    KernelHandle host;
};

// Instances whose hosts live, in the order of their starts. One whose host was killed is forgotten,
// and its task's last result says so. All of these want kSchedulerLock to be held.
std::vector<TaskInstance> LiveInstances();
std::vector<TaskInstance> LiveInstancesOf(const std::wstring& task);

std::optional<TaskInstance> LoadInstance(std::uint32_t id);
void SaveInstance(const TaskInstance& instance);
void RemoveInstance(std::uint32_t id);

// Gives the instance an id and starts its host. Does not wait. On failure the last-error value
// says why.
std::optional<StartingInstance> StartHost(TaskInstance instance);

// Waits until the program runs; gives its process id, or nothing when it could not be started.
std::optional<std::uint32_t> AwaitStart(const StartingInstance& instance);

// Ends the programs at once, their tasks' setting allowing, and waits until their hosts have stored
// the results. The caller must not hold the lock. Returns the number of those ended.
std::size_t Terminate(const std::vector<TaskInstance>& instances);

// Waits for the end of instances, for at most `milliseconds` in all. True when all have ended.
bool AwaitEnd(const std::vector<TaskInstance>& instances, std::uint32_t milliseconds);

// The host's side: the program runs as instance.processId, or could not be started (0).
void ReportStarted(const TaskInstance& instance);

} // namespace PalvoLab
