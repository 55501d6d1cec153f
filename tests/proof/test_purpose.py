"""The checker sees when the program does not do what it is for."""

import unittest

from proof.allowances import ANCHOR, FIRST_PASS, GONE, KILLED_AFTER_SCAN, KILLED_AFTER_STORE
from proof.program_promises import SKIPPED
from proof.recorded_history import Change, Life, Moment, PowerLoss, Turn, Wrap
from proof.written_history import CALLED, EVENT, NONE, REFRESH, Script, worker

MANY = "Found {} '300/306' events with IDs from {} to {}."
NAMED = ("Found one pertinent, non-duplicate '300/306' event in the range of IDs from {} to {}. One printer "
         "added or changed: '{}'")
NOTHING = "- No supported printers need to be processed. Done. Exiting."


class Machine(Script):
    """A history with printers. Event 1 is that of a printer of another driver."""

    def __init__(self, *supported):
        super().__init__()
        self.history.changes, self.history.lives = [], []
        self.add("Anchor", False)
        for name in supported:
            self.add(name)

    def moment(self):
        now = len(self.history.record)
        return Moment(self.count(), now, now)

    def add(self, name, supported=True):
        self.history.lives.append(Life(name, supported, self.change(name)))

    def change(self, name, event=None):
        moment, changes = self.moment(), self.history.changes
        changes.append(Change(moment.number, moment.after, moment.before,
                              event or (changes[-1].event + 1 if changes else 1), name))
        return moment

    def remove(self, name):
        next(life for life in self.history.lives if life.name == name).removed = self.moment()

    def scan(self, copy, position, text):
        self.note(copy.pid, f'EvtQuery("Channel", "EventRecordID >= {position}]", 513) = 0x4e0004 [0]')
        copy.line(text)

    def pre_scan(self, position, text, pid=100, stored=None, meanwhile=None):
        """A copy that has scanned, and goes on when it stores nothing. The printer `meanwhile` changes after
        its last step before the scan."""
        copy = self.copy(pid, EVENT)
        copy.line(*CALLED[EVENT])
        copy.open("scan check", False)
        copy.ask("scan check", 0)
        if meanwhile:
            self.change(meanwhile)
        self.scan(copy, position, text)
        copy.on("ReleaseMutex", "scan check", 1)
        if stored is not None:
            copy.store(stored)
            copy.line(NOTHING)
        copy.close("scan check")
        if stored is not None:
            copy.end(0)
        return copy

    def ask(self, copy, existed=False, taken=0):
        copy.line("-Processing NewOrChanged event: NewOrChangedTask")
        copy.open("normal request", existed)
        copy.open("special request", existed)
        copy.on("SetEvent", "normal request", 1)
        copy.open("changed instance", existed)
        copy.ask("changed instance", taken)

    def first_pass(self, copy, position, text, newest, printer=None):
        copy.poll(True, False)
        self.note(copy.pid, "Sleep(500) = 0 [0]")
        self.scan(copy, position, text)
        copy.store(newest)
        copy.line("# Processing a configuration request from a NewOrChanged event event for "
                  + (f"'{printer}'." if printer else "multiple printers."))
        copy.work("-c", printer=printer)

    def event_alone(self, position, text, newest, printer=None):
        """A copy that does the whole work; both of its scans say the same."""
        copy = self.pre_scan(position, text)
        self.ask(copy)
        self.first_pass(copy, position, text, newest, printer)
        copy.finish()


