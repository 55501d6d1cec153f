"""A user may delete the log, and write in its folder. What then lies under the log's path when SYSTEM runs
the program must lead nowhere."""

import hashlib
import os
import re
import shutil
import unittest

from attack import LONG, AttackTest

LINE = b"[1/1/2026 1:00:00 AM] PalvoPrinterConfiguration(PID1): theirs\r\n"
LARGE = LINE * (0x400000 // len(LINE) + 1)      # large enough for a trim
RUNS = ("-?", "-x", "-c", "-r", "-IT", "-UT", "-DL")
QUICK_RUNS = ("-?", "-DL")      # What opens, trims and appends is the same in every run.
FOREIGN_BYTES = 2 ** 30 if LONG else 2 ** 26


def digest(path):
    """It stands for the bytes, of which a test that fails would print millions."""
    return hashlib.sha256(path.read_bytes()).hexdigest()


class PlantedLog(AttackTest):
    def setUp(self):
        super().setUp()
        self.elsewhere = self.drive / "Elsewhere"
        self.elsewhere.mkdir()
        self.addCleanup(self.take_away)
        self.seen = 0

    def take_away(self):
        for path in (self.log, self.copy(), *self.log.parents[:5]):
            if path.is_symlink():
                path.unlink()
        shutil.rmtree(self.elsewhere)

    def copy(self):
        return self.log.with_name(self.log.name + ".plvold")

    def elsewhere_file(self, content):
        path = self.elsewhere / "theirs"
        path.write_bytes(content)
        path.chmod(0o600)
        return path

    def content(self):
        return {path: digest(path) for path in self.elsewhere.rglob("*") if path.is_file()}

    def grants(self):
        """Since this was asked last."""
        grants = self.lab("show", "calls").count(" SetSecurityInfo(")
        new, self.seen = grants - self.seen, grants
        return new

    def expect_nothing_changes(self, plant=lambda: None, runs=RUNS):
        """What is elsewhere stays as it is, and no run grants anybody anything."""
        for arguments in runs:
            with self.subTest(run=arguments):
                plant()
                content = self.content()
                self.lab("record", "on", "SetSecurityInfo")
                self.attacked_work(arguments)
                self.lab("record", "off")
                self.assertEqual(self.grants(), 0)
                self.assertEqual(self.content(), content)

    def expect_the_log_is_back(self):
        self.lab("record", "on", "SetSecurityInfo")
        self.attacked_work("-?")
        self.lab("record", "off")
        self.assertEqual(self.lab.log()[0], "# Called with 1 argument(s): -?")
        self.assertEqual(self.grants(), 2)

    def lead_elsewhere(self, folder):
        """For the program a mount point is a link like any other."""
        shutil.rmtree(folder)
        folder.symlink_to(self.elsewhere, target_is_directory=True)

    def lead_back(self, folder):
        folder.unlink()
        shutil.rmtree(self.elsewhere)
        self.elsewhere.mkdir()
        self.expect_the_log_is_back()

    def link(self, path, target):
        path.unlink(missing_ok=True)
        os.link(target, path)

    def test_hard_link_under_its_path_is_not_the_log(self):
        for content in (LINE, LARGE):
            with self.subTest(size=len(content)):
                file = self.elsewhere_file(content)
                self.link(self.log, file)
                runs = RUNS if LONG or content == LINE else QUICK_RUNS
                self.expect_nothing_changes(runs=[run for run in runs if run != "-DL"])
        self.assertTrue(self.log.samefile(file))
        self.expect_only_the_name_is_deleted(file)

    def expect_only_the_name_is_deleted(self, file):
        """-DL deletes the name and begins the log anew."""
        before = digest(file)
        self.lab.run("-DL")
        self.assertEqual((digest(file), file.stat().st_mode & 0o777, file.stat().st_nlink),
                         (before, 0o600, 1))
        self.assertEqual(self.lab.log(), ["# Invoked to delete log file. Done...exiting."])

    def test_symbolic_link_under_its_path_is_not_the_log(self):
        file = self.elsewhere_file(LINE)
        self.log.unlink()
        self.log.symlink_to(file)
        self.expect_nothing_changes()
        self.log.unlink()
        self.expect_the_log_is_back()

    def test_nothing_is_created_where_a_link_leads(self):
        self.log.unlink()
        self.log.symlink_to(self.elsewhere / "new")
        self.expect_nothing_changes()
        self.assertEqual(list(self.elsewhere.iterdir()), [])
        self.log.unlink()

    def test_mount_point_in_place_of_a_folder_leads_nowhere(self):
        # The folder, and each above it that the program makes.
        for level in range(5):
            folder = self.log.parents[level]
            with self.subTest(folder=folder.name):
                self.lead_elsewhere(folder)
                inside = self.elsewhere / self.log.relative_to(folder)
                for content in (None, LINE, LARGE):
                    inside.parent.mkdir(parents=True, exist_ok=True)
                    if content is not None:
                        inside.write_bytes(content)
                    every = level == 0 and (LONG or content == LINE)
                    self.expect_nothing_changes(runs=RUNS if every else QUICK_RUNS)
                self.lead_back(folder)

    def test_no_folder_is_made_where_a_mount_point_leads(self):
        for level in range(5):
            folder = self.log.parents[level]
            with self.subTest(folder=folder.name):
                self.lead_elsewhere(folder)
                self.attacked_work("-?")
                self.assertEqual(list(self.elsewhere.iterdir()), [])
                self.lead_back(folder)

    def test_hard_link_under_the_copys_path_keeps_its_bytes(self):
        file = self.elsewhere_file(LINE)
        self.log.write_bytes(LARGE)
        self.link(self.copy(), file)
        self.lab.run("-?")      # It takes the name away, and so changes the number of names.
        self.assertEqual(self.lab.log()[-3], "Log trimmed.")
        self.assertLess(self.log.stat().st_size, 0x200000 + 1000)
        self.assertEqual((file.read_bytes(), file.stat().st_mode & 0o777), (LINE, 0o600))
        self.assertEqual([path.name for path in self.log.parent.iterdir()], [self.log.name])

    def test_symbolic_link_under_the_copys_path_leads_nowhere(self):
        file = self.elsewhere_file(LINE)
        for target in (file, self.elsewhere / "new", self.elsewhere):
            with self.subTest(target=target.name):
                self.log.write_bytes(LARGE)
                self.remove(self.copy())    # Windows has taken it away.
                self.copy().symlink_to(target)
                self.attacked_work("-?")
                self.assertEqual(list(self.elsewhere.iterdir()), [file])
                self.assertEqual(file.read_bytes(), LINE)
                self.assertEqual(self.lab.log()[-3], "Log trimmed.")

    def test_folder_under_the_copys_path_keeps_the_log_from_being_trimmed_and_no_more(self):
        self.log.write_bytes(LARGE)
        self.copy().mkdir()
        self.addCleanup(self.copy().rmdir)
        self.expect_served()
        self.assertIn("Log trimmed.", self.lab.log())
        self.assertTrue(self.log.read_bytes().startswith(LARGE))

    def test_folder_under_its_path_costs_the_lines_and_nothing_else(self):
        self.log.unlink()
        self.log.mkdir()
        (self.log / "theirs").write_bytes(LINE)
        self.expect_nothing_changes(runs=QUICK_RUNS)
        self.assertEqual((self.log / "theirs").read_bytes(), LINE)
        self.expect_work()
        shutil.rmtree(self.log)
        self.expect_served()

    def test_tree_that_was_made_before_the_installation_is_no_hindrance(self):
        shutil.rmtree(self.log.parents[4])
        self.log.parent.mkdir(parents=True, mode=0o777)
        self.log.write_bytes(b"theirs\r\n")
        self.log.chmod(0o666)
        self.assertEqual(self.attacked_work("-IT"), (0, []))
        self.assertTrue(self.log.read_bytes().startswith(b"theirs\r\n["))
        with self.nothing_changes_outside():
            self.lab("printer", "change", "Office")     # Its task deals with it.
            self.lab("tasks", "wait")
        self.assertEqual([s.name for s in self.lab.siblings()], ["query", "writer"])
        self.log.unlink()
        self.attacked_work("-?")
        self.assertEqual(self.lab.log()[0], "# Called with 1 argument(s): -?")

    def trim_foreign_log(self, size, what, run):
        """A run that finds a sparse log, which holds zeros and no line's end; what was recorded."""
        with open(self.log, "wb") as stream:
            stream.truncate(size)
        self.lab("record", what)
        run()
        self.lab("record", "off")
        # Two megabytes, a byte for each piece of 4 KiB without a line's end, and the run's own lines.
        self.assertLess(self.log.stat().st_size, 0x200000 + size // 4096 + 0x10000)
        self.assertEqual([path.name for path in self.log.parent.iterdir()], [self.log.name])
        self.assertTrue(self.log.read_bytes().strip(b"\0").startswith(b"["), "the run's own lines")
        return self.lab("show", "counts")

    def test_log_of_foreign_bytes_is_trimmed_with_little_memory_and_the_work_goes_on(self):
        peak = self.trim_foreign_log(FOREIGN_BYTES, "memory", self.expect_work)
        self.assertLess(int(peak.split()[-1]), 0x6000, "KiB: half of it is any run's")
        self.log.unlink()
        self.expect_served()

    def test_log_of_twice_the_bytes_takes_twice_the_reads(self):
        reads = []
        for size in (FOREIGN_BYTES // 2, FOREIGN_BYTES):
            counts = self.trim_foreign_log(size, "counts", lambda: self.lab("run", "--", "-?", check=False))
            reads.append(int(re.findall(r" ReadFile (\d+)$", counts, re.MULTILINE)[-1]))
        self.assertGreater(reads[0], 100)
        self.assertLess(reads[1], 2.1 * reads[0])


if __name__ == "__main__":
    unittest.main()
