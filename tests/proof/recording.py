"""Runs copies of the program in the lab, and takes down their history."""

import re
import tempfile
import time
from collections import Counter
from contextlib import contextmanager
from pathlib import Path

import lab as system
from proof.program_promises import RECORDED
from proof.recorded_history import Ended, History, SiblingRun
from proof.wine_faults import told_whole

PATIENCE = 10       # seconds, for a process that was made


@contextmanager
def lanes_of(lab, count):
    """That many lanes. When Wine ended a process meanwhile, it raises that: it explains what else was
    raised."""
    lab.given_up()      # What is known of an earlier history explains nothing here.
    lanes = [Lane(lab) for _ in range(count)]
    try:
        yield lanes
    finally:
        for lane in lanes:
            lane.server.end()
        told_whole(lab, [lane.server for lane in lanes])


class Lane:
    """One process of the lab of its own, so that several bursts can be under way."""

    def __init__(self, lab):
        self.lab = lab
        self.server = system.Server(lab.prefix)

    def __call__(self, *arguments):
        # The scheduler's starts are told by its history.
        return system.STARTS.sub("", self.server.ask(arguments)[0])

    def run(self, arguments, options=()):
        """Runs one copy, and tells how it ended."""
        after = recorded(self.lab)
        said = self("run", *options, "--print-exit", "--raw", arguments)
        found = re.search(r"palvo-lab: exit (\d+) pid (\d+)\n$", said)
        if not found:
            raise AssertionError(f"'{arguments}' with {options} did not start: {said}")
        return Ended(int(found[2]), int(found[1]), said[:found.start()], after, recorded(self.lab))

    def burst(self, lines):
        """Starts one copy a line together, and tells how each ended. A line may begin with @ and the account;
        else it is SYSTEM."""
        after = recorded(self.lab)
        with tempfile.TemporaryDirectory() as folder:
            commands = Path(folder) / "burst.txt"
            # A line without arguments would be left out, but not one with an account.
            lines = [line if line.startswith("@") else f"@SYSTEM {line}".strip() for line in lines]
            commands.write_text("\n".join(lines) + "\n")
            printed = self("burst", "--output-dir", folder, str(commands))
            before = recorded(self.lab)
            ends = re.findall(r"^pid (\d+)\texit (\d+)", printed, re.MULTILINE)
            if len(ends) != len(lines):
                raise AssertionError(f"a burst of {len(lines)} copies told of {len(ends)}:\n{printed}")
            return [Ended(int(pid), int(code), Path(folder, f"{number}.out").read_bytes()
                          .decode("cp1252").replace("\r\n", "\n"), after, before, line.split()[0][1:])
                    for number, ((pid, code), line) in enumerate(zip(ends, lines), 1)]


def record_path(lab):
    return lab.prefix / "drive_c/ProgramData/PalvoLab/calls.log"


def recorded(lab):
    """How many lines the record has."""
    path = record_path(lab)
    return path.read_bytes().count(b"\n") if path.is_file() else 0


def sibling_runs(lab):
    runs = []
    for line in lab("show", "siblings").splitlines():
        part = line.split("\t", 7)
        command = re.sub(r'^"?' + re.escape(system.SUITE) + r'\\\w+\.exe"?', "", part[7])
        runs.append(SiblingRun(int(part[1].split()[1]), part[4].removeprefix("start "),
                               "" if part[5] == "running" else part[5].removeprefix("end "), command))
    return runs


def prepare(lab, quick=False):
    """Two users, one printer, the record on; the log's lines about the users' values, or nothing when
    it has to be quick."""
    lab("reset")
    lab("set", "windows-version", "win10")
    for name, kind in (("alice", "admin"), ("bob", "standard")):
        lab("user", "add", name, kind)
        lab("user", "logon", name)
    lab("printer", "add", "Anchor", "Legacy V3 Driver")
    users = []
    if not quick:
        users = [line for line in lab.run("-c").log if line.startswith("Updated UserPropertyBag")]
        lab.log_path().unlink()
    lab("record", "on", *RECORDED)
    return users


def task_ends(lab):
    """(process id, exit code) of every copy that the scheduler started, in the order of their ends."""
    return [(int(pid), int(code, 16)) for pid, code in re.findall(
        r"^finished: .*: process (\d+): (0x[0-9a-f]+)$", "\n".join(lab.history()), re.MULTILINE)]


def record_text(lab):
    return record_path(lab).read_text("utf-8", "replace")


def wait_for_quiet(lab, ended):
    """Waits for the end of every copy and every sibling; `ended`: the copies that somebody waited for."""
    def at_rest():
        lab("tasks", "wait")
        starts = re.findall(r"^\S+ (\d+) process started: ", record_text(lab), re.MULTILINE)
        living = Counter(map(int, starts))
        living.subtract(one.pid for one in ended)
        living.subtract(pid for pid, _ in task_ends(lab))
        return not +living and all(run.end for run in sibling_runs(lab))

    # The first time may start tasks for what a program did last.
    lab.wait_for(lambda: at_rest() and at_rest(), "the end of all copies")


def collect(lab, users, ended, kills=False):
    """Waits for the end of every copy, and reads what is recorded."""
    def traced():
        made = Counter(map(int, re.findall(r' CreateProcess\w+\(.*, "pid (\d+)"\) = 1 ', record_text(lab))))
        made.subtract(run.pid for run in sibling_runs(lab))
        return not +made

    wait_for_quiet(lab, ended)
    # A program in the background may not have come to its first line yet. Some Wine never brings there.
    patience = time.monotonic() + PATIENCE
    while not traced() and time.monotonic() < patience:
        time.sleep(0.05)
    wait_for_quiet(lab, ended)
    lines = record_text(lab).splitlines()
    # Those of the first run, which was not recorded, are not the history's.
    runs = [run for run in sibling_runs(lab) if run.start > lines[0].split()[0]]
    return History(lines, lab.log_bytes(), runs, ended, task_ends(lab), users, kills=kills,
                   turns=[])
