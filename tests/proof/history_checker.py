"""Judges the recorded history of many copies of the program by what the program promises. It knows
the program's arguments, texts, named objects and rules, and nothing of its code.

A history is what the lab recorded: the calls of all copies in one order, the log, the runs of the
sibling programs, and how each copy ended. Calls that make, signal, take, give back or end a named
object, store the scan position, query the channel or delete the log are recorded in the order in
which they took effect; a line of the log is written right after the record of the file's opening,
under the log's mutex. The checker therefore
  - replays the named objects: who owns, which request is pending, who took it, what was lost;
  - gives every line of the log to the opening that it belongs to, and finds what is missing;
  - reads what each copy did and wrote, in its order, by the grammar of the copy's mode.

What the rules forbid is a violation. What happens although nobody wants it, but follows from the
rules as they stand, is counted as allowed under a name that says why, with the history that shows it.
A copy that was killed ends anywhere; the line that it was writing may be missing or be torn, which
shows in a line that has no end of its own: the next copy's line follows in it.
"""

import re
from bisect import bisect_right
from collections import Counter, defaultdict, deque
from dataclasses import dataclass, field

OBJECTS = {
    "{5B1F7C2A-94D3-4E6B-8A0C-3F7E2D9164B8}PPRCFGEVTCHK": "scan check",
    "{0C4E9A57-1D82-4F3B-B6E9-72A5D1C83F06}PalvoOrvela": "refresh request",
    "{D38A6F12-5E47-4C9D-81B2-9F0C6E4A27D5}PalvoOrvela": "refresh instance",
    "{7E29B4C1-A605-4D78-9F3E-0B6D2C8A51E4}PalvoOrvela": "normal request",
    "{A14D8E63-2F9B-4A07-BC51-6E3F97D0248C}PalvoOrvela": "special request",
    "{F6C02B9D-83E1-4B5A-A7D4-1C58E9F3062B}PalvoOrvela": "changed instance",
}
RECORDED = ["CreateMutexW", "CreateEventW", "SetEvent", "WaitForSingleObject", "ReleaseMutex",
            "CloseHandle", "CreateFileW", "DeleteFileW", "RegSetValueExW", "EvtQuery", "Sleep",
            "CreateProcessW", "CreateProcessAsUserW"]
SUITE = "C:\\Program Files\\Palvo Printer Suite\\"
LOG = "\\PalvoOrvela\\PalvoPrinterConfiguration.log"
TAKEN, ABANDONED, NOT_NOW = 0, 128, 258
NOT_BROUGHT_UP = 1359       # Wine's error for a process that ended before its first line

HEAD = (r"\[\d{1,2}/\d{1,2}/\d{4} (?:[1-9]|1[0-2]):[0-5]\d:[0-5]\d [AP]M\] "
        r"PalvoPrinterConfiguration\(PID(\d+)\): ")
SCANS = [re.compile(text) for text in (
    r"Found one pertinent, non-duplicate '300/306' event in the range of IDs from \d+ to "
    r"(?P<newest>\d+)\. One printer added or changed: '(?P<name>.*)'",
    r"Found \d+ '300/306' events with IDs from \d+ to (?P<newest>\d+)\.",
    r"Found no new '300/306' events with IDs > (?P<newest>\d+)\.",
    r"Found more than 5000 unprocessed '300' and '306' events\. Will stop counting and process all "
    r"printers\.")]
NOTHING = "- No supported printers need to be processed. Done. Exiting."
SKIPPED = ("## Skipping queued configuration request from a NewOrChanged event event because that "
           "printer has already been processed after that request occurred.")
UPDATE = ("Update UserPropertyBags With Desktop GUIDs before exiting after processing queued "
          "request(s)")
REDUNDANT = {
    "normal": "-Redundant instance for a NewOrChanged event: An instance is already running to "
              "process a NewOrChanged event...Queuing request and exiting this instance [{}].",
    "special": "-Redundant instance for a special NewOrChanged event: An instance is already running "
               "to process a NewOrChanged event...Queuing request and exiting this instance [{}].",
    "refresh": "-Redundant instance for Refresh event: An instance is already running to process a "
               "periodic refresh event...Queuing request and exiting this instance [{}]."}
