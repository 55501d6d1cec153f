"""The same source gives the same bytes, wherever it is built."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

from lab import ROOT

PROGRAM = "PalvoPrinterConfiguration.exe"
SYMBOLS = f"{PROGRAM}.debug"
SECONDS = 3600


def copy_sources(folder):
    """All but what was built."""
    shutil.copytree(ROOT, folder, ignore=lambda where, names: {
                    "build", ".git"} if Path(where) == ROOT else ())


def build(source, output):
    """Builds the program anew, from its sources alone."""
    environment = {name: value for name, value in os.environ.items() if "LAUNCHER" not in name}
    environment["CCACHE_DISABLE"] = "1"
    for command in (["cmake", "--preset", "release", "-B", output, "-DPALVO_TESTS=OFF",
                     "-DPALVO_LAB=OFF"],
                    ["cmake", "--build", output, "--target", Path(PROGRAM).stem]):
        result = subprocess.run(command, cwd=source, env=environment, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=SECONDS,
                                check=False)
        if result.returncode != 0:
            raise AssertionError(result.stdout.decode(errors="replace")[-3000:])


class ReproducibleTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="palvo ")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def first(self):
        """The build that the tests run, or one of the test's own when a compiler cache made that one:
        a cache shortens the paths in the symbols."""
        tested = Path(os.environ.get("PALVO_LAB_BIN", ROOT / "build" / "release"))
        cache = (tested / "CMakeCache.txt").read_text()
        if not re.search(r"^CMAKE_CXX_COMPILER_LAUNCHER:\w+=.", cache, re.MULTILINE):
            return tested
        source = self.folder / "one"
        copy_sources(source)
        build(source, source / "build" / "release")
        return source / "build" / "release"

    def test_two_folders_give_the_same_program_and_the_same_symbols(self):
        source = self.folder / "another clone"
        copy_sources(source)
        build(source, source / "out here")
        first = self.first()
        for name in (PROGRAM, SYMBOLS):
            with self.subTest(file=name):
                one, other = (first / name).read_bytes(), (source / "out here" / name).read_bytes()
                self.assertEqual(len(one), len(other))
                differing = [place for place, (a, b) in enumerate(zip(one, other)) if a != b]
                self.assertEqual(differing[:20], [])
                self.assertNotIn(str(self.folder).encode(), other)


if __name__ == "__main__":
    unittest.main()
