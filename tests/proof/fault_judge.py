"""Judges a run in which something failed: what it lost must be what the rules let be lost, and nothing
else. A loss is some lines of text, each a difference from the run in which nothing failed:

    {x}     anything, the same in all of the loss's lines
    *       anything
    may     before a line: need not be there, and may be there often
"""

import re
from dataclasses import dataclass


@dataclass(frozen=True)
class Loss:
    must: tuple     # each is there once
    may: tuple

    @staticmethod
    def of(text):
        lines = [line.strip() for line in text.splitlines() if line.strip()]
        return Loss(tuple(line for line in lines if not line.startswith("may ")),
                    tuple(line[4:] for line in lines if line.startswith("may ")))


def bound(pattern, difference, names):
    """The names with what the pattern binds, None if it does not match."""
    parts = re.split(r"(\{\w+\}|\*)", pattern)
    expression, seen = "", set()
    for part in parts:
        if part == "*":
            expression += ".*"
        elif part.startswith("{") and part[1:-1] in names:
            expression += re.escape(names[part[1:-1]])
        elif part.startswith("{") and part not in seen:
            seen.add(part)
            expression += f"(?P<{part[1:-1]}>.*)"
        elif part.startswith("{"):
            expression += f"(?P={part[1:-1]})"
        else:
            expression += re.escape(part)
    found = re.fullmatch(expression, difference)
    return names | found.groupdict() if found else None


def matches(must, differences, names):
    """The differences that are left and the names, for every way in which all of `must` is there."""
    if not must:
        yield differences, names
        return
    for at, difference in enumerate(differences):
        now = bound(must[0], difference, names)
        if now is not None:
            yield from matches(must[1:], differences[:at] + differences[at + 1:], now)


def explains(loss, differences):
    """Whether the loss is there, and nothing else."""
    return any(all(any(bound(may, difference, names) is not None for may in loss.may) for difference in rest)
               for rest, names in matches(loss.must, list(differences), {}))


def explain_all(losses, differences):
    """Whether some of the losses, each maybe often, are there, and nothing else. One difference may belong to
    more than one of them."""
    numbered = {f"{number} {difference}": difference for number, difference in enumerate(differences)}
    unexplained = set(numbered)
    for loss in losses:
        must = tuple(f"* {text}" for text in loss.must)
        for rest, names in matches(must, list(numbered), {}):
            unexplained -= set(numbered) - set(rest)
            unexplained -= {text for text in rest if any(
                bound(may, numbered[text], names) is not None for may in loss.may)}
    return not unexplained


def without_lines(loss):
    """The loss in a run that could not log."""
    return Loss(tuple(text for text in loss.must if not re.match("[-+] line ", text)), loss.may)


def begins(wanted, found):
    """Whether a run that was ended did what the other does first."""
    return all(of_found == of_wanted[:len(of_found)] for of_found, of_wanted in (
        (found.lines, wanted.lines), (found.printed, wanted.printed), (found.programs, wanted.programs)))


def judge(losses, differences, often):
    """The text of what is wrong, empty if the run lost what one of the losses says, or, when the call
    failed often, what some of them say."""
    differences = list(differences)
    if "- every line" in differences:
        losses = [without_lines(loss) for loss in losses]
    good = any(explains(loss, differences) for loss in losses) or (
        often and explain_all(losses, differences))
    return "" if good else f"it differs from a run in which nothing failed: {differences}"
