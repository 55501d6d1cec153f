#include "MainDriver.h"

#include "CommandLine.h"
#include "InstallModes.h"
#include "LogFile.h"
#include "NewOrChangedScheme.h"
#include "NgenWarmupStep.h"
#include "PreScan.h"
#include "ProgramFile.h"
#include "RefreshScheme.h"
#include "RegistryPaths.h"
#include "RegistryValues.h"
#include "SimpleModes.h"

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

int RunMode(const Run& run)
{
    switch (run.options.mode)
    {
    case CmdLineOptionsEnum::NoCmdLineOption:
        return 1;
    case CmdLineOptionsEnum::NewOrChangedEvent:
        return RunNewOrChanged(run);
    case CmdLineOptionsEnum::PeriodicRefreshEvent:
    case CmdLineOptionsEnum::OnDemandAutoConfigRefresh:
        return RunRefresh(run);
    case CmdLineOptionsEnum::DeleteLogFile:
        return DeleteLog(run);
    case CmdLineOptionsEnum::AddPrinterDriverInstance:
        return AddPrinterDriverInstance(run);
    case CmdLineOptionsEnum::InstallScheduledTask:
        return InstallScheduledTasks(run);
    case CmdLineOptionsEnum::UninstallScheduledTask:
        return UninstallScheduledTasks(run);
    case CmdLineOptionsEnum::InvalidArgumentList:
    case CmdLineOptionsEnum::DisplayHelp:
    default:
        return DisplayUsage();
    }
}

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
