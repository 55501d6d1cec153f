"""Where mutants are built and tried: a worker's own copy of the sources, and its own Windows.

Nothing is built twice that a mutant does not touch. The mutant's own object goes before all others
into a test program that otherwise has what the build links: the linker takes what it finds first, so
the archives' objects of the same functions stay out. LLVM's linker does this sixty times as fast as
GNU's.
"""

import functools
import json
import os
import re
import shlex
import shutil
import signal
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from commit_seed import commit_seed  # noqa: E402,F401  (the path is set just above)
from wine_prefix import WinePrefix  # noqa: E402


class Build:
    """An existing build: how its objects are compiled and its test programs linked."""

    def __init__(self, root, folder, headers):
        """`headers` is where the precompiled headers go that fit a mutant's options."""
        self.root = root
        self.folder = folder
        entries = json.loads((folder / "compile_commands.json").read_text(encoding="utf-8"))
        self.compile_commands = {}
        self.object_of = {}
        for entry in entries:
            command = shlex.split(entry["command"])
            if "-o" in command:
                name = command[command.index("-o") + 1]
                self.compile_commands[name] = command
                self.object_of[os.path.relpath(entry["file"], root)] = name
        self.dependents = self._read_dependents()
        self.links = self._read_links()
        self.programs = {}  # library -> its own programs, then those of the libraries that use it
        self._read_libraries()
        self._precompile(headers)

    def _precompile(self, headers):
        """The build's own does not fit: GCC takes one only with the options that it was made with."""
        made = next(name for name in self.compile_commands if re.match(r"src/.*\.gch$", name))
        self.header = str(self.folder / made.removesuffix(".gch"))
        self.fitting_header = str(headers / Path(self.header).name)
        headers.mkdir(parents=True, exist_ok=True)
        shutil.copy2(self.header, self.fitting_header)
        subprocess.run([*self.compile_command(made), "-o", f"{self.fitting_header}.gch"],
                       cwd=self.folder, check=True)

    def compile_command(self, object_name):
        """Without warnings, since what is only suspicious is for the tests to find; and without
        what costs time."""
        command = []
        words = iter(self.compile_commands[object_name])
        for word in words:
            if word in ("-MF", "-MT", "-o"):
                next(words)
            elif not word.startswith(("-MD", "-W", "-ffile-prefix-map=")):
                command.append(word)
        return command + ["-Werror=return-type", "-O0", "-g0"]

    def ask_ninja(self, *question):
        return subprocess.run(["ninja", "-C", str(self.folder), "-t", *question], check=True,
                              stdout=subprocess.PIPE, text=True).stdout

    def _read_dependents(self):
        """For each header of the program, the objects that are made with it."""
        dependents = {}
        target = None
        for line in self.ask_ninja("deps").splitlines():
            if line.startswith("    "):
                path = os.path.normpath(self.folder / line.strip())
                if path.startswith(f"{self.root}/src/"):
                    dependents.setdefault(os.path.relpath(path, self.root), []).append(target)
            elif ":" in line:
                target = line.split(":")[0]
        return dependents

    def _read_links(self):
        """GCC tells what it would have its own linker do. It takes no other: its path is built in."""
        links = {}
        for program in re.findall(r"^tests/(\w+)\.exe: ", self.ask_ninja("targets", "all"),
                                  re.MULTILINE):
            command = self.ask_ninja("commands", f"tests/{program}.exe").splitlines()[-1]
            told = subprocess.run([*shlex.split(command.split("&&")[1]), "-s", "-###"], check=True,
                                  cwd=self.folder, stderr=subprocess.PIPE, text=True).stderr
            words = shlex.split(next(line for line in told.splitlines() if "/collect2 " in line))[1:]
            for option in ("-plugin", "--out-implib"):
                at = words.index(option)
                del words[at:at + 2]
            links[program] = ["ld.lld"] + [word for word in words if not word.startswith("-plugin-opt")]
        return links

    def _read_libraries(self):
        uses = {}
        for file in sorted((self.root / "src").glob("*/CMakeLists.txt")):
            text = file.read_text(encoding="utf-8")
            linked = re.search(r"LINKS ([\w ]+)", text)
            uses[file.parent.name] = linked[1].split() if linked else []
        for library in uses:
            own, others = [], []
            for program, link in self.links.items():
                tested = next(re.fullmatch(r"src/(\w+)/lib\w+\.a", item)[1] for item in link
                              if re.fullmatch(r"src/(\w+)/lib\w+\.a", item))
                if program == "ProductTests":
                    continue  # looks at the file that ships, which no mutant changes
                if tested == library:
                    own.append(program)
                elif library in uses[tested]:
                    others.append(program)
            self.programs[library] = (own, others)

    @functools.lru_cache(maxsize=None)
    def tests_of(self, stem, program):
        """The objects of a program's tests that are about `stem`.h: by their names, or, when there
        are none of its name, because they include it."""
        mine = {name: self.root / file for file, name in self.object_of.items()
                if name in self.links[program] and name.endswith("Test.cpp.obj")}
        named = [name for name in mine if Path(name).name.startswith(stem)]
        line = f'#include "{stem}.h"\n'
        return named or [name for name, file in mine.items()
                         if line in file.read_text(encoding="utf-8")]

    def suites_of(self, objects):
        """What the tests in these objects are called, as GoogleTest's filter."""
        files = {name: file for file, name in self.object_of.items()}
        suites = {suite for name in objects for suite in re.findall(
            r"^TEST(?:_F|_P)?\((\w+),", (self.root / files[name]).read_text(encoding="utf-8"),
            re.MULTILINE)}
        return ":".join(f"{suite}.*:*/{suite}.*" for suite in sorted(suites))


