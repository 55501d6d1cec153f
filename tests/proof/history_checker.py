"""Judges the recorded history of many copies of the program by what the program promises. It knows
the program's arguments, texts, named objects and rules, and nothing of its code.

A history is what the lab recorded: the calls of all copies in one order, the log, the runs of the
sibling programs, and how each copy ended. Calls that make, signal, take, give back or end a named
object, store the scan position, query the channel or delete the log are recorded in the order in
which they took effect; a line of the log is written right after the record of the file's opening,
under the log's mutex. The checker therefore
  - replays the named objects (named_objects): who owns, which request is pending, who took it, what was
    lost; the runs of the sibling programs (sibling_runs) and the stored position (scan_positions);
  - gives every line of the log to the opening that it belongs to, and finds what is missing;
  - asks whether every change of a printer was worked off (purpose);
  - reads what each copy did and wrote, in its order, by the grammar of the copy's mode.

What the rules forbid is a violation. What happens although nobody wants it, but follows from the
rules as they stand, is counted as allowed under a name that says why, with the history that shows it.
A copy that was killed ends anywhere; the line that it was writing may be missing or be torn, which
shows in a line that has no end of its own: the next copy's line follows in it.
"""

import re
from bisect import bisect_right
from collections import defaultdict, deque

from proof.allowances import NO_COPY, TORN
from proof.copy_grammar import Reading, Violation
from proof.named_objects import InstanceMutex, NamedObject, RequestEvent
from proof.program_promises import HEAD, MODES, NOT_NOW, WAITS_BEFORE_LINES
from proof.purpose import Purpose
from proof.recorded_history import (
    CALL, KILLED, UNKNOWN, Copy, Ended, Step, Verdict, step_of)
from proof.scan_positions import ScanPositions
from proof.sibling_runs import SiblingRuns
from proof.time_stamps import TimeStamps
from proof.wine_faults import NOT_BROUGHT_UP_RESULT