class Purpose(unittest.TestCase):
    def good(self, machine, *allowed, kills=False):
        verdict = machine.verdict(kills)
        self.assertEqual(verdict.violations, [])
        self.assertEqual(set(verdict.allowed), set(allowed))
        return verdict

    def broken(self, machine, what, kills=False):
        violations = machine.verdict(kills).violations
        self.assertTrue(any(what in text for text in violations), violations)

    def test_a_changed_printer_is_worked_off_by_name(self):
        machine = Machine("Office")
        machine.event_alone(0, NAMED.format(2, 2, "Office"), 2, "Office")
        self.assertEqual(self.good(machine).figures["changes covered"], 2)

    def test_several_are_worked_off_by_a_pass_for_all(self):
        machine = Machine("Office", "Hall")
        machine.event_alone(0, MANY.format(2, 2, 3), 3)
        self.good(machine)

    def test_nothing_is_to_be_done_for_printers_of_others(self):
        machine = Machine()
        machine.add("Legacy", supported=False)
        machine.pre_scan(0, MANY.format(1, 2, 2), stored=2)
        self.good(machine)

    def test_an_event_that_came_while_the_log_was_asked_may_be_missing(self):
        machine = Machine()
        machine.add("Legacy", supported=False)
        machine.pre_scan(0, MANY.format(1, 2, 2), stored=2, meanwhile="Legacy")
        self.good(machine)

    # Planted: a scan that misses a printer.
    def test_a_scan_that_says_that_nothing_is_to_be_done_misses_a_printer(self):
        machine = Machine("Office")
        machine.pre_scan(0, MANY.format(1, 2, 2), stored=2)
        self.broken(machine, "its scan missed ['Office']")

    def test_a_scan_that_names_one_printer_misses_another(self):
        machine = Machine("Office", "Hall")
        machine.event_alone(0, NAMED.format(2, 3, "Office"), 3, "Office")
        self.broken(machine, "its scan missed ['Hall']")

    def test_a_pass_is_skipped_though_a_printer_changed(self):
        machine = Machine("Office")
        first = machine.pre_scan(0, NAMED.format(2, 2, "Office"))
        machine.ask(first)
        machine.first_pass(first, 0, NAMED.format(2, 2, "Office"), 2, "Office")
        machine.add("Hall")
        other = machine.pre_scan(2, NAMED.format(3, 3, "Hall"), 200)
        machine.ask(other, True, 258)
        other.redundant()
        first.poll(True, False)
        machine.scan(first, 2, MANY.format(1, 3, 3))
        first.store(3)
        first.line(SKIPPED)
        first.finish()
        self.broken(machine, "its scan missed ['Hall']")
        self.broken(machine, "event 3 of 'Hall', which its scan found, is followed by no pass")

    # Planted: a position that is too new.
    def test_a_scan_begins_behind_the_stored_position(self):
        machine = Machine("Office")
        machine.add("Hall")
        machine.event_alone(3, NONE.format(3), 3)
        self.broken(machine, "its scan began at 3, though 0 was stored")

    def test_a_scan_read_an_event_that_was_not_there(self):
        machine = Machine("Office")
        machine.event_alone(0, NAMED.format(2, 9, "Office"), 9, "Office")
        self.broken(machine, "its scan read event 9, which was not in the log")

    def test_a_scan_read_an_event_before_it_was_logged(self):
        machine = Machine()
        copy = machine.pre_scan(0, NAMED.format(2, 2, "Office"))
        machine.add("Office")
        machine.ask(copy)
        machine.first_pass(copy, 0, NAMED.format(2, 2, "Office"), 2, "Office")
        copy.finish()
        self.broken(machine, "its scan read event 2, which was not in the log")

    # Planted: a short batch that is taken for the end.
    def test_a_scan_stops_before_the_position(self):
        machine = Machine("Office", "Hall", "Attic", "Cellar")
        machine.event_alone(0, MANY.format(2, 4, 5), 5)
        self.broken(machine, "its scan stops at event 3, though event 1 was in the log")

    def test_a_scan_does_not_see_the_newest_event(self):
        machine = Machine("Office", "Hall")
        machine.event_alone(0, NAMED.format(2, 2, "Office"), 2, "Office")
        self.broken(machine, "its scan ends at event 2, though event 3 was in the log")

    # Planted: work that nobody asked for, and work that is not done.
    def test_a_scan_names_a_printer_of_which_it_read_no_event(self):
        machine = Machine()
        machine.add("Legacy", supported=False)
        machine.event_alone(0, NAMED.format(2, 2, "Legacy"), 2, "Legacy")
        self.broken(machine, "its scan found 'Legacy', of which it read no event")

    def test_a_copy_goes_on_though_its_scan_found_nothing(self):
        machine = Machine()
        machine.add("Legacy", supported=False)
        machine.event_alone(0, MANY.format(1, 2, 2), 2)
        self.broken(machine, "goes on for all without a reason, of []")

    def test_a_pass_for_another_printer_covers_no_change(self):
        machine = Machine("Office", "Hall")
        copy = machine.pre_scan(0, MANY.format(2, 2, 3))
        machine.ask(copy)
        machine.first_pass(copy, 0, NAMED.format(2, 3, "Hall"), 3, "Hall")
        copy.finish()
        self.broken(machine, "event 2 of 'Office', which its scan found, is followed by no pass")

    def test_after_quiet_a_refresh_works(self):
        machine = Machine("Office")
        for works in (True, False):
            machine.history.quiet = len(machine.history.record)
            copy = machine.copy(300, REFRESH)
            copy.begin()
            copy.ask("refresh instance", 0)
            copy.line("# Processing a periodic refresh event: PeriodicRefreshTask")
            if works:
                copy.ask("refresh request", 0)
                copy.work("")
            copy.ask("refresh request", 258)
            if works:
                copy.line("Update UserPropertyBags With Desktop GUIDs before exiting after processing queued "
                          "request(s)")
            copy.line("Refresh event done...exiting.")
            copy.close("refresh instance", "refresh request")
            copy.end(0)
            if works:
                self.good(machine)
        self.broken(machine, "after all was quiet, a refresh brought nothing up to date")

    # The losses that the rules have.
    def test_a_first_pass_whose_printer_is_gone_works_for_all_and_is_told(self):
        machine = Machine("Office")
        copy = machine.pre_scan(0, NAMED.format(2, 2, "Office"))
        machine.ask(copy)
        machine.remove("Office")
        machine.first_pass(copy, 0, MANY.format(1, 2, 2), 2)
        copy.finish()
        self.good(machine, FIRST_PASS)

    def test_a_printer_that_is_removed_before_its_pass_is_told(self):
        machine = Machine("Office", "Hall")
        copy = machine.pre_scan(0, MANY.format(2, 2, 3))
        machine.ask(copy)
        machine.remove("Office")
        machine.first_pass(copy, 0, NAMED.format(2, 3, "Hall"), 3, "Hall")
        copy.finish()
        self.good(machine, GONE)

    def test_the_oldest_event_of_a_cleared_log_is_told(self):
        machine = Machine("Office")
        machine.clear_channel()
        machine.add("Hall")
        machine.add("Attic")
        machine.event_alone(0, NAMED.format(4, 4, "Attic"), 4, "Attic")
        self.good(machine, ANCHOR)

    def test_a_change_is_lost_with_a_killed_copy_and_told(self):
        for steps, why in ((0, KILLED_AFTER_SCAN), (1, KILLED_AFTER_STORE)):
            machine = Machine("Office")
            copy = machine.pre_scan(0, NAMED.format(2, 2, "Office"))
            if steps:
                machine.ask(copy)
                copy.poll(True, False)
                machine.note(copy.pid, "Sleep(500) = 0 [0]")
                machine.scan(copy, 0, NAMED.format(2, 2, "Office"))
                copy.store(2)
            copy.killed()
            self.assertIn(why, machine.verdict(kills=True).allowed)
            self.assertEqual(machine.verdict(kills=True).violations, [])
            self.assertNotEqual(machine.verdict(kills=False).violations, [])

    def test_a_full_log_has_lost_its_oldest_events(self):
        machine = Machine("Office", "Hall", "Attic", "Cellar")
        moment = machine.moment()
        machine.history.wraps.append(Wrap(moment.number, moment.after, moment.before, 2))
        machine.event_alone(0, MANY.format(2, 4, 5), 5)
        self.good(machine, ANCHOR)

    def test_what_happened_while_a_scan_read_is_not_judged(self):
        machine = Machine("Office")
        copy = machine.copy(100, EVENT)
        copy.line(*CALLED[EVENT])
        copy.open("scan check", False)
        copy.ask("scan check", 0)
        machine.note(100, 'EvtQuery("Channel", "EventRecordID >= 0]", 513) = 0x4e0004 [0]')
        machine.remove("Office")
        copy.line(MANY.format(1, 2, 2))
        copy.on("ReleaseMutex", "scan check", 1)
        copy.store(2)
        copy.line(NOTHING)
        copy.close("scan check")
        copy.end(0)
        self.good(machine)

    def test_a_special_pass_serves_a_printer_event_that_came_meanwhile(self):
        machine = Machine("Office")
        first = worker(machine, 300)
        copy = machine.pre_scan(0, NAMED.format(2, 2, "Office"))
        machine.ask(copy, True, 258)
        copy.redundant()
        first.poll(True, True)
        first.line("# Procesing a special NewOrChanged event.")
        first.work("-c")
        first.finish()
        self.good(machine)

    def by_event(self, machine, position, event):
        """A copy that a task started works for the Office alone."""
        machine.event_alone(position, NAMED.format(event, event, "Office"), event, "Office")
        machine.history.ended[-1].output = None

    def test_with_the_tasks_installed_the_last_change_is_read_by_a_copy(self):
        machine = Machine("Office")
        machine.history.installed = 0
        self.by_event(machine, 0, 2)
        machine.change("Office")
        self.broken(machine, "event 3 of 'Office' was read by nobody")
        self.by_event(machine, 2, 3)
        self.good(machine)

    def test_a_feedback_that_does_not_come_to_rest_with_the_changes_is_found(self):
        machine = Machine("Office")
        machine.history.installed = 0
        for _ in range(2):
            self.by_event(machine, 0, 2)
            machine.history.power_losses.append(PowerLoss(0, *[len(machine.history.record)] * 2, 0))
        self.good(machine)      # Events 1 and 2 may each have started one.
        self.by_event(machine, 0, 2)
        self.broken(machine, "3 passes, though 2 were asked for")

    def test_after_a_loss_of_power_a_scan_begins_where_an_earlier_one_did(self):
        machine = Machine("Office")
        machine.event_alone(0, NAMED.format(2, 2, "Office"), 2, "Office")
        lost = len(machine.history.record)
        machine.event_alone(0, NAMED.format(2, 2, "Office"), 2, "Office")
        self.broken(machine, "its scan began at 0, though 2 was stored")
        machine.history.power_losses = [PowerLoss(0, lost, lost, 0)]
        self.good(machine)

    def test_a_loss_of_power_that_brings_a_position_forth_is_found(self):
        machine = Machine("Office")
        machine.history.power_losses = [PowerLoss(0, 0, 0, 7)]
        machine.event_alone(0, NAMED.format(2, 2, "Office"), 2, "Office")
        self.broken(machine, "the position was 7, which nobody stored")

    def test_each_line_has_the_time_that_the_clock_showed_however_it_was_set(self):
        machine = Machine("Office")
        machine.history.turns = []
        machine.event_alone(0, NAMED.format(2, 2, "Office"), 2, "Office")
        self.good(machine)
        machine.set_back = 3600
        now = len(machine.history.record)
        machine.pre_scan(2, NONE.format(2), pid=200, stored=2)
        self.broken(machine, "a time that no clock showed: '# Called with")
        machine.history.turns = [Turn(0, now, now, 3600)]
        self.good(machine)
        machine.history.turns[0].seconds = 7200
        self.broken(machine, "a time that no clock showed: '# Called with")


if __name__ == "__main__":
    unittest.main()
