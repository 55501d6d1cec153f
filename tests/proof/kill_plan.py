"""Which calls there are at which a copy can be killed, and which of them are still to come."""

import re
import threading
from collections import Counter

from lab import SUPPORTED
from proof.recording import prepare

CHANGED = ["-c -i NewOrChangedTask", "-c -i UserLogonTask", "-c", "-c -i POJEMService"]
REFRESHING = ["-r -i PeriodicRefreshTask", "-r", ""]
NO_SIBLINGS = ["-IT", "-DL"]
TRIES = 8       # of copies that should come as far


class Reference:
    """What an undisturbed run does: the functions that it calls, and the bags that it leaves."""

    def __init__(self, lab):
        self.users = prepare(lab)
        self.calls, self.recorded = {}, {}
        lab("printer", "add", "Any", SUPPORTED)
        for arguments in CHANGED + REFRESHING + NO_SIBLINGS:
            lab("printer", "change", "Any")
            lab("record", "counts")
            pid = lab.run(*arguments.split()).pid
            counted = re.findall(rf"^{pid} (\w+) (\d+)$", lab("show", "counts"), re.MULTILINE)
            self.calls[arguments] = [(name, int(count)) for name, count in counted]
            lab("printer", "change", "Any")
            lab("tasks", "wait")
            lab("record", "on")
            pid = lab.run(*arguments.split()).pid
            # The scheduler's methods are recorded, but not counted by what kills.
            self.recorded[arguments] = len(re.findall(rf"^\S+ {pid} (?!\w+::)", lab("show", "calls"),
                                                      re.MULTILINE))
        lab("record", "off")
        lab("tasks", "wait")
        lab.run("-UT")
        lab("set", "channel-enabled", "on")
        lab.run("-c")
        self.bags = lab.bags()

    def any_call(self, random, arguments):
        """(function, number) of one call of a run with these arguments."""
        name, count = random.choice(self.calls[arguments])
        return name, random.randint(1, count)

    def every_call(self):
        """(arguments, number) of each recorded call of each run."""
        return [(arguments, number) for arguments, count in self.recorded.items()
                for number in range(1, count + 1)]


class KillPlan:
    """A call is done when a copy was seen to be killed after it. Until then it is asked for again, and
    given up when so many copies that should have come so far were not killed there."""

    def __init__(self, calls):
        """`calls`: (arguments, number)."""
        calls = sorted(calls)
        self.total = len(calls)
        self.waiting = {}
        for arguments, number in calls:
            self.waiting.setdefault(arguments, []).append(number)
        self.under_way = 0
        self.done = 0
        self.tries = Counter()
        self.given_up = []
        self.lock = threading.Lock()

    def take(self, group, deepest):
        """The deepest or the first call that waits, of those arguments of the group that have the most;
        nothing when none waits."""
        with self.lock:
            of_group = [arguments for arguments in group if self.waiting.get(arguments)]
            if not of_group:
                return None
            arguments = max(of_group, key=lambda one: len(self.waiting[one]))
            self.under_way += 1
            return arguments, self.waiting[arguments].pop(-1 if deepest else 0)

    def settle(self, call, killed, counts):
        """Whether a copy was seen to be killed after the call that take() gave; `counts`: it should have
        come as far."""
        arguments, number = call
        with self.lock:
            self.under_way -= 1
            self.tries[call] += counts
            if killed:
                self.done += 1
            elif self.tries[call] == TRIES:
                self.given_up.append(call)
            else:
                self.waiting[arguments] = sorted([*self.waiting[arguments], number])

    def is_over(self):
        with self.lock:
            return not self.under_way and not any(self.waiting.values())
