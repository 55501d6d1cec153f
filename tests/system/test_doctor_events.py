"""The doctor names what is wrong with the channel and the printers."""

import re

from doctor import DoctorTest
from lab import NEW_OR_CHANGED, SUPPORTED
from test_doctor_installation import OWN_KEY

CHANNEL = "Microsoft-Windows-PrintService/Operational"

HANDLED = "was dealt with; the last run for it or for all began at now."


class Channel(DoctorTest):
    def test_a_channel_that_is_off(self):
        self.lab("set", "channel-enabled", "off")
        self.assert_found(("channel-off", f"The channel {CHANNEL} is off."))

    def test_a_channel_that_is_too_small(self):
        self.lab("set", "channel-size", "65536")
        self.assert_found(("channel-small", "The channel holds only 65536 bytes."))

    def test_a_channel_that_keeps_its_oldest_events(self):
        self.lab("set", "channel-retention", "on")
        self.assert_found(("channel-retention", "The channel keeps its oldest events."))

    def test_a_cleared_channel(self):
        self.lab("event", "clear")
        self.assert_found(("channel-lost-position",
                           "The channel is empty; event 2 was dealt with last."))

    def test_jobs_that_push_the_last_event_out_of_the_channel_are_no_trouble(self):
        self.lab("event", "fill", "2000", "Front Desk", "--id", "800")
        report = self.report()
        self.assertEqual((report["code"], report["findings"], report["unseen"]), (0, [], []))
        self.assertRegex(
            [one["text"] for one in report["notes"] if one["topic"] == "channel"][0],
            r"^The channel begins with event \d{3,4}; event 2 was dealt with last\.$")

    def test_a_position_beyond_the_newest_event(self):
        self.lab("set", "machine-value", OWN_KEY, "LastEvtRecordProcessed", "qword", "500")
        self.assert_found(("position-beyond",
                           "The stored position 500 is beyond the newest event 2."))

    def test_a_channel_that_cannot_be_read(self):
        self.lab("fault", "EvtOpenChannelConfig", "1", "5", "always")
        self.lab("fault", "EvtQuery", "1", "5", "always")
        report = self.report()
        self.assertEqual((report["code"], report["findings"], report["unseen"]), (2, [], [
            {"area": "channel", "reason": "Its settings cannot be read: error 5."},
            {"area": "channel", "reason": "Its events cannot be read: error 5."}]))

    def test_a_channel_that_is_not_there(self):
        self.lab("fault", "EvtOpenChannelConfig", "1", "15007", "always")
        self.assert_found(("channel-missing", f"There is no channel {CHANNEL}."))

    def test_an_event_that_no_run_deals_with(self):
        self.lab("tasks", "put", NEW_OR_CHANGED, "Settings.Enabled", "0")
        self.lab("printer", "change", "Front Desk")
        self.assert_found(("task-disabled", f'The task "{NEW_OR_CHANGED}" is disabled.'),
                          ("events-waiting", "Printer event 3 has been waiting for 0 minutes."),
                          arguments=("--hung-after", "0"))
        self.assert_found(("task-disabled", f'The task "{NEW_OR_CHANGED}" is disabled.'))


class Printers(DoctorTest):
    def notes(self):
        """With "now" for the time."""
        return [re.sub(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.$", "now.", one["text"])
                for one in self.report()["notes"] if one["topic"] == "printer"]

    def test_every_printer_is_told_with_the_reason(self):
        self.lab("driver", "add", "Other", "--platform", "PV5P1.0")
        self.lab("driver", "add", "Bare")
        self.lab("printer", "add", "Elsewhere", "Other")
        self.lab("printer", "add", "Plain", "Bare")
        self.lab("tasks", "wait")
        self.assertEqual(self.notes(), [
            '"Anchor" is not supported: its driver is of version 3; its last event is 1 and '
            + HANDLED,
            '"Elsewhere" is not supported: its manifest names the platform "PV5P1.0"; its last '
            'event is 3 and ' + HANDLED,
            '"Front Desk" is supported; its last event is 2 and ' + HANDLED,
            '"Plain" is not supported: its driver names no manifest; its last event is 4 and '
            + HANDLED])

    def test_a_printer_whose_event_waits(self):
        self.lab("tasks", "put", NEW_OR_CHANGED, "Settings.Enabled", "0")
        self.lab("printer", "change", "Front Desk")
        self.assertEqual(self.notes()[1], '"Front Desk" is supported; its last event is 3 and waits; '
                         'the last run for it or for all began at now.')

    def test_a_missing_manifest(self):
        folder = self.lab.prefix / "drive_c"
        found = [path for path in folder.rglob("*-manifest.ini")]
        self.assertTrue(found)
        kept = {path: path.read_bytes() for path in found}
        self.addCleanup(lambda: [path.write_bytes(text) for path, text in kept.items()])
        for path in found:
            path.unlink()
        found = self.findings()
        self.assertEqual([one for one, _ in found], ["printer-manifest"])
        self.assertRegex(found[0][1],
                         r'^The manifest C:\\.*-MANIFEST\.INI of "Front Desk" cannot be read: '
                         r'error 2\.$')

    def test_a_printer_that_cannot_be_opened(self):
        self.lab("fault", "OpenPrinterW", "2", "5")
        self.assert_found(("printer-not-opened",
                           'The printer "Front Desk" cannot be opened: error 5.'))

    def test_a_driver_that_cannot_be_read(self):
        self.lab("fault", "GetPrinterDriverW", "1", "1722", "always")
        self.assert_found(
            ("printer-driver-unknown", 'The driver of "Anchor" cannot be read: 0x800706BA.'),
            ("printer-driver-unknown", 'The driver of "Front Desk" cannot be read: 0x800706BA.'))

    def test_a_spooler_that_does_not_run(self):
        self.lab("fault", "EnumPrintersW", "1", "1722", "always")
        self.assert_found(("spooler-unreachable", "The print spooler cannot be reached: error 1722."))

    def test_printers_that_system_may_not_list(self):
        self.lab("fault", "EnumPrintersW", "1", "5", "always")
        code, output = self.doctor()
        self.assertEqual((code, output.splitlines()[-2:]), (2, [
            "not seen: printers: They cannot be listed: error 5.",
            "Not everything could be looked at."]))

    def test_a_name_that_looks_like_json_or_lines_stays_a_name(self):
        name = 'A "quoted" {"id":1} %s é日'
        self.lab("printer", "add", name, SUPPORTED)
        self.lab("tasks", "wait")
        self.assertIn(f'"{name}" is supported; its last event is 3 and {HANDLED}',
                      self.notes())
