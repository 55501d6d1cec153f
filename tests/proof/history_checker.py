"""Judges the recorded history of many copies of the program by what the program promises. It knows
the program's arguments, texts, named objects and rules, and nothing of its code.

A history is what the lab recorded: the calls of all copies in one order, the log, the runs of the
sibling programs, and how each copy ended. Calls that make, signal, take, give back or end a named
object, store the scan position, query the channel or delete the log are recorded in the order in
which they took effect; a line of the log is written right after the record of the file's opening,
under the log's mutex. The checker therefore
  - replays the named objects: who owns, which request is pending, who took it, what was lost;
  - gives every line of the log to the opening that it belongs to, and finds what is missing;
  - reads what each copy did and wrote, in its order, by the grammar of the copy's mode.

What the rules forbid is a violation. What happens although nobody wants it, but follows from the
rules as they stand, is counted as allowed under a name that says why, with the history that shows it.
A copy that was killed ends anywhere; the line that it was writing may be missing or be torn, which
shows in a line that has no end of its own: the next copy's line follows in it. One that was killed from
outside may have done the one thing that was next and is not recorded any more; where that explains what
others saw, it is counted as allowed, once for each such copy.
"""

import re
from bisect import bisect_right
from collections import defaultdict, deque

from proof.copy_grammar import Reading, Violation
from proof.program_promises import ABANDONED, HEAD, MODES, NOT_NOW, TAKEN
from proof.recorded_history import (
    CALL, KILLED, UNKNOWN, Copy, Ended, Step, Verdict, step_of)
from proof.wine_faults import NOT_BROUGHT_UP, NOT_BROUGHT_UP_RESULT


