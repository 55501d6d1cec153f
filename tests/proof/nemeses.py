"""What befalls the copies of a history beside each other: one is paused, with the log's mutex for longer than
others wait or anywhere; a sibling takes long, or changes a printer; the clock is turned; a user leaves and
comes back; the scheduler is stopped; the power is lost."""

import os
import re
import signal
import time
from collections import Counter
from contextlib import suppress
from pathlib import Path

from proof.program_promises import LOG_MUTEX_NAME
from proof.recorded_history import Moment, Outage, PowerLoss, Turn
from proof.recording import record_path, recorded

LONGEST = 6         # seconds: longer than a copy waits for the log's mutex
SECONDS = 60        # that a copy may take to come to where it is stopped
PROGRAM = "PalvoPrinterConfiguration.exe"
# Where a copy that asks for a printer is stopped, by the record's lines.
MOMENTS = {
    "with the log's mutex": re.escape(LOG_MUTEX_NAME) + r'", 5000\) = 0',
    "between scan and store": r"(?s) Sleep\(500\).* EvtQuery\(",
    "before its request is posted": r" CreateEventW\(",
    "before its last look": r" CreateProcess\w+\(.*PalvoPrinterConfigurationWriter"}


def go_on(pid):
    with suppress(ProcessLookupError):
        os.kill(pid, signal.SIGCONT)


def pids_of(lab, program):
    """The process ids, of the machine's, of this lab's processes of the program."""
    for entry in Path("/proc").glob("[0-9]*"):
        with suppress(OSError):
            if (program.encode() in (entry / "cmdline").read_bytes()
                    and f"WINEPREFIX={lab.prefix}\0".encode() in (entry / "environ").read_bytes()):
                yield int(entry.name)


class Nemeses:
    """Each method is one, and puts everything right before it returns, except that the clock goes on."""

    def __init__(self, lab, random):
        self.lab = lab
        self.random = random
        self.figures = Counter()
        self.turns, self.outages, self.power_losses = [], [], []

    def strike(self):
        one = self.random.choice([self.pause, self.be_slow, self.turn_clock, self.leave])
        one()
        self.figures[one.__name__] += 1

    def stop_when(self, moment, before=0):
        """Stops the only copy at this moment or soon after; its process id, or nothing if it was faster.
        `before`: so much of the record is of others."""
        end = time.monotonic() + SECONDS
        while not re.search(MOMENTS[moment], self.record()[before:]) and time.monotonic() < end:
            time.sleep(0.002)
        for pid in pids_of(self.lab, PROGRAM):
            os.kill(pid, signal.SIGSTOP)
            self.figures[f"paused {moment}"] += 1
            return pid
        return None

    def pause(self):
        """Stops any copy, wherever it is, and lets it go on."""
        pids = list(pids_of(self.lab, PROGRAM))
        if pids:
            pid = self.random.choice(pids)
            with suppress(ProcessLookupError):
                os.kill(pid, signal.SIGSTOP)
            time.sleep(self.random.choice([0.2, 1, LONGEST]))
            go_on(pid)

    def record(self):
        path = record_path(self.lab)
        return path.read_text("utf-8", "replace") if path.is_file() else ""

    def be_slow(self):
        self.lab("sibling", "writer", "--take", "3000")
        time.sleep(1)

    def turn_clock(self):
        """What tasks there are then falls due."""
        self.lab("clock", "forward", "1")

    def set_clock_back(self):
        """What was due falls due once more when the clock comes there again."""
        hours = self.random.choice([1, 24, 24 * 200])
        after = recorded(self.lab)
        self.lab("clock", "back", str(hours))
        self.turns.append(Turn(len(self.turns), after, recorded(self.lab), hours * 3600))

    def feed_back(self, printer):
        """The next writers each change the printer, which starts its task again. Let it be all that does."""
        times = self.random.randint(1, 6)
        self.lab("sibling", "writer", "--changes", printer, "--times", str(times))
        self.figures["changes that a writer is to make"] += times

    def stop_scheduler(self, do_meanwhile):
        """The events of that time start nothing, neither then nor later."""
        stopped = self.set_scheduler("stopped")
        do_meanwhile()
        self.outages.append(Outage(stopped, self.set_scheduler("running")))

    def set_scheduler(self, state):
        after = recorded(self.lab)
        self.lab("set", "scheduler", state)
        return Moment(0, after, recorded(self.lab))

    def lose_power(self):
        """Ends all copies, and takes from them what they wrote for a while. What was in the log before and is
        after that."""
        self.lab("power", "flush")
        time.sleep(self.random.uniform(0, 1.5))
        self.lab("power", "off")
        lost, after = self.lab.log_bytes(), recorded(self.lab)
        self.lab("power", "on")
        stored = re.search(r"LastEvtRecordProcessed\tREG_QWORD\t(\d+)", self.lab("show", "registry"))
        self.power_losses.append(PowerLoss(0, after, recorded(self.lab), int(stored[1]) if stored else 0))
        return lost, self.lab.log_bytes()

    def leave(self):
        """A user logs off, and on again, as Windows does it: the hive comes later."""
        name = self.random.choice(["alice", "bob"])
        self.lab("user", "logoff", name)
        time.sleep(self.random.uniform(0, 0.5))
        self.lab("user", "logon", name, "--hive-after")
        time.sleep(self.random.uniform(0, 0.5))
        self.lab("user", "hive", name)
