"""Copies are killed after their recorded calls (in the long form after each), and before any call
of any function that they import, while others work. The next copy works, no request that
a living copy holds is lost, the log has whole lines, a trimmed log and its copy hold what they should,
and no value is half-written. history_checker judges what the copies did. A torn line would show by the
next line beginning within it; a trim's last block may leave one at the end of the log, and its copy then
has everything.
"""

import re
import threading
from itertools import chain

import lab as system
from proof.history import SECONDS, Broken, Findings, share
from proof.kill_plan import CHANGED, NO_SIBLINGS, REFRESHING, TRIES, KillPlan, Reference
from proof.printers import Printers
from proof.program_promises import HEAD
from proof.recorded_history import CALL, KILLED, step_of
from proof.recording import collect, lanes_of, prepare, record_path
from proof.runner import SUPPORTED, Proof
from proof.trimmed_log import LARGEST, kept_tail
from proof.wine_faults import NOT_BROUGHT_UP

LONG = 5000                 # kills; the short form has those of its calls
TRIMS = 24                  # kills within a trim, in the short form
ROUNDS = 2                  # of one history
ALONE = 2                   # of each scheme that are killed in a round one after the other, beside nobody
KILLERS = 8                 # lanes of a round with copies that are to be killed at a call
EACH = 3                    # of these in a lane that need not work, one after the other
BAG_VALUES = {"DesktopAppGUIDs", "UserId", "DeviceId", "IsAdmin"}


class Doomed:
    """A copy that is to be killed at a call, of the plan's or any."""

    def __init__(self, arguments, options, call=None, scheme=None):
        self.arguments = arguments
        self.options = options
        self.call = call        # of the plan's
        self.scheme = scheme    # that it has to lead, to come as far; else nothing
        self.ended = None

    def was_killed(self):
        return self.ended is not None and self.ended.code == KILLED


