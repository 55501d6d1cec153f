#pragma once

#include <cstdint>
#include <string>

// What the command line asks a run to do.

enum class NewOrChangedEventTypeEnum : std::uint32_t
{
    NotNewOrChangedEvent = 0,
    NormalNewOrChangedEvent = 1, ///< by hand, or by an invoker that is not known
    NewOrChangedTask = 2,        ///< the printer-event task
    XmlConfigEvent = 3,          ///< the job-management service
    UserLogonEvent = 4           ///< the logon task
};

/// The run's mode.
enum class CmdLineOptionsEnum : std::uint32_t
{
    InvalidArgumentList = 0,
    NoCmdLineOption = 1, ///< -IN, -UN or -w alone
    NewOrChangedEvent = 2,
    PeriodicRefreshEvent = 3,
    OnDemandAutoConfigRefresh = 4,
    DisplayHelp = 5,
    DeleteLogFile = 6,
    InstallScheduledTask = 7,
    UninstallScheduledTask = 8,
    AddPrinterDriverInstance = 9
};

enum class WarmupOptionEnum : std::uint32_t
{
    NoWarmup = 0,
    Warmup = 1
};

/// Native images of the desktop application.
enum class NgenOptionEnum : std::uint32_t
{
    NoNgen = 0,
    InstallNgen = 1,
    UninstallNgen = 2
};

struct CmdLineOptions
{
    NewOrChangedEventTypeEnum eventType = NewOrChangedEventTypeEnum::NotNewOrChangedEvent;
    CmdLineOptionsEnum mode = CmdLineOptionsEnum::NoCmdLineOption;
    WarmupOptionEnum warmup = WarmupOptionEnum::NoWarmup;
    NgenOptionEnum ngen = NgenOptionEnum::NoNgen;
};

class LogFile;

// The values' names in the log. A value outside the enumeration is logged as an error and has no
// name.
std::wstring DisplayName(CmdLineOptionsEnum mode, LogFile& log);
std::wstring DisplayName(NgenOptionEnum ngen, LogFile& log);
std::wstring DisplayName(WarmupOptionEnum warmup, LogFile& log);
std::wstring DisplayName(NewOrChangedEventTypeEnum eventType, LogFile& log);
