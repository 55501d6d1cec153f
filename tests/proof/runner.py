"""What the proofs share: their arguments, their labs, two workers, and their figures."""

import argparse
import hashlib
import json
import os
import random
import signal
import subprocess
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from lab import ROOT, SUPPORTED, Lab  # noqa: F401  (the proofs take it from here)
from proof.allowances import WINES_FAILURES, bound
from proof.wine_faults import is_wines_fault, said_by_wine

WORKERS = 2
LONG_SECONDS = 7 * 24 * 3600    # that a long form may take
FIGURE = "FIGURE: "     # begins the lines that tools/run-tests shows


def program():
    """The file that is proved."""
    return Path(os.environ["PALVO_LAB_BIN"], "PalvoPrinterConfiguration.exe")


def seed_of_sources():
    """A seed that is another at each commit, or without git for other sources."""
    try:
        digest = subprocess.run(["git", "-C", ROOT, "rev-parse", "HEAD"], capture_output=True, check=True,
                                text=True).stdout
    except (OSError, subprocess.CalledProcessError):
        files = sorted(file for folder in ("src", "tests") for file in (ROOT / folder).rglob("*")
                       if file.suffix in (".cpp", ".h", ".py"))
        digest = hashlib.sha256(b"".join(file.read_bytes() for file in files)).hexdigest()
    return int(digest[:8], 16)


class Kept:
    """What a long run came to, kept so that one that was ended goes on. Of no use to another program,
    another lab, or other judges: `judges` are the proof's own sources, by their names."""

    def __init__(self, name, *judges):
        self.path = ROOT / "build" / "proof" / f"{name}.json"
        of_lab = sorted(file for file in (program().parent / "lab").iterdir()
                        if file.suffix in (".exe", ".dll"))
        sources = [Path(__file__), Path(__file__).with_name("wine_faults.py"),
                   ROOT / "tests" / "system" / "lab.py",
                   *(Path(__file__).with_name(judge) for judge in judges)]
        self.of = hashlib.sha256(b"".join(file.read_bytes() for file in [program(), *of_lab, *sources])
                                 ).hexdigest()
        self.before = json.loads(self.path.read_text()) if self.path.is_file() else {}
        if self.before.get("program") != self.of:
            self.before = {}

    def keep(self, **what):
        self.path.parent.mkdir(parents=True, exist_ok=True)
        new = self.path.with_suffix(".new")
        new.write_text(json.dumps({"program": self.of} | what))
        new.replace(self.path)

    def forget(self):
        self.path.unlink(missing_ok=True)


class Proof:
    """One run of one proof. `long` asks for the long form; `random` is seeded, and the seed told. It ends
    what it started, however it ends itself; `seconds`: what the short form may take on a slow machine."""

    def __init__(self, what, seconds=1800):
        parser = argparse.ArgumentParser(description=what)
        parser.add_argument("--long", action="store_true", help="the long form")
        parser.add_argument("--seed", type=int, help="the commit's when none is given")
        options = parser.parse_args()
        self.long = options.long
        self.seed = seed_of_sources() if options.seed is None else options.seed
        self.random = random.Random(self.seed)
        self.start = time.monotonic()
        self.findings = []
        self.notes = []     # that are no findings
        self.once = 0       # failures of Wine
        self.runs = 0       # of the program, or cases
        os.environ.setdefault("PALVO_LAB_BIN", str(ROOT / "build" / "release"))
        prefix = Path(os.environ.get("PALVO_LAB_PREFIX", ROOT / "build" / "test" / "lab-prefix"))
        self.labs = [Lab(prefix)] + [Lab(f"{prefix}-{number}") for number in range(2, WORKERS + 1)]
        self.end_labs()     # with what an ended run left at work
        self.limit(LONG_SECONDS if self.long else seconds)
        self.figure(f"{what} ({'long' if self.long else 'short'} form, seed {self.seed})")

    def end_labs(self):
        for lab in self.labs:
            if lab.prefix.is_dir():
                lab.end()

    def limit(self, seconds):
        """Ends the process and all that it started after so long, or when it is told to end."""
        def late():
            self.find(f"it did not end within {seconds} seconds")
            self.give_up()

        watchdog = threading.Timer(seconds, late)
        watchdog.daemon = True
        watchdog.start()
        for number in (signal.SIGINT, signal.SIGTERM):
            signal.signal(number, self.give_up)

    def give_up(self, *_):
        try:
            self.end_labs()
        finally:
            os._exit(1)     # Threads may be waiting for what never comes.

    def find(self, text):
        self.findings.append(text)
        print(f"FOUND: {text}", flush=True)

    def figure(self, text):
        """Prints one of its figures. All other lines are for those who look into a failure."""
        print(FIGURE + text, flush=True)

    def share(self, work, cases, kept=None):
        """Calls work(lab, case) for every case, each worker with a lab of its own. What a case
        raises is a finding, unless Wine itself did not bring up a process: then the case is tried
        again, and told and counted. The others go on. With `kept`, what was done before an earlier run
        was ended is not done again."""
        cases = list(cases)
        finished = []
        if kept and kept.before:
            finished = kept.before["finished"]
            self.findings += kept.before["findings"]
            self.notes += kept.before["notes"]
            self.once += kept.before["once"]
            self.runs += len(finished)
            self.start -= kept.before["seconds"]
            known = set(finished)
            cases = [case for case in cases if str(case) not in known]
            print(f"going on after {len(finished)} cases", flush=True)
            print("".join(f"FOUND: {finding}\n" for finding in self.findings), end="", flush=True)
        queue = iter(cases)
        told = time.monotonic()

        def serve(lab):
            nonlocal told
            for case in queue_items():
                error = attempt(lab, case)
                if error and is_wines_fault(error, said_by_wine(lab), lab("show", "calls", check=False)):
                    self.once += 1
                    print(f"Wine failed: {case}: {error}", flush=True)
                    error = attempt(lab, case)
                if error:
                    self.find(f"{case}: {error}")
                with lock:
                    self.runs += 1
                    finished.append(str(case))
                    if self.long and time.monotonic() - told > 60:
                        told = time.monotonic()
                        print(f"  {len(finished)} cases after {told - self.start:.0f} s", flush=True)
                        if kept:
                            kept.keep(finished=finished, findings=self.findings, notes=self.notes,
                                      once=self.once, seconds=told - self.start)

        def attempt(lab, case):
            lab.given_up()  # What is known of an earlier case explains nothing here.
            try:
                work(lab, case)
            except Exception as error:  # A finding must not keep the others from being seen.
                return f"{type(error).__name__}: {error}"
            return None

        def queue_items():
            while True:
                with lock:
                    case = next(queue, None)
                if case is None:
                    return
                yield case

        lock = threading.Lock()
        with ThreadPoolExecutor(len(self.labs)) as pool:
            list(pool.map(serve, self.labs))
        if kept:
            kept.forget()

    def end(self, figures):
        """Prints the figures and ends the process: 0 when nothing was found."""
        self.end_labs()     # with what killed copies left at work
        if self.once > bound(WINES_FAILURES, self.runs):
            self.find(f"Wine failed {self.once} times in {self.runs} runs, which is too often")
        seconds = time.monotonic() - self.start
        self.figure(f"{figures}, {len(self.findings)} findings, {self.once} failures of Wine, "
                    f"{seconds:.0f} s")
        sys.exit(1 if self.findings else 0)
