// palvo-lab: sets the lab up, runs programs in it, and shows what happened.
#include "Command.h"
#include "SchedulerCommands.h"
#include "ServerRegistration.h"

#include "Hives.h"
#include "LabState.h"
#include "Owners.h"
#include "Text.h"

namespace
{

// Several first commands may come at once.
void SetUpOnce()
{
    using namespace PalvoLab;
    if (OpenStateKey(L"Ready"))
    {
        return;
    }
    const LabLock lock(L"Global\\PalvoLabReset");
    if (!OpenStateKey(L"Ready"))
    {
        RunReset({});
    }
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    using namespace PalvoLab;
    const Arguments all(argv + 1, argv + argc);
    if (all.empty())
    {
        RunHelp({});
        return kUsage;
    }
    for (const Command& command : Commands())
    {
        if (all[0] != command.name)
        {
            continue;
        }
        // A lab that was never set up is set up now; the links of the hives are gone whenever
        // Wine was.
        if (command.run != &RunReset && command.run != &RunHelp)
        {
            SetUpOnce();
            MountHives();
            RegisterTaskServer();
        }
        const int result = command.run(Arguments(all.begin() + 1, all.end()));
        StartDueTasks();
        return result;
    }
    return Complain(L"there is no command '" + all[0] + L"'; see palvo-lab help", kUsage);
}
