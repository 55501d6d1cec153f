"""What management suites get: the pair of scripts, run by Wine's cmd, and the query for Windows Event
Forwarding, read by another XPath processor. Of what cmd starts the tasks are the lab's; all else is
Wine's."""

import re
import shutil
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree
from pathlib import Path

from doctor import DoctorTest
from lab import NEW_OR_CHANGED, PERIODIC_REFRESH, ROOT, SECONDS, SUITE, USER_LOGON
from scheduled_tasks import ALL_TASKS
from test_doctor_page import identifiers

FOLDER = ROOT / "support" / "management"
QUERY = ROOT / "support" / "monitoring" / "task-events.xml"
TASKS = "Microsoft-Windows-TaskScheduler/Operational"


class Scripts(DoctorTest):
    def script(self, name, folder=SUITE, before=()):
        """(exit code, lines). What is before it is run by the same cmd."""
        path = "Z:" + str(FOLDER / name).replace("/", "\\")
        output = self.lab("run", "--program", r"C:\windows\system32\cmd.exe", "--print-exit", "--",
                          "/c", *before, path, folder, check=False)
        found = re.search(r"(?:palvo-lab: )?exit (\d+) pid (\d+)\n$", output)
        self.assertTrue(found, output)
        return int(found[1]), output[:found.start()].splitlines()

    def test_a_well_machine_needs_nothing(self):
        self.assertEqual(self.script("detect.cmd"), (0, []))

    def test_what_is_detected_is_mended(self):
        self.lab("tasks", "delete", PERIODIC_REFRESH)
        self.lab("tasks", "put", NEW_OR_CHANGED, "Settings.Enabled", "0")
        self.assertEqual(self.script("detect.cmd"), (1, ["task-disabled", "task-missing"]))
        lines = len(self.lab.log())
        self.assertEqual(self.script("remediate.cmd")[0], 0)
        self.assertIn("Refresh event done...exiting.", self.lab.log()[lines:])
        self.assertEqual(self.script("detect.cmd"), (0, []))
        self.assertEqual(self.lab.tasks(), ALL_TASKS)

    def test_what_cannot_be_mended_is_not_told(self):
        self.lab("set", "hive-readonly", "anna", "on")
        self.assertEqual([one for one, _ in self.findings()], ["hive-read-only"])
        self.assertEqual(self.script("detect.cmd"), (0, []))

    def test_a_machine_that_is_switched_off_is_left_alone(self):
        self.lab("tasks", "delete", USER_LOGON)
        self.lab("set", "machine-switch", "0")
        self.assertEqual(self.script("detect.cmd")[0], 0)

    def test_no_variable_of_the_caller_counts(self):
        self.lab("tasks", "delete", USER_LOGON)
        self.assertEqual(self.script("detect.cmd", before=("set", "off=1&")), (1, ["task-missing"]))

    def doctor_in(self, name):
        """The folder of that name, with the doctor alone; as Windows has its path."""
        folder = self.lab.prefix / "drive_c" / name
        folder.mkdir()
        self.addCleanup(shutil.rmtree, folder)
        shutil.copy(self.lab.suite() / "PalvoPrinterDoctor.exe", folder)
        return "C:\\" + name

    def test_the_folder_may_have_any_name(self):
        for name in ("Palvo (x86) suite", "Palvo & echo suite", "Palvo, a;b = c", "Palvo ^ !x! suite"):
            with self.subTest(name=name):
                folder = self.doctor_in(name)
                self.assertEqual(self.script("detect.cmd", folder), (1, ["task-program"] * 3))
                self.assertEqual(self.script("detect.cmd", folder + "\\"), (1, ["task-program"] * 3))

    def test_a_doctor_that_is_missing_or_says_nothing_proves_nothing(self):
        folder = self.doctor_in("Palvo Elsewhere")
        doctor = self.lab.prefix / "drive_c" / "Palvo Elsewhere" / "PalvoPrinterDoctor.exe"
        doctor.write_bytes(b"MZ")
        self.assertEqual(self.script("detect.cmd", folder), (2, ["doctor-failed"]))
        doctor.unlink()
        self.assertEqual(self.script("detect.cmd", folder), (2, ["doctor-missing"]))

    def test_a_remediation_that_fails_says_so(self):
        self.lab("set", "scheduler", "stopped")
        self.assertEqual(self.script("remediate.cmd")[0], 1)

    def test_they_mend_findings_that_there_are(self):
        text = (FOLDER / "detect.cmd").read_text(encoding="ascii")
        named = re.search(r"in \((task-.*?)\) do", text)[1].split()
        self.assertEqual([one for one in identifiers() if one in named], named)


