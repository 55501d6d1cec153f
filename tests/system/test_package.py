"""What ships, packed; and the MSI, which Wine's own installer installs, repairs, takes back and
removes while the programs that it starts run in the lab."""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

from lab import ROOT
from registry import delete_value, reg, set_value
from scheduled_tasks import ALL_TASKS, CHANNEL_SET, REGISTERED, LabTest

BUILD = Path(os.environ.get("PALVO_LAB_BIN", ROOT / "build" / "release"))
NAME = "PalvoPrinterConfiguration"
SIBLINGS = ["PalvoPrinterConfigurationWriter.exe", "PalvoPrinterQuery.exe"]
FOLDER = r"C:\Program Files\Palvo Installed"
NEEDED = ("wixl", "msibuild", "msiinfo")
NEWER = "7.1.0.0"

# Exit codes of Wine's msiexec.
DONE, FAILED = 0, 1627    # Windows says 1603

# The third task of -IT cannot be registered: it ends with 1.
FAILING = ("--fault", "ITaskFolder::RegisterTaskDefinition 3 0x80070005")

KEYS = (r"HKLM\Software\Palvo", r"HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall",
        r"HKLM\Software\Microsoft\Windows\CurrentVersion\Installer",
        r"HKLM\Software\Classes\Installer")


