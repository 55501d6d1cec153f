// Putting the scheduler double in Task Scheduler's place.
#pragma once

namespace PalvoLab
{

// Registers palvotasks.dll, which lies beside the running program, as the server of Task
// Scheduler's class; while `palvo-lab set scheduler missing` is in force, takes the registration
// away, so that nobody can make the class. Cheap when nothing has to change.
void RegisterTaskServer();

} // namespace PalvoLab
