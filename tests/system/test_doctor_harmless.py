"""The doctor changes nothing: neither the machine nor what copies of the program do meanwhile."""

import os
import re
import subprocess
import threading

from doctor import DOCTOR, DoctorTest
from lab import ROOT, SUPPORTED
from proof.history_checker import check
from proof.printers import Printers
from proof.recorded_history import Ended
from proof.recording import collect, lanes_of, prepare, record_text

EVENT = "-c -i NewOrChangedTask"
COPIES = 12


class Loop(threading.Thread):
    """Runs the doctor over and over until it is told to stop."""

    def __init__(self, lab):
        super().__init__()
        self.command = [ROOT / "palvo-lab", "run", "--program", DOCTOR, "--", "--json"]
        self.environment = {**os.environ, "PALVO_LAB_PREFIX": str(lab.prefix)}
        self.stopping = threading.Event()
        self.runs = 0
        self.troubles = []

    def run(self):
        while not self.stopping.is_set():
            done = subprocess.run(self.command, env=self.environment, check=False, text=True,
                                  stdout=subprocess.PIPE)
            self.runs += 1
            if done.returncode != 0:
                self.troubles.append(done.stdout)

    def stop(self):
        """How often it ran, and what each run printed that found something."""
        self.stopping.set()
        self.join()
        return self.runs, self.troubles


def split_record(record):
    """Its lines with those of doctors made dumb, so that each keeps its place; and how the doctors ended, of
    whom nobody asks more than that they did."""
    doctors, living, lines = [], set(), []
    for line in record:
        time, pid, text = line.split(" ", 2)
        if text.startswith("process started: "):
            living.discard(pid)
            if "PalvoPrinterDoctor" in text:
                living.add(pid)
                doctors.append(Ended(int(pid), 0, None, 0, 0))
        lines.append(f"{time} {pid} doctor" if pid in living else line)
    return lines, doctors


class Harmless(DoctorTest):
    def registry(self):
        return [self.lab("show", what) for what in ("registry", "bags", "channel", "events")]

    def test_a_look_changes_nothing(self):
        before = (self.registry(), self.lab.log_bytes(), self.lab("tasks", "raw",
                  self.lab.tasks()[0]), sorted(self.lab.prefix.glob("drive_c/ProgramData/Palvo/**/*")))
        self.assertEqual(self.doctor()[0], 0)
        after = (self.registry(), self.lab.log_bytes(), self.lab("tasks", "raw",
                 self.lab.tasks()[0]), sorted(self.lab.prefix.glob("drive_c/ProgramData/Palvo/**/*")))
        self.assertEqual(before, after)
        self.assertEqual(self.lab.leaks(), [])

    def burst(self):
        """Printer events and a burst of copies for them; what they logged and started."""
        lines = len(self.lab.log())
        siblings = len(self.lab.siblings())
        for _ in range(3):
            self.lab("event", "add", "306", "Front Desk")
        codes = self.lab.burst([EVENT] * COPIES + ["-r"] * COPIES)
        self.lab("tasks", "wait")
        return codes, self.lab.log()[lines:], self.lab.siblings()[siblings:]

    def check_burst(self, codes, log, siblings):
        runs = len([line for line in log if line.startswith("# Called with")])
        # Tasks have their runs, too; every run of the burst and of a task has all of its lines.
        self.assertGreaterEqual(runs, 2 * COPIES)
        ended = [line for line in log if re.search(
            r"^-Redundant instance|^- No supported printers|done\.\.\.exiting\.$", line)]
        self.assertEqual(len(ended), runs, "\n".join(log))
        redundant = [line for line in log if line.startswith("-Redundant instance")]
        self.assertGreaterEqual(len(redundant), codes.count(1))
        # Somebody worked for each kind of request.
        for done in ("NewOrChanged event done...exiting.", "Refresh event done...exiting."):
            self.assertIn(done, log)
        self.assertEqual(len(siblings) % 2, 0)
        self.assertTrue(all(one.ended for one in siblings))
        self.assertEqual(set(codes) - {0, 1}, set())

    def test_a_burst_with_the_doctor_running_loses_nothing(self):
        loop = Loop(self.lab)
        loop.start()
        try:
            for _ in range(3):
                self.check_burst(*self.burst())
                self.assertEqual(self.lab.scan_position()[1],
                                 max(int(one) for one in re.findall(
                                     r"^(\d+)\t", self.lab("event", "list"), re.MULTILINE)))
        finally:
            runs, troubles = loop.stop()
        self.assertGreaterEqual(runs, 3)
        # What is on its way needs no attention.
        self.assertEqual(troubles, [])
        self.assertEqual(self.findings(), [])

    def test_a_history_with_the_doctor_running_keeps_every_promise(self):
        ended = []
        with lanes_of(self.lab, 1) as (lane,):
            users = prepare(self.lab)
            printers = Printers(self.lab)
            printers.add("Office 1", SUPPORTED)
            loop = Loop(self.lab)
            loop.start()
            try:
                for _ in range(3):
                    printers.change("Office 1")
                    ended += lane.burst([EVENT] * COPIES + ["-r"] * COPIES)
            finally:
                runs, _ = loop.stop()
            _, doctors = split_record(record_text(self.lab).splitlines())
            history = printers.tell(collect(self.lab, users, ended + doctors))
        self.assertEqual(len(doctors), runs)
        self.assertGreaterEqual(runs, 3)
        history.ended = ended
        history.record, _ = split_record(history.record)
        verdict = check(history)
        self.assertEqual(verdict.violations, [])
        self.assertEqual(verdict.figures["runs"], 3 * 2 * COPIES)

    def test_a_copy_alone_is_never_redundant_for_the_doctors_sake(self):
        loop = Loop(self.lab)
        loop.start()
        try:
            for _ in range(8):
                for arguments in (("-r",), ("-c",)):
                    run = self.lab.run(*arguments)
                    self.assertEqual(run.code, 0, run.log)
                    self.assertFalse([line for line in run.log if "Redundant" in line], run.log)
        finally:
            runs, _ = loop.stop()
        self.assertGreaterEqual(runs, 3)
