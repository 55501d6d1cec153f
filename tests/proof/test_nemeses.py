"""A copy is paused at the moment that is asked for, and goes on; what befalls the machine is taken down."""

import os
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path
from random import Random
from types import SimpleNamespace
from unittest import mock

from proof.nemeses import MOMENTS, PROGRAM, Nemeses, go_on, pids_of
from proof.recording import record_path

RECORD = {
    "with the log's mutex": 'WaitForSingleObject("mutex Global\\c:/programdata/palvo/printerdriver/v6.0/'
                            'palvoprinterconfiguration/palvoorvela", 5000) = 0 [0]',
    "between scan and store": 'Sleep(500) = 0 [0]\nEvtClose(1) = 1 [0]\nx 1 EvtQuery("Channel") = 0x4 [0]',
    "before its request is posted": 'CreateEventW(0, 0, 0, "Global\\x") = 0x80 [0]',
    "before its last look": 'CreateProcessW(null, "C:\\PalvoPrinterConfigurationWriter.exe -c") = 1 [0]'}


def state(pid):
    return Path(f"/proc/{pid}/stat").read_text().rpartition(") ")[2][0]


class Pauses(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.lab = SimpleNamespace(prefix=Path(folder.name))
        record_path(self.lab).parent.mkdir(parents=True)
        process = subprocess.Popen([sys.executable, "-c", "import time; time.sleep(60)", PROGRAM],
                                   env=dict(os.environ, WINEPREFIX=folder.name))
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.pid = process.pid

    def wait_for(self, condition):
        end = time.monotonic() + 20
        while not condition() and time.monotonic() < end:
            time.sleep(0.01)
        self.assertTrue(condition())

    def test_a_copy_is_stopped_when_the_record_has_its_moment_and_goes_on(self):
        self.assertEqual(set(RECORD), set(MOMENTS))
        self.wait_for(lambda: list(pids_of(self.lab, PROGRAM)) == [self.pid])
        for moment, line in RECORD.items():
            record_path(self.lab).write_text(f"x 1 {line}\n")
            nemeses = Nemeses(self.lab, Random(1))
            self.assertEqual(nemeses.stop_when(moment), self.pid)
            self.wait_for(lambda: state(self.pid) == "T")
            self.assertEqual(dict(nemeses.figures), {f"paused {moment}": 1})
            go_on(self.pid)
            self.wait_for(lambda: state(self.pid) != "T")

    def test_a_process_of_another_lab_is_not_seen(self):
        self.assertEqual(list(pids_of(SimpleNamespace(prefix=Path("/another")), PROGRAM)), [])


class Lab:
    """A lab in which each command is a line of the record."""

    def __init__(self, folder):
        self.prefix = Path(folder)
        self.commands, self.log = [], b"before"
        record_path(self).parent.mkdir(parents=True)

    def __call__(self, *command):
        self.commands.append(" ".join(command))
        self.log = b"after" if command == ("power", "on") else self.log
        with record_path(self).open("a") as record:
            record.write("x\n")
        return "HKLM\tLastEvtRecordProcessed\tREG_QWORD\t5" if command[0] == "show" else ""

    def log_bytes(self):
        return self.log


class WhatIsTakenDown(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.lab = Lab(folder.name)
        self.nemeses = Nemeses(self.lab, Random(1))

    def test_the_clock_goes_back_between_two_lines_of_the_record(self):
        self.nemeses.set_clock_back()
        turn = self.nemeses.turns[0]
        self.assertEqual((turn.after, turn.before), (0, 1))
        self.assertEqual(self.lab.commands, [f"clock back {turn.seconds // 3600}"])

    def test_the_scheduler_is_stopped_while_something_is_done(self):
        self.nemeses.stop_scheduler(lambda: self.lab("anything"))
        outage = self.nemeses.outages[0]
        self.assertEqual((outage.stopped.before, outage.started.after), (1, 2))
        self.assertEqual(self.lab.commands, ["set scheduler stopped", "anything", "set scheduler running"])

    def test_what_the_log_had_when_the_power_was_lost_is_kept_and_the_position_read(self):
        with mock.patch("time.sleep"):
            self.assertEqual(self.nemeses.lose_power(), (b"before", b"after"))
        loss = self.nemeses.power_losses[0]
        self.assertEqual((loss.after, loss.position), (2, 5))
        self.assertEqual(self.lab.commands, ["power flush", "power off", "power on", "show registry"])


if __name__ == "__main__":
    unittest.main()
