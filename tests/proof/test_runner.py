"""A proof forgives up to a bound, takes its seed from the commit, and ends by its time."""

import io
import os
import subprocess
import sys
import unittest
from contextlib import redirect_stdout
from pathlib import Path
from unittest import mock

from proof import allowances
from proof.allowances import bound, exceeded
from proof.history import once_found
from proof.kills import calls_of
from proof.rigged import RIGGED, due
from proof.runner import Proof, seed_of_sources

HANGS = """
import sys
import time
from unittest import mock
with mock.patch("proof.runner.Lab") as lab:
    from proof.runner import Proof
    seconds = int(sys.argv.pop())
    proof = Proof("Hangs", seconds)
    lab.return_value.end = lambda: print("ended a lab", flush=True)
    print("hangs", flush=True)
    time.sleep(60)
"""


class Runner(unittest.TestCase):
    def test_few_runs_have_more_room_for_chance(self):
        self.assertEqual([bound(10, runs) for runs in (0, 100, 1000, 100000)], [1, 5, 20, 1095])

    def test_what_is_allowed_too_often_or_has_no_bound_is_a_finding(self):
        with mock.patch.dict(allowances.ALLOWED, {"by chance": 10}, clear=True):
            self.assertEqual(list(exceeded({"by chance": 20}, 1000)), [])
            self.assertEqual(list(exceeded({"by chance": 21}, 1000)),
                             ["21 times in 1000 runs, which is too often: by chance"])
            self.assertEqual(list(exceeded({"unheard of": 1}, 1000)),
                             ["no bound is known of: unheard of"])

    def test_wines_failures_above_their_bound_fail_the_proof(self):
        most = bound(allowances.WINES_FAILURES, 1000)
        for once, code in ((most, 0), (most + 1, 1)):
            proof = Proof.__new__(Proof)
            proof.labs, proof.findings, proof.start, proof.runs, proof.once = [], [], 0, 1000, once
            with redirect_stdout(io.StringIO()), self.assertRaises(SystemExit) as ended:
                proof.end("runs")
            self.assertEqual(ended.exception.code, code)

    def test_the_seed_is_the_commits_or_without_git_the_sources(self):
        def fail(*_, **__):
            raise FileNotFoundError

        with mock.patch("proof.runner.subprocess.run") as run:
            run.return_value.stdout = "0000002afffffffffffffffffffffffffffffffff\n"
            self.assertEqual(seed_of_sources(), 42)
        with mock.patch("proof.runner.subprocess.run", fail):
            first = seed_of_sources()
            self.assertEqual(seed_of_sources(), first)
            with mock.patch.object(Path, "read_bytes", lambda _: b"other"):
                self.assertNotEqual(seed_of_sources(), first)

    def hanging(self, seconds):
        process = subprocess.Popen([sys.executable, "-c", HANGS, str(seconds)], stdout=subprocess.PIPE,
                                   text=True, cwd=Path(__file__).parent.parent,
                                   env=dict(os.environ, PALVO_LAB_PREFIX="none"))
        self.addCleanup(process.kill)
        while process.stdout.readline() != "hangs\n":
            self.assertIsNone(process.poll())
        return process

    def test_a_proof_that_hangs_ends_its_labs_and_itself_by_its_time(self):
        process = self.hanging(1)
        self.assertEqual(process.communicate(timeout=50)[0].splitlines(),
                         ["FOUND: it did not end within 1 seconds", "ended a lab", "ended a lab"])
        self.assertEqual(process.returncode, 1)

    def test_a_proof_that_is_told_to_end_ends_its_labs(self):
        process = self.hanging(60)
        process.terminate()
        self.assertEqual(process.communicate(timeout=50)[0].splitlines(), ["ended a lab", "ended a lab"])
        self.assertEqual(process.returncode, 1)

    def test_ten_seeds_in_a_row_kill_after_every_call(self):
        calls = [("-c", number) for number in range(1, 95)]
        self.assertEqual(sorted(sum((calls_of(calls, seed) for seed in range(1000003, 1000013)), [])), calls)

    def test_three_seeds_in_a_row_rig_every_broken_promise(self):
        self.assertEqual(set().union(*(due(seed) for seed in (4, 5, 6))), set(RIGGED))

    def test_a_case_that_once_was_a_finding_is_kept(self):
        self.assertIn("1-9", once_found("kills"))
        self.assertEqual(once_found("kill"), [])


if __name__ == "__main__":
    unittest.main()
