"""A standard user's means, and what a run of SYSTEM must leave as it is whatever they are used for."""

import os
import re
import stat
import subprocess
import sys
import threading
import unittest
from contextlib import contextmanager, suppress
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "tests" / "system"))

from lab import SUPPORTED, Lab  # noqa: E402  (the path is set just above)

EVENT = ("-c", "-i", "NewOrChangedTask")
LOGON = ("-c", "-i", "UserLogonTask")
BAG = r"Software\Classes\Local Settings\Printers\PropertyBags\Manufacturers\Palvo"
LONG = os.environ.get("PALVO_LONG") == "1"
TOOLS = Path(os.environ.get("PALVO_LAB_BIN", ROOT / "build/release")) / "tests" / "attack"

# Of the machine's drive, what is the log's, the lab's and Wine's own.
NOT_OUTSIDE = ("ProgramData/Palvo/PrinterDriver/V6.0/PalvoPrinterConfiguration/PalvoOrvela",
               "ProgramData/PalvoLab", "windows/temp", "windows/Logs")

# Whose lists are the lab's, and nowhere on the machine's drive. Beside these: the suite's files.
LISTED = ("windows/win.ini", "ProgramData/theirs.txt")

# Names that mean something to somebody: to formats, to command lines, to the log, to the spooler.
ODD_NAMES = (
    "%s%s%n%x %1 %PATH% 100%", '" -x "', 'a\\', 'a\\" -c "', "-e", "-DL", "/?", "a*b?",
    "..\\..\\x", "$(x) `x` ;|&<>",
    "\\u0007\\u0008\\u001B[2J", "a\\u000A[1/1/2026 1:00:00 AM] PalvoPrinterConfiguration(PID1): x",
    "a\\u000D\\u000Ab", "\\u202E\\u200B\\uFEFF", "\\uD800", "\\uDC00\\uD800", "\\u65E5\\u672C", "a" * 220)


class Attacker:
    """The user's program: see Attacker.cpp."""

    def __init__(self, prefix):
        self.lock = threading.Lock()
        self.process = subprocess.Popen(
            ["wine", TOOLS / "attacker.exe"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            env=dict(os.environ, WINEPREFIX=str(prefix), WINEDEBUG="-all", DISPLAY=""))

    def tell(self, *parts):
        """What was answered, "ok" or "error", and its number."""
        with self.lock:
            self.process.stdin.write(("\t".join(map(str, parts)) + "\n").encode())
            self.process.stdin.flush()
            answer, number = self.process.stdout.readline().split()
            return answer.decode(), int(number)

    def do(self, *parts):
        answer, number = self.tell(*parts)
        if answer != "ok":
            raise AssertionError(f"the attacker cannot {parts[0]}: error {number}")
        return number

    @contextmanager
    def holding(self, *parts):
        number = self.do(*parts)
        try:
            yield
        finally:
            self.do("let-go", number)

    def end(self):
        self.process.stdin.close()
        self.process.wait(20)
        self.process.stdout.close()


class AttackTest(unittest.TestCase):
    """A machine on which everything is in order, and an attacker on it."""

    def setUp(self):
        self.lab = Lab()
        self.lab("reset")
        # The event that was dealt with last: the scan never examines its printer.
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.assertEqual(self.lab.run(*EVENT).code, 0)
        self.lab("printer", "add", "Office", SUPPORTED)
        self.drive = self.lab.prefix / "drive_c"
        self.log = self.lab.log_path()
        (self.drive / LISTED[1]).write_bytes(b"theirs")
        self.addCleanup((self.drive / LISTED[1]).unlink)
        self.attacker = Attacker(self.lab.prefix)
        self.addCleanup(self.end_attack)

    def end_attack(self):
        self.attacker.end()
        ran = list(self.drive.glob("planted-ran-*"))
        for file in ran:
            file.unlink()
        self.assertEqual(ran, [], "something ran that the attacker planted")

    def add_user(self, name, kind="standard"):
        """Logged on; the user's SID."""
        sid = self.lab("user", "add", name, kind).strip()
        self.lab("user", "logon", name)
        return sid

    def outside(self):
        """Every file and folder of the machine but those of the log, with all of it that a write, a
        grant or a name that comes or goes would change."""
        drive, found = str(self.drive), {}
        way_to_log = {str(path) for path in self.log.parents if not path.is_symlink()}
        skipped = {f"{drive}/{folder}" for folder in NOT_OUTSIDE}
        folders = [drive]
        while folders:
            for entry in os.scandir(folders.pop()):
                if entry.path in skipped:
                    continue
                of = entry.stat(follow_symlinks=False)
                if stat.S_ISDIR(of.st_mode):
                    folders.append(entry.path)
                    if entry.path not in way_to_log:
                        found[entry.path] = of.st_mode
                else:
                    found[entry.path] = (of.st_mode, of.st_nlink, of.st_size, of.st_mtime_ns)
        for path in (*(self.drive / file for file in LISTED), *self.lab.suite().glob("*.exe")):
            found[f"list of {path}"] = self.lab("rights", str(path))
        return found

    @contextmanager
    def nothing_changes_outside(self):
        before = self.outside()
        yield
        after = self.outside()
        self.assertEqual({path: (before.get(path), after.get(path))
                          for path in before.keys() | after.keys()
                          if before.get(path) != after.get(path)}, {})

    def attacked_work(self, *arguments):
        """A run to its end, which changes nothing outside and starts nobody but siblings: its exit code,
        and the siblings."""
        before = len(self.lab.siblings())
        with self.nothing_changes_outside():
            self.lab("run", "--", *arguments, check=False)
            code = self.lab.code    # before the lab is asked for lists
        return code, self.lab.siblings()[before:]

    def peak(self, *arguments):
        """How many KiB a run had at most; its siblings ran if they had to."""
        self.lab("record", "memory")
        outcome = self.attacked_work(*arguments)
        peak = int(self.lab("show", "counts").split()[-1])
        self.lab("record", "off")
        return peak, outcome

    def expect_work(self, printer="Office"):
        """A printer event, and that it is dealt with, whatever becomes of the log."""
        self.lab("printer", "change", printer)
        code, siblings = self.attacked_work(*EVENT)
        self.assertEqual((code, [(s.name, s.account) for s in siblings]),
                         (0, [("query", "LocalService"), ("writer", "SYSTEM")]))
        self.assertEqual(siblings[0].arguments, f' -e "{printer}"')

    def expect_served(self, printer="Office"):
        """The same, and that the log tells it."""
        before = len(self.lab.log())
        self.expect_work(printer)
        self.assertIn("NewOrChanged event done...exiting.", self.lab.log()[before:])

    def remove(self, path):
        with suppress(FileNotFoundError, NotADirectoryError):
            path.unlink()


def global_objects():
    """{name of the constant: name of the object} of everything that the program has in Global\\."""
    header = ROOT / "src/SimpleUtilitiesLib/objects/GlobalObjects.h"
    found = re.findall(r'wchar_t (\w+)\[\] =\s*L"([^"]+)"', header.read_text())
    return {constant: f"Global\\{name}" for constant, name in found}


LOG_MUTEX = r"Global\c:/programdata/palvo/printerdriver/v6.0/palvoprinterconfiguration/palvoorvela"
