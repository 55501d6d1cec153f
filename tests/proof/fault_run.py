"""Prepares a situation, runs the program in it, and sees what it did."""

import re
from dataclasses import dataclass

from proof.fault_cases import (
    BOX, FOREIGN, NOTHING, ON_DEMAND, PROMPT, SWITCHED_OFF, TRIM, UNINSTALL)
from proof.fault_facts import LONG_LOG, Facts, facts_of
from proof.runner import SUPPORTED

LIMIT_MS = 20000        # that a run with a fault may take


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
        lab.log_path().write_bytes(LONG_LOG)
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


def lines_of(lab, pid):
    """Its lines of the log; every line must be whole, though not each has the time and the program's name."""
    log = re.sub(rb"^\[\] ", b"[11/21/2026 7:50:40 AM] ", lab.log_bytes(), flags=re.MULTILINE)
    log = re.sub(rb"\] \(PID", b"] PalvoPrinterConfiguration(PID", log)
    return [text for of, text in lab.parse_log(log) if of == pid]


def at_work(lab):
    return sum(1 for _ in lab.processes("PalvoPrinter"))


@dataclass
class Run:
    """One run, and what was so when it had ended."""
    pid: int
    facts: Facts


def observe(lab, situation, *options):
    """Runs the program and waits for the programs that it started."""
    others, prompts = at_work(lab) if situation.beside else 0, len(lab("show", "messages").splitlines())
    code, pid, printed = run(lab, situation, *options)
    if code is None:
        raise AssertionError(f"did not end within {LIMIT_MS} ms. The log ends with {lab.log()[-3:]}. At work "
                             f"are {[sibling for sibling in lab.siblings() if not sibling.ended]}.")
    lab.wait_for(lambda: at_work(lab) <= others, "the end of the programs that it started")
    return Run(pid, facts_of(lab, situation, code, pid, printed, lines_of(lab, pid), prompts))
