"""A standard user may delete the log, and write in its folder. What then lies under the log's path when
SYSTEM runs the program must lead nowhere."""

import os
import shutil
import unittest

from lab import Lab

LINE = b"[1/1/2026 1:00:00 AM] PalvoPrinterConfiguration(PID1): theirs\r\n"
LARGE = LINE * (0x400000 // len(LINE) + 1)      # large enough for a trim
RUNS = ("-?", "-x", "-c", "-r", "-IT", "-UT", "-DL")


class PlantedLog(unittest.TestCase):
    def setUp(self):
        self.lab = Lab()
        self.lab("reset")
        self.lab.run("-?")
        self.log = self.lab.log_path()
        self.elsewhere = self.lab.prefix / "drive_c" / "Elsewhere"
        self.elsewhere.mkdir()
        self.addCleanup(self.take_away)
        self.seen = 0

    def take_away(self):
        for path in (self.log, *self.log.parents[:5]):
            if path.is_symlink() or path == self.log:
                path.unlink(missing_ok=True)
        shutil.rmtree(self.elsewhere)

    def elsewhere_file(self, content):
        path = self.elsewhere / "theirs"
        path.write_bytes(content)
        return path

    def as_it_is(self):
        """All files that are elsewhere, with everything of them that a run could change."""
        return {path.name: (path.read_bytes(), path.stat().st_mode, path.stat().st_mtime_ns)
                for path in self.elsewhere.iterdir()}

    def run_without_grant(self, arguments):
        self.lab("record", "on", "SetSecurityInfo")
        self.lab.run(arguments)
        self.lab("record", "off")
        self.assertEqual(self.grants(), 0)

    def grants(self):
        """Since this was asked last."""
        grants = self.lab("show", "calls").count(" SetSecurityInfo(")
        new, self.seen = grants - self.seen, grants
        return new

    def expect_nothing_changes(self, plant=lambda: None):
        for arguments in RUNS:
            with self.subTest(run=arguments):
                plant()
                before = self.as_it_is()
                self.run_without_grant(arguments)
                self.assertEqual(self.as_it_is(), before)

    def expect_the_log_is_back(self):
        self.lab("record", "on", "SetSecurityInfo")
        self.lab.run("-?")
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
                self.expect_nothing_changes(lambda file=file: self.link(self.log, file))
        # -DL, the last run, deleted the name and began the log anew.
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
                    self.expect_files_stay(inside)
                self.lead_back(folder)

    def test_no_folder_is_made_where_a_mount_point_leads(self):
        for level in range(5):
            folder = self.log.parents[level]
            with self.subTest(folder=folder.name):
                self.lead_elsewhere(folder)
                self.lab.run("-?")
                self.assertEqual(list(self.elsewhere.iterdir()), [])
                self.lead_back(folder)

    def expect_files_stay(self, inside):
        content = inside.read_bytes() if inside.exists() else None
        for arguments in RUNS:
            with self.subTest(run=arguments, size=content and len(content)):
                self.run_without_grant(arguments)
                self.assertEqual(list(inside.parent.iterdir()), [] if content is None else [inside])
                if content is not None:
                    self.assertEqual(inside.read_bytes(), content)

    def test_hard_link_under_the_copys_path_keeps_its_bytes(self):
        file = self.elsewhere_file(LINE)
        self.log.write_bytes(LARGE)
        self.link(self.log.with_name(self.log.name + ".plvold"), file)
        self.lab.run("-?")
        self.assertEqual(self.lab.log()[-3], "Log trimmed.")
        self.assertLess(self.log.stat().st_size, 0x200000 + 1000)
        self.assertEqual(file.read_bytes(), LINE)
        self.assertEqual([path.name for path in self.log.parent.iterdir()], [self.log.name])


if __name__ == "__main__":
    unittest.main()
