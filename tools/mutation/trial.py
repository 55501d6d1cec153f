"""One mutant's trial: it is built, and the test programs that can see it run until one fails."""

import contextlib
import re
import time
from pathlib import Path

REFUSED = "refused"  # by the compiler or the linker: not counted
SAME = "same"        # the very same object code as without the mutation: not counted
KILLED = "killed"
ALIVE = "alive"


class Trial:
    """A mutant in a worker's shop, for as long as the `with` lasts."""

    def __init__(self, shop, mutant):
        self.shop = shop
        self.build = shop.build
        self.mutant = mutant
        self.file = shop.folder / mutant.file
        self.library = Path(mutant.file).parts[1]

    def __enter__(self):
        self.source = self.file.read_text(encoding="utf-8")
        self.file.write_text(self.mutant.applied_to(self.source), encoding="utf-8")
        return self

    def __exit__(self, *_):
        self.file.write_text(self.source, encoding="utf-8")

    def result(self):
        """The outcome, and the test that killed it."""
        objects = {}
        compared = not self.mutant.file.endswith(".cpp")
        for names, program, tests in self._stages():
            for name in names:
                if name not in objects:
                    objects[name] = self.shop.compile(name)
                if objects[name] is None:
                    self._prove_that_it_compiles(name)
                    return REFUSED, ""
            if tests is None and not compared:
                compared = True
                if self._is_same(objects):
                    return SAME, ""
            file = self.shop.link(program, objects, tests)
            if file is None:
                return REFUSED, ""
            killer = self._killer(program, file)
            if killer:
                return KILLED, f"{program}: {killer}"
        return ALIVE, ""

    def _stages(self):
        """What to compile, and with which program and tests to run it, the likeliest to fail first.

        Few tests are soon linked: those that include the mutant's header come first. An inline
        function of a header is tried there as these tests compile it, and only then in all of the
        program that is made with it.
        """
        own, others = self.build.programs[self.library]
        source = Path(self.mutant.file)
        near = {program: self.build.tests_of(source.stem, program) for program in own}
        if source.suffix == ".cpp":
            changed = [self.build.object_of[self.mutant.file]]
        else:
            changed = [name for name in self.build.dependents.get(self.mutant.file, [])
                       if re.match(r"src/\w+/CMakeFiles/", name)]
        for program, tests in near.items():
            if tests:
                yield (changed if source.suffix == ".cpp" else tests), program, tests
        for program in own + others:
            yield changed, program, None

    def _killer(self, program, file):
        """The test that fails with the mutant every time, and passes without it in the same place."""
        limit = 20 + 4 * self.build.seconds[program]
        for _ in range(3):
            failure = self.shop.run(file, [], limit)
            if failure is None:
                return None
            # A mutant may leave something behind that fails the next one's tests.
            original = self.build.folder / "tests" / file.name
            only = [f"--gtest_filter={failure}"] if "." in failure else []
            if self.shop.run(original, only, limit) is None:
                # A failure that does not come again, alone or among the others, kills nothing.
                if self.shop.run(file, only, limit) or self.shop.run(file, [], limit):
                    return failure
                return None
            self.shop.renew_prefix()
        raise RuntimeError(f"{program}: {failure} fails without any mutant")

    @contextlib.contextmanager
    def _without_mutant(self):
        mutated = self.file.read_text(encoding="utf-8")
        self.file.write_text(self.source, encoding="utf-8")
        try:
            yield
        finally:
            self.file.write_text(mutated, encoding="utf-8")

    def _prove_that_it_compiles(self, name):
        """That a mutant is refused means something only when its original is not."""
        if name not in self.shop.proven:
            with self._without_mutant():
                if self.shop.compile(name) is None:
                    raise RuntimeError(f"{name} does not compile without any mutant")
            self.shop.proven.add(name)

    def _is_same(self, objects):
        """Whether the change changed nothing, as in a part that this compiler does not see."""
        same = True
        with self._without_mutant():
            for name, file in objects.items():
                content = file.read_bytes()
                same = same and self.shop.compile(name).read_bytes() == content
                file.write_bytes(content)  # the mutant's object, which further programs need
        return same


def try_mutant(shop, mutant):
    start = time.monotonic()
    with Trial(shop, mutant) as trial:
        outcome, killer = trial.result()
    return {"outcome": outcome, "killer": killer, "seconds": round(time.monotonic() - start, 1)}
