"""Bursts of copies of all kinds, started together and on top of each other while printers come and go;
what they did is recorded and judged by history_checker. The long form takes hours, and goes on where it
was ended."""

import re
import tempfile
import threading
import time
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from random import Random

# First: it says where the lab's module lies.
from proof import ROOT, SUPPORTED, Kept, Proof, program, wine_failed

import lab as system
from history_checker import check, story
from program_promises import RECORDED
from recorded_history import Ended, History, SiblingRun

COPIES = 110                # of one history, on average
SHORT, LONG = 350, 100000   # requests
LANES = 3                   # bursts that may be under way at once
SECONDS = 900               # longer than any burst takes on a slow machine

# How often each is given in a burst.
ARGUMENTS = {
    "-c -i NewOrChangedTask": 30, "-c -i UserLogonTask": 12, "-c -i POJEMService": 6,
    "-c -i Somebody": 4, "-c": 4, "-r -i PeriodicRefreshTask": 12, "-r": 8, "": 8, "-i Somebody": 4,
    "-c -i UserLogonTask -IN -w": 3, "-r -i PeriodicRefreshTask -IN -w": 3}
BESIDE = {"-?": 2, "-x": 1, "-w": 1, "-IN": 1, "-UN": 1, "-APDI -i Nothing": 1}
INSTALLERS = {"-IT": 1, "-UT": 1}
PRINTERS = [f"Office {number}" for number in range(1, 9)]


class Broken(Exception):
    """The program broke a promise that shows before its history is judged."""


class Lane:
    """One process of the lab of its own, so that several bursts can be under way."""

    def __init__(self, lab):
        self.lab = lab
        self.server = system.Server(lab.prefix)

    def __call__(self, *arguments):
        return self.server.ask(arguments)[0]

    def recorded(self):
        """How many lines the record has."""
        path = record_path(self.lab)
        return path.read_bytes().count(b"\n") if path.is_file() else 0

    def burst(self, lines):
        """Starts one copy a line together, and tells how each ended."""
        after = self.recorded()
        with tempfile.TemporaryDirectory() as folder:
            commands = Path(folder) / "burst.txt"
            # A line without arguments would be left out, but not one with an account.
            commands.write_text("".join(f"@SYSTEM {line}".strip() + "\n" for line in lines))
            printed = self("burst", "--output-dir", folder, str(commands))
            before = self.recorded()
            ends = re.findall(r"^pid (\d+)\texit (\d+)", printed, re.MULTILINE)
            if len(ends) != len(lines):
                raise AssertionError(f"a burst of {len(lines)} copies told of {len(ends)}:\n{printed}")
            return [Ended(int(pid), int(code), Path(folder, f"{number}.out").read_bytes()
                          .decode("cp1252").replace("\r\n", "\n"), after, before)
                    for number, (pid, code) in enumerate(ends, 1)]


def record_path(lab):
    return lab.prefix / "drive_c/ProgramData/PalvoLab/calls.log"


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


def collect(lab, users, ended, clears, kills=False):
    """Waits until nobody is at work any more, and reads what is recorded."""
    def quiet():
        lines = record_path(lab).read_text("utf-8", "replace").splitlines()
        living = Counter(line.split(" ", 2)[1] for line in lines if " process started: " in line)
        living.subtract(line.split(" ", 2)[1] for line in lines if line.endswith(" process ended"))
        return (kills or not any(living.values())) and all(run.end for run in sibling_runs(lab))

    lab("tasks", "wait")
    lab.wait_for(quiet, "the end of all copies")
    record = record_path(lab).read_text("utf-8", "replace").splitlines()
    # Those of the first run, which was not recorded, are not the history's.
    runs = [run for run in sibling_runs(lab) if run.start > record[0].split()[0]]
    return History(record, lab.log_bytes(), runs, ended, users, clears, kills)


def choose(random, weights, count):
    return random.choices(list(weights), list(weights.values()), k=count)