USAGE = ("\nPalvoPrinterConfiguration - Palvo Corporation\n\n"
         "\tPalvoPrinterConfiguration.exe [-? | -c | -r | -IT | -UT | -DL | -IN | -UN | -w]\n\n"
         "\tAuto-Config requires Windows 8 or later, Job Management requires Vista or later.")
ENABLED = "Channel properties updated.\n"
INSTALLED = ENABLED + "\n Success! Task successfully registered." * 3


@dataclass(frozen=True)
class Mode:
    """What one list of arguments means."""
    arguments: str
    switches: str
    invoker: str
    resolved: str
    kind: str       # normal, special, refresh, or what else the copy does
    lines: tuple = ()
    background: str = ""
    output: str = ""
    code: int = 0

    @property
    def scheme(self):
        return {"normal": "changed", "special": "changed", "refresh": "refresh"}.get(self.kind)

    def called(self):
        if not self.arguments:
            return "# Called with no arguments"
        tail = f" -i {self.invoker}" if self.invoker else ""
        return f"# Called with {len(self.arguments.split())} argument(s): {self.switches}{tail}"


WARM = ("# Will execute warmup of the Desktop Orvela (-w)",)
NATIVE = ("# Will execute NGEN of Desktop Orvela and related apps (-IN)",)
REFRESH, DEMAND = "PeriodicRefreshEvent, NotNewOrChangedEvent", (
    "OnDemandAutoConfigRefresh, NotNewOrChangedEvent")
MODES = {mode.arguments: mode for mode in (
    Mode("-c -i NewOrChangedTask", "-c", "NewOrChangedTask",
         "NoNgen, NoWarmup, NewOrChangedEvent, NewOrChangedTask", "normal"),
    Mode("-c -i UserLogonTask", "-c", "UserLogonTask",
         "NoNgen, NoWarmup, NewOrChangedEvent, UserLogonEvent", "special"),
    Mode("-c -i UserLogonTask -IN -w", "-c -IN -w", "UserLogonTask",
         "InstallNgen, Warmup, NewOrChangedEvent, UserLogonEvent", "special", WARM + NATIVE,
         " -IN -w"),
    Mode("-c -i POJEMService", "-c", "POJEMService",
         "NoNgen, NoWarmup, NewOrChangedEvent, XmlConfigEvent", "special"),
    Mode("-c -i Somebody", "-c", "Somebody",
         "NoNgen, NoWarmup, NewOrChangedEvent, NormalNewOrChangedEvent", "special"),
    Mode("-c", "-c", "", "NoNgen, NoWarmup, NewOrChangedEvent, NormalNewOrChangedEvent", "special"),
    Mode("-r -i PeriodicRefreshTask", "-r", "PeriodicRefreshTask", f"NoNgen, NoWarmup, {REFRESH}",
         "refresh"),
    Mode("-r -i PeriodicRefreshTask -IN -w", "-r -IN -w", "PeriodicRefreshTask",
         f"InstallNgen, Warmup, {REFRESH}", "refresh", WARM + NATIVE, " -IN -w"),
    Mode("-r", "-r", "", f"NoNgen, NoWarmup, {REFRESH}", "refresh"),
    Mode("", "", "", f"NoNgen, NoWarmup, {DEMAND}", "refresh"),
    Mode("-i Somebody", "", "Somebody", f"NoNgen, NoWarmup, {DEMAND}", "refresh"),
    Mode("-w", "-w", "", "NoNgen, Warmup, NoCmdLineOption, NotNewOrChangedEvent", "background", WARM,
         " -w", code=1),
    Mode("-?", "-?", "", "NoNgen, NoWarmup, DisplayHelp, NotNewOrChangedEvent", "usage",
         output=USAGE, code=1),
    Mode("-x", "-x", "", "NoNgen, NoWarmup, InvalidArgumentList, NotNewOrChangedEvent", "usage",
         output=USAGE, code=1),
    Mode("-DL", "-DL", "", "NoNgen, NoWarmup, DeleteLogFile, NotNewOrChangedEvent", "delete"),
    Mode("-IT", "-IT", "", "NoNgen, NoWarmup, InstallScheduledTask, NotNewOrChangedEvent",
         "install", output=INSTALLED),
    Mode("-UT", "-UT", "", "NoNgen, NoWarmup, UninstallScheduledTask, NotNewOrChangedEvent",
         "uninstall", output=ENABLED),
)}


