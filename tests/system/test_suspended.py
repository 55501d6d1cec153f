"""A program that the lab makes and leaves suspended, for a debugger."""

import unittest

from lab import Lab


class Suspended(unittest.TestCase):
    def setUp(self):
        self.lab = Lab()
        self.lab("reset")
        self.lab("record", "on")

    def make(self, *arguments):
        output = self.lab("run", "--suspended", "--", *arguments)
        self.assertRegex(output, r"\Apid \d+\n\Z")
        return int(output.split()[1])

    def test_it_has_done_nothing_until_it_is_resumed(self):
        pid = self.make("-r")
        self.assertEqual(self.lab.log(), [])
        self.assertTrue(self.lab.at_work())
        self.lab("resume", str(pid))
        self.lab.wait_for(lambda: not self.lab.at_work(), "the end of the program")
        self.assertEqual({of for of, _ in self.lab.log_lines()}, {pid})
        self.assertEqual(self.lab.log()[-1], "Refresh event done...exiting.")

    def test_the_lab_is_in_it(self):
        pid = self.make("-r")
        self.lab("resume", str(pid))
        self.lab.wait_for(lambda: not self.lab.at_work(), "the end of the program")
        self.assertIn(f" {pid} CreateMutexW(", self.lab("show", "calls"))

    def test_it_can_be_ended_without_having_run(self):
        pid = self.make("-r")
        self.lab.kill(pid)
        self.assertFalse(self.lab.at_work())
        self.assertEqual(self.lab.log(), [])

    def test_what_is_not_there_is_not_resumed(self):
        self.assertEqual(self.lab("resume", "1", check=False),
                         "palvo-lab: process 1 is not suspended\n")
        self.assertEqual(self.lab.code, 1)


if __name__ == "__main__":
    unittest.main()