class Query(unittest.TestCase):
    def selects(self):
        return [(one.get("Path"), one.text) for one in ElementTree.parse(QUERY).iter("Select")]

    def selected(self, channel, number, provider="Microsoft-Windows-TaskScheduler", data=()):
        """How many of the queries select such an event."""
        if shutil.which("xmllint") is None:
            self.skipTest("xmllint is missing: tools/install-packages --support")
        event = ElementTree.Element("Event")
        system = ElementTree.SubElement(event, "System")
        ElementTree.SubElement(system, "Provider", Name=provider)
        ElementTree.SubElement(system, "EventID").text = str(number)
        holder = ElementTree.SubElement(event, "EventData")
        for name, text in data:
            ElementTree.SubElement(holder, "Data", {"Name": name} if name else {}).text = text
        with tempfile.TemporaryDirectory() as folder:
            file = Path(folder) / "event.xml"
            ElementTree.ElementTree(event).write(file)
            answers = [subprocess.run(["xmllint", "--xpath", text, file], stdout=subprocess.PIPE,
                                      encoding="utf-8", check=True, timeout=SECONDS).stdout.strip()
                       for path, text in self.selects() if path == channel]
        self.assertTrue(answers and set(answers) <= {"true", "false"}, answers)
        return answers.count("true")

    def test_it_is_a_query_list_as_windows_has_it(self):
        root = ElementTree.parse(QUERY).getroot()
        self.assertEqual((root.tag, [one.tag for one in root]), ("QueryList", ["Query"] * 3))
        self.assertEqual([(query.get("Id"), query.get("Path")) for query in root],
                         [("0", TASKS), ("1", TASKS), ("2", "Application")])
        for query in root:
            self.assertEqual([(one.tag, one.get("Path")) for one in query],
                             [("Select", query.get("Path"))])
        for _, text in self.selects():
            # Windows takes no more than 32 conditions, and no function but position, band and timediff.
            self.assertLess(text.count("="), 32)
            self.assertNotRegex(text, r"\w\(|//|\n")

    def test_it_selects_what_went_wrong_with_the_tasks(self):
        for task in ALL_TASKS:
            name = ("TaskName", "\\" + task)
            for number in (101, 103, 111, 141, 142, 202, 203, 329, 330):
                self.assertEqual(self.selected(TASKS, number, data=[name]), 1, number)
            for number in (100, 102, 106, 200):
                self.assertEqual(self.selected(TASKS, number, data=[name]), 0, number)
            for result, count in (("0", 0), ("1", 0), ("2147942403", 1)):
                self.assertEqual(self.selected(TASKS, 201, data=[name, ("ResultCode", result)]), count)

    def test_it_selects_no_other_task(self):
        for number in (101, 201):
            self.assertEqual(self.selected(TASKS, number, data=[
                ("TaskName", r"\Somebody else's"), ("ResultCode", "5")]), 0)

    def test_it_selects_crashes_of_the_suites_programs(self):
        for program, count in (("PalvoPrinterQuery.exe", 1), ("PalvoPrinterConfigurationWriter.exe", 1),
                               ("PalvoPrinterConfiguration.exe", 1), ("Other.exe", 0)):
            for name in ("AppName", None):
                self.assertEqual(self.selected("Application", 1000, "Application Error",
                                               [(name, program), (None, "1.0")]), count)
        self.assertEqual(self.selected("Application", 1000, "Other",
                                       [(None, "PalvoPrinterQuery.exe")]), 0)
