"""Every order of two or three copies within a bound of preemptions, with and without a kill: the program's
copies stop before each call that others can notice, and go on one at a time. history_checker judges what
each order leaves. Told are the windows in which a request is lost by rule, each with its shortest schedule;
nothing else may be lost.

A schedule is a text: the copies, and how many calls each makes in turn, as in "refresh refresh: 1*45 2*1".
`--replay TEXT` plays it, and tells what each copy did. `--case TEXT` plays the orders of one case, as in
"refresh refresh, 2 preemptions" or "normal normal, 0 preemptions, a kill".
"""

import argparse
import re
import sys
import threading
import time
from collections import Counter
from dataclasses import dataclass, field
from itertools import combinations_with_replacement
from random import Random

from proof.allowances import (
    EMPTIED, KILLED_AFTER_SCAN, KILLED_AFTER_STORE, KILLED_ASKER, KILLED_OWNER, KILLED_TAKER, LATE,
    LOST_WITH_REQUEST)
from proof.history_checker import Checker, story
from proof.interleavings import Execution, Explorer, Rules, by_priority, choices_of
from proof.runner import Proof
from proof.turns import Copies, Dependence, may_kill, prepare
from proof.wine_faults import is_wines_fault, said_by_wine, told_whole

MODES = {"special": "-c -i UserLogonTask", "normal": "-c -i NewOrChangedTask",
         "refresh": "-r -i PeriodicRefreshTask", "delete": "-DL", "uninstall": "-UT"}
PAIRS = [" ".join(pair) for pair in combinations_with_replacement(MODES, 2)]
TRIPLES = ["special special special", "normal normal normal", "refresh refresh refresh",
           "special normal normal", "special special normal", "refresh refresh delete"]
RANDOM = 200        # schedules of a case, in the long form
LOST = (LATE, EMPTIED, LOST_WITH_REQUEST, KILLED_TAKER, KILLED_ASKER, KILLED_OWNER, KILLED_AFTER_STORE,
        KILLED_AFTER_SCAN)


@dataclass(frozen=True)
class Case:
    """Which orders of which copies: all with at most so many preemptions and kills, or random ones."""
    copies: str
    preemptions: int
    kills: int = 0
    random: int = 0

    def __str__(self):
        what = f"{self.preemptions} " + ("changes at random" if self.random else "preemptions")
        return f"{self.copies}, {what}" + ", a kill" * self.kills

    @classmethod
    def of(cls, text):
        found = re.fullmatch(r"([a-z ]+), (\d+) (preemptions|changes at random)(, a kill)?", text)
        return cls(found[1], int(found[2]), int(bool(found[4])), RANDOM * (found[3] != "preemptions"))


SHORT = [Case("refresh refresh", 2), Case("special normal", 1), Case("refresh refresh", 0, 1),
         Case("normal normal", 1), Case("special special", 1)]
LONG = ([Case(pair, 3 if "delete" not in pair else 1) for pair in PAIRS]
        + [Case(pair, 1, 1) for pair in PAIRS if "delete" not in pair]
        + [Case(triple, 1) for triple in TRIPLES]
        + [Case(copies, 4, random=RANDOM) for copies in [*PAIRS, *TRIPLES]])


class Judged:
    """An execution and what the checker says of it."""

    def __init__(self, copies, text, execution, history):
        self.text = f"{copies}: {text}"
        self.history = history
        self.checker = Checker(history)
        self.verdict = self.checker.check()
        self.size = (execution.preemptions(), len(text.split()), len(execution.nodes))

    def outcome(self):
        return (tuple((copy.ended.code if copy.ended else None, copy.redundant,
                       tuple(one.kind for one in copy.passes)) for copy in self.checker.copies),
                tuple(sorted((why, len(examples)) for why, examples in self.verdict.allowed.items())))

    def windows(self):
        """(why, whose, between which steps) of each request that was lost."""
        for why, examples in self.verdict.allowed.items():
            if why in LOST:
                for copies in examples:
                    yield (why, " / ".join(copy.mode.kind for copy in copies), self.where(copies))

    def working(self, copy, at):
        """The copy that last did something before line `at` of the record, if there is another."""
        others = [step for step in self.checker.steps if step.order < at and step.copy is not copy]
        return others[-1].copy if others else copy

    def where(self, copies):
        """What the first copy had done last when the last one posted; or when it was killed."""
        last = copies[-1]
        at = next((step.order for step in reversed(last.steps)
                   if step.kind.startswith(("post", "open refresh request"))), 0)
        first = copies[0] if len(copies) > 1 or last.killed else self.working(last, at)
        if first.killed:
            return f"killed after '{first.steps[-1].kind}'"
        before = [step.kind for step in first.steps if step.order < at]
        after = [step.kind for step in first.steps if step.order > at]
        return f"after '{before[-1] if before else 'start'}', before '{after[0] if after else 'end'}'"


