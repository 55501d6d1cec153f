"""The checker itself: it lets good histories pass, and sees each rule broken."""

import re
import unittest

from history_checker import OBJECTS, REDUNDANT, SKIPPED, SUITE, UPDATE, Ended, History, SiblingRun, check

NAMES = {what: "Global\\" + name for name, what in OBJECTS.items()}
LOG = (r"C:\ProgramData\Palvo\PrinterDriver\V6.0\PalvoPrinterConfiguration\PalvoOrvela"
       r"\PalvoPrinterConfiguration.log")
USERS = ["Updated UserPropertyBag for 'PC\\alice': UserId='1', Src='alice'"]
LOGON, EVENT, REFRESH = "-c -i UserLogonTask", "-c -i NewOrChangedTask", "-r -i PeriodicRefreshTask"
CALLED = {
    LOGON: ["# Called with 3 argument(s): -c -i UserLogonTask",
            "#\tResolved Args: NoNgen, NoWarmup, NewOrChangedEvent, UserLogonEvent, -i UserLogonTask"],
    EVENT: ["# Called with 3 argument(s): -c -i NewOrChangedTask",
            "#\tResolved Args: NoNgen, NoWarmup, NewOrChangedEvent, NewOrChangedTask, "
            "-i NewOrChangedTask"],
    REFRESH: ["# Called with 3 argument(s): -r -i PeriodicRefreshTask",
              "#\tResolved Args: NoNgen, NoWarmup, PeriodicRefreshEvent, NotNewOrChangedEvent, "
              "-i PeriodicRefreshTask"],
    "-IT": ["# Called with 1 argument(s): -IT",
            "#\tResolved Args: NoNgen, NoWarmup, InstallScheduledTask, NotNewOrChangedEvent, -i "]}
ONE = ("Found one pertinent, non-duplicate '300/306' event in the range of IDs from 2 to {}. One printer "
       "added or changed: 'Office'")
NONE = "Found no new '300/306' events with IDs > {}."
DONE = ["NewOrChanged event done...exiting.", "", ""]


class Script:
    """A history as somebody writes it down, one thing after the other."""

    def __init__(self):
        self.history = History([], b"", users=list(USERS))
        self.tick = 0

    def time(self):
        self.tick += 1
        return f"2026-01-01T00:{self.tick // 60:02}:{self.tick % 60:02}.0000000Z"

    def note(self, pid, text):
        self.history.record.append(f"{self.time()} {pid} {text}")

    def clear_channel(self):
        self.history.clears.append((len(self.history.record), len(self.history.record)))

    def copy(self, pid, arguments):
        return Actor(self, pid, arguments)

    def verdict(self, kills=False):
        self.history.kills = kills
        return check(self.history)


