"""The doctor names what is wrong with users, with what Windows gives, and with who works."""

import re
import shutil

from doctor import DoctorTest
from lab import SUITE, USER_LOGON
from test_accounts import OBJECTS
from test_doctor_log import PATH

ZEROS = "00000000-0000-0000-0000-000000000000"


class Users(DoctorTest):
    def test_a_session_without_a_token(self):
        self.lab("session", "add", "7", "active")
        self.assert_found(("session-without-token", "Session 7 gives no token: error 1008."))

    def test_a_hive_that_its_user_may_not_write(self):
        self.lab("set", "hive-readonly", "anna", "on")
        self.assert_found(("hive-read-only",
                           '"anna" may not write the printer property bag: error 5.'))

    def test_a_hive_that_is_not_there(self):
        self.lab("fault", "RegOpenKeyExW", "1", "2", "always")
        self.assertIn(("hive-missing", 'The hive of "anna" is not loaded.'), self.findings())

    def test_a_user_whom_no_run_has_handled(self):
        self.lab("tasks", "put", USER_LOGON, "Settings.Enabled", "0")
        self.lab("user", "add", "ben", "standard")
        self.lab("user", "logon", "ben")
        self.assert_found(
            ("task-disabled", f'The task "{USER_LOGON}" is disabled.'),
            ("bag-incomplete",
             'The bag of "ben" lacks UserId, DeviceId, IsAdmin, DesktopAppGUIDs.'))

    def test_odd_values(self):
        for name, text, expected in (
                ("UserId", ZEROS, ("identifier-zero", 'The UserId of "anna" is all zeros.')),
                ("DeviceId", ZEROS.upper().replace("0", "A"),
                 ("bag-value-odd", 'The value DeviceId of "anna" is '
                  f'"{ZEROS.replace("0", "A")}".')),
                ("IsAdmin", "yes", ("bag-value-odd", 'The value IsAdmin of "anna" is "yes".')),
                ("DesktopAppGUIDs", "6.0:{1}",
                 ("bag-applications",
                  'The value DesktopAppGUIDs of "anna" lacks this version\'s applications.'))):
            with self.subTest(name=name):
                was = self.lab.bags()[self.sid][name][1]
                self.lab("set", "bag-value", "anna", name, text)
                self.assert_found(expected)
                self.lab("set", "bag-value", "anna", name, was)
        self.assert_found()

    def test_a_value_that_is_no_text(self):
        reads = self.reads_before_the_bag()
        self.lab("fault", "RegQueryValueExW", str(reads), "wrong-type")
        found = self.findings()
        self.assertIn(("bag-value-type", 'The value UserId of "anna" is no text but of type 4.'),
                      found)

    def reads_before_the_bag(self):
        """Which call of RegQueryValueExW reads the contents of the first value of the bag."""
        self.lab("record", "on", "RegQueryValueExW")
        self.doctor()
        reads = [line for line in self.lab("show", "calls").splitlines()
                 if "RegQueryValueExW" in line]
        self.lab("record", "off")
        return [i for i, line in enumerate(reads, 1) if "UserId" in line][-1]

    def test_who_is_not_system_does_not_see_the_users(self):
        report = self.report(options=("--account", "Administrator"))
        self.assertEqual((report["code"], report["findings"], report["unseen"]), (2, [], [
            {"area": "sessions", "reason": "Only SYSTEM sees the user of session 1."},
            {"area": "local service", "reason": "Only SYSTEM can try its logon."}]))
        _, output = self.doctor(options=("--account", "Administrator"))
        self.assertEqual(output.splitlines()[-1],
                         "Not everything could be looked at. Run the doctor as SYSTEM.")


class Windows(DoctorTest):
    def test_local_service_cannot_log_on(self):
        self.lab("fault", "LogonUserW", "1", "1385", "always")
        self.assert_found(("local-service-logon", "Local Service cannot log on: error 1385."))

    def test_no_cryptography(self):
        self.lab("fault", "CryptAcquireContextW", "1", "0x8009000F", "always")
        self.assert_found(("cryptography-failed", "Windows makes no SHA-256 hash."))

    def test_no_wmi(self):
        for method in ("IWbemLocator::ConnectServer", "IWbemServices::ExecQuery"):
            with self.subTest(method=method):
                self.lab("fault", "clear")
                self.lab("fault", method, "1", "0x80041003", "always")
                self.assert_found(("wmi-failed", "WMI tells neither the UUID nor the "
                                   "IdentifyingNumber of the machine."))

    def test_rights_of_the_folder(self):
        self.lab("rights", SUITE, "D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FA;;;WD)")
        self.assert_found(("folder-writable", f"Everyone may write into {SUITE}."))

    def test_rights_of_the_logs_folders(self):
        for i, folder in enumerate(self.lab.log_path().parents[:5]):
            with self.subTest(folder=folder.name):
                before = self.lab("rights", str(folder)).strip()
                self.lab("rights", str(folder), "D:P(A;OICI;FA;;;SY)(A;;0x1200a9;;;AU)(A;;0x2;;;BU)")
                path = PATH.rsplit("\\", i + 1)[0]
                self.assert_found(("log-folder-writable", f"Users may write into {path}."))
                self.lab("rights", str(folder), before.removeprefix("O:BA"))
        self.assert_found()

    def test_another_program_has_the_log_open(self):
        self.lab("set", "file-holder", "Notepad")
        self.lab("record", "on", "RmRegisterResources")
        self.assert_found(("log-open-elsewhere", "Notepad (process 4711) has the log open."))
        self.assertEqual(re.findall(r'RmRegisterResources\(\w+, 1, "(.*?)"', self.lab("show", "calls")),
                         [PATH])


