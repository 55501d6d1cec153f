"""What a user holds that the program wants: its log, and its objects in Global\\."""

import threading
import time
import unittest
from itertools import product

from attack import EVENT, LOG_MUTEX, LONG, AttackTest, global_objects

OBJECTS = global_objects()
MUTEX = OBJECTS["NewOrChangedInstanceMutex"]
REFRESH_MUTEX = OBJECTS["RefreshInstanceMutex"]
# Nobody else anything; everybody everything; nobody anything; others read and wait only.
DESCRIPTORS = ("", "D:(A;;GA;;;WD)", "D:", "D:(A;;0x120001;;;WD)")
WINDOWS_PATH = (r"C:\ProgramData\Palvo\PrinterDriver\V6.0\PalvoPrinterConfiguration\PalvoOrvela"
                r"\PalvoPrinterConfiguration.log")


class HeldLog(AttackTest):
    def test_log_that_is_held_open_loses_its_lines_and_nothing_else(self):
        before = self.lab.log_bytes()
        with self.attacker.holding("file", WINDOWS_PATH):
            self.expect_work()
            self.assertEqual(self.attacked_work("-DL")[0], 1)
        self.assertEqual(self.lab.log_bytes(), before)
        self.expect_served()

    def test_held_mutex_costs_lines_and_five_seconds_each_and_the_work_goes_on(self):
        number = self.attacker.do("mutex", LOG_MUTEX, "")
        # The first wait is over by then; the second comes to its end.
        release = threading.Timer(1000 if LONG else 6, self.attacker.do, ("let-go", number))
        begin = time.monotonic()
        release.start()
        try:
            self.expect_work()
            self.assertGreater(time.monotonic() - begin, 5)
        finally:
            release.cancel() if LONG else release.join()
        if LONG:
            self.attacker.do("let-go", number)
        else:
            self.assertIn("NewOrChanged event done...exiting.", self.lab.log())
        self.expect_served()


class HeldObjects(AttackTest):
    """A user who made the objects first decides over them: then nothing is done, and nothing else
    happens. Afterwards everything is as before."""

    def expect_ends(self, *arguments):
        """Nobody but a query program and a writer was started."""
        code, siblings = self.attacked_work(*arguments)
        self.assertIn(code, (0, 1))
        self.assertIn([s.name for s in siblings], ([], ["query", "writer"]))
        return code, siblings

    def test_instance_mutex_that_is_held_makes_every_copy_redundant(self):
        for mutex, arguments in ((MUTEX, EVENT), (REFRESH_MUTEX, ("-r",))):
            with self.subTest(arguments=arguments), self.attacker.holding("mutex", mutex, ""):
                self.lab("printer", "change", "Office")
                self.assertEqual(self.expect_ends(*arguments), (1, []))
        self.expect_served()

    def test_objects_of_any_kind_and_descriptor_leave_runs_that_end(self):
        for kind, descriptor in [*product(("mutex", "event"), DESCRIPTORS), ("section", "")]:
            with self.subTest(kind=kind, descriptor=descriptor):
                numbers = [self.attacker.do("object", kind, name, descriptor)
                           for name in OBJECTS.values()]
                self.lab("printer", "change", "Office")
                self.expect_ends(*EVENT)
                self.expect_ends("-r")
                for number in numbers:
                    self.attacker.do("let-go", number)
        self.expect_served()

    def test_log_mutex_that_nobody_may_open_costs_the_lines_and_nothing_else(self):
        for kind, descriptor in (("mutex", "D:"), ("event", ""), ("section", "")):
            with self.subTest(kind=kind):
                before = self.lab.log_bytes()
                with self.attacker.holding("object", kind, LOG_MUTEX, descriptor):
                    self.expect_work()
                self.assertEqual(self.lab.log_bytes(), before)
        self.expect_served()


if __name__ == "__main__":
    unittest.main()
