"""What ships, packed; and the MSI, which Wine's own installer installs, repairs, takes back and
removes while the programs that it starts run in the lab."""

import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

from lab import ROOT, SUITE, SUPPORTED, USER_LOGON
from proof.program_promises import CHANNEL_SET, CREATION_FAILED, INSTALLED, REGISTERED
from registry import delete_value, reg, set_value
from scheduled_tasks import ALL_TASKS, LabTest

BUILD = Path(os.environ.get("PALVO_LAB_BIN", ROOT / "build" / "release"))
NAME = "PalvoPrinterConfiguration"
SIBLINGS = ["PalvoPrinterConfigurationWriter.exe", "PalvoPrinterQuery.exe"]
FOLDER = r"C:\Program Files\Palvo Installed"
CMD = r"C:\windows\system32\cmd.exe"
NEEDED = ("wixl", "msibuild", "msiinfo")
NEWER = "7.1.0.0"

# Exit codes of msiexec. Where Windows says 1603, Wine says 1627.
DONE, FAILED, WINES_FAILED = 0, 1603, 1627

# The third task of -IT cannot be registered: it ends with 1.
FAILING = ("--fault", "ITaskFolder::RegisterTaskDefinition 3 0x80070005")

# What a run for all printers starts: none is named.
REFRESH = [("query", "LocalService", False), ("writer", "SYSTEM", False)]

# The log's folder and those above it: all for SYSTEM and administrators, reading for users.
GUARDED = "O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;AU)"

KEYS = (r"HKLM\Software\Palvo", r"HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall",
        r"HKLM\Software\Microsoft\Windows\CurrentVersion\Installer",
        r"HKLM\Software\Classes\Installer")


def package(output, *options, **environment):
    result = subprocess.run([sys.executable, ROOT / "tools" / "package", "--build", BUILD,
                             "--output", output, *options], stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False,
                            env=dict(os.environ, **environment))
    return result.returncode, result.stdout.decode()


class PackedTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def test_the_zip_holds_the_program_and_what_belongs_to_it(self):
        self.assertEqual(package(self.folder)[0], 0)
        documents = [f"docs/{name}" for name in
                     ("README.md", "accounts.md", "doctor-json.md", "exit-codes.md", "installing.md",
                      "log-viewer.md", "monitoring.md", "nothing-happens.md",
                      "pictures/log-viewer-names-hidden.png",
                      "pictures/log-viewer.png", "policies.md", "privacy.md", "reading-the-log.md",
                      "rollout.md", "switches.md", "troubleshooting.md", "trust.md")]
        with zipfile.ZipFile(self.folder / f"{NAME}-7.0.0.0.zip") as packed:
            self.assertIsNone(packed.testzip())
            self.assertEqual(packed.namelist(), sorted(
                [f"{NAME}.exe", "PalvoPrinterDoctor.exe", "PalvoPrinterSetup.exe", "log-viewer.html",
                 "doctor-report.schema.json", "SECURITY.md", *documents,
                 "licences/README.txt", "licences/gcc-libstdc++.txt", "licences/gcc-runtime.txt",
                 "licences/mingw-w64.txt", "management/detect.cmd", "management/remediate.cmd",
                 "monitoring/palvo-printer-doctor.rules.yml", "monitoring/task-events.xml",
                 f"policies/{NAME}.admx", f"policies/en-US/{NAME}.adml"]))
            self.assertEqual(packed.read(f"{NAME}.exe"), (BUILD / f"{NAME}.exe").read_bytes())
            self.assertIn(b"Runtime Library Exception", packed.read("licences/gcc-runtime.txt"))
        with zipfile.ZipFile(self.folder / f"{NAME}-7.0.0.0-symbols.zip") as packed:
            self.assertEqual(packed.namelist(), sorted(
                [f"{NAME}.exe.debug", "PalvoPrinterDoctor.exe.debug", "PalvoPrinterSetup.exe.debug"]))

    def test_every_program_names_the_version_in_its_resource(self):
        for name in (NAME, "PalvoPrinterDoctor", "PalvoPrinterSetup"):
            with self.subTest(program=name):
                data = (BUILD / f"{name}.exe").read_bytes()
                place = data.find(struct.pack("<II", 0xFEEF04BD, 0x10000))  # of VS_FIXEDFILEINFO
                self.assertEqual(struct.unpack_from("<HHHH", data, place + 8), (0, 7, 0, 0))

    def test_pages_in_the_zip_refer_to_nothing_that_is_not_in_it(self):
        self.assertEqual(package(self.folder)[0], 0)
        with zipfile.ZipFile(self.folder / f"{NAME}-7.0.0.0.zip") as packed:
            names = packed.namelist()
            for name in names:
                links = re.findall(r"\]\(([^)#]+)", packed.read(name).decode()
                                   ) if name.endswith(".md") else []
                for link in links:
                    with self.subTest(page=name):
                        self.assertIn(os.path.normpath(f"{Path(name).parent}/{link}"), names)

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
        cls.siblings = cls.folder / "siblings"
        cls.siblings.mkdir()
        for name in SIBLINGS:
            shutil.copy(BUILD / "lab" / name, cls.siblings)
        for version in ("7.0.0.0", NEWER):
            cls.pack(cls.folder, "--version", version)

    @classmethod
    def pack(cls, output, *options, **environment):
        code, output = package(output, "--siblings", cls.siblings, *options, **environment)
        if code != 0:
            raise AssertionError(output)

    def setUp(self):
        super().setUp()
        self.lab.suites = (SUITE, FOLDER)
        self.installed = self.lab.prefix / "drive_c" / FOLDER.removeprefix("C:\\").replace("\\", "/")
        self.remove_all()       # what a run that was ended left behind
        self.addCleanup(self.remove_all)
        self.lab("set", "channel-enabled", "off")
        self.lab("set", "channel-size", "2097152")
        self.lab("set", "channel-retention", "on")

    def test_it_has_the_same_bytes_whenever_it_is_made(self):
        again = self.folder / "made again"
        for file in self.siblings.iterdir():
            os.utime(file, (10 ** 9, 10 ** 9))
        self.pack(again, TZ="Asia/Tokyo")
        one, other = (folder / f"{NAME}-7.0.0.0.msi" for folder in (self.folder, again))
        self.assertEqual(one.read_bytes(), other.read_bytes())
        summary = subprocess.run(["msiinfo", "suminfo", one], env=dict(os.environ, TZ="UTC"),
                                 stdout=subprocess.PIPE, check=True).stdout.decode()
        self.assertEqual(re.findall(r"^(?:Created|Last saved): (.*)", summary, re.MULTILINE),
                         ["Tue Jan  1 00:00:00 1980"] * 2)
        self.assertRegex(
            summary, r"(?m)^Revision number \(UUID\): \{[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\}$")

    def remove_all(self):
        listed = reg(self.lab, "query", KEYS[1], "/s")[1]
        for code in re.findall(r"\\(\{[-0-9A-F]+\})\n(?:    .*\n)*?    DisplayName +REG_SZ +Palvo",
                               listed):
            self.lab("run", "--program", r"C:\windows\system32\msiexec.exe", "--", "/x", code, "/qn",
                     f"INSTALLDIR={FOLDER}", check=False)
        shutil.rmtree(self.installed, True)
        for aside in self.program_data().glob("Palvo.aside-*"):
            shutil.rmtree(aside)
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
        code = int(found[1])
        return FAILED if code == WINES_FAILED else code, output[:found.start()]

    def program_data(self):
        return self.lab.prefix / "drive_c" / "ProgramData"

    def log_folders(self):
        """From the one in ProgramData down."""
        return self.lab.log_path().parents[4::-1]

    def rights(self):
        return [self.lab("rights", str(folder)).strip() for folder in self.log_folders()]

    def as_user(self, command):
        """A line of a command prompt of a standard user; its exit code."""
        self.lab("user", "add", "bob", "standard", check=False)     # who may be there
        self.lab("run", "--account", "bob", "--output", "NUL", "--program", CMD, "--raw",
                 f"/c {command}", check=False)
        return self.lab.code

    def refreshed(self):
        """The siblings of the run that an installation starts and does not wait for."""
        self.lab.wait_for(lambda: len(self.lab.siblings()) == 2 and not self.lab.at_work(),
                          "the refresh")
        return [(sibling.name, sibling.account, "-e" in sibling.arguments)
                for sibling in self.lab.siblings()]

    def at_work(self):
        """The times at which copies and writers at work were started; each has another."""
        started = 19
        return {fields[started] for fields in self.lab.processes("PalvoPrinterCon")}

    def files(self):
        return {file.name: file.read_bytes() for file in self.installed.glob("*")}

    def kept(self):
        """What the package still keeps for a roll-back or, of what was never installed, for a removal."""
        keys = ["PalvoPrinterSetup"] + ["PalvoPrinterSetupFirst"] * (self.products() == [])
        return [line for key in keys
                for line in self.values(KEYS[0] + rf"\PrinterDriver\V6.0\{key}")]

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
        self.assertEqual(self.rights(), [GUARDED] * 5)
        self.assertEqual(self.refreshed(), REFRESH)
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
        self.assertEqual(after[1], before[1])
        self.assertEqual(self.products(), [])
        self.assertEqual([after[4][key] for key in KEYS[1:]], [before[4][key] for key in KEYS[1:]])
        self.assertEqual(self.kept(), [])

    def test_an_upgrade_remembers_the_channel_of_before_the_first_installation(self):
        before = self.lab.channel()
        for arguments in (("/i",), ("/i", NEWER), ("/x", NEWER)):
            self.assertEqual(self.msiexec(*arguments)[0], DONE)
        self.assertEqual((self.lab.channel(), self.kept()), (before, []))

    def test_users_create_nothing_in_the_logs_folder_even_before_the_first_run(self):
        self.assertEqual(self.setup("folder"), (0, ""))
        self.assertEqual(self.rights(), [GUARDED] * 5)
        for folder in self.log_folders():
            within = "C:" + str(folder).removeprefix(str(self.lab.prefix / "drive_c")).replace("/", "\\")
            self.as_user(rf'echo x>"{within}\theirs"')
            self.as_user(rf'mkdir "{within}\their folder"')
            self.assertEqual([path.name for path in folder.iterdir() if "their" in path.name], [])

    def test_links_in_the_logs_folders_are_opened_themselves_and_pipes_at_identification_level(self):
        self.lab("record", "on", "CreateFileW")
        self.assertEqual(self.setup("folder"), (0, ""))
        opened = re.findall(r'CreateFileW\("C:\\ProgramData\\Palvo.*?", 0x60001, 3, 3, (\w+)\)',
                            self.lab("show", "calls"))
        self.assertEqual(set(opened), {"0x2310000"})

    def test_a_tree_that_a_user_made_before_is_renamed_and_untouched(self):
        self.assertEqual(self.as_user(r"mkdir C:\ProgramData\Palvo\PrinterDriver"), 0)
        theirs = self.program_data() / "Palvo" / "PrinterDriver" / "theirs"
        theirs.write_bytes(b"theirs")
        self.assertEqual(self.msiexec("/i")[0], DONE)
        self.assertEqual(self.rights(), [GUARDED] * 5)
        self.assertEqual(self.refreshed(), REFRESH)
        asides = list(self.program_data().glob("Palvo.aside-*"))
        self.assertEqual([(aside / "PrinterDriver" / "theirs").read_bytes() for aside in asides],
                         [b"theirs"])
        self.assertIn(INSTALLED[0], self.lab.log())

    def test_what_it_did_to_the_logs_folder_is_taken_back(self):
        self.assertEqual(self.as_user(r"mkdir C:\ProgramData\Palvo"), 0)
        theirs = self.program_data() / "Palvo" / "theirs"
        theirs.write_bytes(b"theirs")
        self.assertEqual(self.msiexec("/i", options=FAILING)[0], FAILED)
        self.assertEqual(theirs.read_bytes(), b"theirs")
        # The log of the failed installation.
        logs = list(self.program_data().glob("Palvo.aside-*/PrinterDriver/**/*.log"))
        self.assertEqual([CREATION_FAILED[USER_LOGON].encode() in log.read_bytes() for log in logs],
                         [True])

    def test_lists_of_the_logs_folder_are_put_back(self):
        self.lab.run("-?")
        before = self.rights()
        self.assertNotIn(GUARDED, before)
        for _ in range(2):      # The second time knows of the first.
            self.assertEqual(self.setup("folder"), (0, ""))
            self.assertEqual(self.rights(), [GUARDED] * 5)
        self.assertEqual(self.setup("restore"), (0, ""))
        self.assertEqual(self.rights(), before)

    def test_lists_are_put_back_when_a_call_failed(self):
        self.lab.run("-?")
        before = self.rights()
        # A folder whose owner is not told is renamed.
        for fault, code in (("SetKernelObjectSecurity 1 5", 1), ("SetKernelObjectSecurity 3 5", 1),
                            ("GetSecurityInfo 1 5", 0), ("CreateFileW 2 32", 1),
                            ("CreateFileW 2 5 always", 1)):
            with self.subTest(fault=fault):
                self.assertEqual(self.setup("folder", fault=fault)[0], code)
                self.assertEqual(self.setup("restore"), (0, ""))
                self.assertEqual(self.rights(), before)

    def test_what_was_renamed_comes_back_though_nothing_could_take_its_place(self):
        self.assertEqual(self.as_user(r"mkdir C:\ProgramData\Palvo"), 0)
        theirs = self.program_data() / "Palvo" / "theirs"
        theirs.write_bytes(b"theirs")
        self.assertEqual(self.setup("folder", fault="CreateDirectoryW 1 112 always"), (
            1, "The log's folder cannot be had, or something in its place is in use.\n"))
        self.assertFalse(theirs.exists())
        self.assertEqual(self.setup("restore"), (0, ""))
        self.assertEqual(theirs.read_bytes(), b"theirs")
        self.assertEqual(list(self.program_data().glob("Palvo.aside-*")), [])

    def test_a_folder_that_could_not_be_renamed_stays(self):
        self.assertEqual(self.as_user(r"mkdir C:\ProgramData\Palvo"), 0)
        theirs = self.program_data() / "Palvo" / "theirs"
        theirs.write_bytes(b"theirs")
        self.assertEqual(self.setup("folder", fault="MoveFileExW 1 5 always")[0], 1)
        self.assertEqual(self.setup("restore"), (0, ""))
        self.assertEqual(theirs.read_bytes(), b"theirs")

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
        # The former version works as before. Windows puts its files back, Wine takes them away.
        self.installed.mkdir(exist_ok=True)
        for name, content in before[3].items():
            (self.installed / name).write_bytes(content)
        seen = len(self.lab.siblings())
        self.lab("printer", "add", "Office", SUPPORTED)
        self.lab("tasks", "wait")
        self.assertEqual([(sibling.name, sibling.account, ' -e "Office"' == sibling.arguments)
                          for sibling in self.lab.siblings()[seen:]],
                         [("query", "LocalService", True), ("writer", "SYSTEM", False)])

    def setup(self, *arguments, fault=None):
        """A run of the package's own program: its exit code and what it printed."""
        program = "Z:" + str(BUILD / "PalvoPrinterSetup.exe").replace("/", "\\")
        options = ("--program", program, *(("--fault", fault) if fault else ()))
        run = self.lab.run(*arguments, options=options)
        return run.code, run.output

    def test_the_position_is_put_back_and_one_that_could_not_be_kept_stays(self):
        self.lab("set", "channel-enabled", "on")
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        for fault, position in ((None, 1), ("RegGetValueW 1 5 always", 0)):
            with self.subTest(fault=fault):
                self.assertEqual(self.lab.run("-c", "-i", "NewOrChangedTask").code, 0)
                self.assertEqual(self.lab.scan_position(), ("REG_QWORD", 1))
                self.assertEqual(self.setup("keep", fault=fault), (0, ""))
                self.assertEqual(self.lab.run("-IT").code, 0)
                self.assertEqual(self.setup("restore"), (0, ""))
                self.assertEqual(self.lab.scan_position(), ("REG_QWORD", position))
                self.assertEqual(self.kept(), [])

    def test_a_position_that_was_not_there_is_taken_away(self):
        self.assertEqual(self.setup("keep"), (0, ""))
        self.assertEqual(self.lab.run("-IT").code, 0)
        self.assertEqual(self.setup("restore"), (0, ""))
        self.assertIsNone(self.lab.scan_position())

    def test_an_upgrade_ends_running_copies_and_their_children_first(self):
        self.assertEqual(self.msiexec("/i")[0], DONE)
        self.lab("sibling", "writer", "--take", "100000")
        self.lab.start("-r", options=("--program", rf"{FOLDER}\{NAME}.exe"))
        self.lab.wait_for(lambda: len(self.at_work()) == 2, "a copy at work and its writer")
        former = self.at_work()
        self.assertEqual(self.msiexec("/i", NEWER)[0], DONE)
        # The new version's refresh may be at work.
        self.assertEqual(self.at_work() & former, set())

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
        deferred, as_system, rollback, commit, not_waited_for = 1024, 2048, 256, 512, 128
        types = {name: int(row[0]) for name, row in rows["CustomAction"].items()}
        for name, kind in types.items():
            self.assertEqual(kind & (deferred | as_system), deferred | as_system, name)
        self.assertEqual({name for name, kind in types.items() if kind & rollback},
                         {"RestoreState", "RestoreTasks", "StopTakenBack", "TakeBackTasks"})
        self.assertEqual({name for name, kind in types.items() if kind & commit},
                         {"KeepChannel", "ForgetChannel", "ForgetState", "Refresh"})
        # Nobody waits for the siblings.
        self.assertEqual({name for name, kind in types.items() if kind & not_waited_for}, {"Refresh"})
        places = {name: int(row[1]) for name, row in rows["InstallExecuteSequence"].items()}
        order = ["InstallInitialize", "RestoreState", "KeepState", "SecureFolder", "StopCopies",
                 "RestoreTasks", "RemoveTasks", "RestoreChannel", "StopRemoved", "RemoveFiles",
                 "InstallFiles", "StopTakenBack", "TakeBackTasks", "InstallTasks", "CheckTasks",
                 "KeepChannel", "ForgetChannel", "ForgetState", "Refresh", "InstallExecute",
                 "RemoveExistingProducts", "InstallFinalize"]
        self.assertEqual(sorted(order, key=places.get), order)


if __name__ == "__main__":
    unittest.main()
