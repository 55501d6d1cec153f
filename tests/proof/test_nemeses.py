"""A copy is paused at the moment that is asked for, and goes on."""

import os
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path
from random import Random
from types import SimpleNamespace

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


if __name__ == "__main__":
    unittest.main()
