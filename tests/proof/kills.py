"""Copies are killed after any of their calls, before any call of any function that they import, and at
random moments, while others work. The next copy works, no request that a living copy holds is lost,
the log has whole lines, a trimmed log and its copy hold what they should, and no value is half-written.
history_checker judges what the copies did. A torn line would show by the next line beginning within
it; a trim's last block may leave one at the end of the log, and its copy then has everything.
"""

import re
import threading
import time

from proof import SUPPORTED, Proof  # First: it says where the lab's module lies.

import lab as system
from history import SECONDS, Broken, Findings, Lane, collect, prepare, record_path, share
from program_promises import HEAD
from recorded_history import NOT_BROUGHT_UP, UNKNOWN, Ended

SHORT, LONG = 300, 5000     # kills
TRIMS = 24                  # kills within a trim, in the short form
ROUNDS = 4                  # of one history
KILLERS = 6                 # copies of a round that are to be killed
NO_SIBLINGS = ["-IT", "-DL"]

CHANGED = ["-c -i NewOrChangedTask", "-c -i UserLogonTask", "-c", "-c -i POJEMService"]
REFRESHING = ["-r -i PeriodicRefreshTask", "-r", ""]
BAG_VALUES = {"DesktopAppGUIDs", "UserId", "DeviceId", "IsAdmin"}
LARGEST, KEPT = 0x400000, 0x200000


class Reference:
    """What an undisturbed run does: the functions that it calls, and the bags that it leaves."""

    def __init__(self, lab):
        self.users = prepare(lab)
        self.calls, self.recorded = {}, {}
        lab("printer", "add", "Any", SUPPORTED)
        for arguments in CHANGED + REFRESHING + NO_SIBLINGS:
            lab("printer", "change", "Any")
            lab("record", "counts")
            pid = lab.run(*arguments.split()).pid
            counted = re.findall(rf"^{pid} (\w+) (\d+)$", lab("show", "counts"), re.MULTILINE)
            self.calls[arguments] = [(name, int(count)) for name, count in counted]
            lab("printer", "change", "Any")
            lab("tasks", "wait")
            lab("record", "on")
            pid = lab.run(*arguments.split()).pid
            self.recorded[arguments] = len(re.findall(rf"^\S+ {pid} ", lab("show", "calls"), re.MULTILINE))
        lab("record", "off")
        remove_tasks(lab)
        lab.run("-c")
        self.bags = lab.bags()

    def any_call(self, random, arguments):
        """(function, number) of one call of a run with these arguments."""
        name, count = random.choice(self.calls[arguments])
        return name, random.randint(1, count)

    def every_call(self):
        """(arguments, number) of each recorded call of each run."""
        return ((arguments, number) for arguments, count in self.recorded.items()
                for number in range(1, count + 1))


def remove_tasks(lab):
    """Takes away what -IT left, so that events start nothing; how that copy ended, if one was needed."""
    lab("tasks", "wait")
    if not lab.tasks():
        return []
    after = record_path(lab).read_bytes().count(b"\n") if record_path(lab).is_file() else 0
    run = lab.run("-UT")
    lab("set", "channel-enabled", "on")
    return [Ended(run.pid, run.code, run.output, after, UNKNOWN)]


class Shared:
    """What the histories of all labs take from."""

    def __init__(self, items):
        self.items = iter(items)
        self.lock = threading.Lock()

    def __iter__(self):
        return self

    def __next__(self):
        with self.lock:
            return next(self.items)


