"""The printers of a history: changes them, and takes down what was done between which lines of the record."""

import re

from lab import SUPPORTED
from proof.recorded_history import UNKNOWN, Change, Clearing, Life, Moment, Wrap
from proof.recording import recorded

SMALL = 70 * 1024       # bytes, of a channel: about a hundred events
LEGACY = "Legacy V3 Driver"
EVENT = re.compile(r"^(\d+)\t30[06]\t.*\tParam1=([^\t\n]*)", re.MULTILINE)


class Printers:
    def __init__(self, lab):
        """Takes over the printers that are there, of which none is the suite's."""
        self.lab = lab
        self.done = 0       # things
        self.changes, self.lives, self.clearings, self.wraps = [], [], [], []
        self.oldest, self.newest = 1, 0     # events
        self.looked = 0     # the record's lines before the last look
        self.look()

    def do(self, *command):
        self.look()     # at what siblings changed meanwhile
        self.done += 1
        after = recorded(self.lab)
        self.lab(*command)
        moment = Moment(self.done, after, recorded(self.lab))
        self.look()
        return moment

    def look(self):
        """Takes down the new events, and which are gone. While the channel is off, there are none."""
        after, self.looked = self.looked, recorded(self.lab)
        events = EVENT.findall(self.lab("event", "list"))
        moment = Moment(self.done, after, recorded(self.lab))
        if events and int(events[0][0]) > self.oldest:
            self.oldest = int(events[0][0])
            self.wraps.append(Wrap(moment.number, moment.after, moment.before, self.oldest - 1))
        for event, printer in events:
            if int(event) > self.newest:
                self.newest = int(event)
                self.changes.append(Change(moment.number, moment.after, moment.before, self.newest, printer))
                for clearing in self.clearings:
                    clearing.filled = min(clearing.filled, recorded(self.lab))

    def present(self):
        return [life.name for life in self.lives if life.removed is None]

    def add(self, name, driver):
        moment = self.do("printer", "add", name, driver)
        self.lives.append(Life(name, driver == SUPPORTED, moment))

    def change(self, *names):
        self.do("printer", "change", *names)

    def remove(self, name):
        moment = self.do("printer", "remove", name)
        next(life for life in self.lives if life.name == name and life.removed is None).removed = moment

    def clear(self):
        self.done += 1
        clearing = Clearing(self.done, recorded(self.lab), UNKNOWN)
        self.clearings.append(clearing)
        self.lab("event", "clear")
        clearing.before = recorded(self.lab)

    def fill(self):
        """Makes the channel small, and fills it, so that it loses its oldest events from now on."""
        self.lab("set", "channel-size", str(SMALL))
        self.do("event", "fill", "200", "Anchor")

    def tell(self, history):
        self.look()
        history.changes, history.lives = self.changes, self.lives
        history.clearings, history.wraps = self.clearings, self.wraps
        return history