@dataclass
class Findings:
    proof: object
    lock: object = field(default_factory=threading.Lock)
    runs: int = 0
    redundant: int = 0
    outcomes: Counter = field(default_factory=Counter)
    allowed: Counter = field(default_factory=Counter)   # that loses no request
    windows: dict = field(default_factory=dict)     # (why, whose): ([size, schedule], where)

    def take(self, case, judged):
        self.runs += 1
        self.proof.runs += len(judged.checker.copies)
        if self.runs % 50 == 0:
            print(f"  {self.runs} schedules after {time.monotonic() - self.proof.start:.0f} s", flush=True)
        self.outcomes[case.copies, judged.outcome()] += 1
        for text in judged.verdict.violations[:3]:
            self.proof.find(f"{judged.text}: {text}")
        self.allowed.update({why: len(examples) for why, examples in judged.verdict.allowed.items()
                             if why not in LOST})
        for window in judged.windows():
            shortest, places = self.windows.setdefault(window[:2], ([judged.size, judged.text], Counter()))
            places[window[2]] += 1
            shortest[:] = min(shortest, [judged.size, judged.text])

    def end(self):
        for (why, whose), ((_, text), places) in sorted(self.windows.items()):
            self.proof.figure(f"lost: {why} ({whose}; as in {text}): "
                              + "; ".join(f"{where} {count} times" for where, count in places.items()))
        for why, count in self.allowed.items():
            self.proof.figure(f"allowed {count} times: {why}")
        self.proof.end(f"{self.runs} schedules, {self.redundant} of them equal to others, "
                       f"{len(self.outcomes)} distinct outcomes, {len(self.windows)} windows")


def play(lab, copies, prepared, prefix, policy=None):
    world = Copies(lab, [MODES[copy] for copy in copies.split()], prepared)
    try:
        execution = Execution(world).play(prefix, policy)
        history = world.history()
        told_whole(lab)
        return Judged(copies, execution.text(), execution, history), execution
    finally:
        world.end()


def explore(findings, lab, case):
    prepared = prepare(lab)
    copies = case.copies.split()

    def run(prefix, policy=None):
        try:
            judged, execution = play(lab, case.copies, prepared, prefix, policy)
        except Exception as error:  # Of two in turn the second is told.
            if not is_wines_fault(error, said_by_wine(lab)):
                raise
            findings.proof.once += 1
            judged, execution = play(lab, case.copies, prepared, prefix, policy)
        with findings.lock:
            findings.take(case, judged)
        return execution

    if case.random:
        random = Random(f"{findings.proof.seed} {case}")
        calls = len(run([]).nodes)
        for _ in range(case.random):
            run([], by_priority(random, range(1, len(copies) + 1), calls, case.preemptions))
        return
    equal = tuple(range(1, len(copies) + 1)) if len(set(copies)) == 1 else ()
    rules = Rules(Dependence("delete" in copies), case.preemptions, case.kills, may_kill, equal)
    explorer = Explorer(rules, run)
    explorer.explore()
    figures = explorer.figures
    with findings.lock:
        findings.redundant += figures.redundant
    print(f"{case}: {figures.executions} schedules, {len(figures.orders)} orders, "
          f"{figures.redundant} redundant", flush=True)


def replay(lab, schedule):
    copies, _, choices = schedule.partition(":")
    prepared = prepare(lab)
    judged, _ = play(lab, copies, prepared, choices_of(choices))
    print("\n".join(story(judged.history, judged.checker.copies)))
    for why in judged.verdict.allowed:
        print(f"allowed: {why}")
    for text in judged.verdict.violations:
        print(f"FOUND: {text}")


def main():
    parser = argparse.ArgumentParser(add_help=False)
    parser.add_argument("--replay")
    parser.add_argument("--case", action="append")
    own, sys.argv[1:] = parser.parse_known_args()
    proof = Proof("Schedules")
    if own.replay:
        replay(proof.labs[0], own.replay)
        proof.end("replayed")
    findings = Findings(proof)
    cases = [Case.of(text) for text in own.case or ()] or (LONG if proof.long else SHORT)
    proof.share(lambda lab, case: explore(findings, lab, case), cases)
    findings.end()


if __name__ == "__main__":
    main()
