"""The runs in which nothing fails: what the others are compared with."""

import re
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, field

from proof.fault_cases import (
    BOX, DELETE_LOG, DRIVER, EVENT, FOREIGN, INSTALL, LOGON, NOTHING, ON_DEMAND, PROMPT, REDUNDANT,
    REDUNDANT_LOGON, REDUNDANT_REFRESH, REFRESH, SITUATIONS, SKIPPING, SWITCHED_OFF, TRIM, UNINSTALL, WAITING)
from proof.fault_facts import OURS, Facts
from proof.fault_run import observe, prepare
from proof.recorded_history import CALL, step_of
from proof.wine_faults import is_wines_fault

POLL_MS = 100           # in which the program looks at a child

# What the query program is asked in each pass of a run in which nothing fails.
PASSES = {EVENT: ['-e "One"'], SKIPPING: ['-e "One"'], LOGON: ["-c", '-e "One"'], REFRESH: [""],
          ON_DEMAND: ["", ""],
          REDUNDANT.alone(): ['-e "One"'], REDUNDANT_LOGON.alone(): ["-c"], REDUNDANT_REFRESH.alone(): [""]}
# And what such a run does besides.
DONE = {
    EVENT: "the position is REG_QWORD, 0", SKIPPING: "line ## Skipping queued",
    LOGON: "the position is REG_QWORD, 0",
    NOTHING: "line - No supported printers need to be processed. Done. Exiting.",
    REDUNDANT: "print -Redundant instance for a NewOrChanged event",
    REDUNDANT_LOGON: "print -Redundant instance for a special NewOrChanged event",
    REDUNDANT_REFRESH: "print -Redundant instance for Refresh event",
    INSTALL: "the position is REG_QWORD, -2",
    UNINSTALL: "the channel is off", DELETE_LOG: "line # Invoked to delete log file. Done...exiting.",
    DRIVER: "the driver Palvo Orvela PV6 PS\tversion 4\tinstalled", TRIM: "the log keeps the tail",
    PROMPT: "the message ", BOX: "the message ",
}


def check_normal(situation, facts):
    """That a run to compare with has done its work."""
    passes = PASSES.get(situation, [])
    lists = {thing.split(" has ")[0] for thing in facts.things if thing.startswith("the list of ")}
    ours = {thing.split(" has ")[0] for thing in facts.things
            if thing.startswith("the list of ") and thing.endswith(OURS)}
    everything = [*(f"line {line}" for line in facts.lines), *(f"print {text}" for text in facts.printed),
                  *facts.things]
    good = [
        facts.code == situation.code,
        [program for program in facts.programs if program.startswith("query")] == [
            f"query as LocalService: {asked}" for asked in passes],
        [program[:16] for program in facts.programs] == [
            "query as LocalSe", "writer as SYSTEM"] * len(passes),
        any(thing.startswith("behind") for thing in facts.things) == (
            not {"-w", "-UN"}.isdisjoint(situation.arguments)),
        all(any(thing.startswith(f"{value} of alice is ") for thing in facts.things) == bool(
            passes or situation == NOTHING) for value in ("UserId", "DeviceId", "IsAdmin")),
        ours == (lists if passes or situation in (INSTALL, NOTHING) else set()),
        f"the list of alice has {FOREIGN}" in facts.things,
        sum(re.fullmatch("the task [^=]*", thing) is not None and " has " not in thing
            for thing in facts.things) == (3 if situation == INSTALL else 0),
        bool(facts.lines) == (situation != SWITCHED_OFF),
        any(thing.startswith(DONE.get(situation, "line" if facts.lines else "")) for thing in everything),
    ]
    if not all(good):
        raise AssertionError(f"this is no normal run of '{situation.name}': {good}, {facts}")


@dataclass
class Normal:
    """A run in which nothing fails."""
    facts: Facts
    calls: dict = field(default_factory=dict)   # {function: how many}
    waits: int = 0          # for anything up to the first look at a child
    instance_wait: int = 0  # which of them is the one for the instance


def normal_run(lab, situation):
    prepare(lab, situation)
    lab("record", "counts")
    run = observe(lab, situation)
    check_normal(situation, run.facts)
    of_run = (line.split() for line in lab("show", "counts").splitlines())
    normal = Normal(run.facts, {name: int(count) for of, name, count in of_run if int(of) == run.pid})
    if situation in WAITING:
        prepare(lab, situation)
        lab("record", "on", "WaitForSingleObject")
        pid = observe(lab, situation).pid
        waits = [call[4] for call in map(CALL.fullmatch, lab("show", "calls").splitlines())
                 if call and int(call[2]) == pid]
        normal.instance_wait = 1 + next(at for at, wait in enumerate(waits) if is_for_instance(wait))
        normal.waits = 1 + next(at for at, wait in enumerate(waits) if wait.endswith(f", {POLL_MS}"))
    return normal


def tried_twice(proof, lab, situation):
    try:
        return normal_run(lab, situation)
    except AssertionError as error:
        if not is_wines_fault(error):
            raise
        proof.once += 1
        return normal_run(lab, situation)


def is_for_instance(wait):
    return (step_of("WaitForSingleObject", wait, 0) or [""])[0].endswith(" instance")


def normal_runs(proof):
    """{situation: its normal run}, of those without the copy that is at work, too. All labs are alike."""
    situations = list(dict.fromkeys([*SITUATIONS, *(situation.alone() for situation in SITUATIONS)]))
    with ThreadPoolExecutor(len(proof.labs)) as pool:
        halves = pool.map(lambda at: [(situation, tried_twice(proof, proof.labs[at], situation))
                                      for situation in situations[at::len(proof.labs)]],
                          range(len(proof.labs)))
        return {situation: normal for half in halves for situation, normal in half}