class Checker:
    def __init__(self, history):
        self.history = history
        self.verdict = Verdict()
        self.copies = []
        self.steps = []
        self.excusing = set()   # killed copies that have excused something

    def violate(self, text):
        self.verdict.violations.append(text)

    def allow(self, why, *copies):
        """`copies`: whose doings show it."""
        self.verdict.allowed[why].append(list(copies))

    def check(self):
        self.read_record()
        self.read_ends()
        self.read_strikes()
        self.read_log()
        for copy in self.copies:
            try:
                Reading(self, copy).read()
            except Violation as found:
                self.violate(f"{copy}: {found}")
        self.replay_instances()
        for event in ("normal request", "special request", "refresh request"):
            self.replay_requests(event)
        self.check_siblings()
        self.check_position()
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
        return self.verdict

    def read_record(self):
        living = {}
        for order, line in enumerate(self.history.record):
            time, pid, text = line.split(" ", 2)
            pid = int(pid)
            if pid in living:
                living[pid].last = order
            if text.startswith("process started: "):
                arguments = text.split('.exe"', 1)[1].strip()
                if arguments not in MODES:
                    self.violate(f"record line {order + 1}: arguments that nobody gave: {arguments}")
                    continue
                living[pid] = Copy(pid, arguments, order, last=order)
                self.copies.append(living[pid])
            elif text == "process ended":
                living.pop(pid).has_ended = True
            elif pid in living and (call := CALL.fullmatch(line)):
                found = step_of(call[3], call[4], int(call[5], 0) if call[5] != "null" else 0,
                                int(call[6]))
                if found:
                    step = Step(*found, order, time, living[pid], int(call[6]))
                    living[pid].steps.append(step)
                    self.steps.append(step)
        if not self.history.kills:
            for copy in self.copies:
                if copy.killed:
                    self.violate(f"{copy} never ended")

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
                self.allow("Wine did not bring a task's copy up")
            else:
                self.violate(f"a task's process {pid} ended with {code}, but did not start")
        for copy in self.copies:
            if copy.ended is None:
                self.violate(f"{copy}: nobody saw how it ended")
            elif copy.killed and copy.ended.code != KILLED:
                self.violate(f"{copy}: ended with {copy.ended.code} as if it had been killed")

    def read_strikes(self):
        for strike in self.history.strikes:
            struck = [copy for copy in self.copies
                      if copy.pid == strike.pid and copy.order < strike.before]
            if struck:
                struck[-1].strike = strike

    def read_log(self):
        """Gives each line to the opening that it was written after. What was written before the
        log was deleted is not known."""
        content = self.history.log.decode("cp1252", "replace")
        lines = deque()
        for text in content.split("\r\n"):
            torn = re.search(HEAD, text[1:])
            whole = re.fullmatch(HEAD + "([^\r\n]*)", text)
            if whole and not torn:
                lines.append((int(whole[1]), whole[2], False))
            elif torn and self.history.kills and re.match(HEAD, text):
                whole = re.fullmatch(HEAD + "(.*)", text[:torn.start() + 1])
                lines.append((int(whole[1]), whole[2], True))
                whole = re.fullmatch(HEAD + "([^\r\n]*)", text[torn.start() + 1:])
                lines.append((int(whole[1]), whole[2], False))
            elif text:
                self.violate(f"this is no line of the log: {text!r}")
        if content and not content.endswith("\r\n"):
            self.violate("the log's last line has no end")
        deleted = max((step.order for step in self.steps
                       if step.kind == "delete" and step.value == 1), default=-1)
        for step in self.steps:
            if step.kind != "line" or step.order < deleted:
                continue
            copy = step.copy
            pid, text, torn = lines[0] if lines else (None, None, None)
            last = copy.killed and step is copy.steps[-1]
            another = text and text.startswith("# Called with") and any(
                before.kind == "line" and before is not step for before in copy.steps)
            if pid == copy.pid and not (last and another):
                lines.popleft()
                step.value = text
                if torn:
                    step.kind = "torn line"
                    if not last:
                        self.violate(f"{copy}: a torn line that nothing excuses: {text!r}")
                    self.allow("the line that a killed copy was writing is torn", copy)
            elif last:
                step.kind = "lost line"
            else:
                self.violate(f"the log lacks a line of {copy}; in its place is "
                             f"{'nothing' if pid is None else f'{text!r} of pid {pid}'}")
                return
        if lines:
            self.violate(f"{len(lines)} lines more than were written; the first is {lines[0]}")

    def replay_instances(self):
        """Never two working copies of one scheme, and none redundant without one at work."""
        for scheme in ("changed", "refresh"):
            owner, leaving = None, None
            for step in self.steps:
                if leaving and leaving.gone_by() < step.order:
                    leaving = None
                if step.copy is owner and step.kind in (f"release {scheme} instance",
                                                        f"close {scheme} instance"):
                    # A closed handle gives back at the thread's end, which comes after all that is
                    # recorded of the copy, or at once as the last one.
                    leaving, owner = (owner if "close" in step.kind else None), None
                if step.kind != f"try {scheme} instance":
                    continue
                if step.value == NOT_NOW:
                    step.owner = owner or leaving
                    if step.owner is None:
                        self.violate(f"{step.copy}: redundant although nobody works")
                else:
                    if owner is not None and not owner.was_killed_before(step):
                        self.violate(f"{step.copy} works beside {owner}")
                    if step.value == ABANDONED and scheme == "changed" and owner is None and (
                            not self.excuse(f"try {scheme} instance", -1, step, "owned the mutex")):
                        self.violate(f"{step.copy}: the mutex was abandoned by nobody who was killed")
                    owner, leaving = step.copy, None

    def replay_requests(self, event):
        """Every request is taken by a pass that starts later, or its event ended with it."""
        holders, pending, exists = set(), [], False
        signalled, emptied = None, -1       # by which step the event is, and was no more

        def end_event():
            for post in pending:
                self.judge_lost(post, event)
            pending.clear()

        for step in self.steps:
            verb = step.kind.split(" ", 1)[0]
            if step.kind != f"{verb} {event}":
                continue
            copy = step.copy
            if verb == "open":
                living = [holder for holder in holders if not holder.was_killed_before(step)]
                if step.error == 0:
                    if living:
                        self.violate(f"{copy}: a second {event} beside that of {living[0]}")
                    end_event()
                    holders, emptied = set(), step.order
                    signalled = step.order if event == "refresh request" else None
                elif not exists and not holders:
                    self.violate(f"{copy}: opened a {event} that nobody holds")
                holders.add(copy)
                exists = True
            elif verb == "close":
                holders.discard(copy)
                if not holders:
                    end_event()
                    exists, signalled = False, None
            elif verb == "post":
                pending.append(step)
                signalled = step.order
            elif verb == "try" and step.value == TAKEN:
                if signalled is None and not self.excuse(f"post {event}", emptied, step,
                                                         "posted what another took"):
                    self.violate(f"{copy}: took a {event} that nobody posted")
                if copy.killed and not any(step in taken for _, taken in copy.passes):
                    for post in pending:
                        self.allow("the request was taken by a copy that was killed before its pass "
                                   "was done", copy, post.copy)
                else:
                    self.verdict.figures["served requests"] += len(pending)
                pending.clear()
                signalled, emptied = None, step.order
            elif verb == "try" and step.value == NOT_NOW and signalled is not None:
                if not self.excuse(step.kind, signalled, step, "taken the request"):
                    self.violate(f"{copy}: the pending {event} of "
                                 f"{pending[-1].copy if pending else 'the event itself'} is lost")
                pending.clear()
                signalled, emptied = None, step.order
        end_event()

    def excuse(self, kind, since, step, what):
        """Whether a copy that was struck may have done that kind of step, unseen, after line `since` and
        before the step of another copy that nothing else explains. It excuses one."""
        for other in self.copies:
            if other.may_have_done(kind, since, step) and other not in self.excusing:
                self.excusing.add(other)
                self.allow(f"a copy that was killed may have {what}, unseen", other, step.copy)
                return True
        return False

    def judge_lost(self, post, event):
        """The event ended before a copy took the request."""
        copy = post.copy
        attempts = [step for step in copy.steps if step.kind == f"try {copy.mode.scheme} instance"]
        owner = getattr(attempts[0], "owner", None) if attempts else None
        if copy.killed:
            self.allow("a request of a killed copy ended with its event", copy)
        elif owner is None:
            self.violate(f"{copy}: its {event} was never served, and nobody else was at work")
        elif any(step.kind == f"try {event}" and step.order > post.order for step in owner.steps):
            self.violate(f"{copy}: its {event} was never served, though {owner} looked for one later")
        elif owner.killed and not any(step.kind == f"close {event}" for step in owner.steps):
            self.allow("the working copy was killed, and no living copy held the request", owner, copy)
        else:
            self.allow("posted after the working copy's last look, and no copy held the request",
                       owner, copy)

    def check_siblings(self):
        """A pass's programs end within the pass, and those of two copies of a scheme never overlap."""
        runs = defaultdict(deque)
        for run in self.history.siblings:
            runs[run.pid].append(run)
        spans = defaultdict(list)
        for step in self.steps:
            if step.kind != "start":
                continue
            copy = step.copy
            program, command, pid = step.value
            if pid is None:
                if step.error == NOT_BROUGHT_UP:
                    self.allow("Wine did not bring a program up", copy)
                else:
                    self.violate(f"{copy}: {program} could not be started: error {step.error}")
                continue
            if not runs[pid]:
                if not copy.killed:
                    self.violate(f"{copy}: {program} (pid {pid}) left no trace")
                continue
            run = runs[pid].popleft()
            if run.command.strip() != command.strip():
                self.violate(f"{copy}: {program} got {run.command!r} instead of {command!r}")
            if copy.mode.background and command.startswith(copy.mode.background):
                continue
            position = copy.steps.index(step)
            later = copy.steps[position + 1].time if position + 1 < len(copy.steps) else None
            if not copy.killed and (not run.end or (later and run.end > later)):
                self.violate(f"{copy}: went on before {program} (pid {pid}) ended")
            spans[copy.mode.scheme].append((run.start, run.end or "9", copy))
        for scheme, of_scheme in spans.items():
            last = ("", None)
            for start, end, copy in sorted(of_scheme, key=lambda span: span[:2]):
                if last[1] not in (None, copy) and start < last[0]:
                    if last[1].killed or copy.killed:
                        self.allow("a killed copy's program outlived it", last[1], copy)
                    else:
                        self.violate(f"{copy} and {last[1]}: both had programs of the {scheme} scheme "
                                     "at work")
                last = max(last, (end, copy), key=lambda pair: pair[0])

    def check_position(self):
        """The stored scan position goes back only after a clearing, with -IT, or where a copy's scan
        was older than what another stored meanwhile: the scan and the store are not one step."""
        position, stored = 0, []
        for step in self.steps:
            if step.kind != "store":
                continue
            copy = step.copy
            scans = [other for other in copy.steps if other.kind == "scan" and other.order < step.order]
            scan = scans[-1] if scans else None
            working = any(s.kind == "try changed instance" and s.order < step.order
                          for s in copy.steps)
            if copy.mode.kind == "install":
                if step.value != 0:
                    self.violate(f"{copy}: -IT stored {step.value}")
            elif scan is None:
                self.violate(f"{copy}: stored a position without a scan")
            elif step.value < position:
                newer = [(other, at_work) for other, at_work in stored
                         if scan.order < other.order and other.value > step.value]
                if step.value == 0 and self.found_empty(scan):
                    self.verdict.figures["positions back after a clearing"] += 1
                elif not newer:
                    self.violate(f"{copy}: the position went back from {position} to {step.value}, "
                                 "though its scan saw the newer one")
                elif working and any(at_work for _, at_work in newer):
                    self.violate(f"{copy}: two working copies stored positions, {position} and then "
                                 f"{step.value}")
                else:
                    self.allow("the position went back: another copy stored a newer one between this "
                               "copy's scan and its store", newer[-1][0].copy, copy)
            position = step.value
            stored.append((step, working))

    def found_empty(self, scan):
        """Whether the scan may have found nothing because somebody had cleared the channel: it ended
        after that, and began before the channel surely held an event again."""
        steps = scan.copy.steps
        end = steps[steps.index(scan) + 1].order
        return any(clearing.after <= end and scan.order < clearing.filled
                   for clearing in self.history.clearings)


def check(history):
    """The verdict on a history."""
    return Checker(history).check()


def story(history, copies):
    """What some copies did, a line each, in the order in which they did it."""
    steps = sorted((step for copy in copies for step in copy.steps), key=lambda step: step.order)
    return [f"  {step.order + 1:6} {step.time[11:-1]} pid {step.copy.pid} {step.kind}"
            + ("" if step.value is None else f": {step.value}") for step in steps]
