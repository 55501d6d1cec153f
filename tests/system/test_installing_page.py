"""What the page for authors of installers says: its example lines are run as they stand there, and its table
of texts is held against what the program prints."""

import re
import shlex
import unittest

from lab import ROOT, SUITE
from registry import has_key
from scheduled_tasks import ALL_TASKS, LabTest
from test_package import BUILD, GUARDED, REFRESH

PAGE = (ROOT / "docs" / "installing.md").read_text()
TIMES = {"once": 1, "three times": 3}


def examples(title):
    """The blocks of example lines of a section."""
    section = re.search(rf"^## {title}\n(.*?)(?=^## |\Z)", PAGE, re.MULTILINE | re.DOTALL)[1]
    return [[line.strip() for line in block.splitlines()]
            for block in re.findall(r"(?:^    .+\n)+", section, re.MULTILINE)]


def expected_texts(switch):
    """{text: how often} of the page's table."""
    row = re.search(rf"^\| `{switch}` \| (.*) \|$", PAGE, re.MULTILINE)[1]
    return {text: TIMES[often] for text, often in
            re.findall(r"`([^`]+)` (once|three times)", row)}


def went_well(switch, output):
    texts = expected_texts(switch)
    rest = output
    for text in texts:
        rest = rest.replace(text, "")
    counted = {text: output.count(text) for text in texts}
    return counted == texts and (switch == "-IT" or not rest.strip())


class InstallingPageTest(LabTest):
    def setUp(self):
        super().setUp()
        self.lab("set", "channel-enabled", "off")
        self.lab("set", "channel-size", "2097152")
        self.lab("set", "channel-retention", "on")
        self.outputs = {}

    def run_line(self, line):
        if line.startswith("rem "):
            return      # The files are where they are.
        program, *arguments = shlex.split(line)
        file = {"PalvoPrinterConfiguration.exe": rf"{SUITE}\{program}",
                "PalvoPrinterSetup.exe": "Z:" + str(BUILD / program).replace("/", "\\")}[program]
        run = self.lab.run(*arguments, options=("--program", file))
        self.assertEqual(run.code, 0, f"{line}: {run.output}")
        if program == "PalvoPrinterSetup.exe":
            self.assertEqual(run.output, "", line)
        elif arguments[0] in ("-IT", "-UT"):
            self.assertTrue(went_well(arguments[0], run.output), run.output)

    def do(self, lines, before=None):
        """The lines of an example, or those before that one."""
        for line in lines[:lines.index(before) if before else None]:
            self.run_line(line)

    def machine(self):
        return ({name: self.lab.raw_task(name) for name in self.lab.tasks()}, self.lab.channel(),
                self.lab.scan_position())

    def kept(self, name="PalvoPrinterSetup"):
        return has_key(self.lab, rf"Software\Palvo\PrinterDriver\V6.0\{name}")

    def rights(self):
        return [self.lab("rights", str(folder)).strip() for folder in self.lab.log_path().parents[4::-1]]

    def test_install(self):
        self.do(examples("Install")[0])
        self.assertEqual(self.lab.tasks(), ALL_TASKS)
        self.assertEqual(self.lab.channel(), ("on", "1052672", "overwrites"))
        self.assertEqual([(sibling.name, sibling.account, "-e" in sibling.arguments)
                          for sibling in self.lab.siblings()], REFRESH)
        self.assertEqual(self.rights(), [GUARDED] * 5)
        self.assertFalse(self.kept())

    def test_install_rolled_back(self):
        before = self.machine()
        install, back = examples("Install")
        self.do(install, before="PalvoPrinterSetup.exe forget")
        self.assertNotEqual(self.machine(), before)
        self.assertTrue(self.kept())
        self.do(back)
        self.assertEqual(self.machine(), before)
        self.assertFalse(self.kept())

    def installed(self):
        """A machine that somebody changed since it was installed."""
        self.do(examples("Install")[0])
        self.lab("set", "channel-size", "4194304")
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.lab("tasks", "wait")
        machine = self.machine()
        self.assertEqual(machine[2], ("REG_QWORD", 1))
        return machine

    def test_upgrade(self):
        self.installed()
        self.lab("sibling", "writer", "--take", "100000")
        self.lab.start("-r")
        self.lab.wait_for(lambda: len(list(self.lab.processes("PalvoPrinterCon"))) == 2,
                          "a copy at work and its writer")
        upgrade = examples("Upgrade and repair")[0]
        copied = next(line for line in upgrade if line.startswith("rem "))
        self.do(upgrade, before=copied)
        self.assertEqual((self.lab.tasks(), self.lab.at_work()), ([], False))
        self.lab("sibling", "writer", "--take", "0")
        self.do(upgrade[upgrade.index(copied):])
        self.assertEqual(self.lab.tasks(), ALL_TASKS)
        self.assertFalse(self.kept())

    def test_upgrade_rolled_back(self):
        before = self.installed()
        upgrade, back = examples("Upgrade and repair")
        self.do(upgrade, before="PalvoPrinterSetup.exe forget")
        self.assertNotEqual(self.machine(), before)
        self.do(back)
        self.assertEqual(self.machine(), before)
        self.assertFalse(self.kept())

    def test_remove(self):
        self.installed()
        self.do(examples("Remove")[0])
        self.assertEqual(self.lab.tasks(), [])
        self.assertEqual(self.lab.channel(), ("off", "2097152", "keeps the oldest"))
        self.assertEqual(self.rights(), [GUARDED] * 5)
        self.assertFalse(self.kept() or self.kept("PalvoPrinterSetupFirst"))

    def test_remove_rolled_back(self):
        before, bags = self.installed(), self.lab.bags()
        remove, back = examples("Remove")
        self.do(remove, before="PalvoPrinterSetup.exe forget")
        self.assertEqual(self.lab.tasks(), [])
        self.assertNotEqual(self.lab.bags(), bags)
        self.do(back)
        self.assertEqual((self.machine(), self.lab.bags()), (before, bags))
        self.assertFalse(self.kept())