class Actor:
    """One copy: each method is a step of it, with what the record and the log show of it."""

    def __init__(self, script, pid, arguments):
        self.script, self.pid, self.arguments = script, pid, arguments
        self.began = len(script.history.record)
        self.invoker = arguments.split()[-1]
        script.note(pid, f'process started: "{SUITE}PalvoPrinterConfiguration.exe" {arguments}')

    def line(self, *texts):
        for text in texts:
            self.opening()
            self.script.history.log += (f"[1/1/2026 12:00:00 AM] PalvoPrinterConfiguration"
                                        f"(PID{self.pid}): {text}\r\n").encode()

    def opening(self):
        self.script.note(self.pid, f'CreateFileW("{LOG}", 0x100004, 1, 4, 128) = 0x78 [183]')

    def open(self, what, existed):
        function = "CreateEventW(0, 0" if what.endswith("request") else "CreateMutexW(0"
        self.script.note(self.pid, f'{function}, "{NAMES[what]}") = 0x80 [{183 if existed else 0}]')

    def on(self, function, what, result):
        kind = "event" if what.endswith("request") else "mutex"
        more = ", 0" if function == "WaitForSingleObject" else ""
        self.script.note(self.pid, f'{function}("{kind} {NAMES[what]}"{more}) = {result} [0]')

    def ask(self, what, result):
        self.on("WaitForSingleObject", what, result)

    def close(self, *whats):
        for what in whats:
            self.on("CloseHandle", what, 1)

    def scan(self, text):
        self.script.note(self.pid, 'EvtQuery("Channel", "Event", 513) = 0x4e0004 [0]')
        self.line(text)

    def store(self, number):
        self.script.note(self.pid, f'RegSetValueExW("Key", "LastEvtRecordProcessed", 11, 8, {number}) '
                                   "= 0 [0]")

    def program(self, name, command, seconds=1):
        script = self.script
        pid = 10000 + script.tick
        script.note(self.pid, f'CreateProcessW(null, "{SUITE}{name}.exe {command}", 0, 32, "pid {pid}") '
                              "= 1 [0]")
        start = script.time()
        script.tick += seconds - 1
        script.history.siblings.append(SiblingRun(pid, start, script.time(), command))

    def work(self, arguments, printer=None, seconds=1):
        tag = f'-i "PalvoPrinterConfiguration({self.invoker} PID: {self.pid})"'
        self.program("PalvoPrinterQuery", f'-e "{printer}"' if printer else arguments, seconds)
        self.program("PalvoPrinterConfigurationWriter",
                     f"{'-e' if printer else arguments} {tag}", seconds)
        self.line(*USERS)

    def begin(self, existed=False, post=True):
        """To the request's posting, or for a refresh to the instance mutex."""
        self.line(*CALLED[self.arguments])
        if self.arguments == REFRESH:
            self.open("refresh request", existed)
            self.open("refresh instance", existed)
            return
        if self.arguments == EVENT:
            self.open("scan check", False)
            self.ask("scan check", 0)
            self.scan(ONE.format(2))
            self.on("ReleaseMutex", "scan check", 1)
            self.close("scan check")
        self.line(f"-Processing NewOrChanged event: {self.invoker}")
        self.open("normal request", existed)
        self.open("special request", existed)
        if post:
            self.on("SetEvent", self.request(), 1)
        self.open("changed instance", existed)

    def request(self):
        return {EVENT: "normal request", LOGON: "special request", REFRESH: "refresh request"}[
            self.arguments]

    def poll(self, normal, special):
        self.ask("normal request", 0 if normal else 258)
        self.ask("special request", 0 if special else 258)

    def special_pass(self, queued=False, seconds=1):
        self.poll(False, True)
        self.line("# Procesing a queued special NewOrChanged event." if queued else
                  "# Procesing a special NewOrChanged event.")
        self.work("-c", seconds=seconds)

    def finish(self, code=0, output=""):
        self.poll(False, False)
        self.on("ReleaseMutex", "changed instance", 1)
        self.line(UPDATE)
        self.leave()
        self.line(*DONE)
        self.end(code, output)

    def leave(self):
        self.close("changed instance", "special request", "normal request")

    def redundant(self, code=1, output=None):
        kind = self.request().split()[0]
        text = REDUNDANT[kind].format(self.invoker)
        self.line(text)
        if kind == "refresh":
            self.on("SetEvent", "refresh request", 1)
            self.close("refresh instance", "refresh request")
        else:
            self.leave()
        self.end(code, text if output is None else output)

    def end(self, code, output=""):
        self.script.note(self.pid, "process ended")
        self.script.history.ended.append(
            Ended(self.pid, code, output, self.began, len(self.script.history.record)))


def logon_alone(script, pid=100):
    copy = script.copy(pid, LOGON)
    copy.begin()
    copy.ask("changed instance", 0)
    copy.special_pass()
    copy.finish()


def worker(script, pid=100, arguments=LOGON):
    """A working copy before its first look at the requests."""
    copy = script.copy(pid, arguments)
    copy.begin()
    copy.ask("changed instance", 0)
    return copy


def second(script, pid=200, arguments=LOGON):
    """A copy that comes while another works, before it asks for the mutex."""
    copy = script.copy(pid, arguments)
    copy.begin(existed=True)
    return copy


def failing_start(error):
    """A copy whose first program does not come up; it goes on with the next."""
    script = Script()
    logon_alone(script)
    first = next(line for line in script.history.record if " CreateProcessW(" in line)
    at = script.history.record.index(first)
    script.history.record[at] = re.sub(r', "pid \d+"\) = 1 \[0\]', f") = 0 [{error}]", first)
    script.history.siblings.pop(0)
    return script


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
        first.poll(True, False)
        first.scan(NONE.format(2))
        first.store(2)
        first.line(SKIPPED)
        first.finish()
        self.check(script)

    def test_a_refresh_keeps_its_mutex_until_the_handle_is_closed(self):
        script = Script()
        first = script.copy(100, REFRESH)
        first.begin()
        first.ask("refresh instance", 0)
        first.line("# Processing a periodic refresh event: PeriodicRefreshTask")
        first.ask("refresh request", 0)
        first.work("")
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
        script = positions(3, 0, cleared=True)
        copy = script.copy(300, "-IT")
        copy.line(*CALLED["-IT"])
        copy.store(0)
        copy.line("Auto-config scheduled task successfully created with event and calendar triggers.",
                  "# Invoked to install scheduled tasks. Done...exiting.")
        copy.end(0, "Channel properties updated.\n" + "\n Success! Task successfully registered." * 3)
        self.check(script)

    def test_a_program_that_wine_does_not_bring_up_is_allowed_and_told(self):
        verdict = self.check(failing_start(1359))
        self.assertEqual(list(verdict.allowed), ["Wine did not bring a program up"])

    def test_a_line_that_meets_the_deletion_of_the_log_is_dropped(self):
        verdict = self.check(deletion_meets_line(True))
        self.assertEqual(list(verdict.allowed), ["a line is dropped while -DL deletes the log"])

    def test_a_killed_copy_ends_anywhere_and_the_next_works(self):
        for steps in range(3):
            script = Script()
            copy = worker(script)
            if steps:
                copy.poll(False, True)
            if steps == 2:
                copy.opening()
            next_one = script.copy(200, LOGON)
            next_one.begin()
            next_one.ask("changed instance", 128)
            next_one.special_pass()
            next_one.finish()
            self.assertEqual(self.check(script, kills=True).figures["killed"], 1)