@dataclass
class Ended:
    """How one copy ended: it was started after `after` lines of the record and before `before`."""
    pid: int
    code: int
    output: str
    after: int
    before: int


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
    ended: list = field(default_factory=list)
    users: list = field(default_factory=list)       # the log's lines of one pass about users' values
    clears: list = field(default_factory=list)      # (after, before) of each clearing of the channel
    kills: bool = False                             # whether copies were killed


@dataclass(eq=False)
class Step:
    """One thing that a copy did."""
    kind: str
    value: object
    order: int
    time: str
    copy: object
    error: int = 0


@dataclass(eq=False)
class Copy:
    pid: int
    arguments: str
    order: int
    steps: list = field(default_factory=list)
    has_ended: bool = False
    ended: Ended = None
    passes: list = field(default_factory=list)      # (kind, the step that took the request)
    redundant: bool = False

    @property
    def mode(self):
        return MODES[self.arguments]

    @property
    def killed(self):
        return not self.has_ended

    def __str__(self):
        return f"pid {self.pid} ({self.arguments or 'no arguments'}, record line {self.order + 1})"


class Violation(Exception):
    pass


class Cut(Exception):
    """A killed copy did nothing more."""


@dataclass
class Verdict:
    violations: list = field(default_factory=list)
    allowed: dict = field(default_factory=lambda: defaultdict(list))
    figures: Counter = field(default_factory=Counter)


CALL = re.compile(r"(\S+) (\d+) (\w+)\((.*)\) = (\S+) \[(\d+)\]")
NAMED = re.compile(r'"?(?:mutex |event )?Global\\(\{[^"]*)"')
STEPS = {"CreateMutexW": "open", "CreateEventW": "open", "SetEvent": "post", "ReleaseMutex": "release",
         "CloseHandle": "close", "WaitForSingleObject": "try"}


def step_of(function, arguments, result):
    """(kind, value) of a recorded call, or nothing."""
    if function in STEPS:
        named = NAMED.search(arguments)
        what = named and OBJECTS.get(named[1])
        return what and (f"{STEPS[function]} {what}", result)
    if function == "CreateFileW":
        opened = LOG + '", 0x100004,' in arguments
        return opened and (("line", None) if result < 0xFFFFFFFF else ("lost line", None))
    if function == "DeleteFileW":
        return arguments.endswith(LOG + '"') and ("delete", result)
    if function == "RegSetValueExW":
        stored = re.search(r'"LastEvtRecordProcessed", 11, 8, (\w+)', arguments)
        return stored and ("store", int(stored[1], 0))
    if function == "EvtQuery":
        return "scan", result
    if function == "Sleep":
        return "sleep", int(arguments, 0)
    if function in ("CreateProcessW", "CreateProcessAsUserW"):
        made = re.search(r'"' + re.escape(SUITE) + r'(\w+)\.exe (.*)", \d+, \d+(?:, "pid (\d+))?', arguments)
        return made and ("start", (made[1], made[2], int(made[3]) if made[3] else None))
    return None


