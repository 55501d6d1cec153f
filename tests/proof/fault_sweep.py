"""Every call that the program makes into Windows is made to fail, one after the other, in every mode.
The functions are found from the executable itself. After each such run one ordinary run must do what
the failed one was asked for, and leave everything as it is where nothing failed.
"""

import re
from collections import Counter
from dataclasses import dataclass, replace

from proof.fault_cases import (
    BOX, CLOSES_LOG, DELETE_LOG, DRIVER, EVENT, FORGETS_POSITION, GIVES_BACK, INSTALL, LOGON, LOSES_EVENT,
    LOSES_REQUEST, NAMELESS, NOTHING, NO_FAILURE, ON_DEMAND, OUT_OF_REACH, PROMPT, RAISES, REDUNDANTS,
    RUNTIMES, SCANNING, SITUATIONS, SKIPPING, SWITCHED_OFF, TEXTLESS, TRIM, UNINSTALL, WAITING,
    cases_after, cases_of, unknown_functions)
from proof.recorded_history import CALL, step_of
from proof.runner import ROOT, SUPPORTED, Kept, Proof

LIMIT_MS = 20000        # that a run with a fault may take
CRASH = 0xC0000000      # exit codes from here on are those of the system's exceptions
ABORTED = 3             # the C runtime's code for an exception that nobody caught
DONE = "NewOrChanged event done...exiting."
OURS, FOREIGN = "7.0:", "6.0:A,B"       # the program's list of applications, and another's


def let_end(lab):
    """Lets everything end that is at work, what is held too."""
    lab("sibling", "writer", "--release")
    lab.wait_for(lambda: not lab.at_work(), "the end of all programs")


