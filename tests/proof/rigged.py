"""Promises that the lab makes the program break, so that the checker shows that it sees them."""

from concurrent.futures import ThreadPoolExecutor

from lab import SUPPORTED
from proof.history_checker import check
from proof.printers import Printers
from proof.recording import collect, lanes_of, prepare
from registry import set_value

EVENT = "-c -i NewOrChangedTask"
KEY = r"Software\Palvo\PrinterDriver\V6.0\PalvoPrinterConfiguration"


def beside_another(lab, *options, both=False):
    """Two copies at once, the second one with these options; with `both`, both have to work."""
    def writers():
        return sum(run.name == "writer" and not run.ended for run in lab.siblings())

    with lanes_of(lab, 2) as lanes, ThreadPoolExecutor(2) as pool:
        users = prepare(lab)
        lab("sibling", "writer", "--hold")
        first = pool.submit(lanes[0].run, "-c")
        try:
            lab.wait_for(lambda: writers() == 1, "the first copy's writer")
            second = pool.submit(lanes[1].run, "-c", options)
            lab.wait_for(lambda: writers() == 2 if both else second.done(), "the second copy")
        finally:
            lab("sibling", "writer", "--release")
        return collect(lab, users, [first.result(), second.result()])


def torn_line(lab):
    with lanes_of(lab, 1) as (lane,):
        users = prepare(lab)
        ended = [lane.run("-?")]
        lab.log_path().write_bytes(lab.log_bytes()[:-30])
        ended.append(lane.run("-?"))
        return collect(lab, users, ended)


def after_changes(lab, *options, changes=0, between=None):
    """One supported printer is added and changed so often; a copy runs with these options. With `between`,
    another ran before, and then this happened, of which the checker is not told."""
    with lanes_of(lab, 1) as (lane,):
        users = prepare(lab)
        printers = Printers(lab)
        printers.add("One", SUPPORTED)
        for _ in range(changes):
            printers.change("One")
        ended = []
        if between:
            ended.append(lane.run(EVENT))
            between(lab)
        ended.append(lane.run(EVENT, options))
        return printers.tell(collect(lab, users, ended))


def clear(lab):
    lab("event", "clear")


def store_position(lab):
    set_value(lab, KEY, "LastEvtRecordProcessed", "REG_QWORD", "1")


def set_clock_back(lab):
    lab("clock", "back", "1")


# What the checker has to say, and what the lab does.
RIGGED = {
    # The seventh wait of such a copy is the one for the instance mutex.
    "both had programs":
        lambda lab: beside_another(lab, "--fault", "WaitForSingleObject 7 return=0", both=True),
    "'post special request' should follow":
        lambda lab: beside_another(lab, "--fault", "SetEvent 1 return=1"),
    "the log lacks a line": lambda lab: beside_another(lab, "--fault", "WriteFile 2 return=1"),
    "never ended": lambda lab: beside_another(lab, "--kill-after", "60"),
    "is no line of the log": torn_line,
    "went back from": lambda lab: after_changes(lab, between=clear),
    "its scan missed ['One']": lambda lab: after_changes(lab, "--fault", "OpenPrinterW 1 5 always"),
    "a time that no clock showed": lambda lab: after_changes(lab, between=set_clock_back),
    "its scan began at 1": lambda lab: after_changes(lab, between=store_position),
    # Events come by tens.
    "its scan stops at event": lambda lab: after_changes(lab, "--fault", "EvtNext 2 259", changes=12)}


def due(seed):
    """What is rigged in a short form. Three seeds in a row have all of it."""
    return list(RIGGED)[seed % 3::3]


def prove_rules(proof):
    """That the checker sees what the program would do wrong."""
    for what in RIGGED if proof.long else due(proof.seed):
        violations = check(RIGGED[what](proof.labs[0])).violations
        if not any(what in text for text in violations):
            proof.find(f"the checker did not see '{what}', but {violations}")
