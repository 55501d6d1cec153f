"""The fault sweep knows every function that the program can call, whichever runtime library is in it."""

import unittest

from proof.fault_cases import AFTER, NO_FAILURE, OUT_OF_REACH, RUNTIMES, unknown_functions

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


if __name__ == "__main__":
    unittest.main()
