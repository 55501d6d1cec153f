"""Histories as they would be recorded, written by hand for the tests of the checker."""

import re
from datetime import timedelta

from proof.history_checker import check
from proof.program_promises import (
    CHANGED_DONE, CREATION_FAILED, NAMES, REDUNDANT, SKIPPED, SUITE, UNINSTALLED, UPDATE)
from proof.recorded_history import ADMINISTRATOR, KILLED, Clearing, Ended, History, Moment, Outage, SiblingRun
from proof.time_stamps import local

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
            "#\tResolved Args: NoNgen, NoWarmup, InstallScheduledTask, NotNewOrChangedEvent, -i "],
    "-UT": ["# Called with 1 argument(s): -UT",
            "#\tResolved Args: NoNgen, NoWarmup, UninstallScheduledTask, NotNewOrChangedEvent, -i "]}
ONE = ("Found one pertinent, non-duplicate '300/306' event in the range of IDs from 2 to {}. One printer "
       "added or changed: 'Office'")
NONE = "Found no new '300/306' events with IDs > {}."
DONE = CHANGED_DONE


class Script:
    """A history as somebody writes it down, one thing after the other."""

    def __init__(self):
        self.history = History([], b"", users=list(USERS))
        self.tick = self.done = self.set_back = 0

    def time(self):
        self.tick += 1
        return f"2026-01-01T00:{self.tick // 60:02}:{self.tick % 60:02}.0000000Z"

    def stamp(self):
        """What the machine's clock shows."""
        now = local(self.history.record[-1]) - timedelta(seconds=self.set_back)
        return (f"{now.month}/{now.day}/{now.year} {now.hour % 12 or 12}:{now:%M:%S} "
                f"{'AM' if now.hour < 12 else 'PM'}")

    def note(self, pid, text):
        self.history.record.append(f"{self.time()} {pid} {text}")

    def clear_channel(self):
        """As is known; an event may come at any time afterwards."""
        now = len(self.history.record)
        self.history.clearings.append(Clearing(self.count(), now, now))

    def count(self):
        """The number of what is done to the machine."""
        self.done += 1
        return self.done

    def stop_scheduler(self, since):
        """From this line of the record on until now."""
        now = len(self.history.record)
        self.history.outages.append(Outage(Moment(0, since, since), Moment(0, now, now)))

    def log_event(self):
        self.history.clearings[-1].filled = len(self.history.record)

    def copy(self, pid, arguments, account="SYSTEM"):
        return Actor(self, pid, arguments, account)

    def verdict(self, kills=False):
        self.history.kills = kills
        return check(self.history)


class Actor:
    """One copy: each method is a step of it, with what the record and the log show of it."""

    def __init__(self, script, pid, arguments, account):
        self.script, self.pid, self.arguments, self.account = script, pid, arguments, account
        self.began = len(script.history.record)
        self.invoker = arguments.split()[-1]
        script.note(pid, f'process started: "{SUITE}PalvoPrinterConfiguration.exe" {arguments}')

    def line(self, *texts):
        for text in texts:
            self.opening()
            self.script.history.log += (f"[{self.script.stamp()}] PalvoPrinterConfiguration(PID{self.pid}): "
                                        f"{text}\r\n").encode()

    def opening(self):
        self.script.note(self.pid, f'CreateFileW("{LOG}", 0x100004, 1, 3, 3211392) = 0x78 [0]')

    def open(self, what, existed, refused=False):
        function = "CreateEventW(0, 0" if what.endswith("request") else "CreateMutexW(0"
        result = "0x0 [5]" if refused else f"0x80 [{183 if existed else 0}]"
        self.script.note(self.pid, f'{function}, "{NAMES[what]}") = {result}')

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
        if self.account == "SYSTEM":
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

    def skipped_pass(self, newest):
        """A queued printer event that the pass before has served."""
        self.poll(True, False)
        self.scan(NONE.format(newest))
        self.store(newest)
        self.line(SKIPPED)

    def finish(self, code=0, output="", worked=True):
        self.poll(False, False)
        self.on("ReleaseMutex", "changed instance", 1)
        if worked:
            self.line(UPDATE)
        self.leave()
        self.line(*DONE)
        self.end(code, output)

    def leave(self):
        self.close("changed instance", "special request", "normal request")

    def redundant(self, code=1, output=None, scheduled=False):
        kind = self.request().split()[0]
        text = REDUNDANT[kind].format(self.invoker)
        self.line(text)
        if kind == "refresh":
            self.on("SetEvent", "refresh request", 1)
            self.close("refresh instance", "refresh request")
        else:
            self.leave()
        if scheduled:
            self.finished(code)
        else:
            self.end(code, text if output is None else output)

    def end(self, code, output=""):
        self.script.note(self.pid, "process ended")
        self.told(code, output)

    def finished(self, code):
        """The end of a copy that the scheduler started."""
        self.script.note(self.pid, "process ended")
        self.script.history.finished.append((self.pid, code))

    def killed(self):
        self.told(KILLED, "")

    def told(self, code, output):
        self.script.history.ended.append(
            Ended(self.pid, code, output, self.began, len(self.script.history.record), self.account))


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


