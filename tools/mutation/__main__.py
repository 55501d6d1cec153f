#!/usr/bin/env python3
"""Breaks the program's own code, one small change at a time, and sees whether the tests notice.

    tools/mutate                  a small sample, for every day; each commit has its own
    tools/mutate --sample 200     a larger one; --seed N for another
    tools/mutate --long           every mutant; goes on where it was ended

The test programs of a build are linked with the mutant's object and run under Wine. Survivors that
no test can kill stand in tests/mutation/survivors.txt, each with its reason; they are not tried, and
count as alive. The exit code is 0 when at least 97 % are killed and every survivor is explained; of the
small sample, when 90 % are one or the other.
"""

import argparse
import fcntl
import hashlib
import json
import queue
import random
import signal
import subprocess
import sys
import threading
import time
from collections import Counter, defaultdict
from pathlib import Path

from mutators import mutants_of
from trial import ALIVE, KILLED, REFUSED, SAME, Trials
from workshop import Build, Ended, Shop, WinePrefix, commit_seed

ROOT = Path(__file__).resolve().parents[2]
FOLDER = ROOT / "build" / "mutation"
FIGURE = "FIGURE: "     # begins the lines that run-tests shows
SURVIVORS = ROOT / "tests" / "mutation" / "survivors.txt"

WANTED_PERCENT = 97
SMALL_SAMPLE = 16
WANTED_PERCENT_OF_SMALL_SAMPLE = 90     # of which those that no test can kill may be a part

# Read by the compiler alone, or by no test program.
LEFT_OUT = {
    "main.cpp": "one call, in the program that ships; the system tests run it",
    "StackGuard.cpp":
        "runs before any test; the product's tests run programs with it",
    "FormatCheck.h": "runs in the compiler, which is the test of it",
}


class Results:
    """What is known of each mutant, kept so that a long run can be ended and go on.

    A kill holds for as long as the mutated file stays as it is; a survival, only until a test
    changes.
    """

    def __init__(self, sources):
        self.file = FOLDER / "results.jsonl"
        self.sources = sources
        self.lock = threading.Lock()
        self.tests = self._digest(*(path.read_bytes() for path in
                                    sorted(path for folder in ("unit", "support")
                                           for path in (ROOT / "tests" / folder).rglob("*"))
                                    if path.suffix in (".cpp", ".h", ".rc")))
        self.known = {}
        if self.file.exists():
            for line in self.file.read_text(encoding="utf-8").splitlines():
                entry = json.loads(line)
                self.known[entry["key"]] = entry

    @staticmethod
    def _digest(*contents):
        digest = hashlib.sha256()
        for content in contents:
            digest.update(content)
        return digest.hexdigest()[:16]

    def key(self, mutant):
        place = Path(mutant.file).name, mutant.start, mutant.end, mutant.replacement
        return self._digest(self.sources[mutant.file].encode(), repr(place).encode())

    def text(self, mutant):
        return f"{Path(mutant.file).name}: {mutant.described(self.sources[mutant.file])}"

    def get(self, mutant):
        entry = self.known.get(self.key(mutant))
        return entry if entry and (entry["outcome"] != ALIVE or entry["tests"] == self.tests) else None

    def add(self, mutant, entry):
        entry.update(key=self.key(mutant), tests=self.tests, mutant=self.text(mutant))
        with self.lock, open(self.file, "a", encoding="utf-8") as stream:
            stream.write(json.dumps(entry) + "\n")
        self.known[entry["key"]] = entry


def explained_survivors():
    """Lines of `file: line {old => new} ## reason`, each for one mutant: those that read alike have a line
    each."""
    reasons = defaultdict(list)
    if SURVIVORS.exists():
        for line in SURVIVORS.read_text(encoding="utf-8").splitlines():
            mutant, separator, reason = line.partition(" ## ")
            if separator and reason.strip():
                reasons[mutant.strip()].append(reason.strip())
    return reasons


def ranked_mutants(sources, seed):
    """All of them, in an order in which each file has its share of the first ones."""
    chance = random.Random(seed)
    ranked = []
    for name, source in sorted(sources.items()):
        mutants = mutants_of(name, source)
        chance.shuffle(mutants)
        ranked += [((index + chance.random()) / len(mutants), mutant)
                   for index, mutant in enumerate(mutants)]
    ranked.sort(key=lambda pair: pair[0])
    return [mutant for _, mutant in ranked]


