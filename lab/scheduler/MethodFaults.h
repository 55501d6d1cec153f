// Faults of COM methods: "the N-th call of ITaskSettings::put_Enabled fails with E".
#pragma once

#include "WindowsHeaders.h"

#include <optional>
#include <string>
#include <vector>

namespace PalvoLab
{

// Counts a call of "Interface::method" and gives the HRESULT that a fault has planned for it. The
// counts belong to the process: they go on when COM unloads the server and loads it again.
std::optional<HRESULT> PlannedFault(const std::wstring& method);

// How often each method was called by this process, as "<process id> <method> <calls>".
std::vector<std::string> MethodCountLines();

// Gives back what counting took; called when the server is unloaded.
void LeaveMethodCounts();

} // namespace PalvoLab
