#pragma once

#include <array>

// What passes when names are hidden. Anything else does not.

/// The messages that the program logs, but for the empty one; the log viewer has the same.
/// {...} stands for what differs, and its name tells what it is.
inline constexpr std::array LineForms = {
    L"Log trimmed.",
    L"ERROR: Unrecognized argument: {hidden}!",
    L"ERROR: Can't specify -w with -UN. Ignoring -w.",
    L"ERROR: Unhandled {word} value: {number}",
    L"# Called with no arguments",
    L"# Called with {number} argument(s): {switches} -i {caller}",
    L"# Called with {number} argument(s): {switches}",
    L"#\tResolved Args: {word}, {word}, {word}, {word}, -i {caller}",
    L"# Ignoring request to warmup the Desktop Orvela because we are running on a print server",
    L"# Will execute warmup of the Desktop Orvela (-w)",
    L"# Will execute NGEN of Desktop Orvela and related apps (-IN)",
    L"# Will removing NGEN-generated Native Images of the Desktop Orvela and related apps (-UN)",
    L"# Spawn PalvoPrinterConfigurationWriter in the background with the arg(s):{switches}",
    L"Found one pertinent, non-duplicate '300/306' event in the range of IDs from {from} to "
    L"{newest}. One printer added or changed: '{printer}'",
    L"Found {number} '300/306' events with IDs from {from} to {newest}.",
    L"Found no new '300/306' events with IDs > {newest}.",
    L"Found more than 5000 unprocessed '300' and '306' events. Will stop counting and process all "
    L"printers.",
    L"- No supported printers need to be processed. Done. Exiting.",
    L"-Processing NewOrChanged event: {caller}",
    L"-Redundant instance for a NewOrChanged event: An instance is already running to process a "
    L"NewOrChanged event...Queuing request and exiting this instance [{caller}].",
    L"-Redundant instance for a special NewOrChanged event: An instance is already running to "
    L"process a NewOrChanged event...Queuing request and exiting this instance [{caller}].",
    L"-Redundant instance for Refresh event: An instance is already running to process a periodic "
    L"refresh event...Queuing request and exiting this instance [{caller}].",
    L"# Processing a configuration request from a NewOrChanged event event for '{printer}'.",
    L"# Processing a configuration request from a NewOrChanged event event for multiple printers.",
    L"# Processing a Queued configuration request from a NewOrChanged event event for '{printer}'.",
    L"# Processing Queued configuration request from a NewOrChanged event event for multiple "
    L"printers.",
    L"# Procesing a special NewOrChanged event.",
    L"# Procesing a queued special NewOrChanged event.",
    L"## Skipping queued configuration request from a NewOrChanged event event because that "
    L"printer has already been processed after that request occurred.",
    L"# Processing on-demand auto-configuration: {caller}",
    L"# Processing a periodic refresh event: {caller}",
    L"Processing queued configuration request from a periodic refresh event.",
    L"Updated UserPropertyBag for '{user}': UserId='{id}', Src='{source}'",
    L"Updated UserPropertyBags: DeviceId='{id}', Src='{source}'",
    L"ERROR: Failed trying to get token information: {number}",
    L"ERROR: Failed trying to duplicate a token: {number}",
    L"ERROR: Failed checking token membership for the Administrators group.",
    L"Update UserPropertyBags With Desktop GUIDs before exiting after processing queued request(s)",
    L"An exception occurred while looping for NewOrChanged event processing.",
    L"NewOrChanged event done...exiting.",
    L"Refresh event done...exiting.",
    L"ERROR: Failed to configure event log to enable auto-config scheduled task's event trigger.",
    L"ERROR: Failed to create or recreate auto-config scheduled task for new/changed printer "
    L"events.",
    L"ERROR: Failed to create or recreate auto-config scheduled task for periodic refresh.",
    L"ERROR: Failed to create or recreate auto-config scheduled task for user logon events.",
    L"Auto-config scheduled task successfully created with event and calendar triggers.",
    L"# Invoked to install scheduled tasks. Done...exiting.",
    L"ERROR: Failed to delete Auto-config scheduled task.",
    L"ERROR: Failed to delete Print Job Start scheduled task.",
    L"Auto-Config scheduled tasks deleted upon request or because digital signature validation "
    L"failed.",
    L"Print Job Start scheduled task deleted upon request or because digital signature validation "
    L"failed.",
    L"# Invoked to uninstall scheduled tasks. Done...",
    L"Removed our driver GUIDs from the user property bag. Done...exiting.",
    L"# Invoked to delete log file. Done...exiting.",
    L"Added driver instance for '{driver}'",
    L"ERROR: Failed to add driver instance for '{driver}': HRESULT=0x{hex}"};

/// What a {word} may be: how the program names what its switches came to.
inline constexpr std::array KnownWords = {L"NoNgen",
                                          L"InstallNgen",
                                          L"UninstallNgen",
                                          L"NoWarmup",
                                          L"Warmup",
                                          L"InvalidArgumentList",
                                          L"NoCmdLineOption",
                                          L"NewOrChangedEvent",
                                          L"PeriodicRefreshEvent",
                                          L"OnDemandAutoConfigRefresh",
                                          L"DisplayHelp",
                                          L"DeleteLogFile",
                                          L"InstallScheduledTask",
                                          L"UninstallScheduledTask",
                                          L"AddPrinterDriverInstance",
                                          L"NotNewOrChangedEvent",
                                          L"NormalNewOrChangedEvent",
                                          L"NewOrChangedTask",
                                          L"XmlConfigEvent",
                                          L"UserLogonEvent",
                                          L"",
                                          L"CmdLineOptionsEnum",
                                          L"NgenOptionEnum",
                                          L"WarmupOptionEnum",
                                          L"NewOrChangedEventTypeEnum"};

/// Callers, and callers in a task's arguments.
inline constexpr std::array KnownCallers = {L"NewOrChangedTask", L"PeriodicRefreshTask",
                                            L"UserLogonTask", L"POJEMService"};

inline constexpr std::array KnownSwitches = {L"",    L"-c",  L"-r",  L"-?", L"-IT",   L"-UT",
                                             L"-DL", L"-IN", L"-UN", L"-w", L"-APDI", L"-i"};

inline constexpr std::array KnownAccounts = {L"S-1-5-18",
                                             L"S-1-5-19",
                                             L"S-1-5-20",
                                             L"SYSTEM",
                                             L"NT AUTHORITY\\SYSTEM",
                                             L"NT AUTHORITY\\LOCAL SERVICE",
                                             L"NT AUTHORITY\\NETWORK SERVICE"};

/// Folders and files on the way to the suite, its log and printer drivers.
inline constexpr std::array KnownPathParts = {L"Program",
                                              L"Program.exe",
                                              L"Program Files",
                                              L"Program Files (x86)",
                                              L"Palvo Printer Suite",
                                              L"PalvoPrinterConfiguration.exe",
                                              L"PalvoPrinterConfigurationWriter.exe",
                                              L"PalvoPrinterQuery.exe",
                                              L"ProgramData",
                                              L"Palvo",
                                              L"PrinterDriver",
                                              L"V6.0",
                                              L"PalvoPrinterConfiguration",
                                              L"PalvoOrvela",
                                              L"PalvoPrinterConfiguration.log",
                                              L"Windows",
                                              L"System32",
                                              L"spool",
                                              L"drivers",
                                              L"x64",
                                              L"3",
                                              L"4",
                                              L"DriverStore",
                                              L"FileRepository"};