class KillStory:
    """One history with kills."""

    def __init__(self, lab, random, reference, calls):
        self.calls = calls
        self.lab = lab
        self.random = random
        self.reference = reference
        self.ended = []
        self.failures = []

    def tell(self):
        lab, random = self.lab, self.random
        prepare(lab, quick=True)
        self.lanes = [Lane(lab) for _ in range(KILLERS + 1)]
        try:
            for number in range(ROUNDS):
                self.round(number)
                if self.failures:
                    raise self.failures[0]
        finally:
            for lane in self.lanes:
                lane.server.end()
        return collect(lab, self.reference.users, self.ended, [], kills=True)

    def round(self, number):
        lab, random = self.lab, self.random
        lab("set", "channel-enabled", "on")
        lab("printer", "add", f"Office {number}", SUPPORTED)
        for sibling in ("query", "writer"):
            lab("sibling", sibling, "--take", f"0-{random.choice([1, 20, 80])}")
        before = len(record_path(lab).read_bytes()) if record_path(lab).is_file() else 0
        jobs = [threading.Thread(target=self.doomed, args=(lane,)) for lane in self.lanes[:-1]]
        jobs.append(threading.Thread(target=self.bystanders, args=(self.lanes[-1],)))
        # Chosen here, so that the seed says what is done.
        self.plans = {lane: self.plan() for lane in self.lanes[:-1]}
        self.burst = random.choices(CHANGED + REFRESHING + ["-UT"], [3, 3, 1, 1, 2, 2, 1, 1], k=3)
        self.pauses = [random.uniform(0, 0.2) for _ in range(3)]
        for job in jobs:
            job.start()
        for pause in self.pauses:
            time.sleep(pause)
            self.kill_one(before)
        for job in jobs:
            job.join()
        self.check_bags(complete=False)
        self.next_copies(number)

    def plan(self):
        """(arguments, the options that kill)."""
        random = self.random
        arguments = random.choices(CHANGED + REFRESHING + NO_SIBLINGS, [16] * 7 + [1] * 2)[0]
        if random.random() < 0.65:
            arguments, number = next(self.calls, None) or (
                arguments, random.randint(1, self.reference.recorded[arguments]))
            return arguments, ["--kill-after", str(number)]
        name, number = self.reference.any_call(random, arguments)
        return arguments, ["--fault", f"{name} {number} kill"]

    def doomed(self, lane):
        arguments, options = self.plans[lane]
        try:
            after = lane.recorded()
            said = lane("run", *options, "--print-exit", "--", *arguments.split())
            found = re.search(r"palvo-lab: exit (\d+) pid (\d+)\n$", said)
            if not found:
                raise AssertionError(f"'{arguments}' with {options} did not start: {said}")
            self.ended.append(Ended(int(found[2]), int(found[1]), said[:found.start()], after,
                                    lane.recorded()))
        except Exception as error:  # Told in the main thread.
            self.failures.append(error)

    def bystanders(self, lane):
        try:
            self.ended += lane.burst(self.burst)
        except Exception as error:  # Told in the main thread.
            self.failures.append(error)

    def kill_one(self, before):
        """Kills some copy of this round that is at work. One that ends just now cannot be killed."""
        if not record_path(self.lab).is_file():
            return
        with record_path(self.lab).open("rb") as record:
            record.seek(before)
            lines = record.read().decode("utf-8", "replace").splitlines()
        living = {}
        for line in lines:
            parts = line.split(" ", 2)
            if len(parts) == 3 and parts[2].startswith("process started"):
                living[parts[1]] = 0
            elif len(parts) == 3 and parts[2] == "process ended":
                living.pop(parts[1], None)
            elif parts[1:] and parts[1] in living:
                living[parts[1]] += 1
        # Without a call of its own a copy is still being brought up by the lab.
        at_work = [pid for pid, calls in living.items() if calls]
        if at_work:
            self.lab("kill", self.random.choice(at_work), check=False)

    def next_copies(self, number):
        """Ordinary copies after the kills: each does its full pass."""
        lab, random = self.lab, self.random
        self.ended += remove_tasks(lab)
        # A printer event waits half a second before its first pass: seldom is enough.
        order = random.choices(CHANGED, [1, 4, 2, 2]) + [random.choice(REFRESHING)]
        random.shuffle(order)
        for arguments in order:
            if arguments == CHANGED[0]:
                lab("set", "channel-enabled", "on")     # -UT turned it off.
                lab("printer", "change", f"Office {number}")
            before = len(lab.siblings())
            after = record_path(lab).read_bytes().count(b"\n")
            run = lab.run(*arguments.split())
            self.ended.append(Ended(run.pid, run.code, run.output, after, UNKNOWN))
            names = [sibling.name for sibling in lab.siblings()[before:] if sibling.parent == run.pid]
            if names != ["query", "writer"]:
                # Wine does not always bring a process that it made to its first line.
                names = self.made_processes(run.pid, after)
                print(f"Made, and left no trace of its own: a sibling of {names}", flush=True)
            if run.code != 0 or names != ["query", "writer"]:
                raise Broken(f"after the kills, '{arguments}' ended with {run.code} and started "
                                     f"{names}: {run.output}")
        self.check_bags(complete=True)

    def made_processes(self, pid, after):
        """What the copy started since then, by the record of its calls, or what Wine did not bring up."""
        lines = record_path(self.lab).read_bytes().decode("utf-8", "replace").splitlines()[after:]
        made = [re.search(r" CreateProcess\w+\(.*PalvoPrinter(Query|ConfigurationWriter)\.exe.*"
                          rf'("pid \d|= 0 \[{NOT_BROUGHT_UP}\])', line)
                for line in lines if f" {pid} " in line]
        return [{"Query": "query"}.get(found[1], "writer") for found in made if found]

    def check_bags(self, complete):
        found, wanted = self.lab.bags(), self.reference.bags
        for hive, values in found.items():
            for name, value in values.items():
                good = wanted.get(hive, {}).get(name)
                # -UT leaves an empty list.
                if value != good and not (name == "DesktopAppGUIDs" and value[1] == "" and not complete):
                    raise Broken(f"{hive} has {name} = {value}, where {good} should be")
        if complete and found != wanted:
            missing = {hive: sorted(BAG_VALUES & set(values) - set(found.get(hive, {})))
                       for hive, values in wanted.items() if found.get(hive) != values}
            raise Broken(f"after an ordinary run these values are missing: {missing}")


