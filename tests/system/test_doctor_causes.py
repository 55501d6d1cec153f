"""Causes of trouble as they come about, and what the doctor finds afterwards. Most causes are in the
files beside this one; docs/nothing-happens.md lists all."""

import re

from doctor import DoctorTest
from lab import NEW_OR_CHANGED, ROOT, USER_LOGON
from proof.program_promises import CHANNEL_FAILED, CREATION_FAILED
from test_doctor_page import identifiers

PAGE = ROOT / "docs" / "nothing-happens.md"


def log_errors(count, last):
    return "log-errors", f'Failures in the log within a week: {count}, the last "{last}".'


class Causes(DoctorTest):
    def test_a_task_that_cannot_be_replaced(self):
        self.lab("tasks", "protect", NEW_OR_CHANGED)
        self.addCleanup(self.lab, "tasks", "release", NEW_OR_CHANGED)
        self.install()
        self.assert_found(log_errors(1, CREATION_FAILED[NEW_OR_CHANGED]))

    def test_a_trigger_that_windows_refuses(self):
        self.install(options=("--fault", "ITaskFolder::RegisterTaskDefinition 1 0x80041318"))
        self.assert_found(("task-missing", f'There is no task "{NEW_OR_CHANGED}".'),
                          log_errors(1, CREATION_FAILED[NEW_OR_CHANGED]))

    def test_an_installation_that_com_refuses(self):
        run = self.lab.run("-IT", options=("--fault", "CoInitializeSecurity 1 0x80010119 always"))
        self.assertEqual(run.code, 1)
        self.assert_found(log_errors(3, CREATION_FAILED[USER_LOGON]))

    def test_an_installation_without_the_rights(self):
        run = self.lab.run("-IT", options=("--account", "anna"))
        self.assertEqual(run.code, 4)
        self.assertIn(CHANNEL_FAILED, run.log)
        self.assert_found(log_errors(4, CREATION_FAILED[USER_LOGON]))

    def test_a_run_without_memory(self):
        self.lab("fault", "malloc", "120", "return=0", "always")
        self.lab("tasks", "run", USER_LOGON)
        self.lab("tasks", "wait")
        self.lab("fault", "clear")
        self.assert_found(("task-result",
                           f'The last run of the task "{USER_LOGON}" ended with 0x00000003.'))

    def test_a_small_channel_that_has_forgotten(self):
        self.lab("set", "channel-size", "69632")
        self.lab("event", "fill", "2000", "Front Desk", "--id", "800")
        found = self.findings()
        self.assertEqual([one for one, _ in found], ["channel-small", "channel-lost-position"])
        self.assertRegex(found[1][1],
                         r"^The channel begins with event \d{4}; event 2 was dealt with last\.$")

    def test_how_a_sibling_ended_cannot_be_seen(self):
        for sibling, code in (("query", "0xC0000005"), ("writer", "0xFFFFFFFF")):
            self.lab("sibling", sibling, "--return", code)
        siblings = len(self.lab.siblings())
        self.lab("printer", "change", "Front Desk")
        self.lab("tasks", "wait")
        self.assertEqual(len(self.lab.siblings()), siblings + 2)
        self.assert_found()

    def test_the_page_of_causes_names_every_finding_and_no_other(self):
        text = PAGE.read_text(encoding="utf-8").split("|---|", 1)[1].rsplit("\n\n", 1)[0]
        named = {one for row in text.splitlines() if row.count("|") == 4
                 for one in re.findall(r"`([a-z-]+)`", row.split("|")[3])}
        self.assertEqual(sorted(named), sorted(set(identifiers()) - {
            # Of no cause of its own: what is to be known besides.
            "run-switch-type", "events-waiting", "log-untrimmed", "log-leftover", "log-foreign-lines",
            "log-silent", "folder-writable", "log-folder-writable"}))
