"""The program is started by its tasks alone."""

import re
import unittest

from lab import NEW_OR_CHANGED, PERIODIC_REFRESH, SUPPORTED, USER_LOGON
from proof.program_promises import CHANNEL_SET, JOB_START_GONE, TASKS_GONE, UNINSTALLED
from scheduled_tasks import ALL_TASKS, LabTest


EVENT = ("-c", "-i", "NewOrChangedTask")


class Living(LabTest):
    def runs(self):
        """The arguments of every run that the log tells of."""
        return [line.split(": ", 1)[1] for line in self.lab.log() if line.startswith("# Called with")]

    def test_the_whole_life_without_a_hand(self):
        sid = self.lab("user", "add", "anna", "admin").strip()
        self.install()
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.lab("tasks", "wait")
        self.lab("printer", "add", "Front Desk", SUPPORTED)
        self.lab("tasks", "wait")
        self.lab("user", "logon", "anna")
        self.lab("tasks", "wait")
        self.lab("clock", "forward", "4")
        self.lab("tasks", "wait")
        self.assertEqual(self.lab.finished(), [
            (NEW_OR_CHANGED, "0x0"), (NEW_OR_CHANGED, "0x0"), (USER_LOGON, "0x0"),
            (PERIODIC_REFRESH, "0x0")])
        # The log names the switches before the invoker, whatever their order was.
        self.assertEqual(self.runs(), [
            "-IT", "-c -i NewOrChangedTask", "-c -i NewOrChangedTask",
            "-c -IN -w -i UserLogonTask", "-r -IN -w -i PeriodicRefreshTask"])
        self.assertEqual([(s.name, s.arguments.split(" -i ")[0]) for s in self.lab.siblings()
                          if s.arguments.startswith(' -e "')], [("query", ' -e "Front Desk"')])
        self.assertIn("UserId", self.lab.bags()[sid])

        self.install()
        self.assertEqual(self.lab.tasks(), ALL_TASKS)

        run = self.lab.run("-UT")
        self.assertEqual((run.code, run.output), (0, CHANNEL_SET))
        self.assertEqual(run.log[2:], [TASKS_GONE, JOB_START_GONE] + UNINSTALLED)
        self.assertEqual(self.lab.tasks(), [])
        self.assertEqual(self.lab.channel(), ("off", "1052672", "overwrites"))

        before = len(self.runs())
        self.lab("printer", "change", "Front Desk")
        self.lab("user", "logoff", "anna")
        self.lab("user", "logon", "anna")
        self.lab("clock", "forward", "24")
        self.lab("tasks", "wait")
        self.assertEqual(len(self.runs()), before)

        run = self.lab.run("-UT")
        self.assertEqual((run.code, run.log[2:]), (0, [TASKS_GONE, JOB_START_GONE] + UNINSTALLED))
        self.assertEqual(self.lab.leaks(), [])

    def test_a_writer_that_changes_its_printer_comes_to_rest_with_its_last_change(self):
        self.install()
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.lab("printer", "add", "Front Desk", SUPPORTED)
        self.lab("tasks", "wait")
        before = len(self.lab.siblings())
        self.lab("sibling", "writer", "--changes", "Front Desk", "--times", "2")
        self.lab("printer", "change", "Front Desk")
        for _ in range(5):      # The first command after an event starts its task.
            self.lab("tasks", "wait")
        self.assertEqual([(run.name, run.arguments.split(" -i ")[0]) for run in self.lab.siblings()[before:]],
                         [("query", ' -e "Front Desk"'), ("writer", " -e")] * 3)

    def test_after_a_loss_of_power_events_are_looked_at_again(self):
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.lab.run(*EVENT)
        self.lab("power", "flush")
        flushed = self.lab.log()
        self.lab("printer", "add", "Front Desk", SUPPORTED)
        self.assertEqual(len(self.lab.run(*EVENT).siblings), 2)
        self.lab("sibling", "query", "--hold")
        pid = self.lab.start("-r")
        self.lab.wait_for(lambda: not self.lab.siblings()[-1].ended, "the query program")
        self.lab("power", "off")
        self.assertFalse(self.lab.at_work())
        self.assertIn(f"(PID{pid})", self.lab.log_bytes().decode())
        self.lab("sibling", "query", "--release")
        self.lab("power", "on")
        self.assertEqual(self.lab.log(), flushed)
        self.assertEqual([run.arguments.split(" -i ")[0] for run in self.lab.run(*EVENT).siblings],
                         [' -e "Front Desk"', " -e"])

    def test_the_job_start_task_of_the_sibling_component_goes_too(self):
        self.install()
        self.lab("tasks", "copy", NEW_OR_CHANGED, "Palvo Orvela 7.0 Job Management - Job Start")
        self.lab("tasks", "copy", NEW_OR_CHANGED, "Another maker's")
        self.assertEqual(self.lab.run("-UT").code, 0)
        self.assertEqual(self.lab.tasks(), ["Another maker's"])

    def test_many_changes_at_once_start_as_many_copies_and_one_at_a_time_works(self):
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        names = [f"Printer {number}" for number in range(8)]
        for name in names:
            self.lab("printer", "add", name, SUPPORTED)
        self.install()
        # Long enough for whoever does not wait its turn to be seen beside the others.
        self.lab("sibling", "query", "--take", "400")
        self.lab("printer", "change", *names)
        self.lab("tasks", "wait")
        self.assertEqual(len(self.lab.finished()), 8)
        self.assertLessEqual(set(self.lab.finished()),
                             {(NEW_OR_CHANGED, "0x0"), (NEW_OR_CHANGED, "0x1")})
        self.assertEqual(self.lab.at_once(), [])
        working = [s for s in self.lab.siblings() if s.name == "query"]
        self.assertEqual(working[0].arguments, " -c")
        self.assertEqual(self.lab.scan_position()[1], len(names) * 2 + 1)

    def test_a_full_channel_costs_the_oldest_events_and_no_more(self):
        self.install()
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.lab("tasks", "wait")
        self.lab("printer", "add", "One", SUPPORTED)
        self.lab("tasks", "wait")
        self.assertEqual(self.lab.scan_position(), ("REG_QWORD", 2))
        # A channel of the size that the installation has set holds about a thousand.
        self.lab("event", "fill", "2000", "Foreign")
        self.lab("printer", "change", "One")
        self.lab("tasks", "wait")
        self.assertIn("Found one pertinent, non-duplicate '300/306' event in the range of IDs from "
                      "1039 to 2003. One printer added or changed: 'One'", self.lab.log())
        self.assertEqual(self.lab.scan_position(), ("REG_QWORD", 2003))

    def test_the_refresh_task_ignores_a_start_while_it_runs(self):
        self.install()
        self.lab("sibling", "writer", "--hold")
        self.addCleanup(self.lab, "sibling", "writer", "--release")
        self.lab("clock", "to", self.lab.next_run(PERIODIC_REFRESH))
        self.lab.wait_for(lambda: any(s.arguments.startswith("  -i ") for s in self.lab.siblings()),
                          "the refresh at work")
        self.lab("tasks", "run", PERIODIC_REFRESH, check=False)
        self.lab("sibling", "writer", "--release")
        self.lab("tasks", "wait")
        self.assertEqual([run.split(" ")[0] for run in self.runs()], ["-IT", "-r"])

    def test_uninstalling_while_a_copy_works_lets_it_end_its_work(self):
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.install()
        self.lab("printer", "add", "One", SUPPORTED)
        self.lab("tasks", "wait")
        self.lab("sibling", "writer", "--hold")
        self.addCleanup(self.lab, "sibling", "writer", "--release")
        self.lab("printer", "change", "One")
        self.lab.wait_for(lambda: [s for s in self.lab.siblings()
                                   if s.name == "writer" and not s.ended], "the writer's start")
        run = self.lab.run("-UT")
        self.assertEqual((run.code, self.lab.tasks()), (0, []))
        self.lab("sibling", "writer", "--release")
        self.lab("tasks", "wait")
        self.lab.wait_for(lambda: "NewOrChanged event done...exiting." in self.lab.log()[-3:],
                          "the end of the working copy")

    def test_a_start_that_was_missed_is_made_up_for(self):
        self.install()
        self.lab("clock", "forward", "9", "--off")
        self.lab("tasks", "wait")
        self.assertEqual(self.lab.finished(), [(PERIODIC_REFRESH, "0x0")])

    def test_a_hundred_installations_and_removals_leave_everything_as_it_was(self):
        self.install()
        self.lab.run("-UT")
        before = self.state()
        for _ in range(100):
            self.lab("run", "--", "-IT")
            self.lab("run", "--", "-UT")
        self.assertEqual(self.state(), before)
        self.assertEqual(self.lab.leaks(), [])

    def state(self):
        """Tasks, channel, registry, property bags and files, the log's length aside."""
        files = re.sub(r"\t\d+ bytes", "", self.lab("show", "files"))
        return (self.lab.tasks(), self.lab.channel(), self.lab("show", "registry"), self.lab.bags(),
                files)


if __name__ == "__main__":
    unittest.main()
