"""Bursts of copies of all kinds, started together and on top of each other while printers come and go;
what they did is recorded and judged by history_checker. The long form takes hours, and goes on where it
was ended."""

import re
import sys
import threading
import time
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from copy import copy
from pathlib import Path
from pprint import pformat
from random import Random

import lab as system
from proof.allowances import exceeded
from proof.history_checker import check, story
from proof.nemeses import LONGEST, MOMENTS, Nemeses, go_on
from proof.printers import LEGACY, Printers
from proof.recorded_history import ADMINISTRATOR, SERVICE, USER
from proof.recording import collect, lanes_of, prepare, record_text, recorded, wait_for_quiet
from proof.rigged import prove_rules
from proof.runner import ROOT, SUPPORTED, Kept, Proof
from proof.wine_faults import is_wines_fault

COPIES = 70                 # of one history, on average
SHORT, LONG = 200, 100000   # requests
SIZES = [1, 2, 3, 5, 8, 12, 20, 40]     # of bursts
LANES = 3                   # bursts that may be under way at once
REGRESSIONS = Path(__file__).with_name("regressions.txt")
SECONDS = 900               # longer than any burst takes on a slow machine

# How often each is given in a burst.
ARGUMENTS = {
    "-c -i NewOrChangedTask": 30, "-c -i UserLogonTask": 12, "-c -i POJEMService": 6,
    "-c -i Somebody": 4, "-c": 4, "-r -i PeriodicRefreshTask": 12, "-r": 8, "": 8, "-i Somebody": 4,
    "-c -i UserLogonTask -IN -w": 3, "-r -i PeriodicRefreshTask -IN -w": 3}
BESIDE = {"-?": 2, "-x": 1, "-w": 1, "-IN": 1, "-UN": 1, "-APDI -i Nothing": 1}
# What others than SYSTEM run.
MIXED = {"-c -i NewOrChangedTask", "-c -i UserLogonTask", "-c", "-r -i PeriodicRefreshTask", "-r", ""}
INSTALLERS = {"-IT": 1, "-UT": 1}
LEADER = "-c -i NewOrChangedTask"
PRINTERS = [f"Office {number}" for number in range(1, 9)]


class Broken(Exception):
    """The program broke a promise that shows before its history is judged."""


def choose(random, weights, count):
    return random.choices(list(weights), list(weights.values()), k=count)


# What befalls the machine of one history; all but the last with the tasks installed.
FATES = [None, "the writer changes a printer", "the clock is set back", "the scheduler is stopped",
         "the power is lost"]