class OutcomeTest(LabTest):
    def outcome(self, switch, *faults):
        run = self.lab.run(switch, options=[part for fault in faults for part in ("--fault", fault)])
        return run.code, went_well(switch, run.output), run.output

    def test_counted_texts_tell_every_failure_also_where_the_code_is_0(self):
        refused = "ITaskFolder::RegisterTaskDefinition {} 0x80070005"
        for faults, expected in (((), (0, True)), ([refused.format(1)], (0, False)),
                                 ([refused.format(2)], (0, False)), ([refused.format(3)], (1, False)),
                                 (["EvtSaveChannelConfig 1 5"], (4, False))):
            with self.subTest(faults=faults):
                self.assertEqual(self.outcome("-IT", *faults)[:2], expected)
        self.assertEqual(self.outcome("-UT")[:2], (0, True))
        self.assertEqual(self.outcome("-UT", "EvtSaveChannelConfig 1 5")[:2], (4, False))

    def test_failures_stand_one_behind_the_other_in_one_line(self):
        self.lab("set", "scheduler", "missing")
        output = self.outcome("-IT")[2]
        lines = [line for line in output.splitlines() if line]
        self.assertEqual((lines[0], len(lines)), ("Channel properties updated.", 2))
        self.assertEqual(lines[1].count("80040154"), 3)

    def test_the_numbers_are_of_the_forms_that_the_page_shows(self):
        self.assertIn("Error saving the Task : 80070005",
                      self.outcome("-IT", "ITaskFolder::RegisterTaskDefinition 1 0x80070005")[2])
        self.assertIn("EvtSaveChannelConfig failed with 5",
                      self.outcome("-IT", "EvtSaveChannelConfig 1 5")[2])
        for text in ("Error saving the Task : 80070005", "EvtSaveChannelConfig failed with 5"):
            self.assertIn(f"`{text}`", PAGE)


if __name__ == "__main__":
    unittest.main()
