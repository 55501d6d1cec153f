"""Many runs in a row of the usual mix: files, handles, registry and memory do not grow, nor does, in
the long form, the time of a run."""

import os
import re
import statistics
import time

from proof import SUPPORTED, Proof

# Of a hundred runs on a machine in the field: mostly printer events that concern nobody.
MIX = ([("-c", "-i", "NewOrChangedTask")] * 12 + [("-c", "-i", "UserLogonTask", "-IN", "-w")] * 3
       + [("-r", "-i", "PeriodicRefreshTask", "-IN", "-w")] * 4 + [("-?",)])
LONGEST_LOG = 4 * 1024 * 1024 + 4096


def memory(lab):
    """Bytes that the Wine server of this lab holds, which keeps all handles and the registry."""
    for entry in os.listdir("/proc"):
        if not entry.isdigit():
            continue
        try:
            with open(f"/proc/{entry}/environ", "rb") as stream:
                if f"WINEPREFIX={lab.prefix}\0".encode() not in stream.read():
                    continue
            with open(f"/proc/{entry}/stat", encoding="utf-8") as stream:
                fields = stream.read().rsplit(")", 1)
            if "wineserver" in fields[0]:
                return int(fields[1].split()[21]) * os.sysconf("SC_PAGESIZE")
        except OSError:
            continue
    return 0


def state(lab):
    """What must be the same after every round: files, keys and values, named objects left open."""
    files = re.sub(r"\t\d+ bytes", "", lab("show", "files"))
    registry = re.sub(r"(LastEvtRecordProcessed\t\w+\t)\d+", r"\1*", lab("show", "registry"))
    return files, registry, sorted(map(repr, lab.bags().items())), lab.tasks()


def main():
    proof = Proof("Long life: many runs in a row")
    lab = proof.labs[0]
    rounds = 500 if proof.long else 10
    lab("reset")
    lab("set", "windows-version", "win10")
    lab("user", "add", "alice", "admin")
    lab("user", "logon", "alice")
    lab("printer", "add", "Anchor", "Legacy V3 Driver")
    lab("printer", "add", "One", SUPPORTED)
    states, sizes, seconds, largest_log = [], [], [], 0
    for number in range(rounds):
        for arguments in MIX:
            lab("event", "add", "306", "Anchor")
            begin = time.monotonic()
            lab("run", "--timeout", "60000", "--fault", "Sleep 1 return=0 always", "--", *arguments,
                check=False)
            seconds.append(time.monotonic() - begin)
            if lab.code not in (0, 1):
                proof.find(f"{arguments} ended with {lab.code}")
            largest_log = max(largest_log, lab.log_path().stat().st_size)
        lab.log_lines()
        states.append(state(lab))
        sizes.append(memory(lab))
        if states[-1] != states[0]:
            proof.find(f"round {number} left something else behind than the first")
        if lab.leaks():
            proof.find(f"left open: {lab.leaks()}")
    runs = rounds * len(MIX)
    if largest_log > LONGEST_LOG:
        proof.find(f"the log grew to {largest_log} bytes")
    # The first round fills caches; then the server's memory may sway, but not grow with the runs.
    half = len(sizes) // 2
    early, late = statistics.median(sizes[1:half + 1]), statistics.median(sizes[half:])
    if late > early * 1.25 + 4 * 1024 * 1024:
        proof.find(f"memory grew from {early} to {late} bytes")
    part = max(1, runs // 4)
    first, last = statistics.median(seconds[:part]), statistics.median(seconds[-part:])
    if proof.long and last > 1.5 * first:
        proof.find(f"a run took {first} s at first and {last} s at last")
    proof.end(f"{runs} runs, largest log {largest_log} bytes, server memory {early / 2**20:.1f} then "
              f"{late / 2**20:.1f} MiB, median run {first * 1000:.0f} then {last * 1000:.0f} ms")


if __name__ == "__main__":
    main()
