"""What tools/run-tests makes of its arguments and of what test programs print."""

import io
import sys
import tempfile
import unittest
from contextlib import redirect_stderr, redirect_stdout
from importlib.machinery import SourceFileLoader
from importlib.util import module_from_spec, spec_from_loader
from pathlib import Path
from types import SimpleNamespace

from lab import ROOT


def load(path):
    loader = SourceFileLoader(path.name.replace("-", "_"), str(path))
    sys.path.insert(0, str(path.parent))
    module = module_from_spec(spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module


runner = load(ROOT / "tools" / "run-tests")


def kind(*names):
    """A kind of tests with these names, all of which pass."""
    def run(run):
        for name in filter(run.filter.matches, names):
            run.summary.ran.append(name)
            run.summary.pass_one()
    return runner.Kind(" ".join(names) or "Nothing", run)


class RunTests(unittest.TestCase):
    def summary(self, filter_text="", requested=(), long=False, **kinds):
        run = runner.Run(Path("build"), runner.Filter(filter_text), long, None, None, None)
        with redirect_stdout(io.StringIO()):
            runner.run_kinds(run, requested, kinds)
        return run.summary

    def failures(self, filter_text="", requested=(), **kinds):
        """What fails beside the tests, which all pass."""
        return self.summary(filter_text, requested, **kinds).failures

    def refusal(self, *arguments):
        errors = io.StringIO()
        with redirect_stderr(errors), self.assertRaises(SystemExit) as ended:
            runner.read_options(arguments)
        self.assertEqual(ended.exception.code, 2)
        return errors.getvalue().splitlines()[-1]

    def test_a_kind_that_there_is_not_is_refused(self):
        self.assertRegex(self.refusal("--only", "unit,unti"),
                         "there are no tests of the kind 'unti', "
                         "only unit, lab, system, attack, viewer, proof, rebuild")

    def test_a_filter_that_leaves_tests_out_is_refused(self):
        self.assertRegex(self.refusal("--filter", "*-Slow*"),
                         "a filter names tests to run: '-' and '\\[' are in no test's name")

    def test_of_a_proof_the_figures_are_shown(self):
        self.assertEqual(runner.figures("Building\nFIGURE: Seed 5\n  3 cases\nFIGURE:   2 x note\nFIGURE\n"),
                         ["Seed 5", "  2 x note"])

    def test_all_kinds_run_unless_some_are_named(self):
        self.assertEqual(runner.read_options([]).kinds, [])
        self.assertEqual(runner.read_options(["--only", "proof,unit"]).kinds, ["proof", "unit"])

    def test_the_build_is_release_unless_another_is_named(self):
        self.assertEqual(runner.read_options([]).build, ROOT / "build" / "release")
        self.assertEqual(runner.read_options(["--build", "elsewhere"]).build, Path("elsewhere"))

    def test_a_part_of_a_name_chooses_a_test_with_wildcards_too(self):
        for text in ("Trim", "LogTrim.Keeps", "*Trim*", "T?im", "LogTrim.KeepsLines", "Log*Lines",
                     "Nothing:Trim", "Trim:"):
            self.assertTrue(runner.Filter(text).matches("LogTrim.KeepsLines"), text)
        for text in ("trim", "KeepsLine?s", "Lines*Log"):
            self.assertFalse(runner.Filter(text).matches("LogTrim.KeepsLines"), text)

    def test_a_part_that_is_in_no_name_is_named(self):
        self.assertEqual(self.failures("one:two:three", unit=kind("one"), lab=kind("a two")),
                         ["the filter 'three'"])

    def test_a_kind_without_a_test_fails_when_it_was_asked_for(self):
        self.assertEqual(self.failures("one", ["unit", "lab"], unit=kind("one"), lab=kind("two")),
                         ["two"])
        self.assertEqual(self.failures("", ["unit"], unit=kind()), ["nothing"])

    def test_a_kind_without_a_test_fails_when_nothing_was_filtered(self):
        self.assertEqual(self.failures(unit=kind("one"), lab=kind()), ["nothing"])

    def test_a_filter_passes_over_kinds_that_nobody_asked_for(self):
        self.assertEqual(self.failures("one", unit=kind("one"), lab=kind("two")), [])

    def test_a_kind_that_was_not_asked_for_does_not_run(self):
        def run(_):
            raise AssertionError("it ran")
        self.assertEqual(self.failures("", ["unit"], unit=kind("one"), lab=runner.Kind("Lab", run)), [])

    def test_a_kind_that_is_not_of_every_day_runs_when_it_is_named_and_in_the_long_form(self):
        kinds = {"unit": kind("one"), "rebuild": kind("two")._replace(every_day=False)}
        for asked, ran in (({}, ["one"]), ({"requested": ["rebuild"]}, ["two"]),
                           ({"filter_text": "two"}, ["two"]), ({"long": True}, ["one", "two"])):
            with self.subTest(asked=asked):
                self.assertEqual(self.summary(**asked, **kinds).ran, ran)

    def test_parts_of_names_choose_system_tests(self):
        run = SimpleNamespace(filter=runner.Filter("which_parts:of_names_choose_sys"))
        loader = unittest.TestLoader()
        loader.testNamePatterns = run.filter.patterns
        self.assertEqual([test.id().rpartition(".")[2] for test in loader.loadTestsFromTestCase(RunTests)],
                         ["test_parts_of_names_choose_system_tests"])


class PythonTests(unittest.TestCase):
    FILE = """
import unittest

class Some(unittest.TestCase):
    def test_good(self):
        pass

    def test_bad(self):
        self.fail("as told")

    def test_left_out(self):
        self.skipTest("for a reason")
"""

    def run_file(self, *patterns):
        """What comes of the file, and what is printed of it, without times and traces."""
        with tempfile.TemporaryDirectory() as folder:
            Path(folder, "test_some.py").write_text(self.FILE, encoding="utf-8")
            sys.path.insert(0, folder)
            try:
                summary, printed = runner.run_test_file("system", patterns or None, "test_some")
            finally:
                sys.path.remove(folder)
                sys.modules.pop("test_some", None)
        return summary, [line for line in printed.splitlines() if not line.startswith("    ")]

    def test_a_file_is_counted_and_its_failures_are_printed(self):
        counted, printed = self.run_file()
        self.assertEqual(counted.line(), "1 passed, 1 failed, 1 skipped")
        self.assertEqual(counted.skips, ["system: test_some.Some.test_left_out: for a reason"])
        self.assertEqual(printed[0], "FAILED: system: test_some.Some.test_bad")
        self.assertRegex(printed[1], r"^  test_some: 1 passed, \d+\.\d s$")

    def test_a_file_of_which_no_test_is_asked_for_prints_nothing(self):
        counted, printed = self.run_file("*nothing*")
        self.assertEqual((counted.line(), printed), ("0 passed, 0 failed, 0 skipped", []))

    def test_the_summary_of_all_has_what_another_process_counted(self):
        whole = runner.Summary()
        whole.pass_one()
        whole.add(self.run_file()[0])
        self.assertEqual(whole.line(), "2 passed, 1 failed, 1 skipped")
        self.assertEqual(whole.ran, [f"test_some.Some.test_{name}" for name in ("bad", "good", "left_out")])


class SelfTests(unittest.TestCase):
    def summary(self, output, code):
        """What comes of a self-test's output, and what is printed of it."""
        summary, printed = runner.Summary(), io.StringIO()
        with redirect_stdout(printed):
            runner.count_self_tests("selftest", output, code, summary)
        return summary.line(), printed.getvalue()

    def test_a_failure_prints_its_own_lines_alone(self):
        self.assertEqual(
            self.summary("One: begins\n    line 1: a\nOne: FAILED\nTwo: begins\n    line 2: b\n"
                         "    line 3: c\nTwo: FAILED\nThree: begins\nThree: ok\n2 of 3 failed\n", 1),
            ("1 passed, 2 failed, 0 skipped",
             "FAILED: selftest: One\n    line 1: a\n"
             "FAILED: selftest: Two\n    line 2: b\n        line 3: c\n"))

    def test_a_crash_is_the_failure_of_the_test_that_ran(self):
        self.assertEqual(
            self.summary("One: begins\nOne: ok\nTwo: begins\n    line 2: b\n", 0xC0000005),
            ("1 passed, 1 failed, 0 skipped",
             "FAILED: selftest: Two\n    line 2: b\n    The program ended with exit code 3221225477.\n"))

    def test_a_program_that_ends_between_two_tests_fails(self):
        for code in (0, 1):
            self.assertEqual(self.summary("One: begins\nOne: ok\n", code)[0],
                             "1 passed, 1 failed, 0 skipped")

    def test_a_program_that_fails_without_a_test_fails(self):
        self.assertEqual(self.summary("One: begins\nOne: ok\n0 of 1 failed\n", 3)[0],
                         "1 passed, 1 failed, 0 skipped")

    def test_the_names_are_kept_for_the_filter(self):
        summary = runner.Summary()
        with redirect_stdout(io.StringIO()):
            runner.count_self_tests("selftest", "A: begins\nA: ok\nB: begins\nB: FAILED\nC: begins\n", 1,
                                    summary)
        self.assertEqual(summary.ran, ["A", "B", "C"])


if __name__ == "__main__":
    unittest.main()
