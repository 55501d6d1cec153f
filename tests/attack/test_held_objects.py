"""What a user holds that the program wants: its log, and its objects in Global\\."""

import threading
import time
import unittest

from attack import EVENT, LOG_MUTEX, LONG, AttackTest, global_objects

OBJECTS = global_objects()
MUTEX = OBJECTS["NewOrChangedInstanceMutex"]
REFRESH_MUTEX = OBJECTS["RefreshInstanceMutex"]
# Everybody everything; nobody anything; others read and synchronise only.
DESCRIPTORS = ("D:(A;;GA;;;WD)", "D:", "D:(A;;0x120001;;;WD)")
WINDOWS_PATH = (r"C:\ProgramData\Palvo\PrinterDriver\V6.0\PalvoPrinterConfiguration\PalvoOrvela"
                r"\PalvoPrinterConfiguration.log")


class HeldLog(AttackTest):
    def test_log_that_is_held_open_loses_its_lines_and_nothing_else(self):
        before = self.lab.log_bytes()
        with self.attacker.holding("file", WINDOWS_PATH):
            run = self.expect_served_without_log()
            self.assertEqual(self.attacked_run("-DL").code, 1)
        self.assertEqual(run.log, [])
        self.assertEqual(self.lab.log_bytes(), before)
        self.expect_served()

    def expect_served_without_log(self):
        self.lab("printer", "change", "Office")
        run = self.attacked_run(*EVENT)
        self.assertEqual((run.code, [s.name for s in run.siblings]), (0, ["query", "writer"]))
        return run

    def test_first_wait_for_a_held_mutex_ends_after_five_seconds_and_the_work_goes_on(self):
        number = self.attacker.do("mutex", LOG_MUTEX, "")
        release = threading.Timer(6, self.attacker.do, ("let-go", number))
        begin = time.monotonic()
        release.start()
        try:
            self.expect_served()
        finally:
            release.join()
        self.assertGreater(time.monotonic() - begin, 5)

    @unittest.skipUnless(LONG, "takes five seconds a line: in the long form")
    def test_mutex_that_is_held_all_the_time_costs_the_lines_and_nothing_else(self):
        before = self.lab.log_bytes()
        with self.attacker.holding("mutex", LOG_MUTEX, ""):
            self.expect_served_without_log()
        self.assertEqual(self.lab.log_bytes(), before)
        self.expect_served()


class HeldObjects(AttackTest):
    """A user who made the objects first decides over them: then nothing is done, and nothing else
    happens. Afterwards everything is as before."""

    def expect_ends(self, arguments, codes):
        begin = len(self.lab.siblings())
        run = self.attacked_run(*arguments)
        self.assertIn(run.code, codes)
        self.assertLessEqual(len(self.lab.siblings()) - begin, 2)
        return run

    def test_instance_mutex_that_is_held_makes_every_copy_redundant(self):
        with self.attacker.holding("mutex", MUTEX, ""):
            self.lab("printer", "change", "Office")
            run = self.expect_ends(EVENT, [1])
            self.assertEqual(run.siblings, [])
        with self.attacker.holding("mutex", REFRESH_MUTEX, ""):
            self.assertEqual(self.expect_ends(("-r",), [1]).siblings, [])
        self.expect_served()

    def test_objects_of_any_kind_and_descriptor_leave_runs_that_end(self):
        for kind in ("mutex", "event", "section"):
            for descriptor in DESCRIPTORS:
                with self.subTest(kind=kind, descriptor=descriptor):
                    numbers = [self.attacker.do("object", kind, name, descriptor)
                               for name in OBJECTS.values()]
                    self.lab("printer", "change", "Office")
                    self.expect_ends(EVENT, [0, 1])
                    self.expect_ends(("-r",), [0, 1])
                    for number in numbers:
                        self.attacker.do("let-go", number)
        self.expect_served()

    def test_log_mutex_that_nobody_may_open_costs_the_lines_and_nothing_else(self):
        for kind, descriptor in (("mutex", "D:"), ("event", ""), ("section", "")):
            with self.subTest(kind=kind):
                before = self.lab.log_bytes()
                with self.attacker.holding("object", kind, LOG_MUTEX, descriptor):
                    self.lab("printer", "change", "Office")
                    run = self.attacked_run(*EVENT)
                self.assertEqual((run.code, [s.name for s in run.siblings]),
                                 (0, ["query", "writer"]))
                self.assertEqual(self.lab.log_bytes(), before)
        self.expect_served()


if __name__ == "__main__":
    unittest.main()