def package(output, *options):
    result = subprocess.run([sys.executable, ROOT / "tools" / "package", "--build", BUILD,
                             "--output", output, *options], stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    return result.returncode, result.stdout.decode()


class PackedTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def test_the_zip_holds_the_program_and_what_belongs_to_it(self):
        self.assertEqual(package(self.folder)[0], 0)
        documents = [f"docs/{name}" for name in
                     ("accounts.md", "doctor-json.md", "exit-codes.md", "installing.md", "log-viewer.md",
                      "monitoring.md", "nothing-happens.md", "pictures/log-viewer-names-hidden.png",
                      "pictures/log-viewer.png", "policies.md", "privacy.md", "reading-the-log.md",
                      "rollout.md", "switches.md", "troubleshooting.md", "trust.md")]
        with zipfile.ZipFile(self.folder / f"{NAME}-7.0.0.0.zip") as packed:
            self.assertIsNone(packed.testzip())
            self.assertEqual(packed.namelist(), sorted(
                [f"{NAME}.exe", "PalvoPrinterDoctor.exe", "log-viewer.html", "doctor-report.schema.json",
                 *documents,
                 "licences/README.txt", "licences/gcc-libstdc++.txt", "licences/gcc-runtime.txt",
                 "licences/mingw-w64.txt", "management/detect.cmd", "management/remediate.cmd",
                 "monitoring/palvo-printer-doctor.rules.yml", "monitoring/task-events.xml",
                 f"policies/{NAME}.admx", f"policies/en-US/{NAME}.adml"]))
            self.assertEqual(packed.read(f"{NAME}.exe"), (BUILD / f"{NAME}.exe").read_bytes())
            self.assertIn(b"Runtime Library Exception", packed.read("licences/gcc-runtime.txt"))
        with zipfile.ZipFile(self.folder / f"{NAME}-7.0.0.0-symbols.zip") as packed:
            self.assertEqual(packed.namelist(), sorted(
                [f"{NAME}.exe.debug", "PalvoPrinterDoctor.exe.debug"]))

    def test_packing_twice_gives_the_same_bytes(self):
        for name in ("one", "two"):
            self.assertEqual(package(self.folder / name)[0], 0)
        for name in (f"{NAME}-7.0.0.0.zip", f"{NAME}-7.0.0.0-symbols.zip"):
            self.assertEqual((self.folder / "one" / name).read_bytes(),
                             (self.folder / "two" / name).read_bytes())

    def test_an_msi_without_a_sibling_is_refused(self):
        code, output = package(self.folder / "out", "--siblings", self.folder)
        self.assertEqual((code, re.sub(r" /.*/", " ", output)),
                         (1, "package: PalvoPrinterQuery.exe is not there\n"))
        self.assertEqual(list((self.folder / "out").glob("*.msi")), [])


class MsiTest(LabTest):
    @classmethod
    def setUpClass(cls):
        missing = [tool for tool in NEEDED if shutil.which(tool) is None]
        if missing:
            raise unittest.SkipTest(f"{', '.join(missing)} missing: install wixl and msitools")
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name)
        siblings = cls.folder / "siblings"
        siblings.mkdir()
        for name in SIBLINGS:
            shutil.copy(BUILD / "lab" / name, siblings)
        for version in ("7.0.0.0", NEWER):
            code, output = package(cls.folder, "--siblings", siblings, "--version", version)
            if code != 0:
                raise AssertionError(output)

    def setUp(self):
        super().setUp()
        self.installed = self.lab.prefix / "drive_c" / FOLDER.removeprefix("C:\\").replace("\\", "/")
        self.remove_all()       # what a run that was ended left behind
        self.addCleanup(self.remove_all)
        self.lab("set", "channel-enabled", "off")
        self.lab("set", "channel-size", "2097152")
        self.lab("set", "channel-retention", "on")

    def remove_all(self):
        listed = reg(self.lab, "query", KEYS[1], "/s")[1]
        for code in re.findall(r"\\(\{[-0-9A-F]+\})\n(?:    .*\n)*?    DisplayName +REG_SZ +Palvo",
                               listed):
            self.lab("run", "--program", r"C:\windows\system32\msiexec.exe", "--", "/x", code, "/qn",
                     f"INSTALLDIR={FOLDER}", check=False)
        shutil.rmtree(self.installed, True)
        self.lab("reset")
        self.lab("set", "windows-version", "win10")

    def msi(self, version):
        return self.folder / f"{NAME}-{version}.msi"

    def msiexec(self, verb, version="7.0.0.0", options=(), properties=()):
        """Its exit code, and what the programs printed that it started."""
        output = self.lab(
            "run", "--program", r"C:\windows\system32\msiexec.exe", *options, "--print-exit", "--",
            verb, "Z:" + str(self.msi(version)).replace("/", "\\"), "/qn", f"INSTALLDIR={FOLDER}",
            *properties, check=False)
        found = re.search(r"(?:palvo-lab: )?exit (\d+) pid \d+\n$", output)
        self.assertTrue(found, output)
        return int(found[1]), output[:found.start()]

    def files(self):
        return {file.name: file.read_bytes() for file in self.installed.glob("*")}

    def kept(self):
        """What the package still keeps for a roll-back."""
        return self.values(KEYS[0] + r"\PrinterDriver\V6.0\PalvoPrinterSetup")

    def products(self):
        """(name, version) of what is listed as installed."""
        listed = reg(self.lab, "query", KEYS[1], "/s")[1]
        return re.findall(r"DisplayName +REG_SZ +(Palvo.*)\n(?:.*\n)*? +DisplayVersion +REG_SZ +(.*)\n",
                          listed)

    def values(self, key):
        """The lines of all values below a key; keys without any are nobody's trouble."""
        return [line for line in reg(self.lab, "query", key, "/s")[1].splitlines()
                if "    REG_" in line]

    def machine(self):
        """Tasks, channel, position, files and the registry."""
        tasks = {name: self.lab.raw_task(name) for name in self.lab.tasks()}
        return (tasks, self.lab.channel(), self.lab.scan_position(), self.files(),
                {key: self.values(key) for key in KEYS})

    def test_it_installs_repairs_and_removes_and_leaves_the_machine_as_before(self):
        before = self.machine()
        self.assertEqual(self.msiexec("/i"), (DONE, CHANNEL_SET + REGISTERED * 3))
        self.assertEqual(sorted(self.files()), sorted(
            [f"{NAME}.exe", "PalvoPrinterDoctor.exe", *SIBLINGS]))
        self.assertEqual(self.files()[f"{NAME}.exe"], (BUILD / f"{NAME}.exe").read_bytes())
        self.assertEqual(self.lab.tasks(), ALL_TASKS)
        self.assertEqual(self.lab.raw_task(ALL_TASKS[0])["Action0.Path"], rf"{FOLDER}\{NAME}.exe")
        self.assertEqual(self.lab.channel(), ("on", "1052672", "overwrites"))
        installed = self.machine()

        (self.installed / SIBLINGS[0]).unlink()
        program = ("--program", rf"{FOLDER}\{NAME}.exe")
        self.assertEqual(self.lab.run("-UT", options=program).code, 0)
        self.assertEqual(self.msiexec("/i", properties=("REINSTALL=ALL", "REINSTALLMODE=omus")),
                         (DONE, CHANNEL_SET + REGISTERED * 3))
        self.assertEqual(self.files(), installed[3])
        self.assertEqual(self.lab.tasks(), ALL_TASKS)

        self.assertEqual(self.msiexec("/x"), (DONE, CHANNEL_SET))
        after = self.machine()
        self.assertEqual((after[0], after[3]), ({}, {}))
        # -UT switches it off, and does not know what it was before.
        self.assertEqual(after[1], ("off", "1052672", "overwrites"))
        self.assertEqual(self.products(), [])
        self.assertEqual([after[4][key] for key in KEYS[1:]], [before[4][key] for key in KEYS[1:]])
        self.assertEqual(self.kept(), [])

    def test_a_first_installation_that_fails_is_taken_back(self):
        before = self.machine()
        code, output = self.msiexec("/i", options=FAILING)
        self.assertEqual(code, FAILED)
        self.assertIn("Error saving the Task : 80070005", output)
        after = self.machine()
        self.assertEqual(after, before)

    def test_a_missing_task_that_the_exit_code_hides_is_a_failure_too(self):
        before = self.machine()
        hidden = ("--fault", "ITaskFolder::RegisterTaskDefinition 1 0x80070005")
        self.assertEqual(self.msiexec("/i", options=hidden), (
            FAILED, CHANNEL_SET + "\nError saving the Task : 80070005" + REGISTERED * 2
            + "Not every task is registered.\n"))
        self.assertEqual(self.machine(), before)

    def test_an_upgrade_replaces_the_former_version(self):
        self.assertEqual(self.msiexec("/i")[0], DONE)
        self.assertEqual(self.msiexec("/i", NEWER), (DONE, CHANNEL_SET + REGISTERED * 3))
        self.assertEqual(self.products(), [("Palvo Printer Configuration", "7.1.0")])
        self.assertEqual(self.lab.tasks(), ALL_TASKS)
        self.assertEqual(self.lab.channel()[0], "on")
        self.assertIn(f"{NAME}.exe", self.files())

    def test_an_upgrade_that_fails_puts_channel_tasks_and_position_back(self):
        self.assertEqual(self.msiexec("/i")[0], DONE)
        self.lab("set", "channel-size", "4194304")
        self.lab("set", "channel-retention", "on")
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.lab("tasks", "wait")
        before = self.machine()
        self.assertEqual(before[2], ("REG_QWORD", 1))
        self.assertEqual(self.msiexec("/i", NEWER, FAILING)[0], FAILED)
        after = self.machine()
        self.assertEqual(after[:3], before[:3])
        self.assertEqual(self.products(), [("Palvo Printer Configuration", "7.0.0")])
        self.assertEqual(self.kept(), [])

    def test_a_position_that_was_not_kept_stays(self):
        # As after a keeping that ended before it came to the position.
        self.assertEqual(self.msiexec("/i")[0], DONE)
        self.assertEqual(self.lab.scan_position(), ("REG_QWORD", 0))
        set_value(self.lab, r"SOFTWARE\Palvo\PrinterDriver\V6.0\PalvoPrinterSetup", "Some Task", "REG_SZ",
                  "<xml/>")
        setup = "Z:" + str(BUILD / "PalvoPrinterSetup.exe").replace("/", "\\")
        self.assertEqual(self.lab.run("restore", options=("--program", setup)).code, 0)
        self.assertEqual(self.lab.scan_position(), ("REG_QWORD", 0))
        self.assertEqual(self.kept(), [])

    def test_an_upgrade_ends_running_copies_and_their_children_first(self):
        self.assertEqual(self.msiexec("/i")[0], DONE)
        self.lab("sibling", "writer", "--take", "100000")
        self.lab.start("-r", options=("--program", rf"{FOLDER}\{NAME}.exe"))
        self.lab.wait_for(lambda: any(True for _ in self.lab.processes("PalvoPrinterCon")),
                          "a copy at work")
        self.assertEqual(self.msiexec("/i", NEWER)[0], DONE)
        self.assertEqual(list(self.lab.processes("PalvoPrinter")), [])

    def test_a_machine_where_the_program_is_switched_off_can_be_installed(self):
        switch = (r"SOFTWARE\Palvo\PrinterDriver\V6.0\Options",
                  "InstallAndRunEnhancedAutoConfigScheduledTasks")
        set_value(self.lab, *switch, "REG_DWORD", "0")
        self.addCleanup(delete_value, self.lab, *switch)
        self.assertEqual(self.msiexec("/i"), (DONE, ""))
        self.assertEqual(self.lab.tasks(), [])
        self.assertIn(f"{NAME}.exe", self.files())

    def test_the_actions_are_deferred_and_run_as_system_each_with_its_roll_back(self):
        rows = {}
        for table in ("CustomAction", "InstallExecuteSequence"):
            output = subprocess.run(["msiinfo", "export", self.msi("7.0.0.0"), table],
                                    stdout=subprocess.PIPE, check=True).stdout.decode()
            rows[table] = {line.split("\t")[0]: line.split("\t")[1:]
                           for line in output.replace("\r", "").splitlines()[3:]}
        deferred, as_system, rollback, commit = 1024, 2048, 256, 512
        types = {name: int(row[0]) for name, row in rows["CustomAction"].items()}
        for name, kind in types.items():
            self.assertEqual(kind & (deferred | as_system), deferred | as_system, name)
        self.assertEqual({name for name, kind in types.items() if kind & rollback},
                         {"RestoreState", "RestoreTasks", "TakeBackTasks"})
        self.assertEqual({name for name, kind in types.items() if kind & commit}, {"ForgetState"})
        places = {name: int(row[1]) for name, row in rows["InstallExecuteSequence"].items()}
        order = ["InstallInitialize", "RestoreState", "KeepState", "StopCopies", "RestoreTasks",
                 "RemoveTasks", "StopRemoved", "RemoveFiles", "InstallFiles", "TakeBackTasks",
                 "InstallTasks", "CheckTasks", "ForgetState", "InstallExecute",
                 "RemoveExistingProducts", "InstallFinalize"]
        self.assertEqual(sorted(order, key=places.get), order)


if __name__ == "__main__":
    unittest.main()
