"""What the program promises: its arguments, texts and named objects, each here alone."""

import re
from dataclasses import dataclass

from lab import NEW_OR_CHANGED, PERIODIC_REFRESH, USER_LOGON

OBJECTS = {
    "{5B1F7C2A-94D3-4E6B-8A0C-3F7E2D9164B8}PPRCFGEVTCHK": "scan check",
    "{0C4E9A57-1D82-4F3B-B6E9-72A5D1C83F06}PalvoOrvela": "refresh request",
    "{D38A6F12-5E47-4C9D-81B2-9F0C6E4A27D5}PalvoOrvela": "refresh instance",
    "{7E29B4C1-A605-4D78-9F3E-0B6D2C8A51E4}PalvoOrvela": "normal request",
    "{A14D8E63-2F9B-4A07-BC51-6E3F97D0248C}PalvoOrvela": "special request",
    "{F6C02B9D-83E1-4B5A-A7D4-1C58E9F3062B}PalvoOrvela": "changed instance",
}
NAMES = {what: "Global\\" + name for name, what in OBJECTS.items()}
RECORDED = ["CreateMutexW", "CreateEventW", "SetEvent", "WaitForSingleObject", "ReleaseMutex",
            "CloseHandle", "CreateFileW", "SetFileInformationByHandle", "RegSetValueExW", "EvtQuery", "Sleep",
            "CreateProcessW", "CreateProcessAsUserW"]
SUITE = "C:\\Program Files\\Palvo Printer Suite\\"
LOG = "\\PalvoOrvela\\PalvoPrinterConfiguration.log"
LOG_MUTEX_NAME = "Global\\c:/programdata/palvo/printerdriver/v6.0/palvoprinterconfiguration/palvoorvela"
LOG_MUTEX = f'"mutex {LOG_MUTEX_NAME}"'
WAITS_BEFORE_LINES = 3      # for the log's mutex: to make the folder, and to let two accounts in
TAKEN, ABANDONED, NOT_NOW = 0, 128, 258

HEAD = (r"\[\d{1,2}/\d{1,2}/\d{4} (?:[1-9]|1[0-2]):[0-5]\d:[0-5]\d [AP]M\] "
        r"PalvoPrinterConfiguration\(PID(\d+)\): ")
SCANS = [re.compile(text) for text in (
    r"Found one pertinent, non-duplicate '300/306' event in the range of IDs from (?P<first>\d+) to "
    r"(?P<newest>\d+)\. One printer added or changed: '(?P<name>.*)'",
    r"Found \d+ '300/306' events with IDs from (?P<first>\d+) to (?P<newest>\d+)\.",
    r"Found no new '300/306' events with IDs > (?P<newest>\d+)\.",
    r"Found more than 5000 unprocessed '300' and '306' events\. Will stop counting and process all "
    r"printers\.")]
NOTHING = "- No supported printers need to be processed. Done. Exiting."
SKIPPED = ("## Skipping queued configuration request from a NewOrChanged event event because that "
           "printer has already been processed after that request occurred.")
UPDATE = ("Update UserPropertyBags With Desktop GUIDs before exiting after processing queued "
          "request(s)")
CHANGED_DONE = ["NewOrChanged event done...exiting.", "", ""]
REFRESH_DONE = "Refresh event done...exiting."
SPECIAL = "# Procesing a special NewOrChanged event."
QUEUED_SPECIAL = "# Procesing a queued special NewOrChanged event."
QUEUED_REFRESH = "Processing queued configuration request from a periodic refresh event."
REDUNDANT = {
    "normal": "-Redundant instance for a NewOrChanged event: An instance is already running to "
              "process a NewOrChanged event...Queuing request and exiting this instance [{}].",
    "special": "-Redundant instance for a special NewOrChanged event: An instance is already running "
               "to process a NewOrChanged event...Queuing request and exiting this instance [{}].",
    "refresh": "-Redundant instance for Refresh event: An instance is already running to process a "
               "periodic refresh event...Queuing request and exiting this instance [{}]."}
USAGE = ("\nPalvoPrinterConfiguration - Palvo Corporation\n\n"
         "\tPalvoPrinterConfiguration.exe [-? | -c | -r | -IT | -UT | -DL | -IN | -UN | -w]\n\n"
         "\tAuto-Config requires Windows 8 or later, Job Management requires Vista or later.")
CHANNEL_SET = "Channel properties updated.\n"
REGISTERED = "\n Success! Task successfully registered."
INSTALLED = ["Auto-config scheduled task successfully created with event and calendar triggers.",
             "# Invoked to install scheduled tasks. Done...exiting."]
TASKS_GONE = ("Auto-Config scheduled tasks deleted upon request or because digital signature "
              "validation failed.")
TASKS_STAY = "ERROR: Failed to delete Auto-config scheduled task."
JOB_START_GONE = ("Print Job Start scheduled task deleted upon request or because digital signature "
                  "validation failed.")
JOB_START_STAYS = "ERROR: Failed to delete Print Job Start scheduled task."
UNINSTALLED = ["# Invoked to uninstall scheduled tasks. Done...",
               "Removed our driver GUIDs from the user property bag. Done...exiting."]
