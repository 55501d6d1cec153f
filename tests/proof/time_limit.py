"""The time that a proof may take."""

import os
import threading

from proof.runner import FIGURE


def limit(proof, short, long):
    """Ends a proof that takes longer than so many seconds, and all that it started. They are many more than
    it takes on a slow machine: this is for a proof that hangs."""
    seconds = long if proof.long else short

    def end():
        proof.find(f"it was ended after {seconds} s")
        print(f"{FIGURE}{len(proof.findings)} findings, not finished", flush=True)
        for lab in proof.labs:
            lab.end()
        os._exit(1)     # The workers may wait for ever.

    timer = threading.Timer(seconds, end)
    timer.daemon = True
    timer.start()
