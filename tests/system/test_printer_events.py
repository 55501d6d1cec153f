"""The road of one printer event, on the shipped file."""

import os
import random
import re
import unittest

from lab import SUPPORTED, Lab

EVENT = ("-c", "-i", "NewOrChangedTask")


def utf16(text):
    units = text.encode("utf-16-le")
    return [units[i] | units[i + 1] << 8 for i in range(0, len(units), 2)]


class PrinterEvents(unittest.TestCase):
    def setUp(self):
        self.lab = Lab()
        self.lab("reset")
        # The event that was dealt with last: the scan never examines its printer.
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.assertEqual(self.lab.run(*EVENT).code, 0)

    def query_operands_for(self, name):
        """What the query program finds as its operands when that printer alone is new."""
        escaped = "".join(c if c.isalnum() and c.isascii() else "".join(
            f"\\u{unit:04X}" for unit in utf16(c)) for c in name)
        self.lab("printer", "add", escaped, SUPPORTED)
        run = self.lab.run(*EVENT, options=("--fault", "Sleep 1 return=0 always"))
        self.assertEqual([s.name for s in run.siblings], ["query", "writer"])
        self.lab("printer", "remove", escaped)
        # The writer's line is the last, since it starts when the query program has ended.
        operands = re.sub(r"\\u([0-9A-Fa-f]{4})", lambda unit: chr(int(unit[1], 16)),
                          self.lab("show", "operands").split("\n")[-3])
        return operands.encode("utf-16-le", "surrogatepass").decode("utf-16-le").split("\t", 1)[1]

    def test_whatever_its_printers_name_the_query_program_finds_it_as_one_operand(self):
        seed = random.randrange(10 ** 9)
        chance = random.Random(seed)
        for _ in range(1000 if os.environ.get("PALVO_LONG") == "1" else 20):
            letters = chance.choice(['" a', 'az09-_', '" \t%\'*?<>|&^=;:()a\u00e9\u65e5\U0001d11e'])
            name = "".join(chance.choices(letters, k=chance.choice([1, 2, 3, 8, 40, 180])))
            if not name.strip():
                continue    # It names no printer.
            while (found := self.query_operands_for(name)) != f"-e\t{name}":
                shorter = (name[:i] + name[i + 1:] for i in range(len(name)))
                name, failed = next((text for text in shorter if text.strip() and
                                     self.query_operands_for(text) != f"-e\t{text}"), ""), name
                self.assertTrue(name, f"{failed!r} is read as {found!r} (seed {seed})")

    def test_without_memory_for_exceptions_a_run_ends_before_it_begins_its_work(self):
        self.lab("user", "add", "alice", "standard")
        self.lab("user", "logon", "alice")
        self.lab("printer", "add", "One", SUPPORTED)
        run = self.lab.run(*EVENT, options=("--fault", "calloc 1 12 always"))
        self.assertEqual((run.code, run.log, run.siblings), (3, [], []))
        # The administrator's hive refuses alice its property bag, which is an exception.
        run = self.lab.run(*EVENT)
        self.assertEqual((run.code, run.log[-3]), (0, "NewOrChanged event done...exiting."))

    def test_a_run_without_supported_printers_stores_the_position_and_starts_nothing(self):
        self.lab("printer", "add", "Foreign", "Foreign V4 Class Driver")
        self.lab("printer", "add", "Old", "Legacy V3 Driver")
        self.lab("printer", "add", "Plain", "Plain V4 Driver")
        run = self.lab.run(*EVENT)
        self.assertEqual(run.code, 0)
        self.assertEqual(run.output, "")
        self.assertEqual(run.log, [
            "# Called with 3 argument(s): -c -i NewOrChangedTask",
            "#\tResolved Args: NoNgen, NoWarmup, NewOrChangedEvent, NewOrChangedTask, "
            "-i NewOrChangedTask",
            "Found 3 '300/306' events with IDs from 2 to 4.",
            "- No supported printers need to be processed. Done. Exiting."])
        self.assertEqual(run.siblings, [])
        self.assertEqual(self.lab.scan_position(), ("REG_QWORD", 4))

    def test_one_supported_printer_is_given_to_the_query_program_by_name(self):
        self.lab("printer", "add", "Front Desk", SUPPORTED)
        run = self.lab.run(*EVENT)
        self.assertEqual(run.code, 0)
        found = ("Found one pertinent, non-duplicate '300/306' event in the range of IDs from 2 to 2. "
                 "One printer added or changed: 'Front Desk'")
        self.assertEqual(run.log, [
            "# Called with 3 argument(s): -c -i NewOrChangedTask",
            "#\tResolved Args: NoNgen, NoWarmup, NewOrChangedEvent, NewOrChangedTask, "
            "-i NewOrChangedTask",
            found,
            "-Processing NewOrChanged event: NewOrChangedTask",
            found,
            "# Processing a configuration request from a NewOrChanged event event for 'Front Desk'.",
            "Update UserPropertyBags With Desktop GUIDs before exiting after processing queued "
            "request(s)",
            "NewOrChanged event done...exiting.",
            "",
            ""])
        self.assertEqual([(s.name, s.account, s.arguments, s.parent) for s in run.siblings], [
            ("query", "LocalService", ' -e "Front Desk"', run.pid),
            ("writer", "SYSTEM",
             f' -e -i "PalvoPrinterConfiguration(NewOrChangedTask PID: {run.pid})"', run.pid)])
        self.assertEqual(self.lab.scan_position(), ("REG_QWORD", 2))

    def test_several_supported_printers_lead_to_a_full_run(self):
        self.lab("printer", "add", "One", SUPPORTED)
        self.lab("printer", "add", "Two", SUPPORTED)
        self.lab("printer", "change", "One")
        run = self.lab.run(*EVENT)
        self.assertIn("Found 3 '300/306' events with IDs from 2 to 4.", run.log)
        self.assertIn("# Processing a configuration request from a NewOrChanged event event for "
                      "multiple printers.", run.log)
        self.assertEqual([s.arguments for s in run.siblings], [
            " -c", f' -c -i "PalvoPrinterConfiguration(NewOrChangedTask PID: {run.pid})"'])

    def test_a_changed_printer_counts_like_an_added_one(self):
        self.lab("printer", "add", "One", SUPPORTED)
        self.lab.run(*EVENT)
        self.lab("printer", "change", "One")
        run = self.lab.run(*EVENT)
        self.assertIn("# Processing a configuration request from a NewOrChanged event event for "
                      "'One'.", run.log)
        self.assertEqual(run.siblings[0].arguments, ' -e "One"')

    def test_more_than_5000_events_lead_to_a_full_run(self):
        self.lab("printer", "add", "One", SUPPORTED)
        self.lab("event", "fill", "5001", "One")
        run = self.lab.run(*EVENT)
        self.assertEqual(run.code, 0)
        self.assertEqual(run.log.count(
            "Found more than 5000 unprocessed '300' and '306' events. Will stop counting and process "
            "all printers."), 2)
        self.assertIn("# Processing a configuration request from a NewOrChanged event event for "
                      "multiple printers.", run.log)
        self.assertEqual(self.lab.scan_position(), ("REG_QWORD", 5003))

    def test_a_short_batch_of_events_is_not_the_end_of_the_result(self):
        # The lab's batches are of 2, 10, 1, 6, 2, 10 ... events, the newest first; the printer's event
        # is the last but one.
        for count in (1, 10, 11, 12, 17, 40):
            with self.subTest(count=count):
                self.lab("reset")
                self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
                self.lab.run(*EVENT)
                self.lab("printer", "add", "One", SUPPORTED)
                self.lab("event", "fill", str(count), "Foreign")
                run = self.lab.run(*EVENT)
                self.assertEqual(
                    run.log[2], "Found one pertinent, non-duplicate '300/306' event in the range of "
                    f"IDs from 2 to {count + 2}. One printer added or changed: 'One'")
                self.assertEqual(self.lab.scan_position(), ("REG_QWORD", count + 2))

    def test_a_full_channel_without_the_last_event_is_scanned_from_its_oldest(self):
        # As an installation sets it; 965 of the 1203 events are left.
        self.lab("set", "channel-size", "1052672")
        self.lab("printer", "add", "One", SUPPORTED)
        self.lab("event", "fill", "600", "Foreign")
        self.lab("printer", "change", "One")
        self.lab("event", "fill", "600", "Foreign")
        self.assertEqual(self.event_ids(), (239, 1203, 965))
        run = self.lab.run(*EVENT)
        found = ("Found one pertinent, non-duplicate '300/306' event in the range of IDs from 240 to "
                 "1203. One printer added or changed: 'One'")
        self.assertEqual(run.log, [
            "# Called with 3 argument(s): -c -i NewOrChangedTask",
            "#\tResolved Args: NoNgen, NoWarmup, NewOrChangedEvent, NewOrChangedTask, "
            "-i NewOrChangedTask",
            found,
            "-Processing NewOrChanged event: NewOrChangedTask",
            found,
            "# Processing a configuration request from a NewOrChanged event event for 'One'.",
            "Update UserPropertyBags With Desktop GUIDs before exiting after processing queued "
            "request(s)",
            "NewOrChanged event done...exiting.",
            "",
            ""])
        self.assertEqual(self.lab.scan_position(), ("REG_QWORD", 1203))

    def test_the_oldest_event_of_a_full_channel_without_the_last_one_is_not_looked_at(self):
        self.lab("set", "channel-size", "1052672")
        self.lab("printer", "add", "Foreign", "Foreign V4 Class Driver")
        self.lab("event", "fill", "235", "Foreign")
        self.lab("printer", "add", "One", SUPPORTED)
        self.lab("printer", "change", "One")
        self.lab("event", "fill", "964", "Foreign")
        self.assertEqual(self.event_ids(), (239, 1203, 965))
        self.assertRegex(self.lab("event", "list"), r"^239\t306\t.*\tParam1=One\t")
        run = self.lab.run(*EVENT)
        self.assertEqual(run.log[2:], [
            "Found 964 '300/306' events with IDs from 240 to 1203.",
            "- No supported printers need to be processed. Done. Exiting."])
        self.assertEqual(run.siblings, [])

    def event_ids(self):
        """The first and the last number of the channel's events, and how many there are."""
        ids = [int(line.split("\t")[0]) for line in self.lab("event", "list").splitlines()]
        return ids[0], ids[-1], len(ids)

    def test_a_cleared_channel_sets_the_position_back(self):
        self.lab("event", "clear")
        run = self.lab.run(*EVENT)
        self.assertEqual(run.log.count("Found no new '300/306' events with IDs > 0."), 2)
        self.assertEqual(self.lab.scan_position(), ("REG_QWORD", 0))

    def test_a_position_of_less_than_eight_bytes_counts_as_none(self):
        for fault, first in (("bytes=8", 2), ("bytes=7", 0), ("bytes=0", 0), ("wrong-type", 0)):
            with self.subTest(fault=fault):
                self.lab("reset")
                self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
                self.lab("printer", "change", "Anchor")
                self.lab.run(*EVENT)
                self.lab("record", "on")
                self.lab.run(*EVENT, options=("--fault", f"RegQueryValueExW 1 {fault} always"))
                self.assertEqual(set(re.findall(r"and EventRecordID >= (\d+)\]",
                                                self.lab("show", "calls"))), {str(first)})

    def test_printer_names_of_any_characters_reach_the_query_program(self):
        for name in ("Büro 2", 'say "hi"', "%s%n", "日本語プリンター"):
            with self.subTest(name=name):
                self.lab("printer", "add", name, SUPPORTED)
                run = self.lab.run(*EVENT)
                escaped = name.replace('"', '\\"')
                self.assertEqual(run.siblings[0].arguments, f' -e "{escaped}"')

    def test_a_line_with_characters_outside_the_code_page_reaches_the_log_whole(self):
        self.lab("printer", "add", "日本 printer", SUPPORTED)
        run = self.lab.run(*EVENT)
        self.assertIn("# Processing a configuration request from a NewOrChanged event event for "
                      "'?? printer'.", run.log)

    def test_huge_codes_of_the_siblings_do_not_reach_the_exit_code(self):
        self.lab("printer", "add", "One", SUPPORTED)
        self.lab("sibling", "query", "--return", "4294967295")
        self.lab("sibling", "writer", "--return", "2147483648")
        self.assertEqual(self.lab.run(*EVENT).code, 0)

    def test_a_run_gives_back_all_but_the_log_of_the_process(self):
        self.lab("user", "add", "anna", "admin")
        self.lab("user", "logon", "anna")
        self.lab("printer", "add", "One", SUPPORTED)
        run = self.lab.run(*EVENT)
        leaks = [line.split(" ", 2)[2] for line in self.lab("show", "leaks").splitlines()
                 if line.startswith(f"{run.pid} ")]
        self.assertEqual(leaks, [
            r"leak handle mutex Global\c:/programdata/palvo/printerdriver/v6.0/"
            "palvoprinterconfiguration/palvoorvela",
            "leak local memory SetEntriesInAclW"])

    def test_what_cannot_be_given_back_is_told_by_the_lab(self):
        # All other tests of what is left open rest on this.
        self.lab("user", "add", "anna", "admin")
        self.lab("user", "logon", "anna")
        self.lab("printer", "add", "One", SUPPORTED)
        odd = ("--fault", "IWbemClassObject::Get 1 wrong-type always")
        failing_key = ("--fault", "RegCreateKeyExW 1 5")
        for function, left, before in (
                ("CloseHandle 1 6 always", "handle process", ()), ("RegCloseKey 1 6", "registry key", ()),
                ("EvtClose 1 6", "event handle", ()), ("CryptDestroyHash 1 6", "hash", ()),
                ("CryptReleaseContext 2 6", "cryptographic provider", ()),
                ("DestroyEnvironmentBlock 1 6", "environment block", ()),
                ("VariantClear 1 0x80020008 always", "COM text IWbemClassObject::Get", ()),
                ("VariantClear 1 0x80020008 always", "COM text VariantChangeType", odd),
                ("LocalFree 1 return=1,error=6 always", "local memory FormatMessageW", failing_key)):
            with self.subTest(function=function, left=left):
                self.lab("printer", "change", "One")
                run = self.lab.run(*EVENT, options=("--fault", function, *before))
                lines = self.lab("show", "leaks").splitlines()
                self.assertTrue(any(line.startswith(
                    f"{run.pid} PalvoPrinterConfiguration.exe leak {left}") for line in lines), lines)


if __name__ == "__main__":
    unittest.main()
