"""Copies of the program that stop in the lab before each call that others can notice, as a world whose
orders can be explored; what an execution left behind is its history."""

import re
import tempfile
from collections import defaultdict
from pathlib import Path

from lab import SUPPORTED
from proof.interleavings import Call
from proof.printers import Printers
from proof.program_promises import OBJECTS, RECORDED
from proof.recorded_history import KILLED, Ended
from proof.recording import collect, record_path, recorded

OWN_KEY = r"Software\Palvo\PrinterDriver\V6.0\PalvoPrinterConfiguration"
POSITION = ["set", "machine-value", OWN_KEY, "LastEvtRecordProcessed", "qword", "0"]
NAME = re.compile(r"(?:mutex|event) Global\\(.*)")
SHORT = {"CreateMutexW": "open", "CreateEventW": "open", "WaitForSingleObject": "try", "SetEvent": "post",
         "ReleaseMutex": "release", "CloseHandle": "close", "RegSetValueExW": "store", "EvtQuery": "scan",
         "CreateFileW": "open", "CreateProcessW": "start", "CreateProcessAsUserW": "start",
         "SetFileInformationByHandle": "delete", "RegQueryValueExW": "read", "Sleep": "sleep"}


def call_of(line):
    """What the lab tells of a call, in the proof's words. What nobody else cares for has no name."""
    function, _, what = line.partition(" ")
    thing = ""
    if named := NAME.fullmatch(what):
        thing = OBJECTS.get(named[1], "log mutex")
    elif what.endswith(r"\PalvoPrinterConfiguration.log"):
        thing = "log"
    elif what == "value LastEvtRecordProcessed":
        thing = "position"
    elif what in ("program", "channel"):
        thing = what
    return Call(SHORT.get(function, function), thing)


def things(call):
    """What the call has to do with; the end, all that the copy had opened."""
    return set(call.thing.split(", ")) if call.thing else set()


class Dependence:
    """Whether the order of two copies' calls matters; of those with the log, when one deletes it."""

    def __init__(self, log):
        self.met = {*OBJECTS.values(), "position"} | ({"log", "log mutex"} if log else set())

    def __call__(self, one, other):
        met = [self.met if call.function == "kill" else things(call) & self.met for call in (one, other)]
        return bool(met[0] & met[1]) and not one.function == other.function == "read"


def may_kill(call):
    """Before what a copy leaves for others to see."""
    return bool(things(call) & {*OBJECTS.values(), "position", "program", "channel"}) or (
        call.function == "end" or call == Call("open", "log"))


class Copies:
    """A world of copies with these arguments."""

    def __init__(self, lab, arguments, prepared):
        self.lab = lab
        self.arguments = arguments
        self.users, self.printers = prepared

    def start(self):
        for file in ("calls", "siblings", "leaks"):
            record_path(self.lab).with_name(f"{file}.log").unlink(missing_ok=True)
        self.lab.log_path().unlink(missing_ok=True)
        self.lab(*POSITION)
        self.folder = tempfile.TemporaryDirectory()
        self.pids, self.ended, self.opened, pending = {}, [], defaultdict(set), {}
        for copy, arguments in enumerate(self.arguments, 1):
            said = self.lab("run", "--in-turns", "--output", str(self.output(copy)), "--raw", arguments)
            self.pids[copy] = int(said.split()[-1])
            pending[copy] = self.go(copy, 1)[0]
        return pending

    def output(self, copy):
        return Path(self.folder.name, str(copy))

    def go(self, copy, count):
        lines = self.lab("turn", str(self.pids[copy]), str(count)).splitlines()
        return [self.stopped(copy, line) for line in lines]

    def stopped(self, copy, line):
        if line.startswith("exit "):
            printed = self.output(copy).read_bytes().decode("cp1252").replace("\r\n", "\n")
            self.ended.append(Ended(self.pids[copy], int(line.split()[1]), printed, 0,
                                    recorded(self.lab)))
            return None
        call = call_of(line)
        if call.function == "open" and call.thing in OBJECTS.values():
            self.opened[copy].add(call.thing)
        return Call("end", ", ".join(sorted(self.opened[copy]))) if call.function == "end" else call

    def kill(self, copy):
        self.lab.kill(self.pids[copy])
        self.go(copy, 1)

    def end(self):
        """Ends what an execution that failed left."""
        for pid in set(self.pids.values()) - {ended.pid for ended in self.ended}:
            self.lab("kill", str(pid), check=False)
            self.lab("turn", str(pid), check=False)

    def history(self):
        """Of the execution, once every copy has ended."""
        kills = any(ended.code == KILLED for ended in self.ended)
        return self.printers.tell(collect(self.lab, self.users, self.ended, kills=kills))


def prepare(lab):
    """One printer that an event concerns, nobody logged on, the record on; the log's lines about the
    users' values in each pass, and the printers."""
    lab("reset")
    lab("set", "windows-version", "win10")
    lab("printer", "add", "Anchor", "Legacy V3 Driver")
    printers = Printers(lab)
    printers.add("Office", SUPPORTED)
    users = [line for line in lab.run("-c").log if line.startswith("Updated UserPropertyBag")]
    lab("record", "on", *RECORDED)
    return users, printers
