"""The same source gives the same bytes, wherever it is built."""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from lab import ROOT

PROGRAMS = ["PalvoPrinterConfiguration", "PalvoPrinterDoctor", "PalvoPrinterSetup"]
FILES = [f"{name}.exe{end}" for name in PROGRAMS for end in ("", ".debug")]
TESTED = Path(os.environ.get("PALVO_LAB_BIN", ROOT / "build" / "release"))
SECONDS = 3600


def copy_sources(folder):
    """All but what was built."""
    shutil.copytree(ROOT, folder, ignore=lambda where, names: {
                    "build", ".git"} if Path(where) == ROOT else ())


def run(*command, folder, environment):
    result = subprocess.run(command, cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=SECONDS,
                            check=False)
    if result.returncode != 0:
        raise AssertionError(result.stdout.decode(errors="replace")[-3000:])


def build(source, output):
    """Builds the programs anew, from their sources alone."""
    environment = {name: value for name, value in os.environ.items() if "LAUNCHER" not in name}
    environment["CCACHE_DISABLE"] = "1"
    run("cmake", "--preset", "release", "-B", output, "-DPALVO_TESTS=OFF", "-DPALVO_LAB=OFF",
        folder=source, environment=environment)
    run("cmake", "--build", output, "--target", *PROGRAMS, folder=source, environment=environment)


def pack(source, built, output, *options):
    """What a clone packs of its own build, without a signature."""
    run(sys.executable, source / "tools" / "package", "--build", built, "--output", output, *options,
        folder=source, environment=dict(os.environ, PALVO_SIGN_CERTIFICATE=""))


class ReproducibleTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="palvo ")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def first(self):
        """The build that the tests run, or one of the test's own when a compiler cache made that one:
        a cache shortens the paths in the symbols."""
        cache = (TESTED / "CMakeCache.txt").read_text()
        if not re.search(r"^CMAKE_CXX_COMPILER_LAUNCHER:\w+=.", cache, re.MULTILINE):
            return ROOT, TESTED
        source = self.folder / "one"
        copy_sources(source)
        build(source, source / "build" / "release")
        return source, source / "build" / "release"

    def siblings(self):
        """The options for an MSI; none without the tools for it."""
        if shutil.which("wixl") is None:
            return []
        folder = self.folder / "siblings"
        folder.mkdir()
        for name in ("PalvoPrinterQuery.exe", "PalvoPrinterConfigurationWriter.exe"):
            shutil.copy(TESTED / "lab" / name, folder)
        return ["--siblings", folder]

    def expect_same(self, one, other):
        one, other = one.read_bytes(), other.read_bytes()
        self.assertEqual(len(one), len(other))
        differing = [place for place, (a, b) in enumerate(zip(one, other)) if a != b]
        self.assertEqual(differing[:20], [])

    def test_two_folders_give_the_same_programs_symbols_and_packages(self):
        source = self.folder / "another clone"
        copy_sources(source)
        build(source, source / "out here")
        first_source, first = self.first()
        for name in FILES:
            with self.subTest(file=name):
                self.expect_same(first / name, source / "out here" / name)
                self.assertNotIn(str(self.folder).encode(), (source / "out here" / name).read_bytes())

        options = self.siblings()
        one, other = self.folder / "packed", self.folder / "packed elsewhere"
        pack(first_source, first, one, *options)
        pack(source, source / "out here", other, *options)
        packed = sorted(file.name for file in one.iterdir())
        self.assertEqual(len(packed), 3 if options else 2)
        for name in packed:
            with self.subTest(file=name):
                self.expect_same(one / name, other / name)


if __name__ == "__main__":
    unittest.main()
