"""The lab as the system tests and the demo use it: commands in, plain facts out."""

import os
import re
import subprocess
import tempfile
import time
from dataclasses import dataclass, field
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
SUITE = r"C:\Program Files\Palvo Printer Suite"
LOG = Path("drive_c/ProgramData/Palvo/PrinterDriver/V6.0/PalvoPrinterConfiguration/PalvoOrvela"
           "/PalvoPrinterConfiguration.log")
SUPPORTED = "Palvo Orvela PV6"
NEW_OR_CHANGED = "Palvo PalvoOrvela Printer Configuration - New or Changed"
PERIODIC_REFRESH = "Palvo PalvoOrvela Printer Configuration - Periodic Refresh"
USER_LOGON = "Palvo PalvoOrvela Printer Configuration - User Logon"

# Longer than anything in the lab takes on a slow machine; a command that hangs fails its test.
SECONDS = 120

LOG_LINE = re.compile(
    r"\[\d{1,2}/\d{1,2}/\d{4} \d{1,2}:\d\d:\d\d [AP]M\] PalvoPrinterConfiguration\(PID(\d+)\): (.*)")

STARTS = re.compile(r"^(?:started|queued|ignored|not started): .* \((?:event|time|missed).*\n",
                    re.MULTILINE)


@dataclass
class Sibling:
    """One run of a stand-in of a sibling program."""
    name: str
    parent: int
    account: str
    ended: bool
    arguments: str      # the command line after the program's path, to the blank


@dataclass
class Run:
    """What one run of the program left behind."""
    code: int
    output: str
    pid: int
    log: list = field(default_factory=list)
    siblings: list = field(default_factory=list)