class KillStory:
    """One history with kills."""

    def __init__(self, lab, random, reference, plan):
        self.plan = plan
        self.lab = lab
        self.random = random
        self.reference = reference
        self.ended = []
        self.failures = []

    def tell(self):
        with lanes_of(self.lab, KILLERS + 1) as self.lanes:
            prepare(self.lab, quick=True)
            self.printers = Printers(self.lab)
            for number in range(ROUNDS):
                self.round(number)
            return self.printers.tell(collect(self.lab, self.reference.users, self.ended, kills=True))

    def round(self, number):
        lab, random = self.lab, self.random
        lab("set", "channel-enabled", "on")
        self.printers.add(f"Office {number}", SUPPORTED)
        for sibling in ("query", "writer"):
            lab("sibling", sibling, "--take", f"0-{random.choice([1, 20, 80])}")
        for _ in range(ALONE):
            self.printers.change(f"Office {number}")
            self.strike(self.alone(), [], [])
        leaders = self.leaders() if random.random() < 0.9 else []
        # Chosen here, so that the seed says what is done.
        burst = random.choices(CHANGED + REFRESHING + ["-UT"], [3, 3, 1, 1, 2, 2, 1, 1], k=4)
        self.strike(leaders, self.crowd(KILLERS - len(leaders)), burst)
        self.check_bags(complete=False)
        self.next_copies(number)

    def strike(self, leaders, crowd, burst):
        """Kills the leaders, and beside them the copies of the crowd, while a burst of others comes."""
        before = len(record_path(self.lab).read_bytes()) if record_path(self.lab).is_file() else 0
        queues = [[one] for one in leaders] + crowd
        jobs = [threading.Thread(target=self.run_doomed, args=each) for each in zip(self.lanes, queues)]
        if burst:
            jobs.append(threading.Thread(target=self.bystanders, args=(self.lanes[-1], burst)))
        try:
            self.let_lead({one.scheme: job for one, job in zip(leaders, jobs)}, before)
            for job in jobs[len(leaders):]:
                job.start()
            for job in jobs:
                job.join()
            if self.failures:
                raise self.failures[0]
        finally:
            for one in chain(*queues):
                if one.call:
                    self.plan.settle(one.call, one.was_killed(),
                                     one.scheme is not None or one.arguments in NO_SIBLINGS)

    def leaders(self):
        """Of each scheme a copy that works, which the plan's deep calls need."""
        calls = {scheme: self.plan.take(group, deepest=True)
                 for scheme, group in (("changed", CHANGED), ("refresh", REFRESHING))}
        return [self.planned(call, scheme) for scheme, call in calls.items() if call]

    def alone(self):
        """Leaders, or a copy that needs no scheme, for what no crowd let it come to."""
        call = None if (leaders := self.leaders()) else self.plan.take(NO_SIBLINGS, deepest=True)
        return [self.planned(call)] if call else leaders

    def crowd(self, lanes):
        """Copies that are mostly redundant, and get the plan's first calls or any."""
        installing = self.random.random() < 0.15
        queues = []
        for _ in range(lanes):
            calls = [self.next_call(installing) for _ in range(EACH)] if self.random.random() < 0.85 else []
            queues.append([self.planned(call) for call in calls if call] or [self.anywhere()])
        return queues

    def next_call(self, installing):
        call = None if installing else self.plan.take(CHANGED + REFRESHING, deepest=False)
        return call or self.plan.take(NO_SIBLINGS, deepest=True)

    def planned(self, call, scheme=None):
        return Doomed(call[0], ["--kill-after", str(call[1])], call, scheme)

    def anywhere(self):
        random = self.random
        arguments = random.choices(CHANGED + REFRESHING + NO_SIBLINGS, [16] * 7 + [1] * 2)[0]
        if random.random() < 0.5:
            return Doomed(arguments, ["--kill-after",
                                      str(random.randint(1, self.reference.recorded[arguments]))])
        name, number = self.reference.any_call(random, arguments)
        return Doomed(arguments, ["--fault", f"{name} {number} kill"])

    def let_lead(self, leading, before):
        """Starts the copies that are to work, and waits until they do, or were killed."""
        for job in leading.values():
            job.start()

        def work():
            tried = {step[0] for call in map(CALL.fullmatch, self.lines_since(before))
                     if call and (step := step_of(call[3], call[4], 0))}
            return all(not job.is_alive() or f"try {scheme} instance" in tried
                       for scheme, job in leading.items())

        self.lab.wait_for(work, "the copies that are to work")

    def run_doomed(self, lane, queue):
        try:
            for one in queue:
                one.ended = lane.run(one.arguments, one.options)
                self.ended.append(one.ended)
        except Exception as error:  # Told in the main thread.
            self.failures.append(error)

    def bystanders(self, lane, burst):
        try:
            self.ended += lane.burst(burst)
        except Exception as error:  # Told in the main thread.
            self.failures.append(error)

    def lines_since(self, before):
        """The whole lines of the record after its first `before` bytes."""
        if not record_path(self.lab).is_file():
            return []
        with record_path(self.lab).open("rb") as record:
            record.seek(before)
            return record.read().decode("utf-8", "replace").split("\n")[:-1]

    def next_copies(self, number):
        """Ordinary copies after the kills: each does its full pass."""
        lab, random = self.lab, self.random
        self.remove_tasks()
        # A printer event waits half a second before its first pass: seldom is enough.
        order = random.choices(CHANGED, [1, 4, 2, 2], k=1) + [random.choice(REFRESHING)]
        random.shuffle(order)
        for arguments in order:
            if arguments == CHANGED[0]:
                lab("set", "channel-enabled", "on")     # -UT turned it off.
                self.printers.change(f"Office {number}")
            before = len(lab.siblings())
            run = self.lanes[-1].run(arguments)
            self.ended.append(run)
            names = [sibling.name for sibling in lab.siblings()[before:] if sibling.parent == run.pid]
            if names != ["query", "writer"]:
                # Wine does not always bring a process that it made to its first line.
                names = self.made_processes(run)
                print(f"Made, and left no trace of its own: a sibling of {names}", flush=True)
            if run.code != 0 or names != ["query", "writer"]:
                raise Broken(f"after the kills, '{arguments}' ended with {run.code} and started {names}: "
                             f"{run.output}")
        self.check_bags(complete=True)

    def remove_tasks(self):
        """Takes away what -IT left, so that events start nothing."""
        self.lab("tasks", "wait")
        if self.lab.tasks():
            self.ended.append(self.lanes[-1].run("-UT"))
            self.lab("set", "channel-enabled", "on")

    def made_processes(self, run):
        """What the copy started, by the record of its calls, or what Wine did not bring up."""
        lines = record_path(self.lab).read_bytes().decode("utf-8", "replace").splitlines()
        made = [re.search(r" CreateProcess\w+\(.*PalvoPrinter(Query|ConfigurationWriter)\.exe.*"
                          rf'("pid \d|= 0 \[{NOT_BROUGHT_UP}\])', line)
                for line in lines[run.after:run.before] if f" {run.pid} " in line]
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
            ["--fault", "SetEndOfFile 1 kill"], ["--fault", "SetFileInformationByHandle 1 kill"],
            ["--fault", f"CreateFileW {random.randint(1, 8)} kill"],
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
    calls = references[proof.labs[0]].every_call()
    plan = KillPlan(calls if proof.long else calls_of(calls, proof.seed))
    wanted, trims = (LONG, TRIMS * 10) if proof.long else (0, TRIMS)
    share(proof, findings, lambda figures: figures["killed"] >= wanted and plan.is_over(),
          lambda lab, random: KillStory(lab, random, references[lab], plan).tell())
    proof.figure(f"{plan.done} of {plan.total} recorded calls killed after")
    for arguments, number in plan.given_up:
        proof.find(f"in {TRIES} tries no copy was killed after call {number} of '{arguments}'")
    states = trim_on_all(proof, trims // len(proof.labs))
    proof.figure(f"kills within a trim: {states}")
    if not states["amid"]:
        proof.find("no kill fell within a trim")
    if plan.done + len(plan.given_up) != plan.total:
        proof.find("not every recorded call that was to be killed after was tried")
    findings.end()


def calls_of(calls, seed):
    """Those of a short form. Ten seeds in a row have every call."""
    return calls[seed % 10::10]


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
