"""Copies that are held before each call that others can notice."""

import time
import unittest

from lab import Lab

LOG_MUTEX = "mutex Global\\c:/programdata/palvo/printerdriver/v6.0/palvoprinterconfiguration/palvoorvela"
LOG = (r"file C:\ProgramData\Palvo\PrinterDriver\V6.0\PalvoPrinterConfiguration\PalvoOrvela"
       r"\PalvoPrinterConfiguration.log")


class Turns(unittest.TestCase):
    def setUp(self):
        self.lab = Lab()
        self.lab("reset")
        self.copies = []
        self.addCleanup(self.end)

    def end(self):
        for pid in self.copies:
            self.lab("kill", pid, check=False)
            self.lab("turn", pid, check=False)

    def hold(self, *arguments):
        self.copies.append(self.lab("run", "--in-turns", "--", *arguments).split()[-1])
        return self.copies[-1]

    def turn(self, pid, count=1):
        return self.lab("turn", pid, str(count)).splitlines()

    def test_a_copy_stops_before_each_call_until_its_turn(self):
        pid = self.hold("-?")
        self.assertEqual(self.turn(pid), [f"CreateMutexW {LOG_MUTEX}"])
        time.sleep(0.2)
        self.assertEqual(self.lab.log_bytes(), b"")
        self.assertEqual(self.turn(pid), [f"WaitForSingleObject {LOG_MUTEX}"])
        told = self.turn(pid, 1000)
        self.assertEqual(told[-2:], ["end", "exit 1"])
        self.assertEqual(told.count(f"ReleaseMutex {LOG_MUTEX}"),
                         told.count(f"WaitForSingleObject {LOG_MUTEX}") + 1)
        self.assertIn(f"CreateFileW {LOG}", told)
        self.assertEqual(len(self.lab.log()), 2)

    def test_a_wait_in_vain_is_told_and_tried_again(self):
        first, other = self.hold("-?"), self.hold("-?")
        self.turn(first, 3)     # It owns the log's mutex now.
        self.assertEqual(self.turn(other, 9), [
            f"CreateMutexW {LOG_MUTEX}", f"WaitForSingleObject {LOG_MUTEX}", f"blocked {LOG_MUTEX}"])
        self.assertEqual(self.turn(other, 9), [f"blocked {LOG_MUTEX}"])
        self.assertEqual(self.turn(first, 1000)[-1], "exit 1")
        self.assertEqual(self.turn(other, 1000)[-1], "exit 1")

    def test_a_copy_that_is_killed_ends_before_its_call(self):
        pid = self.hold("-?")
        self.turn(pid)
        self.lab("kill", pid)
        self.assertEqual(self.turn(pid), ["exit 57005"])
        self.assertEqual(self.lab.log_bytes(), b"")

    def test_time_does_not_pass(self):
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.lab("printer", "add", "Office", "Palvo Orvela PV6")
        self.lab("record", "on", "Sleep")
        pid = self.hold("-c", "-i", "NewOrChangedTask")
        told = self.turn(pid, 1000)
        self.assertEqual((told.count("Sleep"), told[-1]), (1, "exit 0"))
        self.assertRegex(self.lab("show", "calls"), r" Sleep\(500\) = 0 ")

    def test_only_copies_that_are_held_have_turns(self):
        self.assertEqual(self.lab.run("-?").code, 1)
        self.lab("turn", "4711", check=False)
        self.assertEqual(self.lab.code, 2)


if __name__ == "__main__":
    unittest.main()