class Story:
    """One history: its bursts, and what happens to the printers meanwhile."""

    def __init__(self, lab, random):
        self.lab = lab
        self.random = random
        self.fate = copy(random).choice(FATES)      # It does not change what else is chosen.
        self.has_tasks = self.fate in FATES[1:4]
        self.nemeses = Nemeses(lab, random)
        self.ended = []
        self.failures = []

    def plan(self):
        """The bursts of each lane."""
        copies = self.random.randint(COPIES // 2, COPIES * 3 // 2)
        weights = dict(ARGUMENTS)
        weights.update(BESIDE)
        if self.random.random() < 0.25 and not self.has_tasks:
            weights.update(INSTALLERS)
        if self.random.random() < 0.2:
            weights["-DL"] = 1
        mixed = self.random.random() < 0.3
        bursts = []
        while copies > 0:
            size = min(copies, self.random.choice(SIZES))
            lines = choose(self.random, weights, size)
            bursts.append([self.mix(line) for line in lines] if mixed else lines)
            copies -= size
        if any(line.startswith("@") for lines in bursts for line in lines):
            self.nemeses.figures["accounts are mixed"] += 1
        return [bursts[lane::LANES] for lane in range(LANES)]

    def mix(self, line):
        """The line, or the same for another account than SYSTEM."""
        if line not in MIXED or self.random.random() < 0.6:
            return line
        return f"@{self.random.choice([ADMINISTRATOR, SERVICE, USER])} {line}".strip()

    def serve(self, lane, bursts, pauses):
        try:
            for burst, pause in zip(bursts, pauses):
                time.sleep(pause)
                self.ended += lane.burst(burst)
        except Exception as error:  # Told in the main thread.
            self.failures.append(error)

    def change_printers(self, at_work):
        """Printers come, change and go; now and then somebody clears the channel."""
        clears = self.random.random() < 0.15 and not self.has_tasks
        left = self.random.choice([0, 0, 1, 3])     # strikes
        if self.random.random() < 0.2:
            self.printers.fill()
            self.nemeses.figures["the channel wraps"] += 1
        if self.fate == "the writer changes a printer":
            self.nemeses.feed_back(PRINTERS[0])
        while at_work():
            self.change_one(clears)
            self.meet_fate()
            if left and self.random.random() < 0.1:
                left -= 1
                self.nemeses.strike()
            for sibling, most in (("query", 40), ("writer", 150)):
                self.lab("sibling", sibling, "--take", f"0-{self.random.randint(1, most)}")
            time.sleep(self.random.uniform(0.02, 0.4))
        if self.fate not in self.nemeses.figures:
            self.meet_fate(surely=True)

    def meet_fate(self, surely=False):
        if self.fate == "the clock is set back" and (surely or self.random.random() < 0.2):
            self.nemeses.set_clock_back()
        elif self.fate == "the scheduler is stopped" and (surely or self.random.random() < 0.1):
            self.nemeses.stop_scheduler(self.live_without_scheduler)
            self.change_first()     # It starts who reads all.
        else:
            return
        self.nemeses.figures[self.fate] += 1

    def live_without_scheduler(self):
        for _ in range(self.random.randint(1, 3)):
            self.change_one(False)
        for line in self.random.choice([[], ["-IT"], ["-UT", "-IT"]]):
            self.ended.append(self.spare_lane.run(line))
            self.nemeses.figures[f"{line} without the scheduler"] += 1

    def change_first(self):
        """A printer of the suite's is added or changed."""
        if PRINTERS[0] in self.printers.present():
            self.printers.change(PRINTERS[0])
        else:
            self.printers.add(PRINTERS[0], SUPPORTED)

    def change_one(self, clears):
        random, printers = self.random, self.printers
        choice, present = random.random(), printers.present()
        absent = [name for name in PRINTERS if name not in present]
        if absent and (choice < 0.4 or not present):
            printers.add(random.choice(absent), SUPPORTED if random.random() < 0.7 else LEGACY)
        elif choice < 0.8:
            printers.change(*random.sample(present, random.randint(1, len(present))))
        elif choice < 0.9:
            printers.remove(random.choice(present))
        elif choice < 0.95 and clears:
            printers.clear()

    def lead(self, lane):
        """A copy is stopped somewhere and goes on while the bursts are under way. If there are tasks, its
        event starts it."""
        def run():
            try:
                self.ended.append(lane.run(LEADER))
            except Exception as error:  # Told in the main thread.
                self.failures.append(error)

        before = len(self.nemeses.record())
        self.printers.add(PRINTERS[0], SUPPORTED)
        thread = threading.Thread(target=(lambda: None) if self.has_tasks else run)
        thread.start()
        if pid := self.nemeses.stop_when(self.random.choice([*MOMENTS]), before):
            timer = threading.Timer(self.random.choice([1, LONGEST]), go_on, [pid])
            timer.start()
        return thread

    def lose_power(self, lane):
        """In the middle of one more burst. What the log had before, and what it begins with from now on."""
        lines = choose(self.random, ARGUMENTS, 8)
        before = self.copies_recorded()
        thread = threading.Thread(target=self.serve, args=(lane, [lines], [0]))
        thread.start()
        self.lab.wait_for(lambda: self.failures or self.copies_recorded() >= before + len(lines), "the burst")
        time.sleep(self.random.uniform(0, 1))
        lost, kept = self.nemeses.lose_power()
        thread.join()
        self.lab.parse_log(kept)    # It has whole lines.
        self.change_first()
        self.ended.append(lane.run(LEADER))
        self.nemeses.figures[self.fate] += 1
        return lost, kept

    def copies_recorded(self):
        return len(re.findall(r"^\S+ \d+ process started: ", record_text(self.lab), re.MULTILINE))

    def bring_up_to_date(self, lane):
        """One refresh when all is quiet; the line of the record from which on it ran."""
        self.lab("sibling", "writer", "--changes", "", "--times", "0")
        wait_for_quiet(self.lab, self.ended)
        quiet = recorded(self.lab)
        self.ended.append(lane.run("-r"))
        if (bags := self.lab.bags()) != self.bags:
            raise Broken(f"after all was quiet, a refresh left {bags} instead of {self.bags}")
        return quiet

    def tell(self):
        """Runs it; the history."""
        with lanes_of(self.lab, LANES + 1) as lanes:
            users = prepare(self.lab)
            self.bags = self.lab.bags()
            self.printers = Printers(self.lab)
            self.spare_lane = lanes.pop()
            installed = self.install() if self.has_tasks else None
            leader = self.lead(self.spare_lane)
            threads = [threading.Thread(target=self.serve, args=(
                lane, bursts, [self.random.uniform(0, 0.5) for _ in bursts]))
                for lane, bursts in zip(lanes, self.plan())]
            for thread in threads:
                thread.start()
            try:
                self.change_printers(lambda: any(thread.is_alive() for thread in threads))
            finally:
                for thread in [*threads, leader]:
                    thread.join()
            if self.failures:
                raise self.failures[0]
            lost = kept = b""
            if self.fate == "the power is lost":
                lost, kept = self.lose_power(lanes[0])
            quiet = self.bring_up_to_date(lanes[0])
            kills = bool(self.nemeses.power_losses)
            history = self.printers.tell(collect(self.lab, users, self.ended, kills))
            if not history.log.startswith(kept):
                raise Broken("the log does not go on from where it was when the power was lost")
            history.log = lost + history.log[len(kept):]
            history.quiet, history.installed = quiet, installed
            history.users_vary = "leave" in self.nemeses.figures
            history.struck, history.turns = self.nemeses.figures, self.nemeses.turns
            history.outages, history.power_losses = self.nemeses.outages, self.nemeses.power_losses
            return history

    def install(self):
        """The line of the record from which on the tasks are there."""
        self.ended.append(self.spare_lane.run("-IT"))
        return recorded(self.lab)


def judges():
    """The names of the proofs' modules that this process has loaded."""
    loaded = (Path(getattr(module, "__file__", None) or "").resolve() for module in sys.modules.values())
    return sorted({path.name for path in loaded if path.parent == Path(__file__).resolve().parent})


def once_found(name):
    """The cases of this proof's regressions."""
    return re.findall(rf"^{name} (\S+)$", REGRESSIONS.read_text("utf-8"), re.MULTILINE)


class Findings:
    """Sums up the verdicts."""

    def __init__(self, proof, name):
        self.proof = proof
        self.name = name
        self.figures = Counter()
        self.allowed = Counter()
        self.struck = Counter()
        self.lock = threading.Lock()
        self.begun = 0      # histories
        self.once_found = once_found(name)
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
        """Cases that once were findings come first."""
        with self.lock:
            self.begun += 1
            if self.begun <= len(self.once_found):
                return self.once_found[self.begun - 1]
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
        self.struck += history.struck
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
            others = {name: what for name, what in vars(history).items() if name not in ("record", "log")}
            (folder / "others.txt").write_text(pformat(others, width=200) + "\n")

    def end(self):
        if self.kept:
            self.kept.forget()
        for why, count in self.allowed.items():
            self.proof.figure(f"allowed {count} times: {why}")
        if self.struck:
            self.proof.figure("nemeses: " + ", ".join(
                f"{count} x {one}" for one, count in sorted(self.struck.items())))
        self.proof.runs = self.figures["runs"]
        for text in exceeded(self.allowed, self.proof.runs):
            self.proof.find(text)
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


def main():
    proof = Proof("Histories")
    system.SECONDS = SECONDS
    findings = Findings(proof, "history")
    prove_rules(proof)
    if proof.long:
        findings.go_on()
    wanted = LONG if proof.long else SHORT
    share(proof, findings,
          lambda figures: figures["requests"] >= wanted and findings.struck["accounts are mixed"],
          lambda lab, random: Story(lab, random).tell())
    findings.end()


if __name__ == "__main__":
    main()