def large_log(random):
    """More than the largest log, in whole lines."""
    lines, size = [], 0
    while size <= LARGEST + random.randint(0, 200000):
        text = "x" * random.randint(0, 3000)
        lines.append(f"[5/6/2024 12:00:00 PM] PalvoPrinterConfiguration(PID{4 * len(lines)}): {text}\r\n"
                     .encode())
        size += len(lines[-1])
    return b"".join(lines)


def kept_tail(log):
    """The lines that a trim keeps."""
    count = 0
    for line in log.splitlines(keepends=True):
        count += len(line)
        if count > len(log) - KEPT:
            return log[count - len(line):]
    return b""


def whole_lines(text):
    return all(re.fullmatch(HEAD + "[^\r\n]*", line) for line in text.split("\r\n")[:-1]) and (
        text == "" or text.endswith("\r\n"))


class Trims:
    """Kills within the trim of a log that became too large."""

    def __init__(self, lab, random):
        self.lab = lab
        self.random = random
        self.copy = lab.log_path().with_name(lab.log_path().name + ".plvold")
        self.states = {"before": 0, "amid": 0, "after": 0}

    def kill(self):
        lab, random = self.lab, self.random
        original = large_log(random)
        lab.log_path().write_bytes(original)
        left = self.copy.read_bytes() if self.copy.is_file() else None
        options = random.choice([
            ["--fault", "CopyFileW 1 kill"], ["--fault", "DeleteFileW 1 kill"],
            ["--fault", f"CreateFileW {random.randint(1, 4)} kill"],
            ["--fault", f"ReadFile {random.randint(1, 420)} kill"],
            ["--fault", f"WriteFile {random.randint(1, 140)} kill"],
            ["--fault", f"WriteFile {random.randint(1, 140)} kill"],
            ["--kill-after", str(random.randint(20, 60))]])
        lab("run", *options, "--", "-?", check=False)
        now = lab.log_bytes()
        copy = self.copy.read_bytes() if self.copy.is_file() else None
        told = f"after {options} the log has {len(now)} bytes, its copy {copy and len(copy)}"
        tail = kept_tail(original)
        trimmed = now.startswith(tail) and whole_lines(now[len(tail):].decode("cp1252"))
        if now == original and (copy in (None, left) or original.startswith(copy)):
            self.states["before"] += 1
        elif tail.startswith(now) and copy == original:
            self.states["amid"] += 1
        elif trimmed and (copy is None or (copy == original and now == tail)):
            self.states["after"] += 1
        else:
            raise Broken(told)
        self.check_next(now, original, copy, told)

    def check_next(self, now, original, copy, told):
        """The next copy trims what is still too large, and goes on where the log ends. A line that
        the killed trim left torn is the only one that is not whole."""
        lab = self.lab
        run_code = lab("run", "--print-exit", "--", "-?", check=False)
        then = lab.log_bytes()
        kept = kept_tail(original) if len(now) > LARGEST else now
        added = then[len(kept):].decode("cp1252")
        if not then.startswith(kept) or not re.search(r"exit 1 pid", run_code) or not whole_lines(added):
            raise Broken(f"{told}; the next copy left {len(then)} bytes and said {run_code!r}")
        if len(now) > LARGEST and (not re.match(HEAD + "Log trimmed\\.\r\n", added) or
                                   self.copy.is_file()):
            raise Broken(f"{told}; the next copy did not trim")
        if len(now) <= LARGEST and (self.copy.read_bytes() if self.copy.is_file() else None) != copy:
            raise Broken(f"{told}; the next copy changed the copy that was left")


def main():
    proof = Proof("Kills")
    system.SECONDS = SECONDS
    findings = Findings(proof, "kills")
    references = {lab: Reference(lab) for lab in proof.labs}
    # The long form kills after each recorded call in turn, the short one after any.
    each = list(references[proof.labs[0]].every_call()) if proof.long else []
    print(f"{len(each)} recorded calls to kill after in turn")
    calls = Shared(each)
    wanted, trims = (LONG, TRIMS * 10) if proof.long else (SHORT, TRIMS)
    share(proof, findings, lambda figures: figures["killed"] >= wanted,
          lambda lab, random: KillStory(lab, random, references[lab], calls).tell())
    states = trim_on_all(proof, trims // len(proof.labs))
    print(f"kills within a trim: {states}")
    if not states["amid"]:
        proof.find("no kill fell within a trim")
    if each and next(calls, None):
        proof.find("not every recorded call was killed after")
    findings.end()


def trim_on_all(proof, kills):
    states = []

    def serve(lab, random):
        trims = Trims(lab, random)
        lab("record", "off")
        for _ in range(kills):
            try:
                trims.kill()
            except Exception as error:  # The others go on.
                proof.find(f"trim: {type(error).__name__}: {error}")
        states.append(trims.states)

    threads = [threading.Thread(target=serve, args=(lab, proof.random.__class__(
        f"{proof.seed}-trim-{number}"))) for number, lab in enumerate(proof.labs)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return {name: sum(state[name] for state in states) for name in states[0]}


if __name__ == "__main__":
    main()
