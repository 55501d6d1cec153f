"""Every order in which a few copies can make the calls that others notice, within a bound of preemptions.

A world starts the copies, and lets one at a time go on to its next call. An execution follows a prefix of
choices, and then goes on with the copy that runs until it is blocked or has ended: that costs no preemption.
From what was seen the explorer derives the prefixes that differ in one choice, depth first.

Equal orders are not tried twice: a copy that was preempted before a call sleeps until another copy makes a
call that depends on it. If none does, the order is that of a later preemption, which costs no more. A
preemption after which nobody is known to make such a call is put off until somebody was seen to. (Sleep sets
beyond that would leave out orders whose equals cost more than the bound.)"""

import re
from collections import defaultdict
from dataclasses import dataclass, field

KILL = "!"
FAR = 1000000       # calls: more than any copy makes


@dataclass(frozen=True)
class Call:
    """What a copy is about to do, and with what."""
    function: str
    thing: str = ""

    def __str__(self):
        return f"{self.function} {self.thing}".strip()


@dataclass(frozen=True)
class Choice:
    copy: int
    kill: bool = False


@dataclass
class Node:
    """Before a choice: which calls the living copies stand before, and who ran until now."""
    pending: dict
    blocked: frozenset
    current: int
    choice: Choice = None

    @property
    def call(self):
        return Call("kill") if self.choice.kill else self.pending[self.choice.copy]

    def costs(self, choice):
        """Whether it takes the turn from a copy that could go on."""
        return (self.current != choice.copy and self.current in self.pending
                and self.current not in self.blocked)


def text_of(choices):
    """A schedule as a short text: "1*14 2*6 1!" is 14 calls of copy 1, 6 of copy 2, and the kill of 1."""
    parts = []
    for choice in choices:
        if choice.kill:
            parts.append([f"{choice.copy}{KILL}", 1])
        elif parts and parts[-1][0] == str(choice.copy):
            parts[-1][1] += 1
        else:
            parts.append([str(choice.copy), 1])
    return " ".join(part if part.endswith(KILL) else f"{part}*{count}" for part, count in parts)


def choices_of(text):
    choices = []
    for part in text.split():
        found = re.fullmatch(r"(\d+)(?:!|\*(\d+))", part)
        if not found:
            raise ValueError(f"this is no part of a schedule: {part!r}")
        choices += [Choice(int(found[1]), part.endswith(KILL))] * int(found[2] or 1)
    return choices


class Deadlock(Exception):
    pass


class Diverged(Exception):
    """The same choices did not lead to the same calls."""


class Execution:
    """One run of a world."""

    def __init__(self, world):
        self.world = world
        self.pending = world.start()
        self.blocked = {}       # copy: what it waits for
        self.current = None
        self.nodes = []

    def choices(self):
        return [node.choice for node in self.nodes]

    def text(self):
        """Without the end that follows by itself: the schedule up to the last choice that must be told."""
        last = max((at for at, node in enumerate(self.nodes)
                    if node.choice != self.by_itself(node)), default=-1)
        return text_of(self.choices()[:last + 1])

    @staticmethod
    def by_itself(node):
        """The choice when nobody chooses."""
        if node.current in node.pending and node.current not in node.blocked:
            return Choice(node.current)
        ready = sorted(set(node.pending) - node.blocked)
        return Choice(ready[0]) if ready else None

    def node(self):
        return Node(dict(self.pending), frozenset(self.blocked), self.current)

    def preemptions(self):
        return sum(node.costs(node.choice) for node in self.nodes)

    def play(self, prefix, policy=None):
        """Follows the prefix, and then the policy: (copy, how many calls) of an execution."""
        for choice, count in grouped(prefix):
            self.choose(choice, count)
        while self.pending:
            self.choose(*(policy(self) if policy else (self.ready(), FAR)))
        return self

    def ready(self):
        choice = self.by_itself(self.node())
        if choice is None:
            raise Deadlock(f"every copy waits: {self.pending} after {text_of(self.choices())}")
        return choice

    def choose(self, choice, count):
        if choice.copy not in self.pending:
            raise ValueError(f"copy {choice.copy} has ended before the schedule: {self.pending}")
        if choice.kill:
            self.passed(choice, None)
            self.world.kill(choice.copy)
            return
        for after in self.world.go(choice.copy, count):
            if after is not None and after.function == "blocked":
                self.blocked[choice.copy] = after.thing
            else:
                self.passed(choice, after)

    def passed(self, choice, after):
        node = self.node()
        node.blocked -= {choice.copy}       # It was not, as shows now.
        node.choice = choice
        self.nodes.append(node)
        thing = node.call.thing
        self.blocked = {copy: what for copy, what in self.blocked.items()
                        if copy != choice.copy and after is not None and what != thing}
        self.current = choice.copy
        if after is None:
            del self.pending[choice.copy]
        else:
            self.pending[choice.copy] = after


def grouped(choices):
    """(choice, how often in turn)."""
    groups = []
    for choice in choices:
        if groups and groups[-1][0] == choice and not choice.kill:
            groups[-1][1] += 1
        else:
            groups.append([choice, 1])
    return groups