class Work(DoctorTest):
    def test_a_copy_and_its_sibling_that_hang(self):
        self.lab("sibling", "writer", "--hold")
        pid = self.lab.start("-r", "-i", "PeriodicRefreshTask")
        self.lab.wait_for(lambda: any(not one.ended for one in self.lab.siblings()), "the writer")
        hung = self.findings("--hung-after", "0")
        self.assertIn(("copy-hangs", f"Process {pid}, PalvoPrinterConfiguration.exe, has been "
                       "running for 0 minutes."), hung)
        self.assertEqual([one for one, _ in hung], ["copy-hangs", "sibling-hangs"])
        self.assertRegex(hung[1][1], r"^Process \d+, PalvoPrinterConfigurationWriter\.exe, has been "
                         r"running for 0 minutes\.$")
        self.assertEqual(self.findings(), [])
        self.assertEqual(len([one for one in self.report()["notes"] if one["topic"] == "work"]), 2)
        self.lab("sibling", "writer", "--release")
        self.lab.wait_for(lambda: not self.lab.at_work(), "the copy's end")

    def hold(self, *options):
        """A copy that works until the writer is released."""
        self.lab("sibling", "writer", "--hold")
        self.lab.start("-r", options=options)
        self.lab.wait_for(lambda: any(not one.ended for one in self.lab.siblings()), "the writer")

    def release(self):
        self.lab("sibling", "writer", "--release")
        self.lab.wait_for(lambda: not self.lab.at_work(), "the copy's end")

    def test_another_program_holds_an_instance_mutex(self):
        other = self.lab.suite() / "Other.exe"
        shutil.copy(self.lab.suite() / "PalvoPrinterConfiguration.exe", other)
        self.addCleanup(other.unlink)
        self.hold("--program", SUITE + r"\Other.exe")
        self.assertIn(("mutex-foreign",
                       "The instance mutex for refreshes is held, and no copy runs."),
                      self.findings())
        self.release()
        # Of this name it is no program that the release waits for; its last lines are still to come.
        self.lab.wait_for(lambda: not list(self.lab.processes("Other.exe")), "the other program's end")

    def test_the_logs_mutex_is_held(self):
        self.hold("--fault", "ReleaseMutex 1 return=1 always")
        self.assert_found(("log-mutex-held", "The log's mutex is held without a break."))
        self.release()
        self.assertNotIn("log-mutex-held", [one for one, _ in self.findings()])

    def test_mutexes_that_nobody_may_open(self):
        self.addCleanup(self.lab, "hold", "off")
        self.lab("user", "add", "bob", "standard")
        for name, expected in (
                (OBJECTS["log mutex"][1], ("log-mutex-closed",
                 "The mutex for the log may not be opened: error 5.")),
                (OBJECTS["refresh mutex"][1],
                 ("mutex-foreign", "The mutex for refreshes may not be opened: error 5."))):
            with self.subTest(name=name):
                self.lab("hold", "mutex", name, "--account", "bob", "--security", "D:")
                self.assert_found(expected)
                unseen = [(one["area"], one["reason"]) for one in
                          self.report(options=("--account", "Administrator"))["unseen"]]
                self.assertIn(("work", expected[1]), unseen)
                self.lab("hold", "off")

    def test_it_only_asks_whether_a_mutex_is_held_opens_no_event_and_reads_the_log(self):
        self.lab("sibling", "writer", "--hold")
        self.lab.start("-r", "-i", "PeriodicRefreshTask")
        self.lab.wait_for(lambda: any(not one.ended for one in self.lab.siblings()), "the writer")
        self.lab("record", "on")
        self.doctor()
        calls = self.lab("show", "calls")
        self.lab("record", "off")
        self.lab("sibling", "writer", "--release")
        self.lab.wait_for(lambda: not self.lab.at_work(), "the copy's end")
        self.assertRegex(calls, r"OpenMutexW.*\b(1|0x1)\b")
        # For reading, shared with everybody, a link itself, and at identification level.
        self.assertEqual(set(re.findall(r'CreateFileW\((".*\.log"), (.*?)\)', calls)),
                         {(f'"{PATH}"', "0x80000000, 7, 3, 0x310000")})
        for function in ("WaitForSingleObject", "CreateMutexW", "CreateEventW", "OpenEventW",
                         "SetEvent", "ReleaseMutex", "RegSetValueExW", "RegCreateKeyExW",
                         "RegDeleteValueW", "CreateProcessW", "EvtSaveChannelConfig",
                         "MoveFileExW", "SetSecurityInfo"):
            self.assertNotIn(f" {function}(", calls)
            self.assertNotRegex(calls, rf"\b{function}\b")
        self.assertEqual(self.lab.leaks(), [])
