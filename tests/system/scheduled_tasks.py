"""What the tests of scheduled tasks share: what the program says, what each task is, and their lab."""

import unittest

from lab import NEW_OR_CHANGED, PERIODIC_REFRESH, SUITE, USER_LOGON, Lab

ALL_TASKS = [NEW_OR_CHANGED, PERIODIC_REFRESH, USER_LOGON]

PRINTER_QUERY = ('<QueryList><Query Id="0" Path="Microsoft-Windows-PrintService/Operational"><Select '
                 'Path="Microsoft-Windows-PrintService/Operational">*[System[Provider[@Name='
                 "'Microsoft-Windows-PrintService'] and (EventID=300 or EventID=306)]]</Select>"
                 '</Query></QueryList>')
OLD_LOGON_QUERY = ('<QueryList><Query Id="0" Path="Security"><Select Path="Security">*[System['
                   "(EventID=4624)]] and (*[EventData[Data[@Name='LogonType']='10']] or "
                   "*[EventData[Data[@Name='LogonType']='2']])</Select></Query></QueryList>")
LOGON_QUERY = ('<QueryList><Query Id="0" Path="Security"><Select Path="Security">*[System['
               "(EventID=4624)]] and (*[EventData[Data[@Name='LogonType']='10']] or "
               "*[EventData[Data[@Name='LogonType']='2']]) and *[EventData[Data[@Name="
               "'ElevatedToken']='%%1843']] and *[EventData[Data[@Name='VirtualAccount']="
               "'%%1843']]</Select></Query></QueryList>")

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
CREATION_FAILED = {
    NEW_OR_CHANGED: "ERROR: Failed to create or recreate auto-config scheduled task for new/changed "
                    "printer events.",
    PERIODIC_REFRESH: "ERROR: Failed to create or recreate auto-config scheduled task for periodic "
                      "refresh.",
    USER_LOGON: "ERROR: Failed to create or recreate auto-config scheduled task for user logon "
                "events."}
CHANNEL_FAILED = ("ERROR: Failed to configure event log to enable auto-config scheduled task's event "
                  "trigger.")

# What every task is, raw.
COMMON = {
    "Registration.Flags": "6", "Registration.LogonType": "5", "Registration.SecurityDescriptor": "",
    "Registration.UserId": r"NT AUTHORITY\SYSTEM", "RegistrationInfo.Author": "Palvo Corporation",
    "Principal.RunLevel": "1", "Settings.AllowHardTerminate": "1", "Settings.Compatibility": "2",
    "Settings.DisallowStartIfOnBatteries": "0", "Settings.Enabled": "1",
    "Settings.ExecutionTimeLimit": "PT2H", "Settings.Hidden": "1",
    "Settings.StartWhenAvailable": "1", "Settings.StopIfGoingOnBatteries": "0",
    "Trigger0.ExecutionTimeLimit": "PT2H", "Action0.Type": "0",
    "Action0.Path": SUITE + r"\PalvoPrinterConfiguration.exe"}


class LabTest(unittest.TestCase):
    def setUp(self):
        self.lab = Lab()
        self.lab("reset")
        self.lab("set", "windows-version", "win10")
        self.addCleanup(self.lab, "set", "windows-version", "none")

    def install(self, **options):
        run = self.lab.run("-IT", **options)
        self.assertEqual(run.code, 0, run.output)
        return run
