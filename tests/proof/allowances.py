"""What is counted and is no finding, and how often it may come. Above its bound it is a finding: whatever is
forgiven without limit hides faults. The first ones follow from the program's rules; docs/proofs.md explains
them."""

from math import sqrt

WINES_FAILURES = 8      # in a thousand runs of the program

ANCHOR = "the oldest event of a scan is never looked at"
FIRST_PASS = "a first pass whose scan found no printer any more worked for all"
GONE = "a printer that a scan found was removed before a pass came to it"
LATE = "posted after the working copy's last look, and no copy held the request"
EMPTIED = ("a refresh copy came while the event that an earlier one had emptied was still held, and found no"
           " request")
SERVED = "another copy served a refresh copy's request before that one looked for it"
POSITION_BACK = ("the position went back: another copy stored a newer one between this copy's scan and its "
                 "store")
DELETED_LINE = "a line is dropped while -DL deletes the log"
MUTEX_HELD = "a line is dropped: others had the log's mutex for five seconds"
REFUSED = "the request of a copy that does not get another account's event is lost"
TWO_ACCOUNTS = "copies of two accounts worked at once"
LOST_WITH_REQUEST = "a change that a scan found was lost with the copy's request"
KILLED_TAKER = "the request was taken by a copy that was killed before its pass was done"
KILLED_ASKER = "a request of a killed copy ended with its event"
KILLED_OWNER = "the working copy was killed, and no living copy held the request"
KILLED_AFTER_STORE = "the copy that stored the position was killed before its programs ran"
KILLED_AFTER_SCAN = "a copy was killed after its scan and before its request was served"
TORN = "the line that a killed copy was writing is torn"
OUTLIVED = "a killed copy's program outlived it"
NO_PROGRAM = "Wine did not bring a program up"
NO_COPY = "Wine did not bring a task's copy up"

# In a thousand runs of the program.
ALLOWED = {
    ANCHOR: 400, FIRST_PASS: 60, GONE: 60, LATE: 150, EMPTIED: 150, SERVED: 60, POSITION_BACK: 100,
    DELETED_LINE: 60, MUTEX_HELD: 2000, REFUSED: 500, TWO_ACCOUNTS: 60, LOST_WITH_REQUEST: 60,
    KILLED_TAKER: 400, KILLED_ASKER: 400, KILLED_OWNER: 400, KILLED_AFTER_STORE: 400, KILLED_AFTER_SCAN: 400,
    TORN: 200, OUTLIVED: 400, NO_PROGRAM: 5, NO_COPY: 5}


def bound(per_thousand, runs):
    """How many there may be in so many runs. In few runs chance has more room."""
    mean = per_thousand * runs / 1000
    return int(mean + 3 * sqrt(mean)) + 1


def exceeded(allowed, runs):
    """What came too often, or has no bound. `allowed`: {why: how often}"""
    for why, count in sorted(allowed.items()):
        if why not in ALLOWED:
            yield f"no bound is known of: {why}"
        elif count > bound(ALLOWED[why], runs):
            yield f"{count} times in {runs} runs, which is too often: {why}"
