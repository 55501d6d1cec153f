#include "MainDriver.h"

#include "CommandLine.h"
#include "LogFile.h"
#include "LogFileAccess.h"
#include "ModeDispatch.h"
#include "NgenWarmupStep.h"
#include "PreScan.h"
#include "ProgramFile.h"
#include "RegistryPaths.h"
#include "RegistryValues.h"

namespace
{
bool IsSwitchedOff()
{
    return ReadMachineNumber32(RegistryPaths::Options, RegistryPaths::RunSwitch, 1) == 0;
}

LogFile& OpenLog()
{
    LogFile& log = LogFile::Get(LogDirectory(), L"PalvoPrinterConfiguration");
    GrantLocalServiceAccess(log);
    GrantAuthenticatedUsersAccess(log);
    return log;
}
} // namespace

int RunProgram(int argumentCount, const wchar_t* const* arguments)
{
    if (IsSwitchedOff())
    {
        return 0;
    }
    LogFile& log = OpenLog();
    Run run = {log, {}, {}, {}};
    run.options = ParseCommandLine(argumentCount, arguments, log, run.invoker);
    run.paths = ProgramPathsIn(ProgramDirectory());

    RunNgenWarmupStep(run);
    if (PreScanFindsNothingToDo(run))
    {
        return 0;
    }
    OfferDebuggerPrompt(run);
    return RunMode(run);
}
