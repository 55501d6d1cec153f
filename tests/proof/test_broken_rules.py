"""The checker sees each rule broken."""

import re
import unittest

from proof.recorded_history import ADMINISTRATOR, Ended
from proof.written_history import (
    CALLED, DONE, EVENT, LOGON, NONE, ONE, REFRESH, Script, deletion_meets_line, failing_start,
    leaving, logon_alone, positions, second, stranger, two_owners, unseen_owner, unseen_posting,
    unseen_request, unseen_taking, without_scheduler, worker)


class BrokenRules(unittest.TestCase):
    def broken(self, script, what, kills=False):
        violations = script.verdict(kills).violations
        self.assertTrue(any(what in text for text in violations), violations)

    def replaced(self, old, new, what):
        """A copy alone, with something in its record or log replaced."""
        script = Script()
        logon_alone(script)
        text = "\n".join(script.history.record)
        log = script.history.log.decode()
        self.assertEqual((old in text) + (old in log), 1)
        script.history.record = text.replace(old, new).split("\n")
        script.history.log = log.replace(old, new).encode()
        self.broken(script, what)

    def test_a_request_that_was_made_and_nobody_took_is_not_found(self):
        script = Script()
        copy = script.copy(100, REFRESH)
        copy.begin()
        copy.ask("refresh instance", 0)
        copy.line("# Processing a periodic refresh event: PeriodicRefreshTask")
        copy.ask("refresh request", 258)
        copy.line("Refresh event done...exiting.")
        self.broken(script, "made its request event, and did not find it signalled")

    def test_two_copies_own_the_instance_mutex(self):
        script = Script()
        two_owners(script)
        self.broken(script, "works beside")

    def test_a_killed_copy_of_another_scheme_excuses_no_second_owner(self):
        script = Script()
        killed = script.copy(50, REFRESH)
        killed.line(*CALLED[REFRESH])
        killed.killed()
        two_owners(script)
        self.broken(script, "works beside", kills=True)

    def test_the_programs_of_two_copies_overlap(self):
        script = Script()
        first = worker(script)
        first.special_pass(seconds=5)
        first.finish()
        logon_alone(script, 200)
        script.history.siblings[1].end = script.history.siblings[3].end
        self.broken(script, "both had programs")

    def test_a_pass_goes_on_before_its_program_ended(self):
        script = Script()
        logon_alone(script)
        script.history.siblings[1].end = "2026-01-02"
        self.broken(script, "went on before")

    def test_a_program_could_not_be_started(self):
        self.broken(failing_start(5), "PalvoPrinterQuery could not be started: error 5")

    def test_a_copy_is_redundant_although_nobody_works(self):
        script = Script()
        copy = script.copy(100, LOGON)
        copy.begin()
        copy.ask("changed instance", 258)
        copy.redundant()
        self.broken(script, "redundant although nobody works")

    def test_a_copy_that_was_seen_to_be_gone_owns_nothing(self):
        self.broken(leaving(), "redundant although nobody works")

    def test_a_pending_request_is_not_seen(self):
        script = Script()
        unseen_request(script)
        self.broken(script, "is lost")

    def test_what_a_killed_copy_is_not_recorded_to_have_done_explains_nothing(self):
        for story, what in ((unseen_taking, "is lost"), (unseen_posting, "that nobody posted"),
                            (unseen_owner, "abandoned by nobody")):
            script = Script()
            story(script)
            self.broken(script, what, kills=True)

    def test_a_request_is_taken_and_no_pass_follows(self):
        script = Script()
        copy = worker(script)
        copy.poll(False, True)
        copy.finish()
        self.broken(script, "where 'line' should follow")

    def test_a_working_copy_does_not_look_for_its_own_request(self):
        script = Script()
        copy = worker(script)
        copy.on("ReleaseMutex", "changed instance", 1)
        copy.leave()
        copy.line(*DONE)
        copy.end(0)
        self.broken(script, "was never served")

    def test_a_request_is_not_posted(self):
        script = Script()
        copy = script.copy(100, LOGON)
        copy.begin(post=False)
        copy.ask("changed instance", 0)
        copy.finish()
        self.broken(script, "'post special request' should follow")

    def test_a_request_that_nobody_posted_is_taken(self):
        script = Script()
        copy = worker(script)
        copy.special_pass()
        copy.special_pass(queued=True)
        copy.finish()
        self.broken(script, "that nobody posted")

    def redundant(self, **how):
        script = Script()
        first = worker(script)
        first.special_pass()
        other = second(script)
        other.ask("changed instance", 258)
        other.redundant(**how)
        first.special_pass(queued=True)
        first.finish()
        return script

    def test_a_redundant_copy_ends_with_another_code(self):
        self.broken(self.redundant(code=0), "exit code 0 instead of 1")

    def test_a_redundant_copy_of_the_schedulers_ends_with_another_code(self):
        self.broken(self.redundant(code=0, scheduled=True), "exit code 0 instead of 1")

    def test_nobody_saw_how_a_copy_ended(self):
        script = self.redundant(scheduled=True)
        script.history.finished.clear()
        self.broken(script, "pid 200 (-c -i UserLogonTask, record line 16): nobody saw how it ended")

    def test_a_copy_ended_that_did_not_start(self):
        for kills in (False, True):
            script = self.redundant()
            script.history.finished.append((300, 0))
            self.broken(script, "a task's process 300 ended with 0, but did not start", kills)
            script = self.redundant()
            script.history.ended.append(Ended(300, 0, "", 0, 10))
            self.broken(script, "pid 300 ended, but did not start", kills)

    def test_the_scheduler_could_not_start_a_copy(self):
        script = self.redundant()
        script.history.finished.append((0, 0x80070005))
        self.broken(script, "a task's process 0 ended with 2147942405, but did not start")

    def test_a_redundant_copy_prints_nothing(self):
        self.broken(self.redundant(output=""), "printed ''")

    def test_a_redundant_copy_writes_another_line(self):
        script = self.redundant()
        script.history.log = script.history.log.replace(b"-Redundant instance", b"-redundant instance")
        self.broken(script, "the log has '-redundant")

    def test_a_copy_that_worked_ends_with_1(self):
        script = Script()
        copy = worker(script)
        copy.special_pass()
        copy.finish(code=1)
        self.broken(script, "exit code 1 instead of 0")

    def test_a_line_is_lost(self):
        script = Script()
        logon_alone(script)
        lines = script.history.log.split(b"\r\n")
        for number in range(len(lines) - 1):
            script.history.log = b"\r\n".join(lines[:number] + lines[number + 1:])
            self.assertNotEqual(script.verdict().violations, [], lines[number])

    def test_a_line_is_dropped_though_nobody_deletes_the_log(self):
        self.broken(deletion_meets_line(False), "the log could not be opened: error 32")

    def test_a_line_is_there_twice(self):
        script = Script()
        logon_alone(script)
        script.history.log += script.history.log.split(b"\r\n")[-2] + b"\r\n"
        self.broken(script, "more than were written")

    def test_a_line_is_torn(self):
        for old in ("PalvoPrinterConfiguration(PID100): # Proc", ": -Processing", "] Palvo"):
            script = Script()
            logon_alone(script)
            script.history.log = script.history.log.replace(old.encode(), b"", 1)
            self.assertNotEqual(script.verdict().violations, [], old)

    def test_two_lines_are_one(self):
        script = Script()
        logon_alone(script)
        script.history.log = script.history.log.replace(b"\r\n[", b"[", 1)
        self.broken(script, "this is no line of the log")

    def test_a_line_is_another_copys(self):
        self.replaced("(PID100): # Procesing", "(PID999): # Procesing", "in its place")

    def test_a_line_of_another_wording(self):
        self.replaced("# Procesing a special", "# Processing a special", "instead of")

    def test_a_queued_request_is_told_as_the_first(self):
        self.replaced("# Procesing a special", "# Procesing a queued special", "instead of")

    def test_another_time_stamp(self):
        script = Script()
        logon_alone(script)
        script.history.log = re.sub(rb"^\[(\S+) \d+:", rb"[\1 0:", script.history.log)
        self.broken(script, "this is no line of the log")

    def test_the_writer_gets_other_arguments(self):
        self.replaced('.exe -c -i "PalvoPrinterConfiguration(UserLogonTask',
                      '.exe -e -i "PalvoPrinterConfiguration(UserLogonTask', "instead of")

    def test_a_copy_never_ends(self):
        script = Script()
        worker(script)
        self.broken(script, "never ended")

    def test_a_crash_is_no_kill(self):
        for scheduled in (False, True):
            script = Script()
            copy = script.copy(100, LOGON)
            copy.line(*CALLED[LOGON])
            if scheduled:
                script.history.finished.append((100, 0xC0000005))
            else:
                copy.told(0xC0000005, "")
            self.broken(script, "ended with 3221225477 as if it had been killed", kills=True)
            self.assertEqual(script.verdict(True).figures["killed"], 0)

    def test_a_copy_whose_work_was_done_has_the_code_of_the_killed_though_nobody_kills(self):
        script = Script()
        copy = worker(script)
        copy.special_pass()
        copy.finish(code=0xDEAD)
        self.broken(script, "exit code 57005 instead of 0")

    def test_a_killed_copy_loses_a_line_that_it_had_written(self):
        script = Script()
        copy = worker(script)
        copy.poll(False, True)
        copy.killed()
        script.history.log = b"\r\n".join(script.history.log.split(b"\r\n")[:-2]) + b"\r\n"
        self.broken(script, "the log lacks a line", kills=True)

    def test_a_killed_copys_torn_line_is_the_beginning_of_its_line(self):
        for torn, good in ((b"# Proce", True), (b"# Proxe", False)):
            script = Script()
            copy = worker(script)
            copy.poll(False, True)
            copy.opening()
            copy.killed()
            script.history.log += (b"[1/1/2026 12:00:00 AM] PalvoPrinterConfiguration(PID100): " + torn)
            next_one = script.copy(200, LOGON)
            next_one.begin()
            next_one.ask("changed instance", 128)
            next_one.special_pass()
            next_one.finish()
            self.assertEqual(script.verdict(kills=True).violations == [], good)

    def test_the_mutex_was_abandoned_though_nobody_was_killed(self):
        script = Script()
        copy = script.copy(100, LOGON)
        copy.begin()
        copy.ask("changed instance", 128)
        copy.special_pass()
        copy.finish()
        self.broken(script, "abandoned by nobody")

    def test_the_position_goes_back_though_the_scan_was_newer(self):
        self.broken(positions(3, 2), "went back from 3 to 2")

    def test_the_position_goes_back_to_another_number_than_zero_after_a_clearing(self):
        self.broken(positions(3, 2, between=Script.clear_channel), "went back from 3 to 2")

    def test_a_scan_finds_nothing_although_an_event_came_after_the_clearing(self):
        def clear(script):
            script.clear_channel()
            script.log_event()

        self.broken(positions(3, 0, between=clear), "went back from 3 to 0")

    def test_the_position_goes_back_to_zero_before_the_channel_was_cleared(self):
        script = positions(3, 0)
        script.clear_channel()
        self.broken(script, "went back from 3 to 0")

    def test_the_position_is_another_than_the_scan_found(self):
        script = positions(3, 4)
        script.history.record = [line.replace("11, 8, 4)", "11, 8, 5)") for line in script.history.record]
        self.broken(script, "stored 5, though its scan found 4")

    def test_a_copy_that_found_a_printer_leaves_it(self):
        script = positions(2, 3)
        script.history.log = script.history.log.replace(NONE.format(3).encode(), ONE.format(3).encode())
        self.broken(script, "leaves 'Office' unprocessed")

    def test_arguments_that_nobody_gave(self):
        script = Script()
        script.copy(100, "-c -i UserLogonTask -z")
        self.broken(script, "record line 1: arguments that nobody gave: -c -i UserLogonTask -z")

    def test_the_last_line_has_no_end(self):
        script = Script()
        logon_alone(script)
        script.history.log = script.history.log[:-2]
        self.broken(script, "the log's last line has no end")

    def test_a_line_of_a_copy_that_lived_on_is_torn(self):
        script = Script()
        logon_alone(script)
        script.history.log = script.history.log.replace(b"\r\n[", b"[", 1)
        self.broken(script, "a torn line that nothing excuses", kills=True)

    def test_a_request_event_is_made_while_another_copy_holds_it(self):
        script = Script()
        first = worker(script)
        script.copy(200, LOGON).begin()
        first.special_pass()
        self.broken(script, "a second normal request beside that of pid 100")

    def test_a_request_event_is_there_though_nobody_holds_it(self):
        script = Script()
        script.copy(100, LOGON).begin(existed=True)
        self.broken(script, "opened a normal request that nobody holds")

    def test_a_request_is_not_served_though_the_working_copy_looked_for_it(self):
        script = Script()
        first = worker(script)
        first.special_pass()
        other = second(script)
        other.ask("changed instance", 258)
        other.redundant()
        first.ask("normal request", 258)
        first.ask("special request", 0xFFFFFFFF)
        first.leave()
        self.broken(script, "its special request was never served, though pid 100")

    def test_a_program_that_was_started_left_no_trace(self):
        script = Script()
        logon_alone(script)
        script.history.siblings.pop(0)
        self.broken(script, "left no trace")

    def test_a_program_sees_other_arguments_than_it_was_given(self):
        script = Script()
        logon_alone(script)
        script.history.siblings[0].command = "-e"
        self.broken(script, "PalvoPrinterQuery got '-e' instead of '-c'")

    def test_an_installation_stores_another_position_than_zero(self):
        script = Script()
        copy = script.copy(100, "-IT")
        copy.line(*CALLED["-IT"])
        copy.store(5)
        self.broken(script, "-IT stored 5")

    def test_an_installation_or_removal_that_works_while_the_scheduler_is_stopped(self):
        for installs in (True, False):
            script = without_scheduler(installs)
            script.history.outages.clear()
            self.broken(script, "instead of")
        script = positions(1, 2)
        copy = script.copy(300, "-IT")
        script.stop_scheduler(copy.began)
        copy.line(*CALLED["-IT"])
        copy.store(0)
        copy.line("Auto-config scheduled task successfully created with event and calendar triggers.")
        self.broken(script, "instead of 'ERROR: Failed to create or recreate")

    def test_a_position_is_stored_without_a_scan(self):
        script = Script()
        worker(script).store(5)
        self.broken(script, "stored a position without a scan")

    def test_a_copy_gets_what_another_account_made(self):
        script = Script()
        stranger(script, refused=False)
        self.broken(script, "as alice:elevated: got the special request that SYSTEM made")

    def test_a_copy_is_refused_what_its_own_account_made(self):
        script = Script()
        stranger(script, "SYSTEM")
        self.broken(script, "as SYSTEM: did not get the special request that SYSTEM made: error 5")

    def test_a_copy_of_another_account_gets_at_the_users_values(self):
        script = Script()
        copy = script.copy(100, LOGON, "SYSTEM")
        copy.begin()
        copy.ask("changed instance", 0)
        copy.special_pass()
        copy.account = ADMINISTRATOR
        copy.finish()
        self.broken(script, "line \"Updated UserPropertyBag")

    def test_two_working_copies_store_positions_and_the_older_comes_last(self):
        script = Script()
        old, new = worker(script, 100, EVENT), worker(script, 200, EVENT)
        old.scan(ONE.format(3))
        new.scan(ONE.format(4))
        new.store(4)
        old.store(3)
        self.broken(script, "two working copies stored positions, 4 and then 3")


if __name__ == "__main__":
    unittest.main()