UNREACHABLE = "ITaskService::Connect failed: 80041315"
CREATION_FAILED = {
    NEW_OR_CHANGED: "ERROR: Failed to create or recreate auto-config scheduled task for new/changed "
                    "printer events.",
    PERIODIC_REFRESH: "ERROR: Failed to create or recreate auto-config scheduled task for periodic "
                      "refresh.",
    USER_LOGON: "ERROR: Failed to create or recreate auto-config scheduled task for user logon "
                "events."}
CHANNEL_FAILED = ("ERROR: Failed to configure event log to enable auto-config scheduled task's event "
                  "trigger.")


@dataclass(frozen=True)
class Mode:
    """What one list of arguments means."""
    arguments: str
    switches: str
    invoker: str
    resolved: str
    kind: str       # normal, special, refresh, or what else the copy does
    lines: tuple = ()
    background: str = ""
    output: str = ""
    code: int = 0

    @property
    def scheme(self):
        return {"normal": "changed", "special": "changed", "refresh": "refresh"}.get(self.kind)

    def called(self):
        if not self.arguments:
            return "# Called with no arguments"
        tail = f" -i {self.invoker}" if self.invoker else ""
        return f"# Called with {len(self.arguments.split())} argument(s): {self.switches}{tail}"


WARM = ("# Will execute warmup of the Desktop Orvela (-w)",)
NATIVE = ("# Will execute NGEN of Desktop Orvela and related apps (-IN)",)
REFRESH, DEMAND = "PeriodicRefreshEvent, NotNewOrChangedEvent", (
    "OnDemandAutoConfigRefresh, NotNewOrChangedEvent")
MODES = {mode.arguments: mode for mode in (
    Mode("-c -i NewOrChangedTask", "-c", "NewOrChangedTask",
         "NoNgen, NoWarmup, NewOrChangedEvent, NewOrChangedTask", "normal"),
    Mode("-c -i UserLogonTask", "-c", "UserLogonTask",
         "NoNgen, NoWarmup, NewOrChangedEvent, UserLogonEvent", "special"),
    Mode("-c -i UserLogonTask -IN -w", "-c -IN -w", "UserLogonTask",
         "InstallNgen, Warmup, NewOrChangedEvent, UserLogonEvent", "special", WARM + NATIVE,
         " -IN -w"),
    Mode("-c -i POJEMService", "-c", "POJEMService",
         "NoNgen, NoWarmup, NewOrChangedEvent, XmlConfigEvent", "special"),
    Mode("-c -i Somebody", "-c", "Somebody",
         "NoNgen, NoWarmup, NewOrChangedEvent, NormalNewOrChangedEvent", "special"),
    Mode("-c", "-c", "", "NoNgen, NoWarmup, NewOrChangedEvent, NormalNewOrChangedEvent", "special"),
    Mode("-r -i PeriodicRefreshTask", "-r", "PeriodicRefreshTask", f"NoNgen, NoWarmup, {REFRESH}",
         "refresh"),
    Mode("-r -i PeriodicRefreshTask -IN -w", "-r -IN -w", "PeriodicRefreshTask",
         f"InstallNgen, Warmup, {REFRESH}", "refresh", WARM + NATIVE, " -IN -w"),
    Mode("-r", "-r", "", f"NoNgen, NoWarmup, {REFRESH}", "refresh"),
    Mode("", "", "", f"NoNgen, NoWarmup, {DEMAND}", "refresh"),
    Mode("-i Somebody", "", "Somebody", f"NoNgen, NoWarmup, {DEMAND}", "refresh"),
    Mode("-w", "-w", "", "NoNgen, Warmup, NoCmdLineOption, NotNewOrChangedEvent", "background", WARM,
         " -w", code=1),
    Mode("-IN", "-IN", "", "InstallNgen, NoWarmup, NoCmdLineOption, NotNewOrChangedEvent", "background",
         NATIVE, " -IN", code=1),
    Mode("-UN", "-UN", "", "UninstallNgen, NoWarmup, NoCmdLineOption, NotNewOrChangedEvent",
         "background", ("# Will removing NGEN-generated Native Images of the Desktop Orvela and related "
                        "apps (-UN)",), " -UN", code=1),
    Mode("-APDI -i Nothing", "-APDI", "Nothing",
         "NoNgen, NoWarmup, AddPrinterDriverInstance, NotNewOrChangedEvent", "driver",
         ("ERROR: Failed to add driver instance for 'Nothing': HRESULT=0x80070705",),
         output="ERROR: Failed to add driver instance for 'Nothing': HRESULT=0x80070705.\n",
         code=0x80070705),
    Mode("-?", "-?", "", "NoNgen, NoWarmup, DisplayHelp, NotNewOrChangedEvent", "usage",
         output=USAGE, code=1),
    Mode("-x", "-x", "", "NoNgen, NoWarmup, InvalidArgumentList, NotNewOrChangedEvent", "usage",
         output=USAGE, code=1),
    Mode("-DL", "-DL", "", "NoNgen, NoWarmup, DeleteLogFile, NotNewOrChangedEvent", "delete"),
    Mode("-IT", "-IT", "", "NoNgen, NoWarmup, InstallScheduledTask, NotNewOrChangedEvent",
         "install", output=CHANNEL_SET + REGISTERED * 3),
    Mode("-UT", "-UT", "", "NoNgen, NoWarmup, UninstallScheduledTask, NotNewOrChangedEvent",
         "uninstall", output=CHANNEL_SET),
)}
