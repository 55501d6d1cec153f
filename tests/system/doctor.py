"""What the tests of the doctor share: a machine on which all is well, and how to ask the doctor."""

import json
import os
import re
from pathlib import Path

from lab import ROOT, SUITE, SUPPORTED
from scheduled_tasks import LabTest

BUILD = Path(os.environ.get("PALVO_LAB_BIN", ROOT / "build" / "release"))
SETUP = "Z:" + str(BUILD / "PalvoPrinterSetup.exe").replace("/", "\\")
DOCTOR = SUITE + r"\PalvoPrinterDoctor.exe"


SCHEMA = json.loads((ROOT / "support" / "doctor-report.schema.json").read_text(encoding="utf-8"))


def misfits(value, schema, where="report"):
    """Where a value is not as the schema has it. As much of JSON schema as ours uses."""
    kinds = {"object": dict, "array": list, "string": str}
    if "type" in schema and not isinstance(value, kinds[schema["type"]]):
        return [f"{where} is no {schema['type']}"]
    found = []
    if value not in schema.get("enum", [value]) or value != schema.get("const", value):
        found.append(f"{where} is {value!r}")
    if isinstance(value, str) and (not re.search(schema.get("pattern", ""), value)
                                   or len(value) < schema.get("minLength", 0)):
        found.append(f"{where} is {value!r}")
    if isinstance(value, dict):
        found += [f"{where} lacks {name}" for name in schema.get("required", []) if name not in value]
        for name, part in value.items():
            known = schema["properties"].get(name)
            found += misfits(part, known, f"{where}.{name}") if known else [f"{where} has {name}"]
    if isinstance(value, list):
        for i, part in enumerate(value):
            found += misfits(part, schema["items"], f"{where}[{i}]")
    return found


class DoctorTest(LabTest):
    maxDiff = None
    kept = {}   # {prefix of a lab that keeps this machine: the user's SID}

    def set_up_machine(self):
        """An installation, a printer, and a user whose values were written. Made once, and then restored."""
        if self.lab.prefix in self.kept:
            self.sid = self.kept[self.lab.prefix]
            self.lab("restore")
            return
        self.lab("fault", "Sleep", "1", "return=0", "always")   # An event waits half a second.
        self.lab("run", "--program", SETUP, "--", "folder")
        self.install()
        self.sid = self.lab("user", "add", "anna", "admin").strip()
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.lab("tasks", "wait")
        self.lab("user", "logon", "anna")
        self.lab("tasks", "wait")
        self.lab("printer", "add", "Front Desk", SUPPORTED)
        self.lab("tasks", "wait")
        self.lab("fault", "clear")
        self.lab("keep")
        self.kept[self.lab.prefix] = self.sid

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
        self.assertEqual(misfits(report, SCHEMA), [])
        return report

    def findings(self, *arguments, options=()):
        """[(identifier, what)]."""
        report = self.report(*arguments, options=options)
        return [(one["id"], one["what"]) for one in report["findings"]]

    def assert_found(self, *expected, arguments=(), options=()):
        self.assertEqual(self.findings(*arguments, options=options), list(expected))
