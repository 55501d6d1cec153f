"""Every call that the program makes into Windows is made to fail, one after the other, in every mode.
The functions are found from the executable itself. The run may lose what the rules let be lost there, and
nothing else. After it one ordinary run must do what the failed one was asked for, and leave everything as
it is where nothing failed.
"""

import fnmatch
import re
from collections import Counter
from dataclasses import dataclass, replace

from proof.fault_cases import (
    ALIKE, CLOSES_LOG, EVENT, FOREIGN, FORGETS_POSITION, GIVES_BACK, LEAVES_COPY, LOSES_EVENT, LOSES_REQUEST,
    NOTHING, NO_FAILURE, OUT_OF_REACH, RUNTIMES, SCANNING, SITUATIONS, TRIM, cases_after, cases_of,
    unknown_functions)
from proof.fault_facts import COPY, OURS, differences
from proof.fault_judge import begins, judge
from proof.fault_normal import normal_runs
from proof.fault_pairs import kills, once_found, pairs, regressions
from proof.fault_rules import losses_of
from proof.fault_run import let_end, observe, prepare
from proof.recorded_history import KILLED
from proof.runner import ROOT, Kept, Proof
from proof.trimmed_log import LARGEST

ABORTED = 3             # the C runtime's code for an exception that nobody caught
SOURCES = [f"fault_{part}.py" for part in (
    "cases", "facts", "judge", "losses", "normal", "pairs", "rules", "run", "sweep")]


def check_faulted(lab, case, wanted, found):
    wrong = judge(losses_of(case), differences(wanted, found), case.often)
    if wrong:
        raise AssertionError(wrong)
    # The channel's size that cannot be set has the exception's code.
    aborted = found.code == ABORTED and not any("MAx Size" in text for text in found.printed)
    ends_at_once = aborted or found.code == KILLED or case.function == "SetThreadToken"
    if ends_at_once and not case.before and not begins(wanted, found):
        raise AssertionError(f"it ended and lost what came before: {list(differences(wanted, found))}")
    check_leaks([] if ends_at_once else lab.leaks(), case)


def check_killed(facts, there):
    """That what must have been done by then has been."""
    done = [*(f"line {line}" for line in facts.lines), *(f"program {program}" for program in facts.programs),
            *facts.things]
    for pattern in there:
        if not fnmatch.filter(done, pattern):
            raise AssertionError(f"it was killed, and this is not there: {pattern}; there is {done}")


def check_leaks(leaks, case):
    """What could not be given back stays open, and nothing else."""
    kinds = GIVES_BACK.get(case.function)
    excused = [leak for leak in leaks if kinds and re.search(rf" leak ({kinds}) ", leak)]
    if len(leaks) > (len(excused) if case.always else min(len(excused), 1)):
        raise AssertionError(f"left open: {leaks}")


def passes_begun(lab):
    return sum(run.name == "writer" and "-w" not in run.arguments for run in lab.siblings())


def allow(notes, what, case, functions):
    """Tells what the program's rules let be lost where one of these functions fails, or a copy is killed."""
    if not case.kills and functions.isdisjoint(case.failing):
        raise AssertionError(what)
    notes.append(f"{what}: {case.function}")


def without_others(facts):
    """Without other programs' entries in the lists of applications. What could not be read of a list counts
    as nothing and is written over, and what was read in its place is another's entry."""
    return replace(facts, things={thing for thing in facts.things
                                  if not thing.startswith("the list of ") or thing.endswith(OURS)})


def without_trim(facts):
    """Without what tells that the log was trimmed: in that one run, or in the one before."""
    return replace(facts, lines=[line for line in facts.lines if line != "Log trimmed."],
                   things={thing for thing in facts.things
                           if thing != COPY and not thing.startswith("the log keeps ")})


@dataclass
class Failed:
    """The run in which something failed."""
    code: int
    passes_before: int      # that were run before it


