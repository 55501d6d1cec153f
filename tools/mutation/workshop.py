"""Where mutants are built and tried: a worker's own copy of the sources, and its own Windows.

Nothing is built twice that a mutant does not touch. The mutant's own object goes before all others
into a test program that is otherwise linked as the build links it: the linker takes what it finds
first, so the archives' objects of the same functions stay out.
"""

import functools
import hashlib
import json
import os
import re
import shlex
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from wine_prefix import WinePrefix  # noqa: E402  (the path is set just above)


class Build:
    """An existing build: how its objects are compiled and its test programs linked."""

    def __init__(self, root, folder):
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
        self.seconds = {}  # program -> how long its tests take

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
        links = {}
        for program in re.findall(r"^tests/(\w+)\.exe: ", self.ask_ninja("targets", "all"),
                                  re.MULTILINE):
            command = self.ask_ninja("commands", f"tests/{program}.exe").splitlines()[-1]
            links[program] = shlex.split(command.split("&&")[1])
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

    def measure(self, shop, cache):
        """Runs every test program as it is. They must pass, or no kill would mean a thing."""
        known = json.loads(cache.read_text(encoding="utf-8")) if cache.exists() else {}
        for program in self.links:
            if program == "ProductTests":
                continue
            file = self.folder / "tests" / f"{program}.exe"
            state = hashlib.sha256(file.read_bytes()).hexdigest()
            if known.get(program, {}).get("state") != state:
                start = time.monotonic()
                failure = shop.run(file, [], 240)
                if failure:
                    raise RuntimeError(f"{program} fails without any mutant: {failure}")
                known[program] = {"state": state, "seconds": time.monotonic() - start}
            self.seconds[program] = known[program]["seconds"]
        cache.write_text(json.dumps(known, indent=1), encoding="utf-8")


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
        for name in ("src", "tests", "objects", "programs"):
            shutil.rmtree(folder / name, ignore_errors=True)
        for name in ("src", "tests"):
            shutil.copytree(build.root / name, folder / name)
        for name in ("objects", "programs"):
            (folder / name).mkdir(parents=True)
        (folder / "lab").unlink(missing_ok=True)
        (folder / "lab").symlink_to(build.root / "lab")
        self.proven = set()  # objects that the compiler makes when nothing is mutated
        self.renew_prefix()

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
        self.prefix.server("-p")    # starting the server takes longer than most tests

    def close(self):
        self.prefix.end()

    def compile(self, object_name):
        """The object made from the worker's sources; None when the compiler refuses it."""
        target = self.folder / "objects" / object_name.replace("/", "_")
        command = []
        words = iter(self.build.compile_commands[object_name])
        for word in words:
            if word in ("-MF", "-MT", "-o"):
                next(words)
            elif word.startswith("-ffile-prefix-map=") or word == "-MD" or word.startswith("-W"):
                continue  # what is only suspicious is for the tests to find
            else:
                for name in ("src", "tests"):
                    word = word.replace(f"{self.build.root}/{name}/", f"{self.folder}/{name}/")
                command.append(word)
        command += [f"-ffile-prefix-map={self.folder}/=", "-Werror=return-type", "-O0", "-g0", "-o",
                    str(target)]
        return target if self._compiler_takes(command) else None

    def link(self, program, objects, tests=None):
        """Links `program` with `objects` (name in the build -> file) in the place of the build's,
        and when `tests` are given, without other tests than these."""
        old = [word for word in self.build.links[program]
               if tests is None or not word.endswith("Test.cpp.obj") or word in tests]
        mine = [str(file) for name, file in objects.items()
                if name in old or f"{name.split('/CMakeFiles')[0]}/lib" in " ".join(old)]
        target = self.folder / "programs" / f"{program}.exe"
        command = []
        for word in old:
            if word.endswith(".obj") and mine:
                command += mine
                mine = []
            if word in objects or word.startswith("-Wl,--out-implib"):
                continue
            command.append(str(target) if word == f"tests/{program}.exe" else word)
        return target if self._compiler_takes(command + ["-s"]) else None

    def _compiler_takes(self, command):
        code = subprocess.run(command, cwd=self.build.folder, stdin=subprocess.DEVNULL,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              check=False).returncode
        self._stop_when_ending()
        if code < 0:
            raise RuntimeError("the compiler was ended from outside")
        return code == 0

    def run(self, program, arguments, limit):
        """What failed: a test's name, or how the program ended; None when all is well."""
        self._stop_when_ending()
        output = self.folder / "output.txt"
        with open(output, "wb") as stream:
            process = subprocess.Popen(
                ["wine", program.name, "--gtest_fail_fast", *arguments], cwd=program.parent,
                env=self.prefix.environment, stdin=subprocess.DEVNULL, stdout=stream,
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
