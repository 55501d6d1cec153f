"""What is Wine's fault and not the program's: one rule for all proofs.

On a busy machine Wine seldom loses a process at its start, before the process's first line: error 1359. Or it
ends one that lost its server, with one line on standard error. And seldom the process of the lab that takes
the proof's commands ends in the middle of them; it is none of the program's."""

import re

NOT_BROUGHT_UP = 1359
NOT_BROUGHT_UP_RESULT = 0x80070000 | NOT_BROUGHT_UP     # the same as a task's result


class GivenUp(Exception):
    """Wine ended a process that had lost its server: what that one left undone says nothing."""


def said_by_wine(lab, servers=()):
    """What Wine said of processes that it ended: those of the lab since this was last asked, and those of
    these servers of the lab's."""
    return [*lab.given_up(), *(line for server in servers for line in server.given_up)]


def told_whole(lab, servers=()):
    """Raises when Wine ended a process that lost its server: the history cannot be judged."""
    if said := said_by_wine(lab, servers):
        raise GivenUp("; ".join(said))


def is_wines_fault(error, said=(), calls=""):
    """Whether Wine explains the error. `said`: what it said of processes that it ended; `calls`: the record
    of the calls of the case, if it is a case of one copy."""
    return (isinstance(error, GivenUp) or bool(said)
            or re.search(rf" cannot be started: error {NOT_BROUGHT_UP}\b", str(error)) is not None
            or re.search(r"palvo-lab .* ended, and its process ended with \d+", str(error)) is not None
            or re.search(rf" CreateProcess\w+\(.* = 0 \[{NOT_BROUGHT_UP}\]", calls) is not None)