class Story:
    """One history: its bursts, and what happens to the printers meanwhile."""

    def __init__(self, lab, random):
        self.lab = lab
        self.random = random
        self.ended = []
        self.clears = []
        self.failures = []
        self.lanes = [Lane(lab) for _ in range(LANES)]

    def plan(self):
        """The bursts of each lane."""
        copies = self.random.randint(COPIES // 2, COPIES * 3 // 2)
        weights = dict(ARGUMENTS)
        weights.update(BESIDE)
        if self.random.random() < 0.25:
            weights.update(INSTALLERS)
        if self.random.random() < 0.2:
            weights["-DL"] = 1
        bursts = []
        while copies > 0:
            size = min(copies, self.random.choice([1, 2, 3, 5, 8, 12, 20, 40, 100]))
            bursts.append(choose(self.random, weights, size))
            copies -= size
        return [bursts[lane::LANES] for lane in range(LANES)]

    def serve(self, lane, bursts, pauses):
        try:
            for burst, pause in zip(bursts, pauses):
                time.sleep(pause)
                self.ended += lane.burst(burst)
        except Exception as error:  # Told in the main thread.
            self.failures.append(error)

    def change_printers(self, at_work):
        """Printers come, change and go; now and then somebody clears the channel."""
        present = []
        clears = self.random.random() < 0.15
        while at_work():
            choice = self.random.random()
            absent = [name for name in PRINTERS if name not in present]
            if absent and (choice < 0.4 or not present):
                present.append(self.random.choice(absent))
                driver = SUPPORTED if self.random.random() < 0.7 else "Legacy V3 Driver"
                self.lab("printer", "add", present[-1], driver)
            elif choice < 0.8:
                names = self.random.sample(present, self.random.randint(1, len(present)))
                self.lab("printer", "change", *names)
            elif choice < 0.9:
                self.lab("printer", "remove", present.pop(self.random.randrange(len(present))))
            elif choice < 0.95 and clears:
                after = self.lanes[0].recorded()
                self.lab("event", "clear")
                self.clears.append((after, self.lanes[0].recorded()))
            for sibling, most in (("query", 40), ("writer", 150)):
                self.lab("sibling", sibling, "--take", f"0-{self.random.randint(1, most)}")
            time.sleep(self.random.uniform(0.02, 0.4))

    def tell(self):
        """Runs it; the history."""
        users = prepare(self.lab)
        threads = [threading.Thread(target=self.serve, args=(
            lane, bursts, [self.random.uniform(0, 0.5) for _ in bursts]))
            for lane, bursts in zip(self.lanes, self.plan())]
        for thread in threads:
            thread.start()
        try:
            self.change_printers(lambda: any(thread.is_alive() for thread in threads))
        finally:
            for thread in threads:
                thread.join()
            for lane in self.lanes:
                lane.server.end()
        if self.failures:
            raise self.failures[0]
        return collect(self.lab, users, self.ended, self.clears)


class Findings:
    """Sums up the verdicts."""

    def __init__(self, proof, name):
        self.proof = proof
        self.name = name
        self.figures = Counter()
        self.allowed = Counter()
        self.lock = threading.Lock()
        self.begun = 0      # histories
        self.kept = None

    def go_on(self):
        """Takes up what an ended run of the same program came to, and keeps what this one comes to."""
        proof = self.proof
        self.kept = Kept(f"{self.name}-{proof.seed}", program())
        before = self.kept.before
        if before:
            self.begun = before["begun"]
            self.figures.update(before["figures"])
            self.allowed.update(before["allowed"])
            proof.findings += before["findings"]
            proof.once += before["once"]
            proof.start -= before["seconds"]
            print(f"going on after {self.begun} histories: {dict(self.figures)}", flush=True)

    def keep(self):
        self.kept.keep(begun=self.begun, figures=self.figures, allowed=self.allowed,
                       findings=self.proof.findings, once=self.proof.once,
                       seconds=time.monotonic() - self.proof.start)

    def next_case(self):
        with self.lock:
            self.begun += 1
            return f"{self.proof.seed}-{self.begun}"

    def take(self, case, history):
        verdict = check(history)
        with self.lock:
            self.add(case, history, verdict)
            if self.kept:
                self.keep()
        return verdict

    def add(self, case, history, verdict):
        self.figures += verdict.figures
        for why, examples in verdict.allowed.items():
            if why not in self.allowed:
                print(f"allowed by the rules as they stand: {why}; history {case}:")
                print("\n".join(story(history, examples[0])[:60]), flush=True)
            self.allowed[why] += len(examples)
        for text in verdict.violations[:5]:
            self.proof.find(f"history {case}: {text}")
        if verdict.violations:
            folder = ROOT / "build" / "proof" / f"{self.name}-{case}"
            folder.mkdir(parents=True, exist_ok=True)
            (folder / "record.txt").write_text("\n".join(history.record) + "\n")
            (folder / "log.txt").write_bytes(history.log)
            (folder / "violations.txt").write_text("\n".join(verdict.violations) + "\n")
            (folder / "siblings.txt").write_text("\n".join(map(str, history.siblings)) + "\n")
            (folder / "ended.txt").write_text("\n".join(map(str, history.ended)) + "\n")

    def end(self):
        if self.kept:
            self.kept.forget()
        for why, count in self.allowed.items():
            print(f"allowed {count} times: {why}")
        self.proof.end(", ".join(f"{count} {what}" for what, count in self.figures.items()))


def share(proof, findings, wanted, tell):
    """Judges history after history, tell(lab, random), on all labs until enough is seen. When Wine does
    not bring up a process, the next history follows; a second time in turn is a finding."""
    told = [time.monotonic()]

    def serve(lab):
        failed = False
        while not wanted(findings.figures):
            case = findings.next_case()
            try:
                findings.take(case, tell(lab, Random(case)))
                failed = False
            except Broken as error:
                proof.find(f"history {case}: {error}")
            except Exception as error:  # The other lab goes on.
                text = f"history {case}: {type(error).__name__}: {error}"
                if failed or not wine_failed(lab, text):
                    proof.find(text)
                    return
                print(text, flush=True)
                proof.once += 1
                failed = True
            if proof.long and time.monotonic() - told[0] > 60:
                told[0] = time.monotonic()
                print(f"  {dict(findings.figures)} after {told[0] - proof.start:.0f} s", flush=True)

    with ThreadPoolExecutor(len(proof.labs)) as pool:
        list(pool.map(serve, proof.labs))


# Broken promises that the lab brings about, and what the checker has to say of each.
RIGGED = [
    # The seventh wait of such a copy is the one for the instance mutex.
    ("both had programs", ["--fault", "WaitForSingleObject 7 return=0"], "-c"),
    ("'post special request' should follow", ["--fault", "SetEvent 1 return=1"], "-c"),
    ("the log lacks a line", ["--fault", "WriteFile 2 return=1"], "-c"),
    ("is no line of the log", [], "torn"),
    ("never ended", ["--kill-after", "60"], "-c"),
    ("went back from", [], "-c -i NewOrChangedTask")]


def rigged(lab, what, options, arguments):
    """A history with one broken promise, while another copy is at work where that matters."""
    users = prepare(lab)
    if arguments == "torn":
        lab.run("-?")
        lab.log_path().write_bytes(lab.log_bytes()[:-30])
        lab("run", "--", "-?", check=False)
        return collect(lab, users, [], [], kills=False)
    if "back" in what:
        for name in ("One", "Two"):
            lab("printer", "add", name, SUPPORTED)
        lab.run(*arguments.split())
        lab("event", "clear")   # The checker is not told.
        lab.run(*arguments.split())
        return collect(lab, users, [], [])
    lab("sibling", "writer", "--hold")
    first = lab.start("-c")
    lab.wait_for(lambda: any(run.name == "writer" and run.parent == first for run in lab.siblings()),
                 "the first copy's writer")
    second = lab.start(*arguments.split(), options=options)
    if "both" in what:
        lab.wait_for(lambda: any(run.name == "writer" and run.parent == second
                                 for run in lab.siblings()), "the second copy's writer")
    lab("sibling", "writer", "--release")
    lab.wait_for(lambda: f" {first} process ended" in record_path(lab).read_text(), "the first's end")
    return collect(lab, users, [], [], kills="ended" in what)


def prove_rules(proof):
    """That the checker sees what the program would do wrong."""
    lab = proof.labs[0]
    for what, options, arguments in RIGGED:
        history = rigged(lab, what, options, arguments)
        history.kills = False
        violations = check(history).violations
        if not any(what in text for text in violations):
            proof.find(f"the checker did not see '{what}', but {violations}")


def main():
    proof = Proof("Histories")
    system.SECONDS = SECONDS
    findings = Findings(proof, "history")
    prove_rules(proof)
    if proof.long:
        findings.go_on()
    wanted = LONG if proof.long else SHORT
    share(proof, findings, lambda figures: figures["requests"] >= wanted,
          lambda lab, random: Story(lab, random).tell())
    findings.end()


if __name__ == "__main__":
    main()
