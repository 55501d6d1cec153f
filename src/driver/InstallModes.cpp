#include "InstallModes.h"

#include "ChannelSetup.h"
#include "DesktopAppGuids.h"
#include "LogFile.h"
#include "ScanPosition.h"
#include "TaskInstallation.h"
#include "TaskKinds.h"
#include "WindowsVersion.h"

#include <algorithm>
#include <array>

namespace
{
struct InstalledTask
{
    unsigned kind;
    const wchar_t* arguments;
    const wchar_t* failure;
    bool counts; ///< whether its result enters the outcome
};

/// In the order in which they are installed.
constexpr std::array InstalledTasks = {
    InstalledTask{TaskKind::NewOrChanged, L"-c -i NewOrChangedTask",
                  L"ERROR: Failed to create or recreate auto-config scheduled task for new/changed "
                  L"printer events.",
                  false},
    InstalledTask{TaskKind::PeriodicRefresh, L"-r -i PeriodicRefreshTask -IN -w",
                  L"ERROR: Failed to create or recreate auto-config scheduled task for periodic "
                  L"refresh.",
                  false},
    InstalledTask{TaskKind::UserLogon, L"-c -i UserLogonTask -IN -w",
                  L"ERROR: Failed to create or recreate auto-config scheduled task for user logon "
                  L"events.",
                  true},
};

int ConfigureChannel(bool enable)
{
    return static_cast<int>(ConfigurePrintServiceChannel(enable));
}

int Install(const InstalledTask& task, const std::wstring& programPath)
{
    if (programPath.empty())
    {
        return 1; // The task would start another file: keep the old one, or none.
    }
    return InstallTask(programPath, task.arguments, task.kind);
}

int DeleteConfigurationTasks(LogFile& log)
{
    int result = 0;
    for (const unsigned kind :
         {TaskKind::NewOrChanged, TaskKind::UserLogon, TaskKind::PeriodicRefresh})
    {
        result = std::max(result, DeleteTask(kind));
    }
    log.Write(result != 0 ? L"ERROR: Failed to delete Auto-config scheduled task."
                          : L"Auto-Config scheduled tasks deleted upon request or because digital "
                            L"signature validation failed.");
    return result;
}

int DeletePrintJobStartTask(LogFile& log)
{
    const int result = DeleteJobStartTask();
    log.Write(result != 0
                  ? L"ERROR: Failed to delete Print Job Start scheduled task."
                  : L"Print Job Start scheduled task deleted upon request or because digital "
                    L"signature validation failed.");
    return result;
}
} // namespace

int InstallScheduledTasks(const Run& run)
{
    StoreScanPosition(0);
    int outcome = ConfigureChannel(true);
    if (outcome != 0)
    {
        run.log.Write(
            L"ERROR: Failed to configure event log to enable auto-config scheduled task's "
            L"event trigger.");
    }
    for (const InstalledTask& task : InstalledTasks)
    {
        const int result = Install(task, run.paths.configuration);
        if (result != 0)
        {
            run.log.Write(task.failure);
        }
        outcome = std::max(outcome, task.counts ? result : 0);
    }
    if (outcome == 0)
    {
        run.log.Write(
            L"Auto-config scheduled task successfully created with event and calendar triggers.");
    }
    UpdateDesktopAppGuids();
    run.log.Write(L"# Invoked to install scheduled tasks. Done...exiting.");
    return std::max(outcome, 0);
}

int UninstallScheduledTasks(const Run& run)
{
    int result = ConfigureChannel(false);
    // The automatic configuration is for Windows 8 and later.
    if (IsWindowsVersionOrLater(6, 2))
    {
        result = std::max(result, DeleteConfigurationTasks(run.log));
    }
    result = std::max(result, DeletePrintJobStartTask(run.log));
    run.log.Write(L"# Invoked to uninstall scheduled tasks. Done...");
    RemoveDesktopAppGuids();
    run.log.Write(L"Removed our driver GUIDs from the user property bag. Done...exiting.");
    return result;
}