class Lab:
    def __init__(self):
        self.command = str(ROOT / "palvo-lab")
        self.code = 0       # the exit code of the last command
        self.prefix = Path(os.environ.get("PALVO_LAB_PREFIX", ROOT / "build/lab/prefix"))

    def __call__(self, *arguments, check=True, text=None):
        """Runs a command of the lab and returns what it printed."""
        # Files, not pipes: what a command leaves running must not hold the caller up.
        with tempfile.TemporaryFile() as given, tempfile.TemporaryFile() as printed:
            given.write((text or "").encode())
            given.seek(0)
            result = subprocess.run([self.command, *arguments], stdin=given, stdout=printed,
                                    stderr=subprocess.STDOUT, check=False, timeout=SECONDS)
            printed.seek(0)
            output = printed.read().decode("utf-8", "replace").replace("\r\n", "\n")
        # What the scheduler starts because of a command is asked for with history().
        output = STARTS.sub("", output)
        self.code = result.returncode
        if check and result.returncode != 0:
            raise AssertionError(f"palvo-lab {' '.join(arguments)} ended with {result.returncode}:\n"
                                 f"{output}")
        return output

    def run(self, *arguments, options=(), raw=None):
        """Runs the program to its end."""
        log_before, siblings_before = len(self.log()), len(self.siblings())
        tail = ["--raw", raw] if raw is not None else ["--", *arguments]
        output = self("run", *options, "--print-exit", *tail, check=False)
        found = re.search(r"(?:palvo-lab: )?exit (\d+) pid (\d+)\n$", output)
        if not found:
            raise AssertionError("the program did not end as it should, palvo-lab with "
                                 f"{self.code}:\n{output}")
        return Run(int(found[1]), output[:found.start()], int(found[2]),
                   self.log()[log_before:], self.siblings()[siblings_before:])

    def start(self, *arguments, options=()):
        """Starts the program and does not wait; its process id."""
        return int(self("run", *options, "--no-wait", "--", *arguments).split()[-1])

    def kill(self, pid):
        """Ends a copy at once, as a time limit does."""
        subprocess.run(["wine", "taskkill", "/F", "/PID", str(pid)], env=self.environment(),
                       capture_output=True, check=True, timeout=SECONDS)

    def environment(self):
        return dict(os.environ, WINEPREFIX=str(self.prefix), WINEARCH="win64", WINEDEBUG="-all",
                    DISPLAY="")

    def burst(self, lines, options=()):
        """Starts one copy a line together; the exit codes in the order of the lines."""
        output = self("burst", *options, "-", text="\n".join(lines) + "\n")
        return [int(code) for code in re.findall(r"\bexit (\d+)", output)]

    def suite(self):
        """The folder of the program and its siblings."""
        return self.prefix / "drive_c" / SUITE.removeprefix("C:\\").replace("\\", "/")

    def tasks(self):
        """The names of the registered tasks, in their order."""
        return re.findall(r"^task: (.*)$", self("tasks"), re.MULTILINE)

    def raw_task(self, name):
        """{property: value} of a task, as they were put."""
        return dict(line.split("=", 1) for line in self("tasks", "raw", name).splitlines())

    def history(self):
        """What the scheduler did, a line each."""
        return self("tasks", "history").splitlines()

    def finished(self):
        """(task, result) of every run of a task that ended."""
        return re.findall(r"^finished: (.*): process \d+: (0x[0-9a-f]+)$",
                          "\n".join(self.history()), re.MULTILINE)

    def channel(self):
        """(enabled, size in bytes, what it does when it is full) of the print service's channel."""
        return tuple(line.split("\t")[1] for line in self("show", "channel").splitlines())

    def leaks(self):
        """What runs left open. The log keeps its mutex and that mutex's access list on purpose."""
        return [line for line in self("show", "leaks").splitlines()
                if not re.search(r"leak (handle mutex Global\\c:/programdata|"
                                 r"local memory SetEntriesInAclW$)", line)]

    def log_path(self):
        return self.prefix / LOG

    def log_bytes(self):
        path = self.log_path()
        return path.read_bytes() if path.is_file() else b""

    def log_lines(self):
        """(pid, message) of every line; a line that is none of the log's raises."""
        content = self.log_bytes().decode("cp1252", "replace")
        lines = []
        for line in content.split("\r\n")[:-1] if content else []:
            found = LOG_LINE.fullmatch(line)
            if not found:
                raise AssertionError(f"this is no line of the log: {line!r}")
            lines.append((int(found[1]), found[2]))
        if content and not content.endswith("\r\n"):
            raise AssertionError("the log's last line has no end")
        return lines

    def log(self):
        return [message for _, message in self.log_lines()]

    def siblings(self):
        runs = []
        for line in self("show", "siblings").splitlines():
            part = line.split("\t", 7)
            # Wine puts the path between quotes when it had to guess where it ends.
            found = re.fullmatch(r'("?)' + re.escape(SUITE) + r'\\PalvoPrinter\w+\.exe\1(.*)', part[7])
            if not found:
                raise AssertionError(f"a sibling was started by another path: {part[7]}")
            runs.append(Sibling(part[0], int(part[2].split()[1]), part[3].removeprefix("account "),
                                part[5] != "running", found[2]))
        return runs

    def wait_for(self, condition, what):
        """Asks until it is so. The files and the registry of another system tell no other way."""
        end = time.monotonic() + SECONDS
        while not condition():
            if time.monotonic() > end:
                raise AssertionError(f"waited in vain for {what}")
            time.sleep(0.02)

    def bags(self):
        """{hive: {value: (type, data)}} of all printer property bags."""
        bags = {}
        for line in self("show", "bags").splitlines():
            hive, name, kind, data = line.split("\t", 3)
            bags.setdefault(hive, {})[name] = (kind, data)
        return bags

    def scan_position(self):
        for line in self("show", "registry").splitlines():
            part = line.split("\t")
            if len(part) == 4 and part[1] == "LastEvtRecordProcessed":
                return part[2], int(part[3])
        return None

    def end(self):
        """Ends the Wine server of the lab's prefix, and no other."""
        subprocess.run(["wineserver", "-k"], env=self.environment(), stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, check=False, timeout=SECONDS)
