// One start of one task, by the task's own settings.
#pragma once

#include "TaskInstances.h"
#include "TaskRunner.h"
#include "TaskStore.h"

#include <optional>
#include <string>

namespace PalvoLab
{

// A start that was decided; its program may not run yet.
struct BegunStart
{
    TaskStart start;
    std::optional<StartingInstance> starting;
};

// Obeys Enabled, the battery settings and MultipleInstances. `triggerLimit` is the
// ExecutionTimeLimit of the trigger that asks for it.
BegunStart BeginStart(const StoredTask& task, const std::wstring& reason,
                      const std::optional<std::wstring>& triggerLimit);

// Waits until the program runs.
TaskStart FinishStart(BegunStart begun);

// Both.
TaskStart StartTask(const StoredTask& task, const std::wstring& reason,
                    const std::optional<std::wstring>& triggerLimit);

// Starts an instance that waited for another one's end; does not wait for anything.
void StartQueued(const StoredTask& task);

// The command line that the task's program gets: its path, in quotes when it holds blanks, and
// the arguments as they were registered.
std::wstring CommandLineOf(const StoredTask& task);

} // namespace PalvoLab
