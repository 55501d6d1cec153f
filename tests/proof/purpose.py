"""Judges whether the program did what it is for: a change of a supported printer that a scan looked at is
followed by a pass that covers it, by name or as everything; nobody works without a reason; and nobody says
that nothing is to be done when something is.

Whoever changed the printers took down between which lines of the record each change fell. What may or may not
have been so when a scan read the log is in doubt, and is not judged."""

from proof.allowances import (
    ANCHOR, FIRST_PASS, GONE, KILLED_AFTER_SCAN, KILLED_AFTER_STORE, LOST_WITH_REQUEST, NO_COPY)


class Purpose:
    def __init__(self, checker):
        self.checker = checker
        self.history = checker.history
        self.stores = [step for step in checker.steps if step.kind in ("store", "power lost")]
        self.passes = [one for copy in checker.copies for one in copy.passes if one.kind != "skipped"]

    def check(self):
        if self.history.changes is None:
            return
        for copy in self.checker.copies:
            for scan in copy.scans:
                self.judge(scan)
        if self.history.installed is not None:
            self.judge_tasks()
        if self.history.quiet is not None:
            self.judge_quiet()

    def judge(self, scan):
        figures = self.checker.verdict.figures
        figures["scans"] += 1
        self.judge_position(scan)
        if scan.newest is None:
            return      # Its line is gone with the log, or it found too many.
        self.judge_reading(scan)
        self.judge_outcome(scan)
        for change in self.examined(scan, self.surely_read):
            if self.surely_supported(change.printer, scan):
                figures["changes found"] += 1
                self.judge_coverage(scan, change)

    def judge_position(self, scan):
        """A scan begins at the position that was stored last before it read it, after the step before."""
        if scan.position is None:
            return
        before = self.not_before(scan)
        earlier = [step.value for step in self.stores if step.order < before]
        may_be = {earlier[-1] if earlier else 0}
        may_be |= {step.value for step in self.stores if before <= step.order < scan.begin}
        if scan.position not in may_be:
            self.checker.violate(f"{scan.copy}: its scan began at {scan.position}, though "
                                 f"{max(may_be)} was stored")

    def judge_reading(self, scan):
        """It read every event from there on that was surely in the log."""
        sure = [change.event for change in self.history.changes if self.surely_read(change, scan)]
        if sure and scan.newest < max(sure):
            self.checker.violate(f"{scan.copy}: its scan ends at event {scan.newest}, though event "
                                 f"{max(sure)} was in the log")
        if sure and scan.newest and scan.lowest > min(sure):
            self.checker.violate(f"{scan.copy}: its scan stops at event {scan.lowest}, though event "
                                 f"{min(sure)} was in the log")
        if scan.newest and not any(change.event == scan.newest and self.maybe_read(change, scan)
                                   for change in self.history.changes):
            self.checker.violate(f"{scan.copy}: its scan read event {scan.newest}, which was not in the log")
        for change in self.history.changes:
            if change.event == scan.lowest != scan.position and self.surely_supported(change.printer, scan):
                self.checker.allow(ANCHOR, scan.copy)

    def judge_outcome(self, scan):
        copy = scan.copy
        least = {change.printer for change in self.examined(scan, self.surely_read)
                 if self.surely_supported(change.printer, scan)}
        most = {change.printer for change in self.examined(scan, self.maybe_read)
                if self.maybe_supported(change.printer, scan)}
        if scan.name is not None:
            if scan.name not in most:
                self.checker.violate(f"{copy}: its scan found {scan.name!r}, of which it read no event")
            least.discard(scan.name)
        if least and (scan.name is not None or scan.outcome in ("nothing", "skipped")):
            self.checker.violate(f"{copy}: its scan missed {sorted(least)}")
        if scan.name is None and scan.newest and scan.outcome in ("request", "first pass", "later pass"):
            if scan.outcome == "first pass" and not least:
                self.checker.allow(FIRST_PASS, copy)
            elif len(most) < 2:
                self.checker.violate(f"{copy}: goes on for all without a reason, of {sorted(most)}")

    def judge_coverage(self, scan, change):
        if self.is_covered(change):
            self.checker.verdict.figures["changes covered"] += 1
            return
        stored = [store for store in self.stores if store.order > change.after and store.kind == "store"
                  and store.copy.killed
                  and store.value >= change.event and store.copy.steps[-1].order < self.next_pass(store)]
        if stored:
            self.checker.allow(KILLED_AFTER_STORE, stored[0].copy, scan.copy)
        elif scan.copy.killed:
            self.checker.allow(KILLED_AFTER_SCAN, scan.copy)
        elif scan.copy.lost:
            self.checker.allow(LOST_WITH_REQUEST, scan.copy)
        elif not any(life.name == change.printer and life.removed is None for life in self.history.lives):
            self.checker.allow(GONE, scan.copy)
        else:
            self.checker.violate(f"{scan.copy}: event {change.event} of {change.printer!r}, which its scan "
                                 "found, is followed by no pass")

    def next_pass(self, store):
        """The order of the copy's first pass that was done after it stored the position."""
        return min((one.order for one in store.copy.passes if one.order > store.order), default=1 << 60)

    def is_covered(self, change):
        return any(one.order >= change.after and one.printer in ("", change.printer)
                   and not self.is_quiet(one) for one in self.passes)

    def is_quiet(self, one):
        return self.history.quiet is not None and one.order >= self.history.quiet

    def judge_tasks(self):
        """With the tasks installed the last change is read too: it started a copy. And all comes to rest:
        nobody but who was started works."""
        copies = [copy for copy in self.checker.copies if copy.mode.scheme == "changed"]
        by_event = [copy for copy in copies if copy.mode.kind == "normal" and copy.ended
                    and copy.ended.output is None]
        changes = [change for change in self.history.changes if change.before >= self.history.installed]
        passes = sum(len(copy.passes) for copy in copies)
        most = len(copies) - len(by_event) + len(changes)
        if passes > most:
            self.checker.violate(f"{passes} passes, though {most} were asked for")
        if NO_COPY in self.checker.verdict.allowed:
            return
        for change in changes:
            if (not self.losses(change) and not self.is_covered(change) and not self.was_read(change) and any(
                    life.name == change.printer and life.supported for life in self.history.lives)):
                self.checker.violate(f"event {change.event} of {change.printer!r} was read by nobody")

    def was_read(self, change):
        return any(scan.end > change.after and (scan.newest is None or scan.newest >= change.event)
                   for copy in self.checker.copies for scan in copy.scans)

    def judge_quiet(self):
        """Whatever was lost before, a refresh that runs alone makes good for it."""
        if not any(one.kind == "refresh" and self.is_quiet(one) for one in self.passes):
            self.checker.violate("after all was quiet, a refresh brought nothing up to date")

    def examined(self, scan, is_read):
        """The changes that the scan read and looked at: all but the oldest."""
        return [change for change in self.history.changes
                if scan.lowest < change.event <= scan.newest and is_read(change, scan)]

    def not_before(self, scan):
        """The line of the record before which the scan cannot have read the log: a call is recorded when
        it is over."""
        return scan.copy.steps[scan.number - 1].order if scan.number else scan.copy.order

    def surely_read(self, change, scan):
        """Whether it was in the log from before the scan to its end."""
        return (change.event >= (scan.position or 0) and change.before <= self.not_before(scan)
                and not any(loss.after <= scan.end for loss in self.losses(change)))

    def maybe_read(self, change, scan):
        return (change.event >= (scan.position or 0) and change.after <= scan.begin
                and not any(loss.before <= scan.begin for loss in self.losses(change)))

    def losses(self, change):
        """When the channel lost the event."""
        return [*(one for one in self.history.clearings if one.number > change.number),
                *(one for one in self.history.wraps
                  if one.number >= change.number and one.event >= change.event)]

    def surely_supported(self, printer, scan):
        return any(life.name == printer and life.supported and life.added.before <= scan.begin
                   and (life.removed is None or life.removed.after > scan.end) for life in self.history.lives)

    def maybe_supported(self, printer, scan):
        return any(life.name == printer and life.supported and life.added.after <= scan.end
                   and (life.removed is None or life.removed.before >= scan.begin)
                   for life in self.history.lives)
