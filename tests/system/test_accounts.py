"""Copies of several accounts, as docs/accounts.md tells it: its tables are what is walked here."""

import re
import unittest

from lab import LOG, ROOT, SUPPORTED, Lab
from proof import program_promises
from proof.program_promises import CHANGED_DONE, NAMES, REFRESH_DONE

PAGE = (ROOT / "docs" / "accounts.md").read_text(encoding="utf-8")
ACCOUNTS = {"SYSTEM": "SYSTEM", "elevated administrator": "alice:elevated",
            "Local Service": "LocalService", "standard user": "bob"}
OBJECTS = {
    "scan mutex": ("mutex", NAMES["scan check"]),
    "normal request": ("event", NAMES["normal request"]),
    "special request": ("event", NAMES["special request"]),
    "new-or-changed mutex": ("mutex", NAMES["changed instance"]),
    "refresh request": ("event", NAMES["refresh request"]),
    "refresh mutex": ("mutex", NAMES["refresh instance"]),
    "log mutex": ("mutex", "Global\\c:/" + str(LOG.parent.relative_to("drive_c")).lower()),
}
NEW_DONE = CHANGED_DONE[0]
# What a copy logs after its arguments, for every run that the page has.
NOTHING = {
    "-r": ["# Processing a periodic refresh event: ", REFRESH_DONE],
    "-c -i UserLogonTask": ["-Processing NewOrChanged event: UserLogonTask", NEW_DONE, "", ""],
    "-c -i NewOrChangedTask": ["-Processing NewOrChanged event: NewOrChangedTask", NEW_DONE, "", ""],
}
REDUNDANT = {
    "-r": [program_promises.REDUNDANT["refresh"].format("")],
    "-c -i UserLogonTask": ["-Processing NewOrChanged event: UserLogonTask",
                            program_promises.REDUNDANT["special"].format("UserLogonTask")],
}


def table(columns):
    """The cells of the rows of the page's table with that many columns."""
    rows = [[cell.strip() for cell in line.strip("|").split("|")]
            for line in PAGE.splitlines() if re.fullmatch(r"\|.*\|", line)]
    return [row for row in rows if len(row) == columns and set(row[0]) != {"-"}]


class Accounts(unittest.TestCase):
    def setUp(self):
        self.lab = Lab()
        self.addCleanup(self.lab, "sibling", "writer", "--release")
        self.addCleanup(self.lab, "hold", "off")

    def begin(self):
        self.lab("hold", "off")
        self.lab("reset")
        self.lab("user", "add", "alice", "admin")
        self.lab("user", "add", "bob", "standard")

    def add_printer(self):
        """The first event, which is never examined, and one that a run finds."""
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.lab.run("-c", "-i", "NewOrChangedTask")
        self.lab("printer", "add", "One", SUPPORTED)

    def lines(self, pid):
        """What that copy logged after its arguments and after what its first scan found."""
        lines = [message for process, message in self.lab.log_lines() if process == pid]
        return [line for line in lines[2:] if not line.startswith("Found one pertinent")]

    def writers(self, pid):
        return [run for run in self.lab.siblings() if run.name == "writer" and run.parent == pid]

    def start_and_hold(self, run, account):
        self.lab("sibling", "writer", "--hold")
        pid = self.lab.start(*run.split(), options=("--account", account))
        self.lab.wait_for(lambda: self.writers(pid), "the writer's start")
        return pid

    def release(self, pid):
        self.lab("sibling", "writer", "--release")
        self.wait_for_end(pid)

    def wait_for_end(self, pid):
        self.lab.wait_for(lambda: {NEW_DONE, REFRESH_DONE} & set(self.lines(pid))
                          and not self.lab.at_work(), "the copy's end")

    def expect(self, outcome, run, result):
        getattr(self, "expect_" + outcome.replace(" ", "_"))(run, result)

    def expect_redundant(self, run, result):
        self.assertEqual((result.code, result.output, self.lines(result.pid), result.siblings),
                         (1, REDUNDANT[run][-1], REDUNDANT[run], []))

    def expect_does_nothing(self, run, result):
        self.assertEqual((result.code, result.output, self.lines(result.pid), result.siblings),
                         (0, "", NOTHING[run], []))

    def expect_works(self, run, result):
        self.assertEqual((result.code, result.output, len(self.writers(result.pid))), (0, "", 1))
        self.assertIn(REFRESH_DONE if run == "-r" else NEW_DONE, self.lines(result.pid))

    def expect_works_unlogged(self, _, result):
        self.assertEqual((result.code, result.output, len(self.writers(result.pid)), result.log),
                         (0, "", 1, []))

    def test_a_copy_that_comes_while_another_works_is_redundant_or_does_nothing(self):
        (_, *comers), *rows = table(5)
        self.assertEqual(([row[0] for row in rows], comers), (list(ACCOUNTS), list(ACCOUNTS)))
        for worker, *outcomes in rows:
            for comer, outcome in zip(comers, outcomes):
                for run in ("-r", "-c -i UserLogonTask"):
                    with self.subTest(at_work=worker, comes=comer, run=run):
                        self.begin()
                        pid = self.start_and_hold(run, ACCOUNTS[worker])
                        result = self.lab.run(*run.split(), options=("--account", ACCOUNTS[comer]))
                        self.expect(outcome, run, result)
                        self.release(pid)
                        self.assertEqual(len(self.writers(pid)), 2 if outcome == "redundant" else 1)

    def test_what_a_copy_does_with_an_object_that_somebody_made_first(self):
        _, *rows = table(4)
        self.assertEqual({row[0] for row in rows}, set(OBJECTS))
        for name, maker, told, outcome in rows:
            with self.subTest(object=name, made_by=maker, run=told):
                account, run = re.fullmatch(r"(.*): `(.*)`", told).groups()
                self.begin()
                self.add_printer()
                self.make(name, maker)
                if outcome == "waits":
                    self.expect_waits(run, ACCOUNTS[account])
                else:
                    self.expect(outcome, run,
                                self.lab.run(*run.split(), options=("--account", ACCOUNTS[account])))

    def make(self, name, maker):
        account, comma, _ = maker.partition(", for nobody")
        kind, global_name = OBJECTS[name]
        self.lab("hold", kind, global_name, "--account", ACCOUNTS[account],
                 *(["--security", "D:"] if comma else []))

    def expect_waits(self, run, account):
        self.lab("record", "on", "CreateMutexW")
        pid = self.lab.start(*run.split(), options=("--account", account))
        self.lab.wait_for(lambda: "PPRCFGEVTCHK" in self.lab("show", "calls"), "the mutex")
        self.lab("record", "off")
        # A whole run of another kind takes longer than the scan that would come next.
        self.assertEqual(self.lab.run("-r").code, 0)
        self.assertEqual(self.lines(pid), [])
        self.lab("hold", "off")
        self.wait_for_end(pid)


if __name__ == "__main__":
    unittest.main()