def try_all(build, mutants, results, workers, prefix):
    """Each worker takes one file after the other. The first error of a worker ends the run; ended
    from outside, it gives up what it has begun, and the answer is False."""
    files = defaultdict(list)
    for mutant in mutants:
        files[mutant.file].append(mutant)
    waiting = queue.SimpleQueue()
    for name in sorted(files, key=lambda name: -len(files[name])):
        waiting.put(name)
    errors = []
    shops = []
    ending = threading.Event()

    def work(number):
        shop = None
        try:
            shop = Shop(build, FOLDER / f"worker-{number}", prefix, ending)
            shops.append(shop)
            while not errors:
                name = waiting.get_nowait()
                trials = Trials(shop, name)
                for mutant in files[name]:
                    results.add(mutant, trials.entry_of(mutant))
        except (queue.Empty, Ended):
            pass
        except Exception as error:  # told by the main thread
            errors.append(error)
        finally:
            if shop:
                shop.close()

    threads = [threading.Thread(target=work, args=(number,)) for number in range(workers)]
    for thread in threads:
        thread.start()
    try:
        for thread in threads:
            thread.join()
    except KeyboardInterrupt as interrupt:
        for number in (signal.SIGINT, signal.SIGTERM):
            signal.signal(number, signal.SIG_IGN)  # lest the end be interrupted in its turn
        errors.append(interrupt)
        ending.set()
        for shop in shops:
            shop.close()  # with Wine's server ends what runs under it
        for thread in threads:
            thread.join()
        print("Ended from outside", flush=True)
    for error in errors:
        if not isinstance(error, KeyboardInterrupt):
            raise error
    return not errors


def report(mutants, total, results, reasons, unkillable, seconds, is_small):
    entries = [{"outcome": ALIVE, "mutant": results.text(mutant)}
               if results.text(mutant) in unkillable else results.get(mutant) for mutant in mutants]
    entries = [entry for entry in entries if entry]
    counts = Counter(entry["outcome"] for entry in entries)
    alive = 0
    for text in sorted(entry["mutant"] for entry in entries if entry["outcome"] == ALIVE):
        if reasons.get(text):
            print(f"{FIGURE}explained: {text}\n{FIGURE}           {reasons[text].pop(0)}")
        else:
            alive += 1
            print(f"{FIGURE}ALIVE: {text}")
    earlier = sum(entry["outcome"] == KILLED and entry["tests"] != results.tests for entry in entries)
    compiled = counts[KILLED] + counts[ALIVE]
    percent = 100 * counts[KILLED] / compiled if compiled else 0
    print(f"{FIGURE}{len(entries)} mutants of {total}: {counts[REFUSED]} not compiled, "
          f"{counts[SAME]} without effect on the object code, {compiled} tried")
    before = f" ({earlier} by the tests as they were before)" if earlier else ""
    print(f"{FIGURE}{counts[KILLED]} killed{before}, {counts[ALIVE] - alive} explained, {alive} alive: "
          f"{percent:.1f} % killed, {seconds:.0f} s", flush=True)
    if is_small:
        return 100 * (compiled - alive) >= WANTED_PERCENT_OF_SMALL_SAMPLE * compiled > 0
    return percent >= WANTED_PERCENT and not alive


def main():
    parser = argparse.ArgumentParser(description="Sees whether the tests notice broken code.")
    parser.add_argument("--build", type=Path, default=ROOT / "build" / "release")
    parser.add_argument("--sample", type=int)
    parser.add_argument("--seed", type=int)
    parser.add_argument("--long", action="store_true")
    parser.add_argument("--workers", type=int, default=2)
    parser.add_argument("--only", default="", help="a part of a file's name")
    options = parser.parse_args()

    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, signal.default_int_handler)
    start = time.monotonic()
    FOLDER.mkdir(parents=True, exist_ok=True)
    lock = open(FOLDER / "lock", "w", encoding="utf-8")
    fcntl.flock(lock, fcntl.LOCK_EX)  # two runs at once would share the workers' folders
    subprocess.run(["ninja", "-C", str(options.build)], check=True, stdout=subprocess.DEVNULL)
    sources = {str(path.relative_to(ROOT)): path.read_text(encoding="utf-8")
               for path in (ROOT / "src").rglob("*.*")
               if path.suffix in (".cpp", ".h") and path.name not in LEFT_OUT
               and options.only in path.name}
    size = None if options.long else options.sample or SMALL_SAMPLE
    seed = options.seed if options.seed is not None else commit_seed()
    print(FIGURE + ("All mutants" if options.long else f"Seed {seed}"), flush=True)
    ranked = ranked_mutants(sources, seed)
    mutants = ranked[:size]
    results = Results(sources)
    reasons = explained_survivors()
    # Of mutants that read alike, some explained, nobody knows which those are: they are tried.
    alike = Counter(map(results.text, ranked))
    unkillable = {text for text, known in reasons.items() if len(known) == alike[text]}
    small = size == SMALL_SAMPLE
    # The small sample tells of today's tests, and takes nothing from earlier runs.
    open_ones = [mutant for mutant in mutants if results.text(mutant) not in unkillable
                 and (small or results.get(mutant) is None)]
    prefix = WinePrefix(FOLDER / "prefix")
    try:
        prefix.make()
        whole = not open_ones or try_all(Build(ROOT, options.build.resolve(), FOLDER / "headers"),
                                         open_ones, results, options.workers, prefix)
    finally:
        prefix.end()
    good = report(mutants, len(ranked), results, reasons, unkillable, time.monotonic() - start, small)
    return 0 if good and whole else 1


if __name__ == "__main__":
    sys.exit(main())
