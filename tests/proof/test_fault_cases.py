"""The fault sweep knows every function that the program can call, whichever runtime library is in it, and ten
short forms try what one leaves out."""

import random
import unittest
from types import SimpleNamespace

from proof.fault_cases import (
    ALIKE, EVENT, AFTER, INSTALL, NO_FAILURE, ON_DEMAND, OUT_OF_REACH, RUNTIMES, SITUATIONS, TRIM, cases_of,
    unknown_functions)
from proof.fault_normal import Normal
from proof.fault_pairs import kills, pairs, regressions
from proof.fault_rules import LOSSES
from proof.fault_sweep import choose

PROGRAMS = set(AFTER) | set(OUT_OF_REACH) | NO_FAILURE


class KnownFunctionsTest(unittest.TestCase):
    def unknown(self, imported, called=(), source=""):
        return list(unknown_functions(set(imported), set(called), source))

    def test_a_runtime_library_may_have_a_function_or_lack_it(self):
        self.assertEqual(self.unknown(PROGRAMS), [])
        self.assertEqual(self.unknown(PROGRAMS | RUNTIMES), [])

    def test_a_function_that_the_program_calls_is_not_the_runtime_librarys(self):
        for function in ("GetThreadId", "fputs"):
            self.assertEqual(self.unknown(PROGRAMS, source=f"x = {function}(y);"),
                             [f"{function} is called by the program itself"])

    def test_a_function_that_no_mode_calls_is_told(self):
        self.assertEqual(self.unknown(PROGRAMS | {"Beep"}, called={"Sleep"}),
                         ["Beep is imported, and no mode here calls it"])
        self.assertEqual(self.unknown(PROGRAMS | {"Beep"}, called={"Beep"}), [])

    def test_a_function_of_the_program_that_is_gone_is_told(self):
        self.assertEqual(self.unknown(PROGRAMS - {"SetThreadToken", "memcpy", "UnloadUserProfile"}),
                         ["SetThreadToken is not imported any more",
                          "UnloadUserProfile is not imported any more", "memcpy is not imported any more"])


class CasesTest(unittest.TestCase):
    def test_ten_seeds_in_a_row_have_one_of_each_group(self):
        groups = [[number, -number] for number in range(1, 38)]
        for first in (0, 7, 123):
            chosen = [abs(case) for seed in range(first, first + 10) for case in choose(
                SimpleNamespace(long=False, seed=seed, random=random.Random(seed)), groups)]
            self.assertEqual(sorted(chosen), list(range(1, 38)))

    def test_the_long_form_has_all(self):
        self.assertEqual(list(choose(SimpleNamespace(long=True), [[1, 2], [3]])), [1, 2, 3])

    def test_every_situation_is_like_some(self):
        self.assertEqual(sorted(situation.name for alike in ALIKE for situation in alike),
                         sorted(situation.name for situation in SITUATIONS))

    def test_no_number_depends_on_how_often_a_child_was_looked_for(self):
        calls = {"WaitForSingleObject": 40, "PeekMessageW": 9, "SetEvent": 2}
        polling = Normal(None, calls, waits=20, instance_wait=15)

        def numbers(situation, function, normal):
            return {case.nth for case in cases_of(situation, function, normal)}

        self.assertEqual(numbers(ON_DEMAND, "WaitForSingleObject", polling), set(range(1, 21)))
        self.assertEqual(numbers(ON_DEMAND, "PeekMessageW", polling), {1})
        self.assertEqual(numbers(ON_DEMAND, "SetEvent", polling), {1, 2})
        self.assertEqual(numbers(INSTALL, "WaitForSingleObject", Normal(None, calls)), set(range(1, 41)))

    def test_a_case_is_told_as_it_is_read(self):
        lines = ["printer event: LogonUserW 1 1385;CreateProcessW 1 5 always",
                 "long log: ReadFile 2 bytes=1000"]
        read = list(regressions(lines))
        self.assertEqual([str(case) for case in read], lines)
        self.assertEqual([(case.mode, case.failing, case.nth, case.always) for case in read],
                         [(EVENT, ["LogonUserW", "CreateProcessW"], 1, True), (TRIM, ["ReadFile"], 2, False)])

    def test_what_fails_together_has_losses_that_somebody_wrote_down(self):
        for case in [*pairs(), *dict(kills())]:
            self.assertLessEqual(set(case.failing), set(LOSSES))


if __name__ == "__main__":
    unittest.main()
