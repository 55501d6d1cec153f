"""What a history consists of: the lab's record, the log, the siblings' runs, how copies ended, and what
was done to them and to the channel."""

import re
from collections import Counter, defaultdict
from dataclasses import dataclass, field

from proof.program_promises import LOG, LOG_MUTEX, MODES, OBJECTS, SUITE

KILLED = 0xDEAD             # the exit code of a copy that the lab killed
ADMINISTRATOR, SERVICE, USER = "alice:elevated", "LocalService", "bob"      # accounts beside SYSTEM
UNKNOWN = 1 << 60           # nobody saw how far the record was


@dataclass
class Ended:
    """How one copy ended: it was started after `after` lines of the record and before `before`."""
    pid: int
    code: int
    output: str     # None: nobody read it
    after: int
    before: int
    account: str = "SYSTEM"


@dataclass
class Moment:
    """Something was done to the machine while the record grew from `after` lines to `before`; `number`: what
    is done is counted."""
    number: int
    after: int
    before: int


@dataclass
class Clearing(Moment):
    """The channel was emptied; from line `filled` of the record on it surely held an event again."""
    filled: int = UNKNOWN


@dataclass
class Wrap(Moment):
    """The channel was full, and lost its events up to this record id."""
    event: int


@dataclass
class Change(Moment):
    """A printer was added or changed, and the event of this record id was logged."""
    event: int
    printer: str


@dataclass
class Outage:
    """The scheduler's service was stopped, and started again."""
    stopped: Moment
    started: Moment


@dataclass
class Turn(Moment):
    """The machine's clock was set back."""
    seconds: int


@dataclass
class PowerLoss(Moment):
    """All processes ended; the stored position is this one again."""
    position: int


@dataclass
class Life:
    """A printer with a driver of the suite's or another, from when it was added until it was removed."""
    name: str
    supported: bool
    added: Moment
    removed: Moment = None


@dataclass
class SiblingRun:
    pid: int
    start: str      # times as the record writes them
    end: str        # empty: still at work
    command: str    # what follows the program's path


@dataclass
class History:
    record: list                                    # the lines of the lab's record
    log: bytes
    siblings: list = field(default_factory=list)    # in the order of their starts
    ended: list = field(default_factory=list)       # of the copies that somebody waited for
    finished: list = field(default_factory=list)    # (pid, code) of the scheduler's, in their order
    users: list = field(default_factory=list)       # the log's lines of one pass about users' values
    clearings: list = field(default_factory=list)   # of the channel
    users_vary: bool = False                        # whether they came and went
    kills: bool = False                             # whether copies were killed
    changes: list = None                            # of printers, if somebody took them down
    lives: list = field(default_factory=list)       # of printers
    wraps: list = field(default_factory=list)       # of the channel
    struck: Counter = field(default_factory=Counter)    # nemeses
    installed: int = None                           # the line from which on the tasks were there, to the end
    outages: list = field(default_factory=list)     # of the scheduler
    turns: list = None                              # of the clock, if somebody took them down
    power_losses: list = field(default_factory=list)
    quiet: int = None                               # the line from which on nothing was done but one refresh


@dataclass(eq=False)
class Step:
    """One thing that a copy did."""
    kind: str
    value: object
    order: int
    time: str
    copy: object
    error: int = 0
    stamp: str = ""     # of a line: its time


@dataclass(eq=False)
class Pass:
    kind: str           # special, normal, skipped or refresh
    taken: list         # the steps that took its requests
    order: int          # of its first step
    printer: str = ""   # the one that it is for; empty: for all


