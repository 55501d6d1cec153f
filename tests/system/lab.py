"""The lab as the system tests and the demo use it: commands in, plain facts out."""

import os
import re
import select
import subprocess
import sys
import tempfile
import time
from contextlib import suppress
from dataclasses import dataclass, field
from itertools import groupby
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

# Wine ends a process at once that cannot speak to its server, and this line is all that it leaves.
GIVEN_UP = re.compile(r"^wine client error:.*", re.MULTILINE)


@dataclass
class Sibling:
    """One run of a stand-in of a sibling program."""
    name: str
    parent: int
    account: str
    start: str          # times that sort as text
    end: str            # empty while it runs
    arguments: str      # the command line after the program's path, to the blank

    @property
    def ended(self):
        return self.end != ""


@dataclass
class Run:
    """What one run of the program left behind."""
    code: int
    output: str
    pid: int
    log: list = field(default_factory=list)
    siblings: list = field(default_factory=list)


class Server:
    """One process of the lab that takes commands until it is ended. Starting one for every command
    would take longer than what the commands do."""

    def __init__(self, prefix):
        # A file: tasks run on with it after the command that started them, and hold a pipe open.
        self.errors = tempfile.TemporaryFile()
        self.told = 0           # bytes of it
        self.given_up = []      # what Wine said of processes that lost its server
        self.process = subprocess.Popen([ROOT / "palvo-lab", "serve"], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=self.errors,
                                        env=dict(os.environ, PALVO_LAB_PREFIX=str(prefix)))

    def ask(self, arguments):
        """What the command printed, and its exit code."""
        for argument in arguments:
            if "\t" in argument or "\n" in argument:
                raise ValueError(f"a command cannot be told this: {argument!r}")
        with suppress(BrokenPipeError):     # What it ended with is told where no answer comes.
            self.process.stdin.write(("\t".join(arguments) + "\n").encode())
            self.process.stdin.flush()
        end = time.monotonic() + SECONDS
        printed = b""
        while not (match := re.search(rb"\x1e(-?\d+)\n\Z", printed)):
            ready = select.select([self.process.stdout], [], [], max(0, end - time.monotonic()))[0]
            part = os.read(self.process.stdout.fileno(), 65536) if ready else b""
            if not part:
                if not ready:
                    self.process.kill()
                code = self.process.wait()
                self.tell_errors()
                raise AssertionError(f"palvo-lab {' '.join(arguments)} "
                                     f"{'ended' if ready else 'hangs'}, and its process ended with "
                                     f"{code}, after:\n{printed.decode()}")
            printed += part
        self.tell_errors()
        return (printed[:match.start()].decode("utf-8", "replace").replace("\r\n", "\n"),
                int(match[1]) & 0xFFFFFFFF)

    def tell_errors(self):
        """Passes on what was written to standard error since it was last called, in whole lines."""
        # Not read(): the writers share the file's position.
        descriptor = self.errors.fileno()
        new = os.pread(descriptor, os.fstat(descriptor).st_size - self.told, self.told)
        new = new[:new.rfind(b"\n") + 1]
        if new:
            self.told += len(new)
            text = new.decode("utf-8", "replace")
            print(text, end="", file=sys.stderr, flush=True)
            self.given_up += GIVEN_UP.findall(text)

    def end(self):
        with suppress(BrokenPipeError):     # of a command that it did not live to read
            self.process.stdin.close()
        self.process.stdout.close()
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        self.tell_errors()
        self.errors.close()


