"""Judges the times of the log's lines: each is what the machine's clock showed between the step before the
line and the log's opening for it, however the clock was set."""

from datetime import datetime, timedelta

COARSE = timedelta(seconds=1)   # the system's time advances in steps


def local(time):
    """The machine's time at a time of the record."""
    return datetime.fromisoformat(time[:26] + "+00:00").astimezone().replace(tzinfo=None)


class TimeStamps:
    def __init__(self, checker):
        self.checker = checker
        self.history = checker.history

    def check(self):
        if self.history.turns is None:
            return
        for copy in self.checker.copies:
            order, time = copy.order, self.history.record[copy.order].split()[0]
            for step in copy.steps:
                if step.stamp:
                    self.judge(step, order, time)
                order, time = step.order, step.time

    def judge(self, step, order, time):
        """`order`, `time`: of the copy's step before."""
        stamp = datetime.strptime(step.stamp, "%m/%d/%Y %I:%M:%S %p")
        turns = self.history.turns
        for count in range(sum(turn.before <= order for turn in turns),
                           sum(turn.after <= step.order for turn in turns) + 1):
            back = timedelta(seconds=sum(turn.seconds for turn in turns[:count]))
            if local(time).replace(microsecond=0) - COARSE <= stamp + back <= local(step.time):
                return
        self.checker.violate(f"{step.copy}: the log has {step.stamp} at {time}, a time that no clock showed: "
                             f"{step.value!r}")
