"""The order in which a copy of each mode does its steps and writes its lines."""

from collections import deque

from proof.program_promises import (
    CHANGED_DONE, INSTALLED, JOB_START_GONE, NOT_NOW, NOTHING, QUEUED_REFRESH, QUEUED_SPECIAL, REDUNDANT,
    REFRESH_DONE, SCANS, SKIPPED, SPECIAL, TAKEN, TASKS_GONE, UNINSTALLED, UPDATE)
from proof.recorded_history import KILLED


class Violation(Exception):
    pass


class Cut(Exception):
    """A killed copy did nothing more that is recorded. Its text is the kind of step that was next."""


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
        except Cut as cut:
            self.copy.unseen = str(cut)
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

    def peek(self):
        return self.steps[0].kind if self.steps else ""

    def take(self, kind):
        if not self.steps:
            if self.copy.killed:
                raise Cut(kind)
            raise Violation(f"ends where '{kind}' should follow")
        step = self.steps.popleft()
        if step.kind != kind and not (kind == "line" and step.kind in ("lost line", "torn line")):
            raise Violation(f"{step.kind} {step.value!r} where '{kind}' should follow "
                            f"(record line {step.order + 1})")
        return step

    def line(self, text):
        step = self.take("line")
        if step.kind == "lost line":
            deleting = [copy for copy in self.checker.copies if copy.mode.kind == "delete" and
                        copy.order < step.order < copy.last]
            if deleting:
                self.checker.allow("a line is dropped while -DL deletes the log", self.copy,
                                   deleting[0])
            elif not self.copy.killed:
                raise Violation(f"the log could not be opened: error {step.error}")
        elif step.value is not None and step.value != text and not (
                step.kind == "torn line" and text.startswith(step.value)):
            raise Violation(f"the log has {step.value!r} instead of {text!r}")

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
        if mode.kind == "install":
            self.take("store")
            for text in INSTALLED:
                self.line(text)
        if mode.kind == "uninstall":
            for text in (TASKS_GONE, JOB_START_GONE, *UNINSTALLED):
                self.line(text)
        return mode.code, mode.output

    def scan(self):
        """(newest record id, the printer's name), as far as the log tells."""
        self.take("scan")
        step = self.take("line")
        if step.kind != "line" or step.value is None:
            return None, None
        for form in SCANS:
            if found := form.fullmatch(step.value):
                named = found.groupdict()
                return (int(named["newest"]) if named.get("newest") else None), named.get("name")
        raise Violation(f"the log has {step.value!r} after a scan")

    def store(self, newest):
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

    def run_pass(self, kind, taken, query, writer):
        self.start("PalvoPrinterQuery", query)
        self.start("PalvoPrinterConfigurationWriter", self.tag(writer))
        for text in self.checker.history.users:
            self.line(text)
        self.copy.passes.append((kind, taken))

    def is_redundant(self):
        self.take(f"open {self.mode.scheme} instance")
        return self.take(f"try {self.mode.scheme} instance").value == NOT_NOW

    def tell_redundant(self):
        self.copy.redundant = True
        text = REDUNDANT[self.mode.kind].format(self.mode.invoker)
        self.line(text)
        return 1, text

    def taken(self, event):
        step = self.take(f"try {event}")
        return step if step.value == TAKEN else None

    def changed(self):
        if self.mode.kind == "normal" and self.pre_scan():
            return 0, ""
        self.line(f"-Processing NewOrChanged event: {self.mode.invoker}")
        self.take("open normal request")
        self.take("open special request")
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
        self.take("release changed instance")
        if self.copy.passes:
            self.line(UPDATE)
        for text in CHANGED_DONE:
            self.line(text)
        return 0, ""

    def pre_scan(self):
        self.take("open scan check")
        self.take("try scan check")
        newest, name = self.scan()
        self.take("release scan check")
        if self.peek() != "store":
            return False
        if name is not None:
            raise Violation(f"leaves {name!r} unprocessed")
        self.store(newest)
        self.line(NOTHING)
        return True

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
        newest, name = self.scan()
        self.store(newest)
        if not first and self.skips():
            if name is not None:
                raise Violation(f"leaves {name!r} unprocessed")
            self.line(SKIPPED)
            self.copy.passes.append(("skipped", [taken]))
            return
        start = next((step.value for step in self.steps if step.kind == "start"), None)
        if name is None and start and start[1].startswith("-e "):
            name = start[1][4:-1]
        begin = ("# Processing a configuration request" if first else
                 "# Processing a Queued configuration request" if name else
                 "# Processing Queued configuration request")
        self.line(f"{begin} from a NewOrChanged event event for "
                  + (f"'{name}'." if name else "multiple printers."))
        self.run_pass("normal", [taken], f'-e "{name}"' if name else "-c", "-e" if name else "-c")

    def was_served(self, opened):
        """Whether another copy took the request after this one had come."""
        return any(step.kind == "try refresh request" and step.value == TAKEN and step.copy is not self.copy
                   and opened.order < step.order < self.copy.last for step in self.checker.steps)

    def refresh(self):
        opened = self.take("open refresh request")
        if self.is_redundant():
            result = self.tell_redundant()
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
        elif self.was_served(opened):
            self.checker.allow("another copy served a refresh copy's request before that one looked for it",
                               self.copy)
        elif opened.error == 0:
            raise Violation("made its request event, and did not find it signalled")
        else:
            self.checker.allow("a refresh copy came while the event that an earlier one had emptied "
                               "was still held, and found no request", self.copy)
        self.line(REFRESH_DONE)
        return 0, ""