def positions(first, then, older_first=False, cleared=False):
    """Two copies that find nothing to do, with the positions that they store. The second one's scan
    is older than the first one's store, or newer."""
    script = Script()

    def scan(copy, number):
        copy.line(*CALLED[EVENT])
        copy.open("scan check", False)
        copy.ask("scan check", 0)
        copy.scan(NONE.format(number))
        copy.on("ReleaseMutex", "scan check", 1)

    def store(copy, number):
        copy.store(number)
        copy.line("- No supported printers need to be processed. Done. Exiting.")
        copy.close("scan check")
        copy.end(0)

    if older_first:
        old, new = script.copy(100, EVENT), script.copy(200, EVENT)
        scan(old, first)
        scan(new, then)
        store(new, then)
        store(old, first)
    else:
        one, other = script.copy(100, EVENT), script.copy(200, EVENT)
        scan(one, first)
        store(one, first)
        if cleared:
            script.clear_channel()
        scan(other, then)
        store(other, then)
    return script


def deletion_meets_line(is_deletion):
    """A copy's first line meets the log's deletion, or fails for no such reason. What was written
    before the deletion is gone."""
    script = Script()
    copy = script.copy(100, "-DL")
    copy.line("# Called with 1 argument(s): -DL",
              "#\tResolved Args: NoNgen, NoWarmup, DeleteLogFile, NotNewOrChangedEvent, -i ")
    if not is_deletion:
        copy = script.copy(100, LOGON)
    other = script.copy(200, LOGON)
    script.note(200, f'CreateFileW("{LOG}", 0x100004, 1, 4, 128) = 0xffffffffffffffff [32]')
    if is_deletion:
        script.note(100, f'DeleteFileW("{LOG}") = 1 [0]')
        script.history.log = b""
        copy.line("# Invoked to delete log file. Done...exiting.")
        copy.end(0)
    else:
        script.history.log, script.history.record = b"", script.history.record[-2:]
    other.line(CALLED[LOGON][1])
    other.began = 0
    other.line("-Processing NewOrChanged event: UserLogonTask")
    other.open("normal request", False)
    other.open("special request", False)
    other.on("SetEvent", "special request", 1)
    other.open("changed instance", False)
    other.ask("changed instance", 0)
    other.special_pass()
    other.finish()
    return script


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

    def test_two_copies_own_the_instance_mutex(self):
        script = Script()
        first = worker(script)
        first.special_pass()
        other = second(script)
        other.ask("changed instance", 0)
        other.special_pass()
        first.finish()
        other.finish()
        self.broken(script, "works beside")

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

    def test_a_pending_request_is_not_seen(self):
        script = Script()
        first = worker(script)
        first.special_pass()
        other = second(script)
        other.ask("changed instance", 258)
        other.redundant()
        first.finish()
        self.broken(script, "is lost")

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
        script.history.log = script.history.log.replace(b"12:00:00 AM", b"0:00:00 AM", 1)
        self.broken(script, "this is no line of the log")

    def test_the_writer_gets_other_arguments(self):
        self.replaced('.exe -c -i "PalvoPrinterConfiguration(UserLogonTask',
                      '.exe -e -i "PalvoPrinterConfiguration(UserLogonTask', "instead of")

    def test_a_copy_never_ends(self):
        script = Script()
        worker(script)
        self.broken(script, "never ended")

    def test_a_killed_copy_loses_a_line_that_it_had_written(self):
        script = Script()
        copy = worker(script)
        copy.poll(False, True)
        script.history.log = b"\r\n".join(script.history.log.split(b"\r\n")[:-2]) + b"\r\n"
        self.broken(script, "the log lacks a line", kills=True)

    def test_a_killed_copys_torn_line_is_the_beginning_of_its_line(self):
        for torn, good in ((b"# Proce", True), (b"# Proxe", False)):
            script = Script()
            copy = worker(script)
            copy.poll(False, True)
            copy.opening()
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
        self.broken(positions(3, 2, cleared=True), "went back from 3 to 2")

    def test_the_position_is_another_than_the_scan_found(self):
        script = positions(3, 4)
        script.history.record = [line.replace("11, 8, 4)", "11, 8, 5)") for line in script.history.record]
        self.broken(script, "stored 5, though its scan found 4")

    def test_a_copy_that_found_a_printer_leaves_it(self):
        script = positions(2, 3)
        script.history.log = script.history.log.replace(NONE.format(3).encode(), ONE.format(3).encode())
        self.broken(script, "leaves 'Office' unprocessed")


if __name__ == "__main__":
    unittest.main()
