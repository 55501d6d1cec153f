"""Judges the stored scan position. It goes back only after a clearing, with -IT, or where a copy's scan was
older than what another stored meanwhile: the scan and the store are not one step."""

from proof.allowances import POSITION_BACK


class ScanPositions:
    def __init__(self, checker):
        self.checker = checker
        self.position = 0
        self.stored = []        # (step, whether by a working copy)

    def check(self):
        for step in self.checker.steps:
            if step.kind == "store":
                self.store(step)
            elif step.kind == "power lost":
                self.lose(step)

    def lose(self, step):
        if step.value not in (0, *(other.value for other, _ in self.stored)):
            self.checker.violate("after the power was lost, the position was "
                                 f"{step.value}, which nobody stored")
        self.position = step.value

    def store(self, step):
        copy = step.copy
        scans = [other for other in copy.steps if other.kind == "scan" and other.order < step.order]
        working = any(other.kind == "try changed instance" and other.order < step.order
                      for other in copy.steps)
        if copy.mode.kind == "install":
            if step.value != 0:
                self.checker.violate(f"{copy}: -IT stored {step.value}")
        elif not scans:
            self.checker.violate(f"{copy}: stored a position without a scan")
        elif step.value < self.position:
            self.go_back(step, scans[-1], working)
        self.position = step.value
        self.stored.append((step, working))

    def go_back(self, step, scan, working):
        copy = step.copy
        newer = [(other, at_work) for other, at_work in self.stored
                 if scan.order < other.order and other.value > step.value]
        if step.value == 0 and self.found_empty(scan):
            self.checker.verdict.figures["positions back after a clearing"] += 1
        elif not newer:
            self.checker.violate(f"{copy}: the position went back from {self.position} to {step.value}, "
                                 "though its scan saw the newer one")
        elif working and any(at_work for _, at_work in newer):
            self.checker.violate(f"{copy}: two working copies stored positions, {self.position} and then "
                                 f"{step.value}")
        else:
            self.checker.allow(POSITION_BACK, newer[-1][0].copy, copy)

    def found_empty(self, scan):
        """Whether the scan may have found nothing because somebody had cleared the channel: it ended
        after that, and began before the channel surely held an event again."""
        steps = scan.copy.steps
        end = steps[steps.index(scan) + 1].order
        return any(clearing.after <= end and scan.order < clearing.filled
                   for clearing in self.checker.history.clearings)