class Checker:
    def __init__(self, history):
        self.history = history
        self.verdict = Verdict()
        self.copies = []
        self.steps = []

    def violate(self, text):
        self.verdict.violations.append(text)

    def allow(self, why, *copies):
        """`copies`: whose doings show it."""
        self.verdict.allowed[why].append(list(copies))

    def check(self):
        self.read_record()
        self.read_ends()
        self.read_log()
        for copy in self.copies:
            try:
                Reading(self, copy).read()
            except Violation as found:
                self.violate(f"{copy}: {found}")
        for scheme in ("changed", "refresh"):
            InstanceMutex(self, scheme).replay(self.steps)
        NamedObject(self, "scan check").replay(self.steps)
        for event in ("normal request", "special request", "refresh request"):
            RequestEvent(self, event).replay(self.steps)
        SiblingRuns(self).check()
        ScanPositions(self).check()
        TimeStamps(self).check()
        Purpose(self).check()
        self.count()
        return self.verdict

    def count(self):
        figures = self.verdict.figures
        figures["runs"] += len(self.copies)
        # The event of a refresh is made signalled, which is a request too.
        figures["requests"] += sum(step.kind.startswith("post ") or (
            step.kind == "open refresh request" and step.error == 0) for step in self.steps)
        figures["passes"] += sum(len(copy.passes) for copy in self.copies)
        figures["redundant"] += sum(copy.redundant for copy in self.copies)
        # By the code that the lab alone gives: a crash is no kill.
        figures["killed"] += sum(copy.ended is not None and copy.ended.code == KILLED
                                 for copy in self.copies)

    def read_record(self):
        living = {}
        for order, line in enumerate(self.history.record):
            time, pid, text = line.split(" ", 2)
            pid = int(pid)
            if pid in living:
                living[pid].last = order
            if text.startswith("process started: "):
                self.read_start(text, pid, order, living)
            elif text == "process ended":
                living.pop(pid).has_ended = True
            elif pid in living and (call := CALL.fullmatch(line)):
                self.read_call(call, living[pid], order, time)
        for loss in self.history.power_losses:
            # Between the last line of what died with it and the next.
            self.steps.append(Step("power lost", loss.position, loss.after - 0.5, "", None))
        self.steps.sort(key=lambda step: step.order)
        if not self.history.kills:
            for copy in self.copies:
                if copy.killed:
                    self.violate(f"{copy} never ended")

    def read_start(self, text, pid, order, living):
        arguments = text.split('.exe"', 1)[1].strip()
        if arguments not in MODES:
            self.violate(f"record line {order + 1}: arguments that nobody gave: {arguments}")
            return
        living[pid] = Copy(pid, arguments, order, last=order)
        self.copies.append(living[pid])

    def read_call(self, call, copy, order, time):
        error = int(call[6])
        found = step_of(call[3], call[4], int(call[5], 0) if call[5] != "null" else 0, error)
        if found and found[0] == "log":
            copy.log_waits += 1
            if found[1] != NOT_NOW or copy.log_waits <= WAITS_BEFORE_LINES:
                return
            found, error = ("lost line", None), NOT_NOW
        if found:
            step = Step(*found, order, time, copy, error)
            copy.steps.append(step)
            self.steps.append(step)

    def read_ends(self):
        by_pid = defaultdict(list)
        for copy in self.copies:
            by_pid[copy.pid].append(copy)
        for ended in self.history.ended:
            of_pid = by_pid[ended.pid]
            at = bisect_right([copy.order for copy in of_pid], ended.before - 1) - 1
            if at < 0 or of_pid[at].order < ended.after:
                self.violate(f"pid {ended.pid} ended, but did not start")
            else:
                of_pid[at].ended = ended
        # Nobody waited for the others, but the scheduler did for those that it had started.
        for pid, code in self.history.finished:
            copy = next((copy for copy in by_pid[pid] if copy.ended is None), None)
            if copy is not None:
                copy.ended = Ended(pid, code, None, copy.order, UNKNOWN)
            elif pid == 0 and code == NOT_BROUGHT_UP_RESULT:
                self.allow(NO_COPY)
            else:
                self.violate(f"a task's process {pid} ended with {code}, but did not start")
        for copy in self.copies:
            if copy.ended is None:
                self.violate(f"{copy}: nobody saw how it ended")
            elif copy.killed and copy.ended.code != KILLED:
                self.violate(f"{copy}: ended with {copy.ended.code} as if it had been killed")

    def read_log(self):
        """Gives each line to the opening that it was written after. What was written before the
        log was deleted is not known."""
        lines = self.lines_of_log()
        deleted = max((step.order for step in self.steps
                       if step.kind == "delete" and step.value == 1), default=-1)
        for step in self.steps:
            if step.kind == "line" and step.order >= deleted and not self.give_line(step, lines):
                return
        if lines:
            self.violate(f"{len(lines)} lines more than were written; the first is {lines[0]}")

    def lines_of_log(self):
        """(process id, text, whether it is torn, time)"""
        content = self.history.log.decode("cp1252", "replace")
        lines = deque()
        for text in content.split("\r\n"):
            torn, stamp = re.search(HEAD, text[1:]), text[1:].partition("]")[0]
            whole = re.fullmatch(HEAD + "([^\r\n]*)", text)
            if whole and not torn:
                lines.append((int(whole[1]), whole[2], False, stamp))
            elif torn and self.history.kills and re.match(HEAD, text):
                whole = re.fullmatch(HEAD + "(.*)", text[:torn.start() + 1])
                lines.append((int(whole[1]), whole[2], True, stamp))
                whole = re.fullmatch(HEAD + "([^\r\n]*)", text[torn.start() + 1:])
                stamp = torn[0][1:].partition("]")[0]
                lines.append((int(whole[1]), whole[2], False, stamp))
            elif text:
                self.violate(f"this is no line of the log: {text!r}")
        if content and not content.endswith("\r\n"):
            self.violate("the log's last line has no end")
        return lines

    def give_line(self, step, lines):
        """Whether the next line is the one of this step, or need not be there."""
        copy = step.copy
        pid, text, torn, stamp = lines[0] if lines else (None, None, None, None)
        last = copy.killed and step is copy.steps[-1]
        another = text and text.startswith("# Called with") and any(
            before.kind == "line" and before is not step for before in copy.steps)
        if pid == copy.pid and not (last and another):
            lines.popleft()
            step.value, step.stamp = text, stamp
            if torn:
                step.kind = "torn line"
                if not last:
                    self.violate(f"{copy}: a torn line that nothing excuses: {text!r}")
                self.allow(TORN, copy)
        elif last:
            step.kind = "lost line"
        else:
            self.violate(f"the log lacks a line of {copy}; in its place is "
                         f"{'nothing' if pid is None else f'{text!r} of pid {pid}'}")
            return False
        return True


def check(history):
    """The verdict on a history."""
    return Checker(history).check()


def story(history, copies):
    """What some copies did, a line each, in the order in which they did it."""
    steps = sorted((step for copy in copies for step in copy.steps), key=lambda step: step.order)
    return [f"  {step.order + 1:6} {step.time[11:-1]} pid {step.copy.pid} {step.kind}"
            + ("" if step.value is None else f": {step.value}") for step in steps]
