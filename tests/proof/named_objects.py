"""Replays what the copies did to the named objects, an object of Windows as an object here and what was done
to it as a method: who owns, which request is pending, who took it, and what was lost."""

from proof.allowances import KILLED_ASKER, KILLED_OWNER, KILLED_TAKER, LATE
from proof.program_promises import ABANDONED, NOT_NOW, TAKEN


class NamedObject:
    """What is known of one named object after the steps that were replayed."""

    def __init__(self, checker, name):
        self.checker = checker
        self.name = name
        self.maker = "SYSTEM"       # the account
        self.verbs = {"open": self.open, "close": self.close, "post": self.post, "try": self.ask,
                      "release": self.release}

    def replay(self, steps):
        for step in steps:
            verb, _, name = step.kind.partition(" ")
            if name == self.name:
                self.verbs[verb](step)

    def open(self, step):
        """Windows lets a copy have an object with all rights or not at all, by who made it."""
        copy = step.copy
        if step.error == 0:
            self.maker = copy.account
        elif step.value and not self.may_have(copy):
            self.checker.violate(f"{copy}, as {copy.account}: got the {self.name} that {self.maker} made")
        elif not step.value and self.may_have(copy):
            self.checker.violate(f"{copy}, as {copy.account}: did not get the {self.name} that {self.maker} "
                                 f"made: error {step.error}")

    def may_have(self, copy):
        return copy.account in ("SYSTEM", self.maker)

    def close(self, step):
        pass

    def post(self, step):
        pass

    def ask(self, step):
        pass

    def release(self, step):
        pass


class InstanceMutex(NamedObject):
    """Never two working copies of one scheme, and none redundant without one at work."""

    def __init__(self, checker, scheme):
        super().__init__(checker, f"{scheme} instance")
        self.scheme = scheme
        self.owner = None
        self.leaving = None     # gives it back at its end, which comes after all that is recorded of it

    def close(self, step):
        if step.copy is self.owner:
            self.owner, self.leaving = None, step.copy

    def release(self, step):
        if step.copy is self.owner:
            self.owner = None

    def ask(self, step):
        if self.leaving and self.leaving.gone_by() < step.order:
            self.leaving = None
        if step.value == NOT_NOW:
            step.owner = self.owner or self.leaving
            if step.owner is None:
                self.checker.violate(f"{step.copy}: redundant although nobody works")
            return
        if self.owner is not None and not self.owner.was_killed_before(step):
            self.checker.violate(f"{step.copy} works beside {self.owner}")
        if step.value == ABANDONED and self.scheme == "changed" and self.owner is None:
            self.checker.violate(f"{step.copy}: the mutex was abandoned by nobody who was killed")
        self.owner, self.leaving = step.copy, None


class RequestEvent(NamedObject):
    """Every request is taken by a pass that starts later, or its event ended with it."""

    def __init__(self, checker, name):
        super().__init__(checker, name)
        self.holders = set()
        self.exists = False
        self.signalled = False
        self.pending = []       # the steps that posted

    def replay(self, steps):
        super().replay(steps)
        self.end()

    def end(self):
        for post in self.pending:
            self.judge_lost(post)
        self.pending.clear()

    def open(self, step):
        super().open(step)
        if not step.value:
            return
        if step.error == 0:
            self.make(step)
        elif not self.exists and not self.holders:
            self.checker.violate(f"{step.copy}: opened a {self.name} that nobody holds")
        self.holders.add(step.copy)
        self.exists = True

    def make(self, step):
        living = [holder for holder in self.holders if not holder.was_killed_before(step)]
        if living:
            self.checker.violate(f"{step.copy}: a second {self.name} beside that of {living[0]}")
        self.end()
        self.holders.clear()
        self.signalled = self.name == "refresh request"

    def close(self, step):
        self.holders.discard(step.copy)
        if not self.holders:
            self.end()
            self.exists = self.signalled = False

    def post(self, step):
        self.pending.append(step)
        self.signalled = True

    def ask(self, step):
        if step.value == TAKEN:
            self.take(step)
        elif step.value == NOT_NOW and self.signalled:
            whose = self.pending[-1].copy if self.pending else "the event itself"
            self.checker.violate(f"{step.copy}: the pending {self.name} of {whose} is lost")
        else:
            return
        self.pending.clear()
        self.signalled = False

    def take(self, step):
        copy = step.copy
        if not self.signalled:
            self.checker.violate(f"{copy}: took a {self.name} that nobody posted")
        if copy.killed and not any(step in one.taken for one in copy.passes):
            for post in self.pending:
                self.lose(post, KILLED_TAKER, copy, post.copy)
        else:
            self.checker.verdict.figures["served requests"] += len(self.pending)

    def lose(self, post, why, *copies):
        post.copy.lost = why
        self.checker.allow(why, *copies)

    def judge_lost(self, post):
        """The event ended before a copy took the request."""
        copy = post.copy
        tried = [step for step in copy.steps if step.kind == f"try {copy.mode.scheme} instance"]
        owner = getattr(tried[0], "owner", None) if tried else None
        if copy.killed:
            self.lose(post, KILLED_ASKER, copy)
        elif owner is None:
            self.checker.violate(f"{copy}: its {self.name} was never served, and nobody else was at work")
        elif any(step.kind == f"try {self.name}" and step.order > post.order for step in owner.steps):
            self.checker.violate(f"{copy}: its {self.name} was never served, though {owner} looked for one "
                                 "later")
        elif owner.killed and not any(step.kind == f"close {self.name}" for step in owner.steps):
            self.lose(post, KILLED_OWNER, owner, copy)
        else:
            self.lose(post, LATE, owner, copy)
