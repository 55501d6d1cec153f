"""The doctor names what is wrong with the settings, the files and the tasks."""

import json
import shutil

from doctor import DoctorTest
from lab import NEW_OR_CHANGED, PERIODIC_REFRESH, SUITE, USER_LOGON

OPTIONS = r"SOFTWARE\Palvo\PrinterDriver\V6.0\Options"
SWITCH = "InstallAndRunEnhancedAutoConfigScheduledTasks"
OWN_KEY = r"Software\Palvo\PrinterDriver\V6.0\PalvoPrinterConfiguration"


class WellMachine(DoctorTest):
    def test_nothing_is_found_on_a_well_machine(self):
        code, output = self.doctor()
        self.assertEqual((code, output.splitlines()[-1]), (0, "All is well."))
        report = self.report()
        self.assertEqual((report["schema"], report["code"], report["findings"], report["unseen"]),
                         (1, 0, [], []))

    def test_a_finding_is_one_line_for_people(self):
        self.lab("set", "machine-switch", "0")
        code, output = self.doctor()
        self.assertEqual(code, 1)
        self.assertEqual(
            output.splitlines()[0],
            f"run-switch-off: The value {SWITCH} is 0. Why: Every run ends at once with 0 and writes "
            "nothing, -IT and -UT too. Do: Set the value to 1 or delete it.")
        self.assertEqual(output.splitlines()[-1], "1 thing needs attention.")

    def test_help_and_unknown_arguments(self):
        code, output = self.doctor("--help")
        self.assertEqual((code, output.splitlines()[:2]), (0, [
            "PalvoPrinterDoctor [--json] [--folder FOLDER] [--hung-after MINUTES] [--prometheus FILE]",
            "                   [--collect FILE.zip [--with-names]] [--help]"]))
        self.assertEqual(self.doctor("--mend"), (2, output))

    def test_two_causes_at_once_give_both(self):
        self.lab("set", "machine-switch", "0")
        self.lab("tasks", "delete", USER_LOGON)
        self.assert_found(("run-switch-off", f"The value {SWITCH} is 0."),
                          ("task-missing", f'There is no task "{USER_LOGON}".'))


class Settings(DoctorTest):
    def test_a_switch_of_another_type(self):
        self.lab("set", "machine-value", OPTIONS, SWITCH, "text", "0")
        self.assert_found(("run-switch-type",
                           f"The value {SWITCH} is REG_SZ of 4 bytes, not a DWORD."))

    def test_a_position_of_another_type(self):
        self.lab("set", "machine-value", OWN_KEY, "LastEvtRecordProcessed", "dword", "2")
        self.assertEqual(self.findings()[0], (
            "position-type",
            "The value LastEvtRecordProcessed is REG_DWORD of 4 bytes, not a QWORD."))

    def test_the_prompt_left_on(self):
        self.lab("set", "debugger-prompt", "Always")
        self.assert_found(("prompt-on",
                           'The debugger prompt of PalvoPrinterConfiguration is "always".'))


class Suite(DoctorTest):
    def test_an_old_windows(self):
        self.lab("set", "windows-version", "win7")
        self.assert_found(("windows-too-old", "This Windows is older than Windows 8."))

    def test_a_missing_sibling(self):
        for sibling, name in (("query", "PalvoPrinterQuery"),
                              ("writer", "PalvoPrinterConfigurationWriter")):
            with self.subTest(sibling=sibling):
                self.lab("sibling", sibling, "--missing")
                self.assert_found(("program-missing", rf"There is no {SUITE}\{name}.exe."))
                self.lab("sibling", sibling, "--present")

    def test_a_program_that_windows_starts_instead(self):
        planted = self.lab.prefix / "drive_c" / "Program.exe"
        planted.write_bytes(b"MZ")
        self.addCleanup(planted.unlink)
        self.assert_found(("program-on-the-way", r"There is a file C:\Program.exe."))


class Tasks(DoctorTest):
    def test_a_task_that_is_missing_or_disabled(self):
        self.lab("tasks", "delete", PERIODIC_REFRESH)
        self.lab("tasks", "put", NEW_OR_CHANGED, "Settings.Enabled", "0")
        self.assert_found(("task-disabled", f'The task "{NEW_OR_CHANGED}" is disabled.'),
                          ("task-missing", f'There is no task "{PERIODIC_REFRESH}".'))

    def test_a_task_that_starts_something_else(self):
        self.lab("tasks", "put", USER_LOGON, "Action0.Path", r"C:\Old\PalvoPrinterConfiguration.exe")
        self.assert_found(("task-program", f'The task "{USER_LOGON}" starts '
                           r'"C:\Old\PalvoPrinterConfiguration.exe".'))

    def test_a_task_with_other_arguments_or_another_account(self):
        self.lab("tasks", "put", USER_LOGON, "Action0.Arguments", "-c")
        self.lab("tasks", "put", NEW_OR_CHANGED, "Registration.UserId", r"NT AUTHORITY\LOCAL SERVICE")
        self.assert_found(
            ("task-account", f'The task "{NEW_OR_CHANGED}" runs as '
             r'"NT AUTHORITY\LOCAL SERVICE".'),
            ("task-arguments", f'The task "{USER_LOGON}" has the arguments "-c" instead of '
             '"-c -i UserLogonTask -IN -w".'))

    def test_the_suite_was_moved(self):
        folder = self.lab.prefix / "drive_c" / "Elsewhere"
        shutil.copytree(self.lab.suite(), folder)
        self.addCleanup(shutil.rmtree, folder)
        output = self.lab("run", "--program", r"C:\Elsewhere\PalvoPrinterDoctor.exe", "--", "--json",
                          check=False)
        self.assertEqual([(one["id"], one["what"]) for one in json.loads(output)["findings"]],
                         [("task-program",
                           rf'The task "{task}" starts "{SUITE}\PalvoPrinterConfiguration.exe".')
                          for task in (NEW_OR_CHANGED, PERIODIC_REFRESH, USER_LOGON)])

    def test_a_task_whose_program_cannot_be_started(self):
        self.lab("tasks", "put", USER_LOGON, "Action0.Path", r"C:\Gone\Gone.exe")
        self.lab("tasks", "run", USER_LOGON, check=False)
        self.assertIn(("task-result",
                       f'The last run of the task "{USER_LOGON}" ended with 0x80070003.'),
                      self.findings())

    def test_the_scheduler_is_stopped_or_missing(self):
        for state, code in (("stopped", "80041315"), ("missing", "80040154")):
            with self.subTest(state=state):
                self.lab("set", "scheduler", state)
                self.assert_found(("scheduler-unreachable",
                                   f"Task Scheduler cannot be reached: 0x{code}."))

    def test_a_task_that_runs_long_and_one_that_was_ended(self):
        self.addCleanup(self.lab, "sibling", "writer", "--release")
        self.lab("sibling", "writer", "--hold")
        self.lab("printer", "change", "Front Desk")
        self.lab.wait_for(lambda: any(not one.ended for one in self.lab.siblings()), "the writer")
        self.assertIn(("task-runs-long",
                       f'The task "{NEW_OR_CHANGED}" has been running for 0 minutes.'),
                      self.findings("--hung-after", "0"))
        self.assertNotIn("task-runs-long", [one for one, _ in self.findings()])
        self.lab("tasks", "stop", NEW_OR_CHANGED)
        self.lab("sibling", "writer", "--release")
        self.assertIn(("task-ended", f'The last run of the task "{NEW_OR_CHANGED}" was ended.'),
                      self.findings())