class Checker:
    def __init__(self, history):
        self.history = history
        self.verdict = Verdict()
        self.copies = []
        self.steps = []

    def violate(self, text):
        self.verdict.violations.append(text)

    def allow(self, why, *copies):
        """`copies`: whose doings show it."""
        self.verdict.allowed[why].append(list(copies))

    def check(self):
        self.read_record()
        self.read_ends()
        self.read_log()
        for copy in self.copies:
            try:
                Reading(self, copy).read()
            except Violation as found:
                self.violate(f"{copy}: {found}")
        self.replay_instances()
        for event in ("normal request", "special request", "refresh request"):
            self.replay_requests(event)
        self.check_siblings()
        self.check_position()
        figures = self.verdict.figures
        figures["runs"] += len(self.copies)
        figures["requests"] += sum(1 for copy in self.copies if copy.mode.scheme)
        figures["passes"] += sum(len(copy.passes) for copy in self.copies)
        figures["redundant"] += sum(copy.redundant for copy in self.copies)
        figures["killed"] += sum(copy.killed for copy in self.copies)
        return self.verdict

    def read_record(self):
        living = {}
        for order, line in enumerate(self.history.record):
            time, pid, text = line.split(" ", 2)
            pid = int(pid)
            if text.startswith("process started: "):
                arguments = text.split('.exe"', 1)[1].strip()
                if arguments not in MODES:
                    self.violate(f"record line {order + 1}: arguments that nobody gave: {arguments}")
                    continue
                living[pid] = Copy(pid, arguments, order)
                self.copies.append(living[pid])
            elif text == "process ended":
                living.pop(pid).has_ended = True
            elif pid in living and (call := CALL.fullmatch(line)):
                found = step_of(call[3], call[4], int(call[5], 0) if call[5] != "null" else 0)
                if found:
                    step = Step(*found, order, time, living[pid], int(call[6]))
                    living[pid].steps.append(step)
                    self.steps.append(step)
        if not self.history.kills:
            for copy in self.copies:
                if copy.killed:
                    self.violate(f"{copy} never ended")

    def read_ends(self):
        by_pid = defaultdict(list)
        for copy in self.copies:
            by_pid[copy.pid].append(copy)
        for ended in self.history.ended:
            of_pid = by_pid[ended.pid]
            at = bisect_right([copy.order for copy in of_pid], ended.before - 1) - 1
            if at < 0 or of_pid[at].order < ended.after:
                if not self.history.kills:
                    self.violate(f"pid {ended.pid} ended, but did not start")
                continue
            of_pid[at].ended = ended

    def read_log(self):
        """Gives each line to the opening that it was written after. What was written before the
        log was deleted is not known."""
        content = self.history.log.decode("cp1252", "replace")
        lines = deque()
        for text in content.split("\r\n"):
            torn = re.search(HEAD, text[1:])
            whole = re.fullmatch(HEAD + "([^\r\n]*)", text)
            if whole and not torn:
                lines.append((int(whole[1]), whole[2], False))
            elif torn and self.history.kills and re.match(HEAD, text):
                whole = re.fullmatch(HEAD + "(.*)", text[:torn.start() + 1])
                lines.append((int(whole[1]), whole[2], True))
                whole = re.fullmatch(HEAD + "([^\r\n]*)", text[torn.start() + 1:])
                lines.append((int(whole[1]), whole[2], False))
            elif text:
                self.violate(f"this is no line of the log: {text!r}")
        if content and not content.endswith("\r\n"):
            self.violate("the log's last line has no end")
        deleted = max((step.order for step in self.steps
                       if step.kind == "delete" and step.value == 1), default=-1)
        for step in self.steps:
            if step.kind != "line" or step.order < deleted:
                continue
            copy = step.copy
            pid, text, torn = lines[0] if lines else (None, None, None)
            last = copy.killed and step is copy.steps[-1]
            another = text and text.startswith("# Called with") and any(
                before.kind == "line" and before is not step for before in copy.steps)
            if pid == copy.pid and not (last and another):
                lines.popleft()
                step.value = text
                if torn:
                    step.kind = "torn line"
                    if not last:
                        self.violate(f"{copy}: a torn line that nothing excuses: {text!r}")
                    self.allow("the line that a killed copy was writing is torn", copy)
            elif last:
                step.kind = "lost line"
            else:
                self.violate(f"the log lacks a line of {copy}; in its place is "
                             f"{'nothing' if pid is None else f'{text!r} of pid {pid}'}")
                return
        if lines:
            self.violate(f"{len(lines)} lines more than were written; the first is {lines[0]}")

    def replay_instances(self):
        """Never two working copies of one scheme, and none redundant without one at work."""
        for scheme in ("changed", "refresh"):
            owner, leaving = None, None
            for step in self.steps:
                if step.copy is owner and step.kind in (f"release {scheme} instance",
                                                        f"close {scheme} instance"):
                    # A closed handle gives back at the thread's end, or at once as the last one.
                    leaving, owner = (owner if "close" in step.kind else None), None
                if step.kind != f"try {scheme} instance":
                    continue
                if step.value == NOT_NOW:
                    step.owner = owner or leaving
                    if step.owner is None:
                        self.violate(f"{step.copy}: redundant although nobody works")
                else:
                    if owner is not None and not owner.killed:
                        self.violate(f"{step.copy} works beside {owner}")
                    if step.value == ABANDONED and scheme == "changed" and not (
                            owner and owner.killed):
                        self.violate(f"{step.copy}: the mutex was abandoned by nobody who was killed")
                    owner, leaving = step.copy, None

    def replay_requests(self, event):
        """Every request is taken by a pass that starts later, or its event ended with it."""
        holders, pending, signalled, exists = set(), [], False, False
        initially = event == "refresh request"

        def end_event():
            for post in pending:
                self.judge_lost(post, event)
            pending.clear()

        for step in self.steps:
            verb = step.kind.split(" ", 1)[0]
            if step.kind != f"{verb} {event}":
                continue
            copy = step.copy
            if verb == "open":
                living = [holder for holder in holders if not holder.killed]
                if step.error == 0:
                    if living:
                        self.violate(f"{copy}: a second {event} beside that of {living[0]}")
                    end_event()
                    holders, signalled = set(), initially
                elif not exists and not holders:
                    self.violate(f"{copy}: opened a {event} that nobody holds")
                holders.add(copy)
                exists = True
            elif verb == "close":
                holders.discard(copy)
                if not holders:
                    end_event()
                    exists, signalled = False, False
            elif verb == "post":
                pending.append(step)
                signalled = True
            elif verb == "try" and step.value == TAKEN:
                if not signalled and self.killed_amid(copy, step):
                    self.allow("a killed copy may have posted what another took", copy)
                elif not signalled:
                    self.violate(f"{copy}: took a {event} that nobody posted")
                if copy.killed and not any(taken is step for _, taken in copy.passes):
                    for post in pending:
                        self.allow("the request was taken by a copy that was killed before its pass "
                                   "was done", copy, post.copy)
                else:
                    self.verdict.figures["served requests"] += len(pending)
                pending.clear()
                signalled = False
            elif verb == "try" and step.value == NOT_NOW and signalled:
                if self.killed_amid(copy, step):
                    self.allow("a killed copy may have taken the request", copy)
                    pending.clear()
                    signalled = False
                else:
                    self.violate(f"{copy}: the pending {event} of "
                                 f"{pending[-1].copy if pending else 'the event itself'} is lost")
        end_event()

    def killed_amid(self, copy, step):
        """Whether a killed copy of the same scheme may have done one thing that was not recorded."""
        return any(other.killed and other.order < step.order and other.mode.scheme == copy.mode.scheme
                   for other in self.copies)

    def judge_lost(self, post, event):
        """The event ended before a copy took the request."""
        copy = post.copy
        attempts = [step for step in copy.steps if step.kind == f"try {copy.mode.scheme} instance"]
        owner = getattr(attempts[0], "owner", None) if attempts else None
        if copy.killed:
            self.allow("a request of a killed copy ended with its event", copy)
        elif owner is None:
            self.violate(f"{copy}: its {event} was never served, and nobody else was at work")
        elif owner.killed:
            self.allow("the working copy was killed, and no living copy held the request", owner, copy)
        elif any(step.kind == f"try {event}" and step.order > post.order for step in owner.steps):
            self.violate(f"{copy}: its {event} was never served, though {owner} looked for one later")
        else:
            self.allow("posted after the working copy's last look, and no copy held the request",
                       owner, copy)

    def check_siblings(self):
        """A pass's programs end within the pass, and those of two copies of a scheme never overlap."""
        runs = defaultdict(deque)
        for run in self.history.siblings:
            runs[run.pid].append(run)
        at_work = {}
        spans = defaultdict(list)
        for step in self.steps:
            if step.kind != "start":
                continue
            copy = step.copy
            program, command, pid = step.value
            if pid is None:
                if step.error == NOT_BROUGHT_UP:
                    self.allow("Wine did not bring a program up", copy)
                else:
                    self.violate(f"{copy}: {program} could not be started: error {step.error}")
                continue
            if not runs[pid]:
                if not copy.killed:
                    self.violate(f"{copy}: {program} (pid {pid}) left no trace")
                continue
            run = runs[pid].popleft()
            if run.command.strip() != command.strip():
                self.violate(f"{copy}: {program} got {run.command!r} instead of {command!r}")
            if copy.mode.background and command.startswith(copy.mode.background):
                continue
            position = copy.steps.index(step)
            later = copy.steps[position + 1].time if position + 1 < len(copy.steps) else None
            if not copy.killed and (not run.end or (later and run.end > later)):
                self.violate(f"{copy}: went on before {program} (pid {pid}) ended")
            spans[copy.mode.scheme].append((run.start, run.end or "9", copy))
        for scheme, of_scheme in spans.items():
            last = ("", None)
            for start, end, copy in sorted(of_scheme, key=lambda span: span[:2]):
                if last[1] not in (None, copy) and start < last[0]:
                    if last[1].killed or copy.killed:
                        self.allow("a killed copy's program outlived it", last[1], copy)
                    else:
                        self.violate(f"{copy} and {last[1]}: both had programs of the {scheme} scheme "
                                     "at work")
                last = max(last, (end, copy), key=lambda pair: pair[0])

    def check_position(self):
        """The stored scan position goes back only after a clearing, with -IT, or where a copy's scan
        was older than what another stored meanwhile: the scan and the store are not one step."""
        position, stored = 0, []
        for step in self.steps:
            if step.kind != "store":
                continue
            copy = step.copy
            scans = [other for other in copy.steps if other.kind == "scan" and other.order < step.order]
            scan = scans[-1] if scans else None
            working = any(s.kind == "try changed instance" and s.order < step.order
                          for s in copy.steps)
            if copy.mode.kind == "install":
                if step.value != 0:
                    self.violate(f"{copy}: -IT stored {step.value}")
            elif scan is None:
                self.violate(f"{copy}: stored a position without a scan")
            elif step.value < position:
                newer = [(other, at_work) for other, at_work in stored
                         if scan.order < other.order and other.value > step.value]
                cleared = any(after < step.order for after, _ in self.history.clears)
                if step.value == 0 and cleared:
                    self.verdict.figures["positions back after a clearing"] += 1
                elif not newer:
                    self.violate(f"{copy}: the position went back from {position} to {step.value}, "
                                 "though its scan saw the newer one")
                elif working and any(at_work for _, at_work in newer):
                    self.violate(f"{copy}: two working copies stored positions, {position} and then "
                                 f"{step.value}")
                else:
                    self.allow("the position went back: another copy stored a newer one between this "
                               "copy's scan and its store", newer[-1][0].copy, copy)
            position = step.value
            stored.append((step, working))


