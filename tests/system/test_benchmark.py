"""What tools/benchmark makes of its figures, which are given to it here."""

import io
import unittest
from contextlib import redirect_stdout
from unittest.mock import patch

from lab import ROOT
from test_run_tests import load

benchmark = load(ROOT / "tools" / "benchmark")

HEAD = " " * 62 + "   ratio   bound\n"
BELOW = f"{'redundant copy / -?':<62}    1.20    1.20  12.000 / 10.000 ms\n"
ABOVE = f"{'the file':<62}  420.01  420.00  ABOVE 430090 bytes KiB\n"


class BenchmarkTest(unittest.TestCase):
    below = benchmark.ratio("redundant copy / -?", 1.2, 1.0, 100)
    above = benchmark.Figure("the file", 430090 / 1024, "430090 bytes", "KiB")

    def run_with(self, *figures, arguments=("--check",)):
        """The exit code and what is printed, when these are measured."""
        measurements = [(str(number), None, 1, lambda wine, runs, figure=figure: [figure])
                        for number, figure in enumerate(figures)]
        with (redirect_stdout(io.StringIO()) as printed,
              patch.multiple(benchmark, build=lambda: None, MEASUREMENTS=measurements)):
            return benchmark.main(arguments), printed.getvalue()

    def test_a_figure_that_is_not_above_its_bound_holds(self):
        self.assertEqual(self.run_with(self.below), (0, HEAD + BELOW))

    def test_a_figure_above_its_bound_fails_when_it_is_asked_to(self):
        self.assertEqual(self.run_with(self.below, self.above), (1, HEAD + BELOW + ABOVE))
        self.assertEqual(self.run_with(self.above, self.below), (1, HEAD + ABOVE + BELOW))
        self.assertEqual(self.run_with(self.above, arguments=()), (0, HEAD + ABOVE))

    def test_only_what_is_asked_for_is_measured(self):
        self.assertEqual(self.run_with(self.above, self.below, arguments=("--check", "--only", "1")),
                         (0, HEAD + BELOW))

    def test_the_bounds_are_these(self):
        self.assertEqual(benchmark.BOUNDS, {
            "run ended by the machine-wide switch / empty program": 1.15,
            "-? / empty program that asks for the ProgramData folder": 1.15,
            "redundant copy / -?": 1.2,
            "a log line / mutex, open, look, append, close": 1.05,
            "trim of 64 MiB, beyond a run without / copy and one read": 1.3,
            "each further event of one printer / EvtNext and EvtRender": 1.5,
            "each further hive / enumerate, create, read, write, close": 1.3,
            "burst of 100 copies: passes, at most": 3,
            "burst of 100 copies / 100 redundant copies, wall time": 1.1,
            "the file": 420,
        })


if __name__ == "__main__":
    unittest.main()
