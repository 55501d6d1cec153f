#include "TaskDemand.h"

#include "TaskStart.h"

namespace PalvoLab
{

bool IsServiceRunning()
{
    return Setting(L"Scheduler") != L"stopped";
}

bool IsEnabled(const TriggerData& trigger)
{
    return trigger.properties.IsTrue(L"Enabled", true);
}

std::wstring ReasonOf(const TriggerData& trigger, const wchar_t* kind)
{
    return std::wstring(kind) + L" \"" + trigger.properties.Text(L"Id").value_or(L"") + L"\"";
}

std::vector<TaskStart> StartAll(const std::vector<Demand>& demands)
{
    // What is due together starts together.
    std::vector<BegunStart> begun;
    for (const Demand& demand : demands)
    {
        begun.push_back(BeginStart(demand.task, demand.reason, demand.limit));
    }
    std::vector<TaskStart> starts;
    for (BegunStart& start : begun)
    {
        starts.push_back(FinishStart(std::move(start)));
    }
    return starts;
}

} // namespace PalvoLab
