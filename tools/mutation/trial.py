"""The trials of one file's mutants: each is built, and the tests that can see it run until one fails."""

import re
import time
from pathlib import Path

REFUSED = "refused"  # by the compiler or the linker: not counted
SAME = "same"        # the very same object code as without the mutation: not counted
KILLED = "killed"
ALIVE = "alive"

LONGEST = 300  # seconds that the tests of one program may take


class Trials:
    """The mutants of one source file in a worker's shop. What they are measured against is built in
    the same way from the file as it is, once for all of them."""

    def __init__(self, shop, name):
        self.shop = shop
        self.build = shop.build
        self.file = shop.folder / name
        self.source = self.file.read_text(encoding="utf-8")
        self.stages = list(self._stages(name))
        self.originals = {}  # an object's name -> its file
        self.linked = {}     # program -> the objects that its original was linked with
        self.limits = {}     # of each stage, in seconds

    def entry_of(self, mutant):
        start = time.monotonic()
        outcome, killer = self._result(mutant)
        return {"outcome": outcome, "killer": killer, "seconds": round(time.monotonic() - start, 1)}

    def _stages(self, name):
        """What to compile, and with which program and tests to run it, the likeliest to fail first.

        An inline function of a header is tried as the tests of the header compile it, and then in
        all of the program that is made with it.
        """
        own, others = self.build.programs[Path(name).parts[1]]
        if name.endswith(".cpp"):
            changed = [self.build.object_of[name]]
        else:
            changed = [item for item in self.build.dependents[name]
                       if re.match(r"src/\w+/CMakeFiles/", item)]
        near = {}
        for program in own:
            tests = self.build.tests_of(Path(name).stem, program)
            if tests:
                near[program] = self.build.suites_of(tests)
                yield tuple(changed if name.endswith(".cpp") else tests), program, near[program]
        for program in own + others:
            done = name.endswith(".cpp") and program in near
            yield tuple(changed), program, f"*-{near[program]}" if done else "*"

    def _result(self, mutant):
        """The outcome, and the test that killed it."""
        seen = False
        objects = {}
        linked = None
        for stage in self.stages:
            names, program, tests = stage
            for name in names:
                objects[name] = objects.get(name) or self._compile(name, mutant)
                if objects[name] is None:
                    return REFUSED, ""
            if all(objects[name].read_bytes() == self._original(name).read_bytes() for name in names):
                continue
            seen = True
            if linked != (names, program):
                linked = names, program
                self._link_original(names, program)
                file = self.shop.link(program, {name: objects[name] for name in names}, "mutant")
            if file is None:
                return REFUSED, ""
            killer = self._killer(file, stage)
            if killer:
                self._try_first(names, program, killer)
                return KILLED, f"{program}: {killer}"
        return (ALIVE if seen else SAME), ""

    def _try_first(self, names, program, killer):
        """What saw one mutant of a file will see others of it: not all files have tests of their name."""
        suite, separator, _ = killer.partition(".")
        if separator and not any(suite in tests for _, _, tests in self.stages if tests[0] != "*"):
            self.stages.insert(0, (names, program, f"{suite}.*"))

    def _compile(self, name, mutant):
        """That a mutant is refused means something only when its original is not."""
        self._original(name)
        self.file.write_text(mutant.applied_to(self.source), encoding="utf-8")
        try:
            return self.shop.compile(name, "mutant")
        finally:
            self.file.write_text(self.source, encoding="utf-8")

    def _original(self, name):
        if name not in self.originals:
            self.originals[name] = self.shop.compile(name, "original")
            if self.originals[name] is None:
                raise RuntimeError(f"{name} does not compile without any mutant")
        return self.originals[name]

    def _link_original(self, names, program):
        if self.linked.get(program) != names:
            self.linked[program] = names
            objects = {name: self._original(name) for name in names}
            if self.shop.link(program, objects, "original") is None:
                raise RuntimeError(f"{program} does not link without any mutant")

    def _limit(self, original, stage):
        """A mutant that hangs is mostly seen by the tests that are about it: theirs is the short one."""
        if stage not in self.limits:
            self.limits[stage] = LONGEST
            if not stage[2].startswith("*"):
                start = time.monotonic()
                self.shop.run(original, stage[2], LONGEST)
                self.limits[stage] = 10 + 10 * (time.monotonic() - start)
        return self.limits[stage]

    def _killer(self, file, stage):
        """The test that fails with the mutant every time, and passes without it in the same place."""
        _, program, tests = stage
        original = self.shop.folder / "original" / file.name
        limit = self._limit(original, stage)
        for _ in range(3):
            failure = self.shop.run(file, tests, limit)
            if failure is None:
                return None
            # A mutant may leave something behind that fails the next one's tests.
            only = failure if "." in failure else tests
            if self.shop.run(original, only, limit) is None:
                # A failure that does not come again, alone or among the others, kills nothing.
                if self.shop.run(file, only, limit) or self.shop.run(file, tests, limit):
                    return failure
                return None
            self.shop.renew_prefix()
            # The machine may have become slower since the limit was taken.
            self.limits[stage] = limit = 4 * limit
        raise RuntimeError(f"{program}: {failure} fails without any mutant")
