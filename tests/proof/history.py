"""Bursts of copies of all kinds, started together and on top of each other while printers come and go;
what they did is recorded and judged by history_checker. The long form takes hours, and goes on where it
was ended."""

import re
import sys
import threading
import time
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from random import Random

import lab as system
from proof.history_checker import check, story
from proof.recorded_history import UNKNOWN, Clearing
from proof.recording import Lane, collect, prepare, recorded
from proof.runner import ROOT, SUPPORTED, Kept, Proof
from proof.wine_faults import is_wines_fault, told_whole

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


def choose(random, weights, count):
    return random.choices(list(weights), list(weights.values()), k=count)


class Story:
    """One history: its bursts, and what happens to the printers meanwhile."""

    def __init__(self, lab, random):
        self.lab = lab
        self.random = random
        self.ended = []
        self.clearings = []
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
                self.look_for_events()
            elif choice < 0.8:
                names = self.random.sample(present, self.random.randint(1, len(present)))
                self.lab("printer", "change", *names)
                self.look_for_events()
            elif choice < 0.9:
                self.lab("printer", "remove", present.pop(self.random.randrange(len(present))))
            elif choice < 0.95 and clears:
                self.clearings.append(Clearing(recorded(self.lab)))
                self.lab("event", "clear")
            for sibling, most in (("query", 40), ("writer", 150)):
                self.lab("sibling", sibling, "--take", f"0-{self.random.randint(1, most)}")
            time.sleep(self.random.uniform(0.02, 0.4))

    def look_for_events(self):
        """After the channel was cleared: from when on it holds an event of a printer again. While it is
        disabled, none comes."""
        empty = [clearing for clearing in self.clearings if clearing.filled == UNKNOWN]
        if empty and re.search(r"^\d+\t30[06]\t", self.lab("event", "list"), re.MULTILINE):
            for clearing in empty:
                clearing.filled = recorded(self.lab)

    def tell(self):
        """Runs it; the history."""
        self.lab.given_up()     # What is known of an earlier history explains nothing here.
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
        try:
            if self.failures:
                raise self.failures[0]
            return collect(self.lab, users, self.ended, self.clearings)
        finally:
            # It explains what else was raised.
            told_whole(self.lab, [lane.server for lane in self.lanes])


def judges():
    """The names of the proofs' modules that this process has loaded."""
    loaded = (Path(getattr(module, "__file__", None) or "").resolve() for module in sys.modules.values())
    return sorted({path.name for path in loaded if path.parent == Path(__file__).resolve().parent})


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
        """Takes up what an ended run of the same program in the same lab with the same checker came to,
        and keeps what this one comes to."""
        proof = self.proof
        self.kept = Kept(f"{self.name}-{proof.seed}", *judges())
        before = self.kept.before
        if before:
            self.begun = before["begun"]
            self.figures.update(before["figures"])
            self.allowed.update(before["allowed"])
            proof.findings += before["findings"]
            proof.once += before["once"]
            proof.start -= before["seconds"]
            print(f"going on after {self.begun} histories: {dict(self.figures)}", flush=True)
            for text in before["findings"]:
                print(f"FOUND: {text} (before it was ended)", flush=True)

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
            self.proof.figure(f"allowed {count} times: {why}")
        self.proof.end(", ".join(f"{count} {what}" for what, count in self.figures.items()))


def share(proof, findings, wanted, tell):
    """Judges history after history, tell(lab, random), on all labs until enough is seen. One in which
    Wine loses a copy is told and counted, and the next follows; a second one in turn is a finding."""
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
                if failed or not is_wines_fault(error):
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


def beside_another(lab, *options, both=False):
    """Two copies at once, the second one with these options; with `both`, both have to work."""
    def writers():
        return sum(run.name == "writer" and not run.ended for run in lab.siblings())

    users = prepare(lab)
    lab("sibling", "writer", "--hold")
    lanes = [Lane(lab), Lane(lab)]
    with ThreadPoolExecutor(2) as pool:
        first = pool.submit(lanes[0].run, "-c")
        try:
            lab.wait_for(lambda: writers() == 1, "the first copy's writer")
            second = pool.submit(lanes[1].run, "-c", options)
            lab.wait_for(lambda: writers() == 2 if both else second.done(), "the second copy")
        finally:
            lab("sibling", "writer", "--release")
    for lane in lanes:
        lane.server.end()
    return collect(lab, users, [first.result(), second.result()])


def torn_line(lab):
    users = prepare(lab)
    lane = Lane(lab)
    ended = [lane.run("-?")]
    lab.log_path().write_bytes(lab.log_bytes()[:-30])
    ended.append(lane.run("-?"))
    lane.server.end()
    return collect(lab, users, ended)


def cleared_in_secret(lab):
    users = prepare(lab)
    for name in ("One", "Two"):
        lab("printer", "add", name, SUPPORTED)
    lane = Lane(lab)
    ended = [lane.run("-c -i NewOrChangedTask")]
    lab("event", "clear")   # The checker is not told.
    ended.append(lane.run("-c -i NewOrChangedTask"))
    lane.server.end()
    return collect(lab, users, ended)


# Broken promises that the lab brings about, and what the checker has to say of each.
RIGGED = {
    # The seventh wait of such a copy is the one for the instance mutex.
    "both had programs":
        lambda lab: beside_another(lab, "--fault", "WaitForSingleObject 7 return=0", both=True),
    "'post special request' should follow":
        lambda lab: beside_another(lab, "--fault", "SetEvent 1 return=1"),
    "the log lacks a line": lambda lab: beside_another(lab, "--fault", "WriteFile 2 return=1"),
    "never ended": lambda lab: beside_another(lab, "--kill-after", "60"),
    "is no line of the log": torn_line,
    "went back from": cleared_in_secret}


def prove_rules(proof):
    """That the checker sees what the program would do wrong."""
    for what, rigged in RIGGED.items():
        violations = check(rigged(proof.labs[0])).violations
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
