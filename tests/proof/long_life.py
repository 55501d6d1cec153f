"""Many runs in a row of the usual mix: files, handles, registry and memory do not grow, nor does, in
the long form, the time of a run, and each run does its work. The seed says in which order they come."""

import os
import re
import statistics
import time
from collections import defaultdict

from proof.runner import SUPPORTED, Proof

EVENT = ("-c", "-i", "NewOrChangedTask")
LOGON = ("-c", "-i", "UserLogonTask", "-IN", "-w")
REFRESH = ("-r", "-i", "PeriodicRefreshTask", "-IN", "-w")
HELP = ("-?",)
# Of a hundred runs on a machine in the field: mostly printer events that concern nobody. Each with
# the printer that changes before it, and the sibling programs that it starts.
MIX = ([(EVENT, "Anchor", 0)] * 10 + [(EVENT, "One", 2)] * 2 + [(LOGON, "Anchor", 3)] * 3
       + [(REFRESH, "Anchor", 3)] * 4 + [(HELP, "Anchor", 0)])
LONGEST_LOG = 4 * 1024 * 1024 + 4096
SWAY = 1024 * 1024      # of the server's memory, which is not the runs'
LONGER, LARGER = 1.5, 1.05      # so much more of a run's time and memory is within a machine's chance


def memory(lab):
    """Bytes that the Wine server of this lab holds, which keeps all handles and the registry."""
    return sum(int(fields[21]) for fields in lab.processes("wineserver")) * os.sysconf("SC_PAGESIZE")


def quarters(numbers):
    """The medians of the first quarter and of the last."""
    count = max(1, len(numbers) // 4)
    return statistics.median(numbers[:count]), statistics.median(numbers[-count:])


def state(lab):
    """What must be the same after every round."""
    files = re.sub(r"\t\d+ bytes", "", lab("show", "files"))
    registry = re.sub(r"(LastEvtRecordProcessed\t\w+\t)\d+", r"\1*", lab("show", "registry"))
    return files, registry, sorted(map(repr, lab.bags().items())), lab.tasks()


class Life:
    def __init__(self, proof):
        self.proof = proof
        self.lab = proof.labs[0]
        # The lab's own records, which nobody else shortens.
        self.records = [self.lab.prefix / "drive_c/ProgramData/PalvoLab" / name
                        for name in ("siblings.log", "leaks.log", "counts.log")]
        self.states, self.sizes = [], []
        self.seconds, self.peaks = defaultdict(list), defaultdict(list)
        self.largest_log = 0

    def begin(self):
        lab = self.lab
        lab("reset")
        lab("set", "windows-version", "win10")
        lab("user", "add", "alice", "admin")
        lab("user", "logon", "alice")
        lab("printer", "add", "Anchor", "Legacy V3 Driver")
        lab("printer", "add", "One", SUPPORTED)
        lab.run(*EVENT)
        lab("record", "memory")
        for record in self.records:
            record.write_bytes(b"")

    def round(self, number):
        lab, proof = self.lab, self.proof
        siblings = 0
        for arguments, printer, programs in proof.random.sample(MIX, len(MIX)):
            lab("event", "add", "306", printer)
            begin = time.monotonic()
            said = lab("run", "--timeout", "60000", "--fault", "Sleep 1 return=0 always", "--",
                       *arguments, check=False)
            self.seconds[arguments].append(time.monotonic() - begin)
            siblings += programs
            if lab.code != (1 if arguments == HELP else 0):
                proof.find(f"{arguments} ended with {lab.code} and said {said!r}")
            self.peaks[arguments].append(int(lab("show", "counts").split()[-1]))
            self.largest_log = max(self.largest_log, lab.log_path().stat().st_size)
        lab.log_lines()
        lab.wait_for(lambda: not lab.at_work(), "the end of all processes")
        if len(lab.siblings()) != siblings:
            proof.find(f"round {number} started {len(lab.siblings())} programs instead of {siblings}")
        self.states.append(state(lab))
        self.sizes.append(memory(lab))
        if self.states[-1] != self.states[0]:
            proof.find(f"round {number} left something else behind than the first")
        if lab.leaks():
            proof.find(f"left open: {lab.leaks()}")
        for record in self.records:
            record.write_bytes(b"")


def main():
    proof = Proof("Long life: many runs in a row")
    life = Life(proof)
    rounds = 500 if proof.long else 4
    life.begin()
    for number in range(rounds):
        life.round(number)
    if life.largest_log > LONGEST_LOG:
        proof.find(f"the log grew to {life.largest_log} bytes")
    early, late = quarters(life.sizes[1:])      # The first round fills caches.
    if not early or late > early + SWAY:
        proof.find(f"the server's memory grew from {early} to {late} bytes")
    medians = []
    for arguments, seconds in life.seconds.items():
        first, last = quarters(seconds)
        least, most = quarters(life.peaks[arguments])
        medians.append(f"{' '.join(arguments[:3])} {first * 1000:.0f} then {last * 1000:.0f} ms, "
                       f"{least / 1024:.1f} then {most / 1024:.1f} MiB")
        if proof.long and last > LONGER * first:
            proof.find(f"{arguments} took {first} s at first and {last} s at last")
        if not least or most > LARGER * least:
            proof.find(f"{arguments} had {least} KiB at first and {most} KiB at last")
    proof.end(f"{rounds * len(MIX)} runs, largest log {life.largest_log} bytes, server memory "
              f"{early / 2**20:.1f} then {late / 2**20:.1f} MiB, median run {'; '.join(medians)}")


if __name__ == "__main__":
    main()
