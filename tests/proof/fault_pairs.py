"""Faults that come together, a fault and a kill, and the cases that once found something."""

import re
from pathlib import Path

from proof.fault_cases import (
    DELETE_LOG, EVENT, INSTALL, LOGON, REDUNDANT, REFRESH, SITUATIONS, TRIM, UNINSTALL, Case)

REGRESSIONS = Path(__file__).with_name("regressions.txt")

# Two faults: the first leads the program to the call that fails then.
PAIRS = [(before, function, situation) for situation, before, functions in (
    # The query program runs under the program's own account, and does not start there either.
    (EVENT, "LogonUserW 1 1385", ["CreateProcessW 1 2", "CreateProcessW 1 5 always"]),
    (LOGON, "LogonUserW 1 1385", ["CreateProcessW 2 2", "LogonUserW 2 1385"]),
    # With the names that are used when the account cannot be looked up.
    (REFRESH, "LookupAccountSidW 4 1332", ["LogonUserW 1 1326"]),
    (REFRESH, "DuplicateTokenEx 1 5", ["CreateProcessAsUserW 1 1314", "CreateEnvironmentBlock 1 5"]),
    (REFRESH, "CreateEnvironmentBlock 1 5", ["CreateProcessAsUserW 1 2"]),
    # The copy that cannot have the mutex works beside, and cannot see a request.
    (REDUNDANT, "CreateMutexW 3 5", ["CreateEventW 1 5", "SetEvent 1 6"]),
    (EVENT, "CreateMutexW 3 5", ["CreateEventW 1 1450", "CreateMutexW 2 6"]),
    # What the pre-scan did not find the pass looks for again.
    (EVENT, "EvtQuery 1 1722", ["EvtQuery 2 5", "EvtNext 1 1734", "RegCreateKeyExW 1 5"]),
    (EVENT, "RegQueryValueExW 2 5", ["EvtRender 1 13", "OpenPrinterW 1 1801"]),
    (EVENT, "OpenPrinterW 1 1801", ["RegCreateKeyExW 1 5", "RegSetValueExW 1 1450"]),
    (EVENT, "ImpersonateLoggedOnUser 1 1346", ["ImpersonateLoggedOnUser 2 1314",
                                               "CheckTokenMembership 1 5"]),
    (LOGON, "GetUserNameExW 1 1332", ["GetComputerNameW 1 111", "CryptHashData 1 0x80090020"]),
    (LOGON, "GetTokenInformation 3 5", ["RegCreateKeyExW 1 5", "WriteFile 1 112 always"]),
    # A task cannot be registered, nor can this be told.
    (INSTALL, "ITaskFolder::RegisterTaskDefinition 3 0x80070005",
     ["WriteFile 3 112", "CreateFileW 11 5 always"]),
    (INSTALL, "EvtOpenChannelConfig 1 5", ["CoCreateInstance 3 0x80070005", "RegSetValueExW 2 5"]),
    (UNINSTALL, "EvtOpenChannelConfig 1 5", ["CoCreateInstance 1 0x80070005", "CoInitializeEx 4 0x8007000E",
                                             "ITaskFolder::DeleteTask 1 0x80070005", "RegOpenKeyExW 2 5"]),
    # The first of the two ways of deleting fails.
    (DELETE_LOG, "SetFileInformationByHandle 1 5", ["SetFileInformationByHandle 2 5"]),
    (TRIM, "WriteFile 2 112", ["SetFileInformationByHandle 1 5 always"]),
    (TRIM, "ReadFile 2 21", ["SetFileInformationByHandle 1 5"]),
) for function in functions]

# The program is killed at a call after another failed. What must be there by then.
KILLS = [
    (EVENT, "LogonUserW 1 1385", "CreateProcessW 2",
     ["program query as SYSTEM: -e \"One\"", "the position is REG_QWORD, 0",
      "line # Processing a configuration request from a NewOrChanged event event for 'One'."]),
    (EVENT, "CreateProcessAsUserW 1 1314", "WTSEnumerateSessionsW 1",
     ["program writer as SYSTEM: -e -i \"PalvoPrinterConfiguration(NewOrChangedTask PID: #)\""]),
    (LOGON, "CheckTokenMembership 1 5", "LogonUserW 2",
     ["UserId of alice is *", "DeviceId of alice is *", "IsAdmin of alice is 0",
      "program query as LocalService: -c",
      "line ERROR: Failed checking token membership for the Administrators group."]),
    (REFRESH, "CreateProcessW 1 2", "CreateProcessAsUserW 1",
     ["line # Spawn PalvoPrinterConfigurationWriter in the background with the arg(s): -IN -w",
      "line # Processing a periodic refresh event: PeriodicRefreshTask"]),
    (INSTALL, "EvtOpenChannelConfig 1 5", "ITaskFolder::RegisterTaskDefinition 3",
     ["the task New or Changed", "the task Periodic Refresh", "the position is REG_QWORD, -2",
      "line ERROR: Failed to configure event log to enable auto-config scheduled task's event trigger."]),
    (UNINSTALL, "EvtOpenChannelConfig 1 5", "RegSetValueExW 1",
     ["line Print Job Start scheduled task deleted upon request or because digital signature *",
      "line # Invoked to uninstall scheduled tasks. Done..."]),
    (TRIM, "RegOpenKeyExW 1 5", "SetFileInformationByHandle 1",
     ["the log keeps the tail", "a copy of the log"]),
]


def pairs():
    for before, second, situation in PAIRS:
        function, nth, way, *always = second.split()
        yield Case(situation, function, int(nth), way, bool(always), before)


def once_found():
    """This proof's lines of the regressions."""
    return re.findall(r"^fault_sweep (.+)$", REGRESSIONS.read_text("utf-8"), re.MULTILINE)


def regressions(lines):
    """Their cases."""
    named = {situation.name: situation for situation in SITUATIONS}
    for line in lines:
        name, faults = line.split(": ", 1)
        *before, last = faults.split(";")
        function, nth, way, *always = last.split()
        yield Case(named[name], function, int(nth), way, bool(always), ";".join(before))


def kills():
    """(case, what must be there by then)"""
    for situation, before, call, there in KILLS:
        function, nth = call.split()
        yield Case(situation, function, int(nth), "kill", False, before), there
