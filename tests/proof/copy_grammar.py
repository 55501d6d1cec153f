"""The order in which a copy of each mode does its steps and writes its lines."""

from collections import deque

from proof.allowances import DELETED_LINE, EMPTIED, MUTEX_HELD, NOT_YET_GRANTED, REFUSED, SERVED
from proof.program_promises import (
    CHANGED_DONE, CHANNEL_SET, CREATION_FAILED, INSTALLED, JOB_START_GONE, JOB_START_STAYS, NOT_NOW, NOTHING,
    QUEUED_REFRESH, QUEUED_SPECIAL, REDUNDANT, REFRESH_DONE, SCANS, SKIPPED, SPECIAL, TAKEN, TASKS_GONE,
    TASKS_STAY, UNINSTALLED, UNREACHABLE, UPDATE)
from proof.recorded_history import ADMINISTRATOR, KILLED, Pass, Scan


ACCESS_DENIED = 5


class Violation(Exception):
    pass


class Cut(Exception):
    """A killed copy did nothing more."""


class Reading:
    """Reads what one copy did, by the grammar of its mode."""

    def __init__(self, checker, copy):
        self.checker = checker
        self.copy = copy
        self.mode = copy.mode
        self.steps = deque(step for step in copy.steps if not step.kind.startswith("close"))

    def read(self):
        try:
            code, output = self.read_mode()
        except Cut:
            return
        if self.steps:
            raise Violation(f"goes on after its end: {self.steps[0].kind} {self.steps[0].value!r}")
        ended = self.copy.ended
        if ended is not None and ended.code == KILLED and self.checker.history.kills:
            return      # killed with all its work done and recorded
        if ended is not None and not self.copy.killed:
            if ended.code != code:
                raise Violation(f"exit code {ended.code} instead of {code}")
            if ended.output not in (output, None):
                raise Violation(f"printed {ended.output!r} instead of {output!r}")

    def peek_error(self):
        return self.steps[0].error if self.steps else None

    def peek(self):
        return self.steps[0].kind if self.steps else ""

    def take(self, kind):
        if not self.steps:
            if self.copy.killed:
                raise Cut
            raise Violation(f"ends where '{kind}' should follow")
        step = self.steps.popleft()
        if step.kind != kind and not (kind == "line" and step.kind in ("lost line", "torn line")):
            raise Violation(f"{step.kind} {step.value!r} where '{kind}' should follow "
                            f"(record line {step.order + 1})")
        return step

    def line(self, text):
        step = self.take("line")
        if step.kind == "lost line" and step.error == NOT_NOW:
            self.checker.allow(MUTEX_HELD, self.copy)
        elif step.kind == "lost line" and self.is_closed_to_users(step, text):
            self.checker.allow(NOT_YET_GRANTED, self.copy)
        elif step.kind == "lost line":
            deleting = [copy for copy in self.checker.copies if copy.mode.kind == "delete" and
                        copy.order < step.order < copy.last]
            if deleting:
                self.checker.allow(DELETED_LINE, self.copy, deleting[0])
            elif not self.copy.killed:
                raise Violation(f"the log could not be opened: error {step.error}")
        elif step.value is not None and step.value != text and not (
                step.kind == "torn line" and text.startswith(step.value)):
            raise Violation(f"the log has {step.value!r} instead of {text!r}")

    def is_closed_to_users(self, step, text):
        """Whether the line is written as a user, and -DL has had the log made anew: the next copy that starts
        opens it to users."""
        return (step.error == ACCESS_DENIED and text in (None, *self.checker.history.users) and any(
            other.kind == "delete" and other.value == 1 and other.order < step.order
            for other in self.checker.steps))

    def read_mode(self):
        mode = self.mode
        if mode.arguments == "-x":
            self.line("ERROR: Unrecognized argument: x!")
        self.line(mode.called())
        self.line(f"#\tResolved Args: {mode.resolved}, -i {mode.invoker}")
        for text in mode.lines:
            self.line(text)
        if mode.background:
            self.line("# Spawn PalvoPrinterConfigurationWriter in the background with the arg(s):"
                      + mode.background)
            self.start("PalvoPrinterConfigurationWriter", self.tag(mode.background))
        if mode.scheme:
            return self.changed() if mode.scheme == "changed" else self.refresh()
        if mode.kind == "delete":
            gone = self.take("delete")
            self.line("# Invoked to delete log file. Done...exiting.")
            return (0 if gone.value == 1 or gone.error == 2 else 1), ""
        stopped = any(outage.stopped.before <= self.copy.order < outage.started.after
                      for outage in self.checker.history.outages)
        if mode.kind == "install":
            self.take("store")
            for text in [*CREATION_FAILED.values(), INSTALLED[1]] if stopped else INSTALLED:
                self.line(text)
            if stopped:
                return 1, CHANNEL_SET + UNREACHABLE * 3
        if mode.kind == "uninstall":
            for text in (TASKS_STAY, JOB_START_STAYS) if stopped else (TASKS_GONE, JOB_START_GONE):
                self.line(text)
            for text in UNINSTALLED:
                self.line(text)
            if stopped:
                return 1, CHANNEL_SET + UNREACHABLE * 4
        return mode.code, mode.output

    def scan(self):
        """What it came to, as far as the log tells."""
        begin = self.take("scan")
        step = self.take("line")
        named = self.scan_line(step) if step.kind == "line" and step.value is not None else {}
        newest = int(named["newest"]) if named.get("newest") else None
        lowest = int(named["first"]) - 1 if named.get("first") else newest
        scan = Scan(self.copy, self.copy.steps.index(begin), begin.order, step.order, begin.value, lowest,
                    newest, named.get("name"))
        self.copy.scans.append(scan)
        return scan

    def scan_line(self, step):
        for form in SCANS:
            if found := form.fullmatch(step.value):
                return found.groupdict()
        raise Violation(f"the log has {step.value!r} after a scan")

    def may_store(self):
        """Whether its account may write where the position is stored."""
        return self.copy.account in ("SYSTEM", ADMINISTRATOR)

    def store(self, newest):
        if not self.may_store():
            return
        step = self.take("store")
        if newest is not None and step.value != newest:
            raise Violation(f"stored {step.value}, though its scan found {newest}")

    def tag(self, arguments):
        number = f" PID: {self.copy.pid}" if self.mode.invoker else str(self.copy.pid)
        return f'{arguments} -i "PalvoPrinterConfiguration({self.mode.invoker}{number})"'

    def start(self, program, command):
        step = self.take("start")
        if step.value[:2] != (program, command):
            raise Violation(f"started {step.value[:2]} instead of {(program, command)}")
        return step

    def run_pass(self, kind, taken, query, writer):
        began = self.start("PalvoPrinterQuery", query)
        self.start("PalvoPrinterConfigurationWriter", self.tag(writer))
        # Only SYSTEM gets at the users' tokens.
        if self.copy.account == "SYSTEM":
            self.users()
        printer = query[4:-1] if query.startswith("-e ") else ""
        self.copy.passes.append(Pass(kind, taken, began.order, printer))

    def users(self):
        """The lines about the users' values. A user who comes or goes meanwhile may leave any of them out."""
        history = self.checker.history
        if not history.users_vary:
            for text in history.users:
                self.line(text)
            return
        known = [*history.users]
        while self.peek() == "lost line" or (self.steps and self.steps[0].kind == "line" and (
                self.steps[0].value in known or str(self.steps[0].value).startswith("ERROR: Failed "))):
            if self.steps[0].value in known:
                del known[:known.index(self.steps[0].value) + 1]
            self.line(self.steps[0].value)

    def is_redundant(self):
        """A copy that is refused the mutex takes itself for the one that works."""
        name = f"{self.mode.scheme} instance"
        return self.open(name) and self.take(f"try {name}").value == NOT_NOW

    def lose_request(self):
        self.copy.lost = REFUSED
        self.checker.allow(REFUSED, self.copy)

    def tell_redundant(self):
        self.copy.redundant = True
        text = REDUNDANT[self.mode.kind].format(self.mode.invoker)
        self.line(text)
        return 1, text

    def open(self, name):
        """Whether it got the object, which another account may have made."""
        if self.take(f"open {name}").value:
            return True
        self.copy.refused.add(name)
        return False

    def taken(self, event):
        if event in self.copy.refused:
            return None
        step = self.take(f"try {event}")
        return step if step.value == TAKEN else None

    def changed(self):
        if self.mode.kind == "normal" and self.pre_scan():
            return 0, ""
        self.line(f"-Processing NewOrChanged event: {self.mode.invoker}")
        self.open("normal request")
        self.open("special request")
        if f"{self.mode.kind} request" in self.copy.refused:
            self.lose_request()
        else:
            self.take(f"post {self.mode.kind} request")
        if self.is_redundant():
            return self.tell_redundant()
        while True:
            normal, special = self.taken("normal request"), self.taken("special request")
            if special:
                self.line(QUEUED_SPECIAL if self.copy.passes else SPECIAL)
                self.run_pass("special", [normal, special], "-c", "-c")
            elif normal:
                self.normal_pass(normal)
            else:
                break
        if "changed instance" not in self.copy.refused:
            self.take("release changed instance")
        if self.copy.passes:
            self.line(UPDATE)
        for text in CHANGED_DONE:
            self.line(text)
        return 0, ""

    def pre_scan(self):
        has_mutex = self.open("scan check")
        if has_mutex:
            self.take("try scan check")
        scan = self.scan()
        if has_mutex:
            self.take("release scan check")
        if not self.nothing_to_do():
            scan.outcome = "request" if self.steps else ""
            return False
        scan.outcome = "nothing"
        if scan.name is not None:
            raise Violation(f"leaves {scan.name!r} unprocessed")
        self.store(scan.newest)
        self.line(NOTHING)
        return True

    def nothing_to_do(self):
        if self.may_store():
            return self.peek() == "store"
        return bool(self.steps) and self.steps[0].value == NOTHING

    def skips(self):
        """Whether the pass that follows starts no program, by its line, or by what comes after a line
        that is gone with the log."""
        return bool(self.steps) and (self.steps[0].value == SKIPPED or [
            step.kind for step in list(self.steps)[:2]] in (["line", "try normal request"],
                                                            ["lost line", "try normal request"]))

    def normal_pass(self, taken):
        first = not self.copy.passes
        if first and self.take("sleep").value != 500:
            raise Violation("slept for another time than 500 ms")
        scan = self.scan()
        name = scan.name
        self.store(scan.newest)
        if not first and self.skips():
            scan.outcome = "skipped"
            if name is not None:
                raise Violation(f"leaves {name!r} unprocessed")
            self.line(SKIPPED)
            self.copy.passes.append(Pass("skipped", [taken], taken.order))
            return
        scan.outcome = ("first pass" if first else "later pass") if self.steps else ""
        start = next((step.value for step in self.steps if step.kind == "start"), None)
        if name is None and start and start[1].startswith("-e "):
            name = start[1][4:-1]
        begin = ("# Processing a configuration request" if first else
                 "# Processing a Queued configuration request" if name else
                 "# Processing Queued configuration request")
        self.line(f"{begin} from a NewOrChanged event event for "
                  + (f"'{name}'." if name else "multiple printers."))
        self.run_pass("normal", [taken], f'-e "{name}"' if name else "-c", "-e" if name else "-c")

    def was_served(self):
        """Whether another copy took the request after this one had come."""
        opened = next(step.order for step in self.copy.steps if step.kind == "open refresh request")
        return any(step.kind == "try refresh request" and step.value == TAKEN and step.copy is not self.copy
                   and opened < step.order < self.copy.last for step in self.checker.steps)

    def refresh(self):
        made = self.peek_error() == 0
        if not self.open("refresh request"):
            self.lose_request()
        if self.is_redundant():
            result = self.tell_redundant()
            if "refresh request" not in self.copy.refused:
                self.take("post refresh request")
            return result
        what = "on-demand auto-configuration" if "OnDemand" in self.mode.resolved else (
            "a periodic refresh event")
        self.line(f"# Processing {what}: {self.mode.invoker}")
        while taken := self.taken("refresh request"):
            if self.copy.passes:
                self.line(QUEUED_REFRESH)
            self.run_pass("refresh", [taken], "", "")
        if self.copy.passes:
            self.line(UPDATE)
        elif self.was_served():
            self.checker.allow(SERVED, self.copy)
        elif made:
            raise Violation("made its request event, and did not find it signalled")
        elif "refresh request" not in self.copy.refused:
            self.checker.allow(EMPTIED, self.copy)
        self.line(REFRESH_DONE)
        return 0, ""
