"""Judges the runs of the sibling programs: what a pass starts ends within it, and those of two copies of a
scheme never overlap."""

from collections import defaultdict, deque

from proof.allowances import NO_PROGRAM, OUTLIVED, TWO_ACCOUNTS
from proof.wine_faults import NOT_BROUGHT_UP


class SiblingRuns:
    def __init__(self, checker):
        self.checker = checker
        self.runs = defaultdict(deque)      # by process id, in the order of their starts
        for run in checker.history.siblings:
            self.runs[run.pid].append(run)
        self.spans = defaultdict(list)      # (start, end, copy) of each scheme

    def check(self):
        for step in self.checker.steps:
            if step.kind == "start":
                self.check_start(step)
        for scheme, spans in self.spans.items():
            self.check_overlaps(scheme, sorted(spans, key=lambda span: span[:2]))

    def check_start(self, step):
        copy = step.copy
        program, command, pid = step.value
        if pid is None:
            if step.error == NOT_BROUGHT_UP:
                self.checker.allow(NO_PROGRAM, copy)
            else:
                self.checker.violate(f"{copy}: {program} could not be started: error {step.error}")
        elif self.runs[pid]:
            self.check_run(step, self.runs[pid].popleft())
        elif not copy.killed:
            self.checker.violate(f"{copy}: {program} (pid {pid}) left no trace")

    def check_run(self, step, run):
        copy = step.copy
        program, command, pid = step.value
        if run.command.strip() != command.strip():
            self.checker.violate(f"{copy}: {program} got {run.command!r} instead of {command!r}")
        if copy.mode.background and command.startswith(copy.mode.background):
            return
        position = copy.steps.index(step)
        later = copy.steps[position + 1].time if position + 1 < len(copy.steps) else None
        if not copy.killed and (not run.end or (later and run.end > later)):
            self.checker.violate(f"{copy}: went on before {program} (pid {pid}) ended")
        self.spans[copy.mode.scheme].append((run.start, run.end or "9", copy))

    def check_overlaps(self, scheme, spans):
        last = ("", None)
        for start, end, copy in spans:
            if last[1] not in (None, copy) and start < last[0]:
                if last[1].killed or copy.killed:
                    self.checker.allow(OUTLIVED, last[1], copy)
                elif last[1].refused or copy.refused:
                    self.checker.allow(TWO_ACCOUNTS, last[1], copy)
                else:
                    self.checker.violate(f"{copy} and {last[1]}: both had programs of the {scheme} scheme "
                                         "at work")
            last = max(last, (end, copy), key=lambda pair: pair[0])
