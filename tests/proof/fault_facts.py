"""What one run did, as facts in plain words, and in what two runs differ."""

import re
from collections import Counter, defaultdict
from dataclasses import dataclass, field

from proof.fault_cases import TRIM
from proof.trimmed_log import kept_tail

COPY = "a copy of the log"
OURS = "7.0:"           # begins the program's own entry in a list of applications
LONG_LINE = b"[11/21/2026 7:50:40 AM] PalvoPrinterConfiguration(PID1): x\r\n"
LONG_LOG = LONG_LINE * (4 * 1024 * 1024 // len(LONG_LINE) + 1)
SOME_PROCESS = re.compile(r"(?<=pid=)\d+|(?<=titleBytes=)\d+|\d+\|0x[0-9a-f]+(?=:)")
OF_HIVE = re.compile(r"(the list|UserId|DeviceId|IsAdmin) of (\S+)( .*)")


@dataclass
class Facts:
    """What is in order of time has its order; the rest is a set of things that are so."""
    code: int
    lines: list = field(default_factory=list)       # of the log
    printed: list = field(default_factory=list)
    programs: list = field(default_factory=list)    # that it waited for
    things: set = field(default_factory=set)


def without_numbers(text):
    return re.sub(r"\d+", "#", text)


def printed_texts(printed):
    """What was printed, a text each: some begin with a line feed, some end with one, some have none."""
    apart = re.sub(r"(registered\.|: [0-9a-f]{8})", r"\1\n", printed)
    return [without_numbers(re.sub(r": [0-9a-f]{8}$", ": #", text)).strip()
            for text in apart.splitlines() if text.strip()]


def program_of(run):
    """One start of a sibling program: what, as whom, with which arguments."""
    arguments = re.sub(r"\d+(?=\))", "#", run.arguments).strip()
    return f"{run.name} as {run.account}: {arguments}"


def entries_of(text):
    """The entries of a list of applications, the program's own without its content."""
    return [OURS if entry.startswith(OURS) else entry for entry in text.split("*")]


def bag_things(bags):
    for sid, values in bags.items():
        hive = re.sub(r"^S-1-5-21-\d+-\d+-\d+-1001", "alice", sid)
        for name, (_, text) in values.items():
            if name != "DesktopAppGUIDs":
                yield f"{name} of {hive} is {text}"
                continue
            for entry in entries_of(text):
                yield f"the list of {hive} has {entry}"


def task_things(lab):
    for name in lab.tasks():
        short = name.rsplit(" - ", 1)[-1]
        yield f"the task {short}"
        for what, value in lab.raw_task(name).items():
            yield f"the task {short} has {what} {re.sub(r'T0[0-3]:[0-5]0:', 'T##:##:', value)}"


def kept_of(log):
    """What a trim left of the long log."""
    rest = log.split(b"\r\n")
    old = b"".join(line + b"\r\n" for line in rest[:-1] if b"(PID1): " in line)
    tail = kept_tail(LONG_LOG)
    if old == LONG_LOG:
        return "all"
    return "the tail" if old == tail else "whole lines of the tail" if tail.startswith(old) else "else"


def things_of(lab, mode, prompts):
    """What is so after a run; `prompts` were shown before it."""
    yield from bag_things(lab.bags())
    yield from task_things(lab)
    enabled, size, when_full = lab.channel()
    yield f"the channel is {enabled}, {size}, {when_full}"
    yield from (f"the driver {line}" for line in lab("driver", "list").splitlines())
    newest = int(lab("event", "list").splitlines()[-1].split("\t")[0])
    position = lab.scan_position()
    yield "no position" if position is None else f"the position is {position[0]}, {position[1] - newest}"
    for message in lab("show", "messages").splitlines()[prompts:]:
        yield f"the message {SOME_PROCESS.sub('#', message)}"
    if mode == TRIM:
        yield f"the log keeps {kept_of(lab.log_bytes())}"
        if lab.log_path().with_suffix(".log.plvold").exists():
            yield COPY


def facts_of(lab, mode, code, pid, printed, lines, prompts=0):
    runs = sorted((run for run in lab.siblings() if run.parent == pid), key=lambda run: run.start)
    behind = [run for run in runs if run.name == "writer" and re.search(r"-(IN|UN|w) ", run.arguments)]
    return Facts(code, [without_numbers(text) for text in lines],
                 printed_texts(printed),
                 [program_of(run) for run in runs if run not in behind],
                 {*things_of(lab, mode, prompts), *(f"behind, {program_of(run)}" for run in behind)})


def ordered_difference(what, wanted, found):
    """What is missing, what is new, and whether the rest comes in another order."""
    gone, new = Counter(wanted) - Counter(found), Counter(found) - Counter(wanted)
    yield from (f"- {what} {item}" for item in gone.elements())
    yield from (f"+ {what} {item}" for item in new.elements())
    expected = iter(wanted)
    for item in found:
        if new[item]:
            new[item] -= 1
        elif item not in expected:
            yield f"the {what}s come in another order"
            return


def briefly(things, every):
    """The things, those of all hives as one, and those of a thing that is among them left out; `every`
    are all things of the run that has them."""
    of_hives = defaultdict(set)
    for thing in every:
        if found := OF_HIVE.fullmatch(thing):
            of_hives[found[1], found[3]].add(thing)
    brief = set()
    for thing in things:
        found = OF_HIVE.fullmatch(thing)
        same = of_hives[found[1], found[3]] if found else set()
        if len(same) > 1 and same <= things:
            thing = f"{found[1]} of every hive{found[3]}"
        if thing.split(" has ")[0] == thing or thing.split(" has ")[0] not in things:
            brief.add(thing)
    return sorted(brief)


def differences(wanted, found):
    """In what a run differs from the one that is wanted, a text each."""
    if found.code != wanted.code:
        yield f"the code is {found.code if found.code < 0x80000000 else hex(found.code)}"
    if wanted.lines and not found.lines:
        yield "- every line"
    else:
        yield from ordered_difference("line", wanted.lines, found.lines)
    yield from ordered_difference("print", wanted.printed, found.printed)
    yield from ordered_difference("program", wanted.programs, found.programs)
    yield from (f"- {thing}" for thing in briefly(wanted.things - found.things, wanted.things))
    yield from (f"+ {thing}" for thing in briefly(found.things - wanted.things, found.things))
