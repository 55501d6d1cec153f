"""The signing step, with a certificate that the test makes itself."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

from lab import ROOT, Lab

BUILD = Path(os.environ.get("PALVO_LAB_BIN", ROOT / "build" / "release"))
PROGRAM = BUILD / "PalvoPrinterConfiguration.exe"


def run(*command, **environment):
    result = subprocess.run(command, env=dict(os.environ, **environment), stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120,
                            check=False)
    return result.returncode, result.stdout.decode(errors="replace")


class SigningTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.program = Path(shutil.copy(PROGRAM, self.folder))

    def need(self, *tools):
        missing = [tool for tool in tools if shutil.which(tool) is None]
        if missing:
            self.skipTest(f"{', '.join(missing)} missing")

    def certificate(self):
        code, output = run(
            "openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj",
            "/CN=Made for a test", "-addext", "extendedKeyUsage=codeSigning",
            "-addext", "keyUsage=digitalSignature",
            "-keyout", self.folder / "key.pem", "-out", self.folder / "certificate.pem")
        self.assertEqual(code, 0, output)
        return {"PALVO_SIGN_CERTIFICATE": str(self.folder / "certificate.pem"),
                "PALVO_SIGN_KEY": str(self.folder / "key.pem")}

    def verify(self, file):
        return run("osslsigncode", "verify", "-CAfile", self.folder / "certificate.pem",
                   "-in", file)

    def test_without_a_certificate_nothing_is_signed_and_it_says_so(self):
        code, output = run(ROOT / "tools" / "sign", self.program, PALVO_SIGN_CERTIFICATE="")
        self.assertEqual((code, output), (0, "Note: not signed, since PALVO_SIGN_CERTIFICATE names "
                                             "no certificate.\n"))
        self.assertEqual(self.program.read_bytes(), PROGRAM.read_bytes())

    def test_a_signed_program_verifies_and_a_changed_one_does_not(self):
        self.need("openssl", "osslsigncode")
        environment = self.certificate()
        self.assertNotEqual(self.verify(self.program)[0], 0)
        code, output = run(ROOT / "tools" / "sign", self.program, **environment)
        self.assertEqual(code, 0, output)
        code, output = self.verify(self.program)
        self.assertEqual(code, 0, output)
        self.assertIn("CN=Made for a test", output)

        self.tamper(self.program, "InstallAndRun".encode("utf-16-le"))
        self.assertNotEqual(self.verify(self.program)[0], 0)

    def test_a_signed_program_runs_as_before(self):
        self.need("openssl", "osslsigncode")
        code, output = run(ROOT / "tools" / "sign", self.program, **self.certificate())
        self.assertEqual(code, 0, output)
        lab = Lab()
        lab("reset")
        started = lab.run("-IT", options=("--program", "Z:" + str(self.program).replace("/", "\\")))
        self.assertEqual(started.code, 0)

    def test_what_is_packed_is_signed_and_the_build_stays_as_it_is(self):
        self.need("openssl", "osslsigncode", "wixl", "msibuild")
        before = PROGRAM.read_bytes()
        code, output = run(sys.executable, ROOT / "tools" / "package", "--build", BUILD, "--output",
                           self.folder / "out", "--siblings", self.siblings(), **self.certificate())
        self.assertEqual(code, 0, output)
        name = "PalvoPrinterConfiguration-7.0.0.0"
        with zipfile.ZipFile(self.folder / "out" / f"{name}.zip") as packed:
            programs = [file for file in packed.namelist() if file.endswith(".exe")]
            packed.extractall(self.folder / "out", programs)
        self.assertEqual(len(programs), 3)
        for file in (*programs, f"{name}.msi"):
            with self.subTest(file=file):
                code, output = self.verify(self.folder / "out" / file)
                self.assertEqual(code, 0, output)
                self.tamper(self.folder / "out" / file, b"Palvo Printer Suite" if "msi" in file else
                            "PalvoPrinter".encode("utf-16-le"))
                self.assertNotEqual(self.verify(self.folder / "out" / file)[0], 0)
        self.assertEqual(PROGRAM.read_bytes(), before)

    def tamper(self, file, text):
        data = bytearray(file.read_bytes())
        data[data.index(text)] ^= 1
        file.write_bytes(data)

    def siblings(self):
        folder = self.folder / "siblings"
        folder.mkdir()
        for name in ("PalvoPrinterQuery.exe", "PalvoPrinterConfigurationWriter.exe"):
            shutil.copy(BUILD / "lab" / name, folder)
        return folder

    def test_a_key_that_cannot_be_had_leaves_the_file_as_it_was(self):
        self.need("openssl", "osslsigncode")
        environment = self.certificate() | {"PALVO_SIGN_KEY": str(self.folder / "none.pem")}
        code, output = run(ROOT / "tools" / "sign", self.program, **environment)
        self.assertEqual(code, 1, output)
        self.assertEqual(self.program.read_bytes(), PROGRAM.read_bytes())
        self.assertEqual(sorted(file.name for file in self.folder.glob("*.exe*")),
                         [self.program.name])


if __name__ == "__main__":
    unittest.main()
