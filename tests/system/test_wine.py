"""What the scripts do about the machine's Wine, with scripts in the place of Wine's programs."""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from lab import ROOT

NOTE = ("Note: nobody tried this with Wine %s (Other), only with Wine 8 and 10: "
        "what fails here may be the lab's fault, not the program's.\n")


class WineTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.prefix = self.folder / "prefix"
        self.made = self.folder / "made"
        self.script("wine", "echo 'wine-10.0 (Debian 10.0~repack-6)'")
        self.script("wineserver", "")
        self.script("wineboot", f"echo made >> {self.made}; touch $WINEPREFIX/system.reg")
        program = self.folder / "bin" / "lab" / "palvo-lab.exe"
        program.parent.mkdir(parents=True)
        program.touch()

    def script(self, name, text):
        path = self.folder / name
        path.write_text(f"#!/bin/bash\n{text}\n")
        path.chmod(0o755)

    def call(self, *command):
        environment = dict(os.environ, PATH=f"{self.folder}{os.pathsep}{os.environ['PATH']}",
                           PALVO_LAB_PREFIX=str(self.prefix), PALVO_LAB_BIN=str(self.folder / "bin"),
                           PYTHONPATH=str(ROOT / "tools"))
        result = subprocess.run([ROOT / command[0], *command[1:]], env=environment, timeout=60,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, check=False)
        return result.returncode, result.stdout.decode()

    def times_made(self):
        return len(self.made.read_text().split()) if self.made.exists() else 0

    def test_a_wine_that_was_tried_is_not_talked_about(self):
        for version in ("wine-8.0 (Debian 8.0~repack-4)", "wine-8.21", "wine-10.0", "wine-10.0-rc1"):
            with self.subTest(version=version):
                self.script("wine", f"echo '{version}'")
                self.assertEqual(self.call("tools/check-wine"), (0, ""))

    def test_a_wine_that_nobody_tried_is_told_and_goes_on(self):
        for version in ("9.0", "11.2", "80.1", "1.8"):
            with self.subTest(version=version):
                self.script("wine", f"echo 'wine-{version} (Other)'")
                self.assertEqual(self.call("tools/check-wine"), (0, NOTE % version))

    def test_a_wine_that_nobody_tried_is_told_for_a_prefix_that_is_there_too(self):
        self.script("wine", "echo 'wine-11.2 (Other)'")
        self.prefix.mkdir()
        for mark, command in (
                ("system.reg", ("palvo-lab", "prefix")),
                ("made-by-tests", (sys.executable, "-c", "import sys, wine_prefix\n"
                                   "wine_prefix.WinePrefix(sys.argv[1]).make()", self.prefix))):
            with self.subTest(mark):
                (self.prefix / mark).touch()
                self.assertEqual(self.call(*command), (0, NOTE % "11.2"))
        self.assertEqual(self.times_made(), 0)

    def test_a_wine_that_does_not_start_is_told_and_ends_it(self):
        self.script("wine", "exit 1")
        self.assertEqual(self.call("tools/check-wine"),
                         (1, "Wine does not start: is it installed whole?\n"))

    def test_the_lab_makes_its_prefix_once(self):
        for _ in range(2):
            self.assertEqual(self.call("palvo-lab", "help")[0], 0)
            self.assertEqual(self.times_made(), 1)

    def test_the_lab_makes_its_prefix_before_anything_is_built(self):
        (self.folder / "bin" / "lab" / "palvo-lab.exe").unlink()
        self.assertEqual(self.call("palvo-lab", "prefix"), (0, ""))
        self.assertEqual(self.times_made(), 1)
        self.assertEqual(self.call("palvo-lab", "help"),
                         (1, f"palvo-lab: the lab is not built in '{self.folder}/bin'; run: tools/build "
                             "release demo\n"))

    def test_a_prefix_whose_making_was_interrupted_is_made_anew(self):
        self.script("wineboot", f"echo made >> {self.made}; touch $WINEPREFIX/system.reg\n"
                                "mkdir $WINEPREFIX/drive_c; touch $WINEPREFIX/drive_c/half; exit 1")
        self.assertEqual(self.call("palvo-lab", "help"),
                         (1, f"palvo-lab: Wine could not make its prefix '{self.prefix}'\n"))
        self.script("wineboot", f"echo made >> {self.made}; touch $WINEPREFIX/system.reg")
        self.assertEqual(self.call("palvo-lab", "help")[0], 0)
        self.assertEqual(self.times_made(), 2)
        self.assertFalse((self.prefix / "drive_c" / "half").exists())
        self.assertEqual(self.call("palvo-lab", "help")[0], 0)
        self.assertEqual(self.times_made(), 2)

    def test_a_prefix_that_somebody_else_made_is_kept(self):
        (self.prefix / "drive_c").mkdir(parents=True)
        for file in (self.prefix / "system.reg", self.prefix / "drive_c" / "theirs"):
            file.touch()
        self.assertEqual(self.call("palvo-lab", "help")[0], 0)
        self.assertEqual(self.times_made(), 0)
        self.assertTrue((self.prefix / "drive_c" / "theirs").exists())


if __name__ == "__main__":
    unittest.main()
