"""What the tests of the doctor share: a machine on which all is well, and how to ask the doctor."""

import json
import re

from lab import SUITE, SUPPORTED
from scheduled_tasks import LabTest

DOCTOR = SUITE + r"\PalvoPrinterDoctor.exe"


class DoctorTest(LabTest):
    maxDiff = None

    def set_up_machine(self):
        """An installation, a printer, and a user whose values were written."""
        self.install()
        self.sid = self.lab("user", "add", "anna", "admin").strip()
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.lab("tasks", "wait")
        self.lab("user", "logon", "anna")
        self.lab("tasks", "wait")
        self.lab("printer", "add", "Front Desk", SUPPORTED)
        self.lab("tasks", "wait")

    def setUp(self):
        super().setUp()
        self.set_up_machine()

    def doctor(self, *arguments, options=()):
        """(exit code, what it printed)."""
        output = self.lab("run", *options, "--program", DOCTOR, "--print-exit", "--", *arguments,
                          check=False)
        found = re.search(r"(?:palvo-lab: )?exit (\d+) pid (\d+)\n$", output)
        self.assertTrue(found, output)
        return int(found[1]), output[:found.start()]

    def report(self, *arguments, options=()):
        code, output = self.doctor("--json", *arguments, options=options)
        report = json.loads(output)
        self.assertEqual(report["code"], code)
        return report

    def findings(self, *arguments, options=()):
        """[(identifier, what)]."""
        report = self.report(*arguments, options=options)
        return [(one["id"], one["what"]) for one in report["findings"]]

    def assert_found(self, *expected, arguments=(), options=()):
        self.assertEqual(self.findings(*arguments, options=options), list(expected))
