"""What the tests of scheduled tasks share: what each task is, and their lab."""

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