class Ended(Exception):
    """The run is ended from outside: what a shop was trying has no result."""


class Shop:
    """One worker's sources, objects, test programs and Wine prefix."""

    def __init__(self, build, folder, fresh_prefix, ending):
        """`ending` is an event: once it is set, the shop's next step raises Ended."""
        self.build = build
        self.folder = folder
        self.fresh_prefix = fresh_prefix
        self.prefix = WinePrefix(folder / "prefix")
        self.ending = ending
        for name in ("src", "tests"):
            shutil.rmtree(folder / name, ignore_errors=True)
            shutil.copytree(build.root / name, folder / name)
        for kind in ("original", "mutant"):  # a folder each: tests know their program's name
            (folder / kind).mkdir(exist_ok=True)
            self._lay(folder / kind / "missing", build.folder / "tests" / "missing")   # of LateLoadingTest
        self._lay(folder / "lab", build.root / "lab")
        self.renew_prefix()

    @staticmethod
    def _lay(link, target):
        link.unlink(missing_ok=True)
        link.symlink_to(target)

    def renew_prefix(self):
        fresh, own = self.fresh_prefix.folder, self.prefix.folder
        if own.is_dir():
            self.prefix.end()
            self.prefix.server("-w")
            shutil.rmtree(own)
        # Links instead of copies, except for the registry, which Wine's server writes in place.
        subprocess.run(["cp", "-al", str(fresh), str(own)], check=True)
        for file in fresh.glob("*.reg"):
            (own / file.name).unlink()
            shutil.copy2(file, own / file.name)
        self.prefix.server("-p")  # starting the server takes longer than most tests

    def close(self):
        self.prefix.end()

    def compile(self, object_name, kind):
        """The object made from the worker's sources; None when the compiler refuses it."""
        target = self.folder / kind / object_name.replace("/", "_")
        command = []
        for word in self.build.compile_command(object_name):
            for name in ("src", "tests"):
                word = word.replace(f"{self.build.root}/{name}/", f"{self.folder}/{name}/")
            command.append(self.build.fitting_header if word == self.build.header else word)
        command += [f"-ffile-prefix-map={self.folder}/=", "-o", str(target)]
        return target if self._compiler_takes(command) else None

    def link(self, program, objects, kind):
        """Links `program` with `objects` (name in the build -> file) in the place of the build's."""
        old = self.build.links[program]
        mine = [str(file) for name, file in objects.items()
                if name in old or f"{name.split('/CMakeFiles')[0]}/lib" in " ".join(old)]
        target = self.folder / kind / f"{program}.exe"
        command = []
        for word in old:
            if word.endswith(".obj") and mine:
                command += mine
                mine = []
            if word not in objects:
                command.append(str(target) if word == f"tests/{program}.exe" else word)
        return target if self._compiler_takes(command) else None

    def _compiler_takes(self, command):
        code = subprocess.run(command, cwd=self.build.folder, stdin=subprocess.DEVNULL,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              check=False).returncode
        self._stop_when_ending()
        if code < 0:
            raise RuntimeError("the compiler was ended from outside")
        return code == 0

    def run(self, program, tests, limit):
        """What failed of `tests`: a test's name, or how the program ended; None when all is well."""
        self._stop_when_ending()
        output = self.folder / "output.txt"
        with open(output, "wb") as stream:
            process = subprocess.Popen(
                ["wine", program.name, "--gtest_fail_fast", f"--gtest_filter={tests}"],
                cwd=program.parent, env=self.prefix.environment, stdin=subprocess.DEVNULL, stdout=stream,
                stderr=subprocess.STDOUT, start_new_session=True)
            try:
                code = process.wait(timeout=limit)
            except subprocess.TimeoutExpired:
                code = None
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()
                self.prefix.end()
                self.prefix.server("-w")
                self.prefix.server("-p")
        self._stop_when_ending()
        text = output.read_text(encoding="utf-8", errors="replace")
        if code == 0 and "\n[  PASSED  ] " in text:  # Now and then Wine gives 0 for a crash.
            return None
        failed = re.findall(r"^\[  FAILED  \] ([\w/]+\.[\w/]+)", text, re.MULTILINE)
        running = re.findall(r"^\[ RUN      \] ([\w/]+\.[\w/]+)", text, re.MULTILINE)
        return failed[0] if failed else running[-1] if running else f"exit code {code}"

    def _stop_when_ending(self):
        if self.ending.is_set():
            raise Ended
