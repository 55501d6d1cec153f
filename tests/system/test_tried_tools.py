"""Which compilers, linkers and runtimes the build calls untried, by versions that are made up."""

import subprocess
import tempfile
import unittest
from pathlib import Path

from lab import ROOT


class TriedToolsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def program(self, name, output):
        """A program that prints this and nothing else."""
        path = self.folder / name
        path.write_text(f"#!/bin/sh\necho '{output}'\n")
        path.chmod(0o755)
        return path

    def notes(self, compiler, version, linker=None, runtime="10"):
        """What configuring a build says of the three."""
        linkers = {"GNU": "GNU ld (GNU Binutils) 2.40", "Clang": "Debian LLD 14.0.6 (compatible)"}
        linker = self.program("ld", linker or linkers.get(compiler))
        macros = self.program("c++", f"#define __MINGW64_VERSION_MAJOR {runtime}")
        result = subprocess.run(
            ["cmake", f"-DCMAKE_CXX_COMPILER_ID={compiler}", f"-DCMAKE_CXX_COMPILER_VERSION={version}",
             f"-DCMAKE_LINKER={linker}", f"-Dpalvo_lld={linker}", f"-DCMAKE_CXX_COMPILER={macros}",
             "-P", ROOT / "cmake" / "TriedTools.cmake"],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60,
            check=False)
        self.assertEqual(result.returncode, 0, result.stdout)
        return result.stdout.decode()

    def test_a_compiler_that_was_tried_is_not_talked_about(self):
        for compiler, version in (("GNU", "12"), ("GNU", "12.2.0"), ("GNU", "14.2.0"),
                                  ("Clang", "14.0.6"), ("Clang", "19.1.7")):
            with self.subTest(compiler=compiler, version=version):
                self.assertEqual(self.notes(compiler, version), "")

    def test_a_compiler_that_nobody_tried_is_told(self):
        for version in ("13.2.0", "1.2.0", "120.0", "2.12"):
            with self.subTest(version=version):
                self.assertEqual(self.notes("GNU", version),
                                 f"Note: nobody tried this with GCC {version}, only with 12, 14.\n")
        self.assertEqual(self.notes("Clang", "15.0.7"),
                         "Note: nobody tried this with Clang 15.0.7, only with 14, 19.\n")

    def test_a_compiler_of_another_maker_is_told(self):
        self.assertEqual(self.notes("MSVC", "19.29.30133"), "Note: nobody tried this with MSVC.\n")

    def test_a_linker_that_was_tried_is_not_talked_about(self):
        for linker in ("GNU ld (GNU Binutils) 2.40", "GNU ld (GNU Binutils for Debian) 2.44",
                       "GNU ld (GNU Binutils) 2.40.1"):
            with self.subTest(linker=linker):
                self.assertEqual(self.notes("GNU", "12.2.0", linker), "")

    def test_a_linker_that_nobody_tried_is_told(self):
        for version in ("2.4", "2.41", "2.400"):
            with self.subTest(version=version):
                self.assertEqual(
                    self.notes("GNU", "12.2.0", f"GNU ld (GNU Binutils) {version}"),
                    f"Note: nobody tried this with binutils {version}, only with 2.40, 2.44.\n")

    def test_the_second_compilers_linker_is_told_too(self):
        for version in ("14.0.6", "19.1.7"):
            self.assertEqual(self.notes("Clang", "14.0.6", f"Debian LLD {version} (compatible)"), "")
        self.assertEqual(self.notes("Clang", "14.0.6", "Debian LLD 15.0.7 (compatible)"),
                         "Note: nobody tried this with LLD 15.0, only with 14, 19.\n")

    def test_a_runtime_that_nobody_tried_is_told(self):
        for compiler, version in (("GNU", "12.2.0"), ("Clang", "14.0.6")):
            with self.subTest(compiler=compiler):
                self.assertEqual(self.notes(compiler, version, runtime="12"), "")
                self.assertEqual(self.notes(compiler, version, runtime="11"),
                                 "Note: nobody tried this with mingw-w64 11, only with 10, 12.\n")

    def test_every_build_is_asked(self):
        self.assertIn("\ninclude(TriedTools)\n", (ROOT / "CMakeLists.txt").read_text())

    def test_compiler_linker_and_runtime_are_told_one_by_one(self):
        self.assertEqual(self.notes("GNU", "15.1.0", "GNU ld (GNU Binutils) 2.45", "13"),
                         "Note: nobody tried this with GCC 15.1.0, only with 12, 14.\n"
                         "Note: nobody tried this with binutils 2.45, only with 2.40, 2.44.\n"
                         "Note: nobody tried this with mingw-w64 13, only with 10, 12.\n")


if __name__ == "__main__":
    unittest.main()