@dataclass(eq=False)
class Copy:
    pid: int
    arguments: str
    order: int
    steps: list = field(default_factory=list)
    has_ended: bool = False
    ended: Ended = None
    passes: list = field(default_factory=list)      # those that were done
    redundant: bool = False
    scans: list = field(default_factory=list)       # those that came to their end
    log_waits: int = 0                              # for the log's mutex
    lost: str = ""                                  # why its request was lost, if it was
    refused: set = field(default_factory=set)       # named objects of other accounts
    last: int = 0                                   # the last line of the record that is this copy's

    @property
    def mode(self):
        return MODES[self.arguments]

    @property
    def account(self):
        return self.ended.account if self.ended else "SYSTEM"

    @property
    def killed(self):
        return not self.has_ended

    def gone_by(self):
        """The line of the record by which its process was surely gone."""
        told = self.ended.before if self.ended else UNKNOWN
        return self.last if told == UNKNOWN else max(self.last, told - 1)

    def was_killed_before(self, step):
        """Whether nothing of this copy is recorded after the step, as it was killed."""
        return self.killed and self.last < step.order

    def __str__(self):
        return f"pid {self.pid} ({self.arguments or 'no arguments'}, record line {self.order + 1})"


@dataclass(eq=False)
class Scan:
    """What one scan read, by its line in the log, and what its copy did then."""
    copy: Copy
    number: int         # of its first step
    begin: int          # lines of the record
    end: int
    position: int       # from which on it was to read; nothing when that is not recorded
    lowest: int         # record ids: of the last event that it read
    newest: int         # of the first one; 0: none; nothing: not known
    name: str           # of the one printer that it found
    outcome: str = ""   # nothing, request, skipped, first pass, later pass


@dataclass
class Verdict:
    violations: list = field(default_factory=list)
    allowed: dict = field(default_factory=lambda: defaultdict(list))
    figures: Counter = field(default_factory=Counter)


CALL = re.compile(r"(\S+) (\d+) (\w+)\((.*)\) = (\S+) \[(\d+)\]")
NAMED = re.compile(r'"?(?:mutex |event )?Global\\(\{[^"]*)"')
# Access to the log, and the two ways of deleting it.
APPEND, DELETE = 0x100004, 0x10000
DELETE_AT_ONCE, DELETE_AT_LAST_CLOSE = 21, 4
NOT_FOUND = 2
STEPS = {"CreateMutexW": "open", "CreateEventW": "open", "SetEvent": "post", "ReleaseMutex": "release",
         "CloseHandle": "close", "WaitForSingleObject": "try"}


def step_of(function, arguments, result, error=0):
    """(kind, value) of a recorded call, or nothing."""
    if function == "WaitForSingleObject" and LOG_MUTEX in arguments:
        return "log", result
    if function in STEPS:
        named = NAMED.search(arguments)
        what = named and OBJECTS.get(named[1])
        return what and (f"{STEPS[function]} {what}", result)
    if function == "CreateFileW":
        is_open = result < 0xFFFFFFFF
        if LOG + f'", {DELETE:#x},' in arguments:
            return None if is_open else ("delete", 0)
        if LOG + f'", {APPEND:#x},' in arguments and not (not is_open and error == NOT_FOUND) or (
                LOG + f'", {APPEND | DELETE:#x},' in arguments):
            return ("line" if is_open else "lost line"), None
        return None
    if function == "SetFileInformationByHandle":
        # The first way of two, which Windows before 10 does not know, need not succeed.
        return LOG + f'", {DELETE_AT_LAST_CLOSE}' in arguments and ("delete", result) or (
            LOG + f'", {DELETE_AT_ONCE}' in arguments and result == 1 and ("delete", result))
    if function == "RegSetValueExW":
        stored = re.search(r'"LastEvtRecordProcessed", 11, 8, (\w+)', arguments)
        return stored and ("store", int(stored[1], 0))
    if function == "EvtQuery":
        position = re.search(r"EventRecordID >= (\d+)", arguments)
        return "scan", int(position[1]) if position else None
    if function == "Sleep":
        return "sleep", int(arguments, 0)
    if function in ("CreateProcessW", "CreateProcessAsUserW"):
        made = re.search(r'"' + re.escape(SUITE) + r'(\w+)\.exe (.*)", \d+, \d+(?:, "pid (\d+))?', arguments)
        return made and ("start", (made[1], made[2], int(made[3]) if made[3] else None))
    return None
