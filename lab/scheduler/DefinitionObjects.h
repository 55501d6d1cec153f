// The COM objects of a task definition. Each function hands out one reference, which the caller
// gives back; the objects keep the task's data alive among them.
#pragma once

#include "SchedulerResults.h"
#include "TaskStore.h"

#include <memory>

namespace PalvoLab
{

using SharedTask = std::shared_ptr<TaskData>;

ITaskDefinition* MakeDefinition(SharedTask task);
IRegistrationInfo* MakeRegistrationInfo(SharedTask task);
IPrincipal* MakePrincipal(SharedTask task);
ITaskSettings* MakeSettings(SharedTask task);
ITriggerCollection* MakeTriggers(SharedTask task);
IActionCollection* MakeActions(SharedTask task);
IRegisteredTask* MakeRegisteredTask(const StoredTask& task);

// The data behind a definition that this server handed out; null for any other object.
SharedTask DataOf(ITaskDefinition* definition);

} // namespace PalvoLab
