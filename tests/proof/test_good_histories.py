"""The checker lets good histories pass."""

import unittest

from proof.allowances import MUTEX_HELD, NOT_YET_GRANTED, REFUSED
from proof.program_promises import LOG_MUTEX_NAME, UPDATE
from proof.recorded_history import ADMINISTRATOR
from proof.written_history import (
    CALLED, DONE, EVENT, LOG, LOGON, NONE, ONE, REFRESH, USERS, Script, deletion_meets_line, failing_start,
    leaving, logon_alone, positions, refreshing, second, stranger, without_scheduler, worker)


class GoodHistories(unittest.TestCase):
    def check(self, script, kills=False):
        verdict = script.verdict(kills)
        self.assertEqual(verdict.violations, [])
        return verdict

    def test_a_copy_alone(self):
        script = Script()
        logon_alone(script)
        verdict = self.check(script)
        self.assertEqual((verdict.figures["runs"], verdict.figures["passes"]), (1, 1))

    def test_a_process_id_that_is_used_again(self):
        script = Script()
        logon_alone(script)
        logon_alone(script)
        self.assertEqual(self.check(script).figures["runs"], 2)

    def test_a_redundant_copy_is_served_by_one_more_pass(self):
        script = Script()
        first = worker(script)
        first.special_pass()
        other = second(script)
        other.ask("changed instance", 258)
        other.redundant()
        first.special_pass(queued=True)
        first.finish()
        verdict = self.check(script)
        self.assertEqual((verdict.figures["redundant"], verdict.figures["passes"]), (1, 2))
        self.assertEqual(dict(verdict.allowed), {})

    def test_a_printer_event_and_one_that_is_skipped(self):
        script = Script()
        first = worker(script, arguments=EVENT)
        first.poll(True, False)
        script.note(100, "Sleep(500) = 0 [0]")
        first.scan(ONE.format(2))
        first.store(2)
        first.line("# Processing a configuration request from a NewOrChanged event event for 'Office'.")
        first.work("-c", printer="Office")
        other = second(script, arguments=EVENT)
        other.ask("changed instance", 258)
        other.redundant()
        first.skipped_pass(2)
        first.finish()
        self.check(script)

    def test_a_mutex_is_given_back_after_the_last_that_is_recorded_of_its_copy(self):
        script = leaving()
        script.history.ended[0].before = len(script.history.record)
        self.check(script)

    def test_a_refresh_keeps_its_mutex_until_the_handle_is_closed(self):
        script = Script()
        first = refreshing(script)
        other = script.copy(200, REFRESH)
        other.begin(existed=True)
        other.ask("refresh instance", 258)
        other.redundant()
        first.ask("refresh request", 0)
        first.line("Processing queued configuration request from a periodic refresh event.")
        first.work("")
        first.ask("refresh request", 258)
        first.line(UPDATE, "Refresh event done...exiting.")
        first.close("refresh instance", "refresh request")
        first.end(0)
        self.check(script)

    def test_a_copy_that_begins_while_another_comes_serves_its_request(self):
        script = Script()
        other = script.copy(200, REFRESH)
        other.begin()
        first = refreshing(script, existed=True)
        first.ask("refresh request", 258)
        first.line(UPDATE, "Refresh event done...exiting.")
        first.close("refresh instance", "refresh request")
        first.end(0)
        other.ask("refresh instance", 0)
        other.line("# Processing a periodic refresh event: PeriodicRefreshTask")
        other.ask("refresh request", 258)
        other.line("Refresh event done...exiting.")
        other.close("refresh instance", "refresh request")
        other.end(0)
        self.assertEqual(list(self.check(script).allowed), [
            "another copy served a refresh copy's request before that one looked for it"])

    def test_a_request_after_the_last_look_is_allowed_and_told(self):
        script = Script()
        first = worker(script)
        first.special_pass()
        other = script.copy(200, LOGON)
        other.line(*CALLED[LOGON])
        first.poll(False, False)
        other.line("-Processing NewOrChanged event: UserLogonTask")
        other.open("normal request", True)
        other.open("special request", True)
        other.on("SetEvent", "special request", 1)
        other.open("changed instance", True)
        other.ask("changed instance", 258)
        first.on("ReleaseMutex", "changed instance", 1)
        other.redundant()
        first.line(UPDATE)
        first.leave()
        first.line(*DONE)
        first.end(0)
        verdict = self.check(script)
        self.assertEqual([(why, len(cases)) for why, cases in verdict.allowed.items()],
                         [("posted after the working copy's last look, and no copy held the request",
                           1)])

    def test_a_position_that_an_older_scan_puts_back_is_allowed_and_told(self):
        verdict = self.check(positions(2, 3, older_first=True))
        self.assertEqual(len(verdict.allowed), 1)
        self.assertIn("the position went back", next(iter(verdict.allowed)))

    def test_a_position_may_go_back_after_a_clearing_and_with_installation(self):
        script = positions(3, 0, between=Script.clear_channel)
        script.log_event()
        copy = script.copy(300, "-IT")
        copy.line(*CALLED["-IT"])
        copy.store(0)
        copy.line("Auto-config scheduled task successfully created with event and calendar triggers.",
                  "# Invoked to install scheduled tasks. Done...exiting.")
        copy.end(0, "Channel properties updated.\n" + "\n Success! Task successfully registered." * 3)
        self.check(script)

    def test_while_the_scheduler_is_stopped_tasks_are_neither_made_nor_deleted(self):
        for installs in (True, False):
            self.check(without_scheduler(installs))

    def test_a_scan_that_the_clearing_or_the_next_event_met_may_find_nothing(self):
        for clear, log in ((0, 3), (1, 3), (0, 1), (1, 2)):
            script = positions(2, 3)
            script.history.clearings.clear()
            copy = script.copy(300, EVENT)
            copy.line(*CALLED[EVENT])
            copy.open("scan check", False)
            copy.ask("scan check", 0)
            for number, step in enumerate((
                    lambda copy=copy: script.note(copy.pid, 'EvtQuery("Channel") = 0x4e0004 [0]'),
                    lambda copy=copy: copy.line(NONE.format(0)),
                    lambda copy=copy: copy.on("ReleaseMutex", "scan check", 1))):
                if number == clear:
                    script.clear_channel()
                step()
                if number + 1 == log:
                    script.log_event()
            copy.store(0)
            copy.line("- No supported printers need to be processed. Done. Exiting.")
            copy.end(0)
            self.check(script)

    def test_a_program_that_wine_does_not_bring_up_is_allowed_and_told(self):
        verdict = self.check(failing_start(1359))
        self.assertEqual(list(verdict.allowed), ["Wine did not bring a program up"])

    def test_a_line_that_meets_the_deletion_of_the_log_is_dropped(self):
        verdict = self.check(deletion_meets_line(True))
        self.assertEqual(list(verdict.allowed), ["a line is dropped while -DL deletes the log"])

    def test_a_copy_that_the_scheduler_started_is_redundant(self):
        script = Script()
        logon_alone(script, 200)    # The process id is used again.
        first = worker(script)
        first.special_pass()
        other = second(script)
        other.ask("changed instance", 258)
        other.redundant(scheduled=True)
        first.special_pass(queued=True)
        first.finish()
        self.check(script)

    def test_a_copy_that_wine_does_not_bring_up_for_the_scheduler_is_allowed_and_told(self):
        script = Script()
        logon_alone(script)
        script.history.finished.append((0, 0x8007054F))
        self.assertEqual(list(self.check(script).allowed), ["Wine did not bring a task's copy up"])

    def test_a_request_that_a_copy_took_is_lost_when_it_is_killed_before_its_pass_is_done(self):
        script = Script()
        copy = worker(script)
        copy.poll(False, True)
        copy.killed()
        self.assertEqual([(why, len(cases)) for why, cases in self.check(script, True).allowed.items()],
                         [("the request was taken by a copy that was killed before its pass was done", 1)])

    def test_a_normal_request_that_a_special_pass_served_is_served_though_the_copy_is_killed(self):
        script = Script()
        copy = worker(script)
        other = second(script, arguments=EVENT)
        other.ask("changed instance", 258)
        other.redundant()
        copy.poll(True, True)
        copy.line("# Procesing a special NewOrChanged event.")
        copy.work("-c")
        copy.killed()
        verdict = self.check(script, kills=True)
        self.assertEqual((dict(verdict.allowed), verdict.figures["served requests"]), ({}, 2))

    def test_a_killed_copy_may_have_skipped_a_pass(self):
        script = Script()
        first = worker(script)
        first.special_pass()
        other = second(script, arguments=EVENT)
        other.ask("changed instance", 258)
        other.redundant()
        first.skipped_pass(2)
        first.killed()
        self.check(script, kills=True)

    def test_a_copy_that_is_refused_another_accounts_objects_does_nothing_and_its_request_is_lost(self):
        script = Script()
        stranger(script)
        self.assertEqual([(why, len(cases)) for why, cases in self.check(script).allowed.items()],
                         [(REFUSED, 1)])

    def test_system_gets_the_objects_of_an_administrator(self):
        script = Script()
        first = script.copy(100, LOGON, ADMINISTRATOR)
        first.begin()
        first.ask("changed instance", 0)
        first.special_pass()
        other = second(script)
        other.ask("changed instance", 258)
        other.redundant()
        first.special_pass(queued=True)
        first.finish()
        self.assertEqual(dict(self.check(script).allowed), {})

    def test_a_user_who_comes_or_goes_may_have_no_lines(self):
        for vary in (True, False):
            script = Script()
            logon_alone(script)
            script.history.users = ["Updated UserPropertyBag for 'PC\\zoe': UserId='2', Src='zoe'", *USERS]
            script.history.users_vary = vary
            self.assertEqual(script.verdict().violations == [], vary)

    def test_a_line_may_be_dropped_when_others_have_the_logs_mutex_for_five_seconds(self):
        script = Script()
        logon_alone(script)
        line = next(line for line in script.history.record if 'CreateFileW' in line)
        wait = f'WaitForSingleObject("mutex {LOG_MUTEX_NAME}", 5000) = '
        script.history.record[1:2] = [line.split("CreateFileW")[0] + wait + f"{result} [0]"
                                      for result in (0, 0, 258, 258)]
        script.history.log = script.history.log[script.history.log.index(b"\r\n") + 2:]
        self.assertEqual([(why, len(cases)) for why, cases in self.check(script).allowed.items()],
                         [(MUTEX_HELD, 1)])

    def test_a_users_line_is_dropped_when_the_log_was_made_anew_and_no_other_line(self):
        for dropped, good in ((USERS[0], True), ("-Processing NewOrChanged event: UserLogonTask", False)):
            script = Script()
            deleting = script.copy(50, "-DL")
            deleting.line("# Called with 1 argument(s): -DL",
                          "#\tResolved Args: NoNgen, NoWarmup, DeleteLogFile, NotNewOrChangedEvent, -i ")
            script.note(50, f'SetFileInformationByHandle("file {LOG}", 21) = 1 [0]')
            script.history.log = b""
            deleting.line("# Invoked to delete log file. Done...exiting.")
            deleting.end(0)
            logon_alone(script)
            lines = [line.partition(b": ")[2].decode() for line in script.history.log.split(b"\r\n")[:-1]]
            record = script.history.record
            at = [at for at, line in enumerate(record) if "CreateFileW" in line][2 + lines.index(dropped)]
            record[at] = record[at].replace("0x78 [0]", "0xffffffffffffffff [5]")
            kept = script.history.log.split(b"\r\n")
            del kept[lines.index(dropped)]
            script.history.log = b"\r\n".join(kept)
            verdict = script.verdict()
            self.assertEqual((verdict.violations == [], NOT_YET_GRANTED in verdict.allowed), (good, good),
                             verdict.violations)

    def test_a_copy_is_killed_when_its_work_is_done(self):
        script = Script()
        copy = worker(script)
        copy.special_pass()
        copy.finish(code=0xDEAD)
        self.assertEqual(self.check(script, kills=True).figures["killed"], 1)

    def test_a_killed_copy_ends_anywhere_and_the_next_works(self):
        for steps in range(3):
            script = Script()
            copy = worker(script)
            if steps:
                copy.poll(False, True)
            if steps == 2:
                copy.opening()
            copy.killed()
            next_one = script.copy(200, LOGON)
            next_one.begin()
            next_one.ask("changed instance", 128)
            next_one.special_pass()
            next_one.finish()
            self.assertEqual(self.check(script, kills=True).figures["killed"], 1)


if __name__ == "__main__":
    unittest.main()
