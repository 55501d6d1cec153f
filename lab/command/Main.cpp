// palvo-lab: sets the lab up, runs programs in it, and shows what happened.
#include "Command.h"
#include "SchedulerCommands.h"
#include "ServerRegistration.h"

#include "Hives.h"
#include "LabLock.h"
#include "LabState.h"
#include "Text.h"

namespace
{

using namespace PalvoLab;

// Several first commands may come at once.
void SetUpOnce()
{
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

// One command with its name; its exit code.
int RunCommand(const Arguments& all)
{
    for (const Command& command : Commands())
    {
        if (all[0] != command.name)
        {
            continue;
        }
        if (command.run != &RunHelp && !HasWinesUser())
        {
            return Complain(L"the hive of Wine's user is not where this lab knows it; see whether "
                            L"another version of Wine has it there");
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

// Commands from standard input, a line each, their arguments between tabs, until it ends. What a
// command prints, complaints too, is followed by a line with a record separator and its exit code.
int Serve()
{
    PrintComplaints();
    std::string waiting;
    char part[4096];
    DWORD read = 0;
    while (ReadFile(GetStdHandle(STD_INPUT_HANDLE), part, sizeof part, &read, nullptr))
    {
        if (read == 0)
        {
            return kDone;
        }
        waiting.append(part, read);
        for (std::size_t end = waiting.find('\n'); end != std::string::npos;
             end = waiting.find('\n'))
        {
            const Arguments arguments = Split(Widen(waiting.substr(0, end)), L'\t');
            waiting.erase(0, end + 1);
            PrintBytes("\x1e" + std::to_string(RunCommand(arguments)) + "\n");
        }
    }
    const DWORD error = GetLastError();
    return error == ERROR_BROKEN_PIPE ? kDone : static_cast<int>(error);
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    const Arguments all(argv + 1, argv + argc);
    if (all.empty())
    {
        RunHelp({});
        return kUsage;
    }
    return all[0] == L"serve" ? Serve() : RunCommand(all);
}