def check_repair(lab, case, normal, failed, notes):
    """One run of the same mode does what the failed one was asked for, and leaves everything as if
    nothing had failed."""
    mode = case.mode
    wanted = normal[mode.alone()].facts
    let_end(lab)    # A program that nobody waited for, too: it may not have come to its first line.
    served = passes_begun(lab) > failed.passes_before
    if mode.beside and failed.code == 1 and not served:
        allow(notes, "a redundant copy's request was lost", case, LOSES_REQUEST)
    position = (lab.scan_position() or ("", 0))[1]
    if mode == NOTHING and position < 2:
        allow(notes, "the position went back", case, FORGETS_POSITION)
        wanted = normal[EVENT].facts
    elif mode in SCANNING and mode != NOTHING and position >= 2:
        if not served:
            allow(notes, "an event was left behind", case, LOSES_EVENT)
        lab("printer", "change", "One")
    found = observe(lab, mode.alone()).facts
    if mode == TRIM and CLOSES_LOG.isdisjoint(case.failing) and lab.log_path().stat().st_size > LARGEST:
        raise AssertionError("the log was not trimmed")
    if wanted.lines and not found.lines:
        allow(notes, "the log was closed to the program", case, CLOSES_LOG)
        wanted = replace(wanted, lines=[])
    if COPY in found.things:
        allow(notes, "a copy of the log was left for the next trim", case, LEAVES_COPY)
    wanted, found = without_trim(wanted), without_trim(found)
    if case.function == "RegQueryValueExW":
        if not any(FOREIGN in thing for thing in found.things):
            notes.append("another program's entry was written over: RegQueryValueExW")
        wanted, found = without_others(wanted), without_others(found)
    if different := list(differences(wanted, found)):
        raise AssertionError(
            f"the ordinary run afterwards differs from one that nothing preceded: {different}")


def imports(lab):
    """The functions that the executable imports and that can fail."""
    return {name for _, name, _, kind in (line.split("\t") for line in lab("imports").splitlines())
            if kind == "can fail"}


def source():
    return "".join(path.read_text() for path in sorted((ROOT / "src").rglob("*"))
                   if path.suffix in (".cpp", ".h"))


def groups_of(normal, can_fail):
    """The cases, those of one function in modes that are alike together."""
    for situations in ALIKE:
        for function in sorted({name for situation in situations for name in normal[situation].calls}):
            if function in can_fail or "::" in function:
                yield [case for situation in situations if function in normal[situation].calls
                       for case in cases_of(situation, function, normal[situation])]


def choose(proof, groups):
    """All cases, or one of every tenth group: ten seeds in a row have one of each."""
    for number, cases in enumerate(groups):
        if proof.long:
            yield from cases
        elif (number + proof.seed) % 10 == 0:
            yield proof.random.choice(cases)


def main():
    proof = Proof("Fault sweep: every call into Windows fails in turn")
    imported = imports(proof.labs[0])
    can_fail = imported - NO_FAILURE - RUNTIMES
    normal = normal_runs(proof)
    calls = Counter({(situation, name): count for situation in SITUATIONS
                     for name, count in normal[situation].calls.items() if name in can_fail or "::" in name})
    called = {name for _, name in calls}
    for unknown in unknown_functions(imported, called, source()):
        proof.find(unknown)
    there = dict(kills())
    special = [[case] for case in (*cases_after(), *pairs(), *there)]
    groups = [group for group in (*groups_of(normal, can_fail), *special) if group]
    cases = dict.fromkeys([*regressions(once_found()), *choose(proof, groups)])

    def work(own, case):
        prepare(own, case.mode)
        passes = passes_begun(own)
        own("record", "on", "CreateProcessW", "CreateProcessAsUserW")
        failed = observe(own, case.mode, "--fault", case.fault())
        if not re.search(rf" {failed.pid} {case.function} call \d+ fault ", own("show", "calls")):
            if case.before:
                raise AssertionError("the call was not made")
            proof.notes.append(f"the run ended before the call: {case.function}")
        check_faulted(own, case, normal[case.mode].facts, failed.facts)
        check_killed(failed.facts, there.get(case, []))
        check_repair(own, case, normal, Failed(failed.facts.code, passes), proof.notes)

    proof.share(work, cases, Kept("fault_sweep", *SOURCES, "regressions.txt", "recorded_history.py")
                if proof.long else None)
    for function, reason in OUT_OF_REACH.items():
        print(f"  not reached: {function}: {reason}")
    for note, times in sorted(Counter(proof.notes).items()):
        proof.figure(f"{times} x {note}")
    proof.end(f"{len(SITUATIONS)} modes, {len(called)} functions and methods, {calls.total()} calls in "
              f"normal runs, {len(cases)} runs with a fault")


if __name__ == "__main__":
    main()
