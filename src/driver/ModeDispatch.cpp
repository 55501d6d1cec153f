#include "ModeDispatch.h"

#include "InstallModes.h"
#include "NewOrChangedScheme.h"
#include "RefreshScheme.h"
#include "SimpleModes.h"

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