class Reading:
    """Reads what one copy did, by the grammar of its mode."""

    def __init__(self, checker, copy):
        self.checker = checker
        self.copy = copy
        self.mode = copy.mode
        self.steps = deque(step for step in copy.steps if not step.kind.startswith("close"))

    def read(self):
        try:
            code, output = self.read_mode()
        except Cut:
            return
        if self.steps:
            raise Violation(f"goes on after its end: {self.steps[0].kind} {self.steps[0].value!r}")
        ended = self.copy.ended
        if ended is not None and not self.copy.killed:
            if ended.code != code:
                raise Violation(f"exit code {ended.code} instead of {code}")
            if ended.output != output:
                raise Violation(f"printed {ended.output!r} instead of {output!r}")

    def peek(self):
        return self.steps[0].kind if self.steps else ""

    def take(self, kind):
        if not self.steps:
            if self.copy.killed:
                raise Cut
            raise Violation(f"ends where '{kind}' should follow")
        step = self.steps.popleft()
        if step.kind != kind and not (kind == "line" and step.kind in ("lost line", "torn line")):
            raise Violation(f"{step.kind} {step.value!r} where '{kind}' should follow "
                            f"(record line {step.order + 1})")
        return step

    def line(self, text):
        step = self.take("line")
        if step.kind == "lost line":
            deleting = [copy for copy in self.checker.copies if copy.mode.kind == "delete" and
                        copy.order < step.order and copy.steps[-1].order > step.order]
            if deleting:
                self.checker.allow("a line is dropped while -DL deletes the log", self.copy,
                                   deleting[0])
            elif not self.copy.killed:
                raise Violation(f"the log could not be opened: error {step.error}")
        elif step.value is not None and step.value != text and not (
                step.kind == "torn line" and text.startswith(step.value)):
            raise Violation(f"the log has {step.value!r} instead of {text!r}")

    def read_mode(self):
        mode = self.mode
        if mode.arguments == "-x":
            self.line("ERROR: Unrecognized argument: x!")
        self.line(mode.called())
        self.line(f"#\tResolved Args: {mode.resolved}, -i {mode.invoker}")
        for text in mode.lines:
            self.line(text)
        if mode.background:
            self.line("# Spawn PalvoPrinterConfigurationWriter in the background with the arg(s):"
                      + mode.background)
            self.start("PalvoPrinterConfigurationWriter", self.tag(mode.background))
        if mode.scheme:
            return self.changed() if mode.scheme == "changed" else self.refresh()
        if mode.kind == "delete":
            gone = self.take("delete")
            self.line("# Invoked to delete log file. Done...exiting.")
            return (0 if gone.value == 1 or gone.error == 2 else 1), ""
        if mode.kind == "install":
            self.take("store")
            self.line("Auto-config scheduled task successfully created with event and calendar "
                      "triggers.")
            self.line("# Invoked to install scheduled tasks. Done...exiting.")
        if mode.kind == "uninstall":
            for what in ("Auto-Config scheduled tasks", "Print Job Start scheduled task"):
                self.line(f"{what} deleted upon request or because digital signature validation "
                          "failed.")
            self.line("# Invoked to uninstall scheduled tasks. Done...")
            self.line("Removed our driver GUIDs from the user property bag. Done...exiting.")
        return mode.code, mode.output

    def scan(self):
        """(newest record id, the printer's name), as far as the log tells."""
        self.take("scan")
        step = self.take("line")
        if step.kind != "line" or step.value is None:
            return None, None
        for form in SCANS:
            if found := form.fullmatch(step.value):
                named = found.groupdict()
                return (int(named["newest"]) if named.get("newest") else None), named.get("name")
        raise Violation(f"the log has {step.value!r} after a scan")

    def store(self, newest):
        step = self.take("store")
        if newest is not None and step.value != newest:
            raise Violation(f"stored {step.value}, though its scan found {newest}")

    def tag(self, arguments):
        number = f" PID: {self.copy.pid}" if self.mode.invoker else str(self.copy.pid)
        return f'{arguments} -i "PalvoPrinterConfiguration({self.mode.invoker}{number})"'

    def start(self, program, command):
        step = self.take("start")
        if step.value[:2] != (program, command):
            raise Violation(f"started {step.value[:2]} instead of {(program, command)}")

    def run_pass(self, kind, taken, query, writer):
        self.start("PalvoPrinterQuery", query)
        self.start("PalvoPrinterConfigurationWriter", self.tag(writer))
        for text in self.checker.history.users:
            self.line(text)
        self.copy.passes.append((kind, taken))

    def is_redundant(self):
        self.take(f"open {self.mode.scheme} instance")
        return self.take(f"try {self.mode.scheme} instance").value == NOT_NOW

    def tell_redundant(self):
        self.copy.redundant = True
        text = REDUNDANT[self.mode.kind].format(self.mode.invoker)
        self.line(text)
        return 1, text

    def taken(self, event):
        step = self.take(f"try {event}")
        return step if step.value == TAKEN else None

    def changed(self):
        if self.mode.kind == "normal" and self.pre_scan():
            return 0, ""
        self.line(f"-Processing NewOrChanged event: {self.mode.invoker}")
        self.take("open normal request")
        self.take("open special request")
        self.take(f"post {self.mode.kind} request")
        if self.is_redundant():
            return self.tell_redundant()
        while True:
            normal, special = self.taken("normal request"), self.taken("special request")
            if special:
                self.line("# Procesing a queued special NewOrChanged event." if self.copy.passes else
                          "# Procesing a special NewOrChanged event.")
                self.run_pass("special", special, "-c", "-c")
            elif normal:
                self.normal_pass(normal)
            else:
                break
        self.take("release changed instance")
        if self.copy.passes:
            self.line(UPDATE)
        for text in ("NewOrChanged event done...exiting.", "", ""):
            self.line(text)
        return 0, ""

    def pre_scan(self):
        self.take("open scan check")
        self.take("try scan check")
        newest, name = self.scan()
        self.take("release scan check")
        if self.peek() != "store":
            return False
        if name is not None:
            raise Violation(f"leaves {name!r} unprocessed")
        self.store(newest)
        self.line(NOTHING)
        return True

    def normal_pass(self, taken):
        first = not self.copy.passes
        if first and self.take("sleep").value != 500:
            raise Violation("slept for another time than 500 ms")
        newest, name = self.scan()
        self.store(newest)
        kinds = [step.kind for step in self.steps]
        if not first and kinds[:2] in (["line", "try normal request"],
                                       ["lost line", "try normal request"]):
            if name is not None:
                raise Violation(f"leaves {name!r} unprocessed")
            self.line(SKIPPED)
            self.copy.passes.append(("skipped", taken))
            return
        start = next((step.value for step in self.steps if step.kind == "start"), None)
        if name is None and start and start[1].startswith("-e "):
            name = start[1][4:-1]
        begin = ("# Processing a configuration request" if first else
                 "# Processing a Queued configuration request" if name else
                 "# Processing Queued configuration request")
        self.line(f"{begin} from a NewOrChanged event event for "
                  + (f"'{name}'." if name else "multiple printers."))
        self.run_pass("normal", taken, f'-e "{name}"' if name else "-c", "-e" if name else "-c")

    def refresh(self):
        opened = self.take("open refresh request")
        if self.is_redundant():
            result = self.tell_redundant()
            self.take("post refresh request")
            return result
        what = "on-demand auto-configuration" if "OnDemand" in self.mode.resolved else (
            "a periodic refresh event")
        self.line(f"# Processing {what}: {self.mode.invoker}")
        while taken := self.taken("refresh request"):
            if self.copy.passes:
                self.line("Processing queued configuration request from a periodic refresh event.")
            self.run_pass("refresh", taken, "", "")
        if self.copy.passes:
            self.line(UPDATE)
        elif opened.error == 0:
            raise Violation("made its request event, and did not find it signalled")
        else:
            self.checker.allow("a refresh copy came while the event that an earlier one had emptied "
                               "was still held, and found no request", self.copy)
        self.line("Refresh event done...exiting.")
        return 0, ""


def check(history):
    """The verdict on a history."""
    return Checker(history).check()


def story(history, copies):
    """What some copies did, a line each, in the order in which they did it."""
    steps = sorted((step for copy in copies for step in copy.steps), key=lambda step: step.order)
    return [f"  {step.order + 1:6} {step.time[11:-1]} pid {step.copy.pid} {step.kind}"
            + ("" if step.value is None else f": {step.value}") for step in steps]
