"""The administrative templates: what a policy editor reads in them and writes for each state, and
what the program makes of it."""

import re
import unittest
import xml.etree.ElementTree as ElementTree

from lab import ROOT
from registry import delete_value, set_value
from scheduled_tasks import LabTest

FOLDER = ROOT / "support" / "policies"
NAMESPACE = "{http://schemas.microsoft.com/GroupPolicy/2006/07/PolicyDefinitions}"
KINDS = {"decimal": "REG_DWORD", "string": "REG_SZ"}


def template():
    return ElementTree.parse(FOLDER / "PalvoPrinterConfiguration.admx").getroot()


def policies():
    return {policy.get("name"): policy for policy in template().iter(NAMESPACE + "policy")}


def value_of(policy, state):
    """(type, data) that the state "enabled" or "disabled" writes."""
    element = policy.find(f"{NAMESPACE}{state}Value")[0]
    kind = element.tag.removeprefix(NAMESPACE)
    return KINDS[kind], element.get("value") if kind == "decimal" else element.text


class TemplateTest(unittest.TestCase):
    def texts(self):
        root = ElementTree.parse(FOLDER / "en-US" / "PalvoPrinterConfiguration.adml").getroot()
        return {text.get("id"): text.text for text in root.iter(NAMESPACE + "string")}

    def test_every_text_that_is_asked_for_is_there_and_no_other(self):
        source = (FOLDER / "PalvoPrinterConfiguration.admx").read_text(encoding="utf-8")
        asked = set(re.findall(r"\$\(string\.(\w+)\)", source))
        self.assertEqual(set(self.texts()), asked)
        self.assertTrue(all(text.strip() for text in self.texts().values()))

    def test_every_policy_is_explained_state_by_state(self):
        texts = self.texts()
        self.assertEqual(list(policies()), ["Run", "Prompt"])
        for name in policies():
            for state in ("Enabled", "Disabled", "Not Configured"):
                self.assertIn(state, texts[f"{name}_Explain"])

    def test_what_a_policy_refers_to_is_defined(self):
        root = template()
        defined = {element.get("name") for tag in ("definition", "category")
                   for element in root.iter(NAMESPACE + tag)}
        for policy in policies().values():
            self.assertEqual(policy.get("class"), "Machine")
            for tag in ("parentCategory", "supportedOn"):
                self.assertIn(policy.find(NAMESPACE + tag).get("ref"), defined)


class ObedienceTest(LabTest):
    def setUp(self):
        super().setUp()
        for policy in policies().values():
            self.configure(policy, None)
            self.addCleanup(self.configure, policy, None)

    def configure(self, policy, state):
        """As a policy editor does; no state: as on a machine that no policy ever reached."""
        if state is None:
            delete_value(self.lab, policy.get("key"), policy.get("valueName"))
        else:
            set_value(self.lab, policy.get("key"), policy.get("valueName"),
                      *value_of(policy, state))

    def test_the_run_policy_switches_every_run_off_and_on(self):
        for state, works in ((None, True), ("disabled", False), ("enabled", True)):
            with self.subTest(state=state):
                self.lab("reset")
                self.configure(policies()["Run"], state)
                run = self.lab.run("-r")
                self.assertEqual(run.code, 0)
                self.assertEqual(bool(run.log), works)
                self.assertEqual(len(run.siblings), 2 if works else 0)
                self.lab.run("-IT")
                self.assertEqual(len(self.lab.tasks()), 3 if works else 0)

    def test_the_prompt_policy_switches_the_prompt_on_and_off(self):
        for state, messages in ((None, 0), ("enabled", 1), ("disabled", 0)):
            with self.subTest(state=state):
                self.lab("reset")
                self.lab("user", "add", "anna", "standard")
                self.lab("user", "logon", "anna")
                self.configure(policies()["Prompt"], state)
                self.lab.run("-r")
                shown = self.lab("show", "messages").splitlines()
                self.assertEqual(len(shown), messages)
                self.assertTrue(all("Attach debugger now, if desired." in line for line in shown))


if __name__ == "__main__":
    unittest.main()