def prepare(lab, mode):
    if lab.at_work():
        let_end(lab)
    lab("reset")
    lab("set", "windows-version", "win10")
    lab("user", "add", "alice", "admin")
    lab("user", "logon", "alice")
    lab("set", "bag-value", "alice", "DesktopAppGUIDs", FOREIGN)
    lab("printer", "add", "Anchor", "Legacy V3 Driver")
    lab("printer", "add", "One", SUPPORTED)
    if mode == UNINSTALL:
        lab("run", "--", "-IT")
    if mode == TRIM:
        lab.log_path().parent.mkdir(parents=True, exist_ok=True)
        line = b"[11/21/2026 7:50:40 AM] PalvoPrinterConfiguration(PID1): x\r\n"
        lab.log_path().write_bytes(line * (4 * 1024 * 1024 // len(line) + 1))
    if mode in (PROMPT, BOX):
        lab("set", "debugger-prompt", "ALWAYS")
    if mode == BOX:
        lab("set", "window-station", "visible")
        lab("set", "box-returns", "1")
    if mode == SWITCHED_OFF:
        lab("set", "machine-switch", "0")
    if mode == ON_DEMAND:
        lab("sibling", "writer", "--take", "150")
        lab("set", "message-queue", "10 11 quit")
    if mode == NOTHING:
        run(lab, mode)
    if mode.beside:
        lab("sibling", "writer", "--hold")
        working = lab.start(*mode.beside)
        lab.wait_for(lambda: any(run.name == "writer" and run.parent == working
                                 for run in lab.siblings()), "the working copy's writer")
        lab("sibling", "writer", "--hold-no-more")


def run(lab, mode, *options):
    """The exit code, None when the run had to be ended, the process id, and what it printed."""
    if mode.posted:
        lab("sibling", "query", "--posts", mode.posted)
    said = lab("run", *options, "--print-exit", "--account", mode.account, "--timeout", str(LIMIT_MS),
               "--fault", "Sleep 1 return=0 always", "--", *mode.arguments, check=False)
    found = re.search(r"palvo-lab: exit (\d+) pid (\d+)\n$", said)
    if not found and lab.code != 124:
        raise AssertionError(f"palvo-lab ended with {lab.code}: {said}")
    return (int(found[1]), int(found[2]), said[:found.start()]) if found else (None, 0, said)


def lines_of(lab, case):
    """The log's lines; every one must be whole."""
    if case.function not in NAMELESS or not lab.log_bytes():
        return lab.log_lines()
    log = lab.parse_log(lab.log_bytes().replace(b"] (PID", b"] PalvoPrinterConfiguration(PID")
                        .replace(b"[] ", b"[11/21/2026 7:50:40 AM] "))
    lab.log_path().unlink()
    return log


def check_faulted(lab, case, code, pid, printed):
    if code is None:
        raise AssertionError(f"did not end within {LIMIT_MS} ms")
    said = [text for of, text in lines_of(lab, case) if of == pid]
    # Every exception is caught in the new-or-changed scheme, until it is done.
    in_scheme = any(text.startswith("-Processing NewOrChanged event") for text in said) and (
        DONE not in said)
    aborted = code == ABORTED and case.function in RAISES and not in_scheme
    # It ends at once rather than go on as somebody else.
    aborted = aborted or (code == 1 and case.function == "SetThreadToken")
    good = code in case.mode.codes or (case.mode == DRIVER and 0x80000000 <= code < CRASH)
    if good and code == 1 and case.mode in [*WAITING, NOTHING, *REDUNDANTS]:
        # It says so in the log or on standard output, unless the text itself could not be made.
        good = case.function in TEXTLESS or any(
            text.startswith("-Redundant instance") for text in [*said, printed])
    if not good and not aborted:
        raise AssertionError(f"exit code {code} (0x{code:x}), and it said {said[-3:]}")
    check_leaks([] if aborted else lab.leaks(), case)


def check_leaks(leaks, case):
    """What could not be given back stays open, and nothing else."""
    kinds = GIVES_BACK.get(case.function)
    excused = [leak for leak in leaks if kinds and re.search(rf" leak ({kinds}) ", leak)]
    if len(leaks) > (len(excused) if case.always else min(len(excused), 1)):
        raise AssertionError(f"left open: {leaks}")


@dataclass
class Outcome:
    """What one run did and left behind, but for numbers, which differ from run to run."""
    code: int
    said: list
    siblings: list
    prompts: int
    bags: dict
    tasks: list
    channel: tuple
    drivers: str
    position: tuple     # how far from the newest event


def without_numbers(text):
    return re.sub(r"\d+", "#", text)


def siblings_of(lab, pid):
    return sorted((run.name, run.account, without_numbers(run.arguments)) for run in lab.siblings()
                  if run.parent == pid)


def position_of(lab):
    newest = int(lab("event", "list").splitlines()[-1].split("\t")[0])
    kind, number = lab.scan_position() or ("none", 0)
    return kind, number - newest


def outcome(lab, mode, trims=True):
    """Of a run without a fault, and of the programs that it starts; whether it can trim the log."""
    prompts = len(lab("show", "messages").splitlines())
    code, pid, _ = run(lab, mode)
    if code is None:
        at_work = [sibling for sibling in lab.siblings() if not sibling.ended]
        raise AssertionError(f"a run without a fault did not end within {LIMIT_MS} ms. The log ends with "
                             f"{lab.log()[-3:]}. At work are {at_work}.")
    lab.wait_for(lambda: not lab.at_work(), "the end of all programs")
    if mode == TRIM and trims and lab.log_path().stat().st_size > 4 * 1024 * 1024:
        raise AssertionError("the log was not trimmed")
    return Outcome(
        code, [without_numbers(text) for of, text in lab.log_lines()
               if of == pid and text != "Log trimmed."],
        siblings_of(lab, pid), len(lab("show", "messages").splitlines()) - prompts, lab.bags(),
        [(name, {what: without_numbers(value) for what, value in lab.raw_task(name).items()})
         for name in lab.tasks()],
        lab.channel(), lab("driver", "list"), position_of(lab) if mode in SCANNING + [INSTALL] else None)


class Normal:
    """What runs of each mode come to where nothing fails and no other copy is at work."""

    def __init__(self, lab):
        self.lab = lab
        self.outcomes = {mode: self.outcome_of(mode.alone()) for mode in SITUATIONS}

    def outcome_of(self, mode):
        prepare(self.lab, mode)
        found = outcome(self.lab, mode)
        check_normal(mode, found)
        return found


def expect(good, found):
    if not good:
        raise AssertionError(f"this is no normal run: {found}")


def check_normal(mode, found):
    """That a run to compare with has done its work."""
    expect(found.code == mode.code, found)
    names = [name for name, _, _ in found.siblings]
    works = mode in WAITING or mode in [redundant.alone() for redundant in REDUNDANTS]
    if works:
        passes = 2 if mode.posted and mode != SKIPPING else 1
        # Two of them prepare the suite's applications too.
        expect(names == ["query"] * passes + ["writer"] * (passes + ("-w" in mode.arguments)), found)
        expect(any({"UserId", "DeviceId", "IsAdmin"} <= set(bag) for bag in found.bags.values()), found)
    else:
        expect(names == ["writer"] * (mode in (PROMPT, BOX)), found)
    lists = [bag.get("DesktopAppGUIDs", ("", ""))[1] for bag in found.bags.values()]
    if works or mode in (INSTALL, NOTHING):
        expect(all(OURS in text for text in lists), found)
    else:
        expect(not any(OURS in text for text in lists), found)
    expect(sum(FOREIGN in text.split("*") for text in lists) == 1, found)
    expect(len(found.tasks) == (3 if mode == INSTALL else 0), found)
    if mode in (INSTALL, UNINSTALL):
        expect(found.channel[0] == ("on" if mode == INSTALL else "off"), found)
    expect(mode != DRIVER or "\nPalvo Orvela PV6 PS\tversion 4\tinstalled\t" in found.drivers, found)
    expect(found.prompts == (1 if mode in (PROMPT, BOX) else 0), found)
    expect(mode != INSTALL or found.position == ("REG_QWORD", -2), found)
    expect(mode not in (EVENT, SKIPPING, LOGON, NOTHING) or found.position == ("REG_QWORD", 0), found)
    last = {DELETE_LOG: "# Invoked to delete log file. Done...exiting.",
            NOTHING: "- No supported printers need to be processed. Done. Exiting."}
    expect(mode not in last or found.said[-1] == last[mode], found)
    expect(not works or "-c" not in mode.arguments or DONE in found.said[-3:], found)
    skipped = [text for text in found.said if text.startswith("## Skipping queued")]
    expect(len(skipped) == (mode == SKIPPING), found)
    expect(mode != SWITCHED_OFF or not found.said, found)


def passes_begun(lab):
    return sum(run.name == "writer" and "-w" not in run.arguments for run in lab.siblings())


def allow(notes, what, case, functions):
    """Tells what the program's rules let be lost where one of these functions fails."""
    if case.function not in functions:
        raise AssertionError(what)
    notes.append(f"{what}: {case.function}")


def own_lists(bags):
    """The bags with the program's own entries alone in the lists of applications. What could not be read
    of a list counts as nothing and is written over, and what was read in its place is another's entry."""
    own = {hive: dict(values) for hive, values in bags.items()}
    for values in own.values():
        kind, text = values.get("DesktopAppGUIDs", ("", ""))
        values["DesktopAppGUIDs"] = kind, [entry for entry in text.split("*") if entry.startswith(OURS)]
    return own


def check_repair(lab, case, normal, failed, notes):
    """One run of the same mode does what the failed one was asked for, and leaves everything as if
    nothing had failed."""
    mode = case.mode
    wanted = normal.outcomes[mode]
    let_end(lab)    # A program that nobody waited for, too: it may not have come to its first line.
    served = passes_begun(lab) > failed.passes_before
    if mode.beside and failed.code == 1 and not served:
        allow(notes, "a redundant copy's request was lost", case, LOSES_REQUEST)
    position = (lab.scan_position() or ("", 0))[1]
    if mode == NOTHING and position < 2:
        allow(notes, "the position went back", case, FORGETS_POSITION)
        wanted = normal.outcomes[EVENT]
    elif mode in SCANNING and mode != NOTHING and position >= 2:
        if not served:
            allow(notes, "an event was left behind", case, LOSES_EVENT)
        lab("printer", "change", "One")
    found = outcome(lab, mode.alone(), trims=case.function not in CLOSES_LOG)
    if wanted.said and not found.said:
        allow(notes, "the log was closed to the program", case, CLOSES_LOG)
        wanted = replace(wanted, said=[])
    if case.function == "RegQueryValueExW":
        if not any(FOREIGN in bag.get("DesktopAppGUIDs", ("", ""))[1] for bag in found.bags.values()):
            notes.append("another program's entry was written over: RegQueryValueExW")
        wanted, found = (replace(each, bags=own_lists(each.bags)) for each in (wanted, found))
    for field in Outcome.__dataclass_fields__:
        if getattr(found, field) != getattr(wanted, field):
            raise AssertionError(f"the ordinary run afterwards has {field} {getattr(found, field)} "
                                 f"instead of {getattr(wanted, field)}")


@dataclass
class Counted:
    """The calls of a normal run."""
    calls: dict             # {function: how many}
    instance_wait: int      # which of its waits is the one for the instance


def count_calls(lab, mode):
    prepare(lab, mode)
    lab("record", "counts")
    code, pid, _ = run(lab, mode)
    if code != mode.code:
        raise AssertionError(f"a normal run of '{mode.name}' ended with {code}")
    of_run = (line.split() for line in lab("show", "counts").splitlines())
    calls = {name: int(count) for of, name, count in of_run if int(of) == pid}
    prepare(lab, mode)
    lab("record", "on", "WaitForSingleObject")
    _, pid, _ = run(lab, mode)
    waits = [call for call in map(CALL.fullmatch, lab("show", "calls").splitlines())
             if call and int(call[2]) == pid]
    instance_waits = [number for number, call in enumerate(waits, 1)
                      if " instance" in (step_of(call[3], call[4], int(call[5], 0)) or [""])[0]]
    return Counted(calls, min(instance_waits, default=0))


def imports(lab):
    """The functions that the executable imports and that can fail."""
    return {name for _, name, _, kind in (line.split("\t") for line in lab("imports").splitlines())
            if kind == "can fail"}


def source():
    return "".join(path.read_text() for path in sorted((ROOT / "src").rglob("*"))
                   if path.suffix in (".cpp", ".h"))


def choose(proof, mode, counted, functions):
    """All cases of a mode, or one of each of its functions, of two out of ten this time."""
    for function in functions:
        cases = list(cases_of(mode, function, counted.calls[function], counted.instance_wait))
        if proof.long:
            yield from cases
        elif cases and proof.random.random() < 0.2:
            yield proof.random.choice(cases)


@dataclass
class Failed:
    """The run in which something failed."""
    code: int
    passes_before: int      # that were run before it


def main():
    proof = Proof("Fault sweep: every call into Windows fails in turn")
    lab = proof.labs[0]
    imported = imports(lab)
    can_fail = imported - NO_FAILURE - RUNTIMES
    cases, called, calls = cases_after(), set(), 0
    for mode in SITUATIONS:
        counted = count_calls(lab, mode)
        functions = sorted(name for name in counted.calls if name in can_fail or "::" in name)
        called |= set(functions)
        calls += sum(counted.calls[name] for name in functions)
        cases += choose(proof, mode, counted, functions)
    for unknown in unknown_functions(imported, called, source()):
        proof.find(unknown)
    normal = {own: Normal(own) for own in proof.labs}

    def work(own, case):
        prepare(own, case.mode)
        passes = passes_begun(own)
        own("record", "on", "CreateProcessW", "CreateProcessAsUserW")
        code, pid, printed = run(own, case.mode, "--fault", case.fault())
        if not re.search(rf" {pid} {case.function} call \d+ fault ", own("show", "calls")):
            if case.before:
                raise AssertionError("the call was not made")
            proof.notes.append(f"the run ended before the call: {case.function}")
        check_faulted(own, case, code, pid, printed)
        check_repair(own, case, normal[own], Failed(code, passes), proof.notes)

    proof.share(work, cases, Kept("fault_sweep", "fault_sweep.py", "fault_cases.py",
                                  "recorded_history.py") if proof.long else None)
    for function, reason in OUT_OF_REACH.items():
        print(f"  not reached: {function}: {reason}")
    for note, times in sorted(Counter(proof.notes).items()):
        proof.figure(f"{times} x {note}")
    proof.end(f"{len(SITUATIONS)} modes, {len(called)} functions and methods, {calls} calls in normal "
              f"runs, {len(cases)} runs with a fault")


if __name__ == "__main__":
    main()