@dataclass
class Rules:
    """`dependent(call, call)`: whether the order of two copies' calls matters. `may_kill(call)`: whether a
    copy may be killed before it. `equal`: the copies that do the same, of which the first begins."""
    dependent: object
    preemptions: int
    kills: int = 0
    may_kill: object = lambda call: True
    equal: tuple = ()


@dataclass
class Prefix:
    choices: list
    calls: list = field(default_factory=list)   # that were seen to come of all but the last choice
    kills: int = 0                              # left
    preempted: int = None                       # by the last choice, if it takes somebody's turn
    call: Call = None                           # before which that one stands


@dataclass
class Figures:
    executions: int = 0
    redundant: int = 0      # that turned out to be equal to an order known
    orders: set = field(default_factory=set)


class Explorer:
    def __init__(self, rules, run):
        """`run(prefix)`: the execution."""
        self.rules = rules
        self.run = run
        self.figures = Figures()
        self.made = defaultdict(set)        # copy: calls that it was seen to make
        self.later = []                     # what seemed not to matter, to be looked at again
        self.stack = [Prefix([])]

    def explore(self):
        while self.stack or self.look_again():
            prefix = self.stack.pop()
            execution = self.run(prefix.choices)
            self.figures.executions += 1
            self.learn(execution)
            known = len(prefix.calls)
            if [node.call for node in execution.nodes[:known]] != prefix.calls:
                raise Diverged(f"{text_of(prefix.choices)} led to other calls than before")
            if execution.choices()[:len(prefix.choices)] != prefix.choices:
                self.figures.redundant += 1     # The copy chosen last was blocked.
                continue
            self.derive(execution, len(prefix.choices))

    def learn(self, execution):
        for node in execution.nodes:
            for copy, call in node.pending.items():
                self.made[copy].add(call)

    def look_again(self):
        waiting, self.later = self.later, []
        for prefix in waiting:
            self.push(prefix)
        return bool(self.stack)

    def push(self, prefix):
        if self.matters(prefix):
            self.stack.append(prefix)
        else:
            self.later.append(prefix)

    def matters(self, prefix):
        """Whether what the prefix puts off depends on any call that another copy may make meanwhile."""
        chosen = prefix.choices[-1]
        if chosen.kill:
            return True
        if prefix.call is None:
            off, puts = self.made[chosen.copy], chosen.copy
        else:
            off, puts = {prefix.call}, prefix.preempted
        kill = {Call("kill")} if prefix.kills else set()
        meanwhile = kill.union(*(calls for by, calls in self.made.items() if by != puts))
        return any(self.rules.dependent(one, other) for one in off | kill for other in meanwhile)

    def derive(self, execution, since):
        order, asleep, kills, cost = Order(self.rules.dependent), {}, 0, 0
        for at, node in enumerate(execution.nodes):
            if at >= since:
                self.alternatives(execution, at, asleep, self.rules.preemptions - cost,
                                  self.rules.kills - kills)
            if node.choice.copy in asleep and not node.choice.kill:
                self.figures.redundant += 1     # Nobody woke it: it was the only one left.
                return
            if node.costs(node.choice):
                asleep[node.current] = node.pending[node.current]
                cost += 1
            kills += node.choice.kill
            asleep = {copy: call for copy, call in asleep.items()
                      if not self.rules.dependent(call, node.call)}
            order.add(node.choice.copy, node.call)
        self.figures.redundant += order.sum in self.figures.orders
        self.figures.orders.add(order.sum)

    def alternatives(self, execution, at, asleep, left, kills):
        node = execution.nodes[at]
        for copy, call in node.pending.items():
            if at == 0 and copy in self.rules.equal[1:]:
                continue
            may_kill = kills and self.rules.may_kill(call)
            choices = [Choice(copy)] * (copy not in asleep and copy not in node.blocked) + [
                Choice(copy, True)] * bool(may_kill)
            for choice in choices:
                cost = node.costs(choice)
                if choice != node.choice and cost <= left:
                    self.push(Prefix([*execution.choices()[:at], choice],
                                     [before.call for before in execution.nodes[:at]], kills,
                                     node.current if cost else None,
                                     node.pending[node.current] if cost else None))


class Order:
    """The order of the dependent calls made so far, as a number that other orders do not have."""

    def __init__(self, dependent):
        self.dependent = dependent
        self.events = []
        self.sum = 0

    def add(self, copy, call):
        before = tuple(number for by, other, number in self.events
                       if by == copy or self.dependent(other, call))
        number = hash((copy, call, len(before), sum(before)))
        self.events.append((copy, call, number))
        self.sum += number


def by_priority(random, copies, calls, changes):
    """A policy: the copy of the highest priority goes on; at random calls it becomes the lowest. One such
    order in about copies * calls**(changes) shows any fault that takes so many changes."""
    priorities = list(copies)
    random.shuffle(priorities)
    points = sorted(random.sample(range(1, calls), changes))

    def policy(execution):
        made = len(execution.nodes)
        while points and points[0] <= made:
            del points[0]
            if execution.current in priorities:
                priorities.remove(execution.current)
                priorities.append(execution.current)
        ready = [copy for copy in priorities
                 if copy in execution.pending and copy not in execution.blocked]
        if not ready:
            raise Deadlock(f"every copy waits: {execution.pending}")
        return Choice(ready[0]), (points[0] - made if points else FAR)

    return policy
