"""What the documents say of the doctor is what the code has."""

import json
import re
import unittest

from lab import ROOT

KINDS = ROOT / "support" / "doctor" / "FindingKinds.h"
PAGE = ROOT / "docs" / "troubleshooting.md"
SCHEMA = ROOT / "support" / "doctor-report.schema.json"
TESTS = ROOT / "tests"


def identifiers():
    return re.findall(r'FindingKind \w+ = \{\s*L"([a-z-]+)"', KINDS.read_text(encoding="utf-8"))


class Page(unittest.TestCase):
    def test_every_finding_has_its_heading_in_the_order_of_the_checks(self):
        headings = re.findall(r"^### (.*)$", PAGE.read_text(encoding="utf-8"), re.MULTILINE)
        self.assertGreater(len(headings), 40)
        self.assertEqual(headings, identifiers())

    def test_no_identifier_is_given_twice(self):
        names = identifiers()
        declared = KINDS.read_text(encoding="utf-8").count("inline constexpr FindingKind ")
        self.assertEqual((len(names), len(set(names))), (declared, declared))

    def test_every_finding_is_used_by_a_rule_and_named_by_a_test(self):
        text = KINDS.read_text(encoding="utf-8")
        rules = "".join(path.read_text(encoding="utf-8")
                        for path in (ROOT / "support" / "doctor" / "rules").glob("*.cpp"))
        tests = "".join(path.read_text(encoding="utf-8") for path in TESTS.rglob("*octor*")
                        if path.suffix in (".py", ".cpp"))
        for name, identifier in re.findall(r'FindingKind (\w+) = \{\s*L"([a-z-]+)"', text):
            self.assertTrue(f"FindingKinds::{name}" in rules, f"no rule finds {identifier}")
            self.assertTrue(f'"{identifier}"' in tests, f"no test names {identifier}")

    def test_the_schema_fits_the_identifiers(self):
        schema = json.loads(SCHEMA.read_text(encoding="utf-8"))
        pattern = schema["properties"]["findings"]["items"]["properties"]["id"]["pattern"]
        self.assertEqual([one for one in identifiers() if not re.fullmatch(pattern, one)], [])