class Lab:
    servers = {}    # one for each prefix
    suites = (SUITE,)   # the folders from which siblings may be started

    def __init__(self, prefix=None):
        self.prefix = Path(prefix or os.environ.get("PALVO_LAB_PREFIX", ROOT / "build/lab/prefix"))
        self.code = 0       # the exit code of the last command

    def __call__(self, *arguments, check=True):
        """Runs a command of the lab and returns what it printed."""
        server = self.servers.get(self.prefix)
        if server is None or server.process.poll() is not None:
            self.close()    # It tells the last words of one that ended.
            server = self.servers[self.prefix] = Server(self.prefix)
        output, self.code = server.ask(arguments)
        # What the scheduler starts because of a command is asked for with history().
        output = STARTS.sub("", output)
        if check and self.code != 0:
            raise AssertionError(f"palvo-lab {' '.join(arguments)} ended with {self.code}:\n"
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
        self("kill", str(pid))

    def burst(self, lines, options=()):
        """Starts one copy a line together; the exit codes in the order of the lines."""
        with tempfile.NamedTemporaryFile("w", encoding="utf-8", suffix=".txt") as file:
            file.write("\n".join(lines) + "\n")
            file.flush()
            output = self("burst", *options, file.name)
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

    def next_run(self, name):
        """The time of day, "HH:MM", at which the task is due by the lab's clock."""
        of_task = self("tasks").split(f"task: {name}\n")[1]
        return re.search(r"^  next run: \S*T(\d\d:\d\d)", of_task, re.MULTILINE)[1]

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
        """What runs left open. The log keeps its mutex and that mutex's access list on purpose: one of
        each is allowed in a process."""
        left = []
        # A process leaves its lines together; its number is used again later.
        for _, lines in groupby(self("show", "leaks").splitlines(), lambda line: line.split()[0]):
            kept = set()
            for line in lines:
                known = re.search(r"leak (handle mutex Global\\c:/programdata|"
                                  r"local memory SetEntriesInAclW$)", line)
                if known and known[1] not in kept:
                    kept.add(known[1])
                else:
                    left.append(line)
        return left

    def log_path(self):
        return self.prefix / LOG

    def log_bytes(self):
        path = self.log_path()
        return path.read_bytes() if path.is_file() else b""

    def log_lines(self):
        """(pid, message) of every line; a line that is none of the log's raises."""
        return self.parse_log(self.log_bytes())

    @staticmethod
    def parse_log(log):
        content = log.decode("cp1252", "replace")
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
            suite = "|".join(map(re.escape, self.suites))
            found = re.fullmatch(rf'("?)(?:{suite})\\PalvoPrinter\w+\.exe\1(.*)', part[7])
            if not found:
                raise AssertionError(f"a sibling was started by another path: {part[7]}")
            end = "" if part[5] == "running" else part[5].removeprefix("end ")
            runs.append(Sibling(part[0], int(part[2].split()[1]), part[3].removeprefix("account "),
                                part[4].removeprefix("start "), end, found[2]))
        return runs

    def counts(self):
        """{function: calls} of all runs since a "record counts"."""
        counts = {}
        for line in self("show", "counts").splitlines():
            _, function, calls = line.split()
            counts[function] = counts.get(function, 0) + int(calls)
        return counts

    def at_once(self):
        """The sibling runs that began while another one ran."""
        runs = sorted(self.siblings(), key=lambda run: run.start)
        return [(one, other) for i, one in enumerate(runs) for other in runs[i + 1:]
                if not one.ended or other.start < one.end]

    def processes(self, name):
        """The fields of /proc/PID/stat, from the state on, of this lab's processes of that name."""
        for entry in os.listdir("/proc"):
            if not entry.isdigit():
                continue
            try:
                with open(f"/proc/{entry}/stat", encoding="utf-8") as stream:
                    command, fields = stream.read().split("(", 1)[1].rsplit(")", 1)
                if not command.startswith(name):
                    continue
                with open(f"/proc/{entry}/environ", "rb") as stream:
                    if f"WINEPREFIX={self.prefix}\0".encode() in stream.read():
                        yield fields.split()
            except OSError:
                continue

    def at_work(self):
        """Whether a copy of the program or of a sibling program is still there."""
        return any(True for _ in self.processes("PalvoPrinter"))

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

    def given_up(self):
        """What Wine said, since this was last asked, of processes that it ended itself."""
        server = self.servers.get(self.prefix)
        if server is None:
            return []
        said, server.given_up = server.given_up, []
        return said

    def close(self):
        """Ends the lab's process. The next command starts another."""
        server = self.servers.pop(self.prefix, None)
        if server is not None:
            server.end()

    def end(self):
        """Ends the Wine server of the lab's prefix, and no other."""
        self.close()
        subprocess.run([ROOT / "tools" / "wineserver", "-k"],
                       env=dict(os.environ, WINEPREFIX=str(self.prefix)),
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False,
                       timeout=SECONDS)
