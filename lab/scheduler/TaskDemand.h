// What asks for the start of a task, whatever kind of trigger it is.
#pragma once

#include "TaskRunner.h"
#include "TaskStore.h"

#include <optional>
#include <string>
#include <vector>

namespace PalvoLab
{

// One reason to start one task.
struct Demand
{
    StoredTask task;
    std::wstring reason;
    std::optional<std::wstring> limit; // the trigger's own time limit
};

// Nothing starts while the service is stopped, and nothing is made up for.
bool IsServiceRunning();

bool IsEnabled(const TriggerData& trigger);

// "event" or "time", with the trigger's id.
std::wstring ReasonOf(const TriggerData& trigger, const wchar_t* kind);

std::vector<TaskStart> StartAll(const std::vector<Demand>& demands);

} // namespace PalvoLab
