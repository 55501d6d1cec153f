"""Several copies at once: one works, the others leave their requests."""

import unittest

from lab import SUPPORTED, Lab
from proof.program_promises import (
    CHANGED_DONE, QUEUED_REFRESH, QUEUED_SPECIAL, REDUNDANT, REFRESH_DONE, SKIPPED, SPECIAL, UPDATE)

EVENT = ("-c", "-i", "NewOrChangedTask")
LOGON = ("-c", "-i", "UserLogonTask")
DONE = [UPDATE, *CHANGED_DONE]


class Queuing(unittest.TestCase):
    def setUp(self):
        self.lab = Lab()
        self.lab("reset")
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.lab.run(*EVENT)
        self.addCleanup(self.lab, "sibling", "writer", "--release")

    def start_and_hold(self, *arguments):
        """Starts a copy and holds its writer; the copy is then at work."""
        self.lab("sibling", "writer", "--hold")
        pid = self.lab.start(*arguments)
        self.lab.wait_for(lambda: self.writers(pid), "the writer's start")
        return pid

    def writers(self, pid):
        return [s for s in self.lab.siblings() if s.name == "writer" and s.parent == pid]

    def release_and_end(self, pid, last_line):
        self.lab("sibling", "writer", "--release")
        # Lines may follow it.
        self.lab.wait_for(lambda: last_line in self.lines(pid) and not self.lab.at_work(),
                          "the end of the working copy")
        return self.lines(pid)

    def lines(self, pid):
        return [message for process, message in self.lab.log_lines() if process == pid]

    def test_a_redundant_printer_event_copy_leaves_its_request_and_the_working_copy_serves_it(self):
        self.lab("printer", "add", "One", SUPPORTED)
        pid = self.start_and_hold(*EVENT)
        self.lab("printer", "add", "Two", SUPPORTED)
        second = self.lab.run(*EVENT)
        text = REDUNDANT["normal"].format("NewOrChangedTask")
        self.assertEqual((second.code, second.output), (1, text))
        self.assertEqual(second.log[-1], text)
        self.assertEqual(second.siblings, [])
        log = self.release_and_end(pid, CHANGED_DONE[0])
        self.assertIn("# Processing a Queued configuration request from a NewOrChanged event event "
                      "for 'Two'.", log)
        self.assertEqual(len(self.writers(pid)), 2)

    def test_a_queued_special_request_serves_a_queued_printer_event_with_it(self):
        self.lab("printer", "add", "One", SUPPORTED)
        pid = self.start_and_hold(*LOGON)
        self.assertEqual(self.lab.run(*EVENT).code, 1)
        self.assertEqual(self.lab.run(*LOGON).code, 1)
        log = self.release_and_end(pid, CHANGED_DONE[0])
        self.assertEqual([line for line in log if line.startswith(("# Proc", "## Skipping"))],
                         [SPECIAL, QUEUED_SPECIAL])
        self.assertEqual(len(self.writers(pid)), 2)
        self.assertEqual(log[-4:], DONE)

    def test_a_queued_printer_event_whose_printer_is_gone_by_its_pass_is_skipped(self):
        self.lab("printer", "add", "One", SUPPORTED)
        pid = self.start_and_hold(*EVENT)
        # The second copy's own scan still finds its printer.
        self.lab("printer", "add", "Two", SUPPORTED)
        second = self.lab.run(*EVENT)
        self.assertEqual(second.code, 1)
        self.lab("printer", "remove", "Two")
        log = self.release_and_end(pid, CHANGED_DONE[0])
        self.assertIn(SKIPPED, log)
        self.assertEqual(len(self.writers(pid)), 1)

    def test_a_redundant_logon_copy_says_that_it_is_special(self):
        pid = self.start_and_hold(*LOGON)
        second = self.lab.run(*LOGON)
        self.assertEqual(second.code, 1)
        self.assertEqual(second.output, REDUNDANT["special"].format("UserLogonTask"))
        self.release_and_end(pid, CHANGED_DONE[0])

    def test_a_redundant_refresh_copy_is_served_by_one_more_pass(self):
        pid = self.start_and_hold("-r", "-i", "PeriodicRefreshTask")
        second = self.lab.run("-r", "-i", "PeriodicRefreshTask")
        text = REDUNDANT["refresh"].format("PeriodicRefreshTask")
        self.assertEqual((second.code, second.output), (1, text))
        log = self.release_and_end(pid, REFRESH_DONE)
        self.assertEqual([line for line in log if not line.startswith("Updated")][2:], [
            "# Processing a periodic refresh event: PeriodicRefreshTask", QUEUED_REFRESH, UPDATE,
            REFRESH_DONE])
        self.assertEqual([s.arguments for s in self.writers(pid)],
                         [f'  -i "PalvoPrinterConfiguration(PeriodicRefreshTask PID: {pid})"'] * 2)

    def test_a_refresh_and_a_printer_event_do_not_exclude_each_other(self):
        pid = self.start_and_hold("-r")
        self.lab("printer", "add", "One", SUPPORTED)
        other = self.lab.start(*EVENT)
        self.lab.wait_for(lambda: self.writers(other), "the other scheme's writer")
        self.release_and_end(pid, REFRESH_DONE)
        self.lab.wait_for(lambda: CHANGED_DONE[0] in self.lines(other),
                          "the other scheme's end")

    def test_a_copy_killed_at_work_leaves_the_work_to_the_next(self):
        self.lab("printer", "add", "One", SUPPORTED)
        killed = self.start_and_hold(*EVENT)
        self.lab.kill(killed)
        self.lab("sibling", "writer", "--release")
        run = self.lab.run(*LOGON)
        self.assertEqual(run.code, 0)
        self.assertIn(SPECIAL, run.log)
        self.assertEqual(run.log[-4:], DONE)

    def test_a_burst_has_one_worker_at_a_time_and_loses_no_line(self):
        self.lab("printer", "add", "One", SUPPORTED)
        self.lab("sibling", "writer", "--take", "300")
        codes = self.lab.burst([" ".join(LOGON)] * 12)
        self.assertEqual(len(codes), 12)
        self.assertLessEqual(set(codes), {0, 1})
        self.assertIn(0, codes)
        self.assertEqual(self.lab.at_once(), [])
        self.assertEqual(len(self.lab.siblings()) % 2, 0)
        lines = self.lab.log_lines()
        redundant = [m for _, m in lines if m.startswith("-Redundant instance")]
        done = [m for _, m in lines if m == CHANGED_DONE[0]]
        self.assertEqual(len(redundant), codes.count(1))
        self.assertEqual(len(done), codes.count(0))


if __name__ == "__main__":
    unittest.main()