def refreshing(script, existed=False):
    """A refresh copy after its first pass."""
    copy = script.copy(100, REFRESH)
    copy.begin(existed)
    copy.ask("refresh instance", 0)
    copy.line("# Processing a periodic refresh event: PeriodicRefreshTask")
    copy.ask("refresh request", 0)
    copy.work("")
    return copy


def leaving():
    """A refresh copy that has ended, as far as it is recorded, and one that finds it at work."""
    script = Script()
    first = refreshing(script)
    first.ask("refresh request", 258)
    first.line(UPDATE, "Refresh event done...exiting.")
    other = script.copy(200, REFRESH)
    other.begin(existed=True)
    first.close("refresh instance", "refresh request")
    first.end(0)
    other.ask("refresh instance", 258)
    other.redundant()
    return script


def stranger(script, account=ADMINISTRATOR, refused=True):
    """A copy of another account while one of SYSTEM's works; it gets nothing, or all."""
    first = worker(script)
    first.special_pass()
    other = script.copy(200, LOGON, account)
    other.line(*CALLED[LOGON])
    other.line("-Processing NewOrChanged event: UserLogonTask")
    other.open("normal request", True, refused)
    other.open("special request", True, refused)
    if not refused:
        other.on("SetEvent", "special request", 1)
    other.open("changed instance", True, refused)
    if refused:
        other.line(*CHANGED_DONE)
        other.end(0)
    else:
        other.ask("changed instance", 258)
        other.redundant()
        first.special_pass(queued=True)
    first.finish()


def two_owners(script):
    first = worker(script)
    first.special_pass()
    other = second(script)
    other.ask("changed instance", 0)
    other.special_pass()
    first.finish()
    other.finish()


def unseen_request(script, pid=100):
    """A working copy that looks for no request when another copy has posted one."""
    first = worker(script, pid)
    first.special_pass()
    other = second(script, pid + 50)
    other.ask("changed instance", 258)
    other.redundant()
    first.finish()


def unseen_taking(script):
    """A working copy is killed where it would look for a request next, and the next one does not find the
    request that it has posted itself."""
    first = worker(script)
    first.ask("normal request", 258)
    other = second(script)
    first.killed()
    other.ask("changed instance", 128)
    other.finish(worked=False)


def unseen_posting(script):
    """A copy is killed where it would post its request next, and the working one finds one more request."""
    first = worker(script)
    first.special_pass()
    other = script.copy(200, LOGON)
    other.line(*CALLED[LOGON])
    other.line("-Processing NewOrChanged event: UserLogonTask")
    other.open("normal request", True)
    other.open("special request", True)
    other.killed()
    first.special_pass(queued=True)
    first.finish()


def unseen_owner(script):
    """A copy is killed where it would ask for the mutex next, and the next one finds that abandoned."""
    first = script.copy(100, LOGON)
    first.begin()
    first.killed()
    other = second(script)
    other.ask("changed instance", 128)
    other.special_pass()
    other.finish()


def failing_start(error):
    """A copy whose first program does not come up; it goes on with the next."""
    script = Script()
    logon_alone(script)
    first = next(line for line in script.history.record if " CreateProcessW(" in line)
    at = script.history.record.index(first)
    script.history.record[at] = re.sub(r', "pid \d+"\) = 1 \[0\]', f") = 0 [{error}]", first)
    script.history.siblings.pop(0)
    return script


def positions(first, then, older_first=False, between=None, script=None):
    """Two copies that find nothing to do, with the positions that they store. The second one's scan
    is older than the first one's store, or newer; then something may happen between them."""
    script = script or Script()

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
        if between:
            between(script)
        scan(other, then)
        store(other, then)
    return script


def without_scheduler(installs):
    """An installation or a removal while the scheduler's service is stopped."""
    script = Script()
    copy = script.copy(100, "-IT" if installs else "-UT")
    copy.line(*CALLED[copy.arguments])
    if installs:
        copy.store(0)
        copy.line(*CREATION_FAILED.values(), "# Invoked to install scheduled tasks. Done...exiting.")
    else:
        copy.line("ERROR: Failed to delete Auto-config scheduled task.",
                  "ERROR: Failed to delete Print Job Start scheduled task.", *UNINSTALLED)
    copy.end(1, "Channel properties updated.\n"
             + "ITaskService::Connect failed: 80041315" * (3 if installs else 4))
    script.stop_scheduler(copy.began)
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
    script.note(200, f'CreateFileW("{LOG}", 0x100004, 1, 3, 3211392) = 0xffffffffffffffff [32]')
    if is_deletion:
        script.note(100, f'SetFileInformationByHandle("file {LOG}", 21) = 1 [0]')
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
