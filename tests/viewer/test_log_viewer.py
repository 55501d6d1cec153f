"""The log viewer on made logs: what it finds, shows, hides and saves."""

import json
import subprocess
import unittest

from browser import VIEWER
from viewer_test import (REFRESH, ViewerTest, begun, called, device, done, line, nothing, redundant, user)

ROOT = VIEWER.parent.parent


class Findings(ViewerTest):
    def expect(self, content, expected, name="PalvoPrinterConfiguration.log"):
        self.open(content, name)
        self.assertEqual(self.browser.findings(), expected)

    def test_a_log_of_usual_runs_has_none(self):
        self.expect(nothing(4, "7:50:40 AM") + begun(8, "8:00:00 AM") + user(8, "8:00:05 AM") + device(8, "8:00:05 AM") +
                    done(8, "8:00:05 AM"), {})
        self.assertEqual(self.browser.text("findings"), "Nothing to note.")

    def test_a_run_without_an_end_is_told_with_what_came_after_it(self):
        self.expect(begun(4, "7:00:00 AM") + begun(8, "7:10:00 AM") + done(8, "7:10:00 AM") +
                    called(12, "7:20:00 AM") + nothing(12, "7:30:00 AM", 8) + begun(16, "7:40:00 AM") +
                    redundant(20, "7:41:00 AM") + called(24, "7:42:00 AM"), {
            "4 runs without an end": [
                "PID 4 of 11/21/2026 7:00:00 AM has no end: a later run worked, so it was ended or crashed.",
                "PID 12 of 11/21/2026 7:20:00 AM has no end: a later run has its process number, so it was ended or crashed.",
                "PID 16 of 11/21/2026 7:40:00 AM has no end: runs queued behind it: it works, or hangs.",
                "PID 24 of 11/21/2026 7:42:00 AM has no end: it is the log's last: it may still work."],
            "1 run queued behind another": ["PID 20 of 11/21/2026 7:41:00 AM queued behind PID 16."]})

    def test_a_run_that_hung_until_another_could_work_is_told(self):
        self.expect(begun(4, "7:00:00 AM") + redundant(8, "7:01:00 AM") + begun(12, "8:10:00 AM") + done(12, "8:10:00 AM"), {
            "1 run without an end": ["PID 4 of 11/21/2026 7:00:00 AM has no end: runs queued behind it, then another worked: "
                                     "it hung or was long, and was ended."],
            "1 run queued behind another": ["PID 8 of 11/21/2026 7:01:00 AM queued behind PID 4."]})

    def test_a_gap_of_more_than_five_hours_is_told(self):
        self.expect(nothing(4, "7:00:00 AM") + nothing(8, "12:00:00 PM") + nothing(12, "5:00:01 PM"), {
            "1 gap of more than five hours": [
                "No line from 11/21/2026 12:00:00 PM to 11/21/2026 5:00:01 PM: 5 h."]})

    def test_a_step_back_of_the_clock_is_told_and_lines_that_are_a_little_late_are_not(self):
        self.expect(nothing(4, "2:00:10 AM") + nothing(8, "2:00:05 AM") + nothing(12, "2:59:00 AM") +
                    nothing(16, "1:59:00 AM") + nothing(20, "1:58:00 AM"), {
            "2 steps back of the clock": [
                "The clock went back by 1 h, from 11/21/2026 2:59:00 AM to 11/21/2026 1:59:00 AM, as at the end of "
                "daylight saving time.",
                "The clock went back by 1 min, from 11/21/2026 1:59:00 AM to 11/21/2026 1:58:00 AM."]})
        self.assertIn("The clock went back by 1 h", self.browser.rows())

    def test_a_trim_is_told_and_the_run_whose_beginning_it_took_is_not(self):
        self.expect(device(4, "7:00:00 AM") + done(4, "7:00:00 AM") + line(8, "7:10:00 AM", "Log trimmed.") +
                    nothing(8, "7:10:00 AM"), {"1 trim": ["The log was trimmed at 11/21/2026 7:10:00 AM."]})
        self.assertEqual(self.browser.rows(), [
            "11/21/2026 7:00:00 AM1 run, 0 s", "7:00:00 AM | PID 4 | New or changed task | done",
            "The log was trimmed: what came earlier is gone", "11/21/2026 7:10:00 AM1 run, 0 s",
            "7:10:00 AM | PID 8 | New or changed task | nothing to do"])

    def test_a_deletion_of_the_log_is_told_and_one_that_failed_too(self):
        end = "# Invoked to delete log file. Done...exiting."
        resolved = "NoNgen, NoWarmup, DeleteLogFile, NotNewOrChangedEvent"
        self.expect(line(4, "7:00:00 AM", end) + called(8, "7:10:00 AM", resolved) + line(8, "7:10:00 AM", end), {
            "2 deletions of the log": ["The log was deleted at 11/21/2026 7:00:00 AM.",
                                       "The log was not deleted at 11/21/2026 7:10:00 AM."]})

    def test_a_request_that_nobody_took_up_is_told(self):
        self.expect(begun(4, "7:00:00 AM") + redundant(8, "7:00:01 AM") + done(4, "7:00:05 AM"), {
            "1 request that nobody took up": ["PID 8 of 11/21/2026 7:00:01 AM left a request that nobody took up."],
            "1 run queued behind another": ["PID 8 of 11/21/2026 7:00:01 AM queued behind PID 4."]})

    def test_a_request_that_the_working_copy_took_up_is_none(self):
        again = line(4, "7:00:02 AM", "# Procesing a queued special NewOrChanged event.")
        self.expect(begun(4, "7:00:00 AM") + redundant(8, "7:00:01 AM") + again + done(4, "7:00:05 AM"), {
            "1 run queued behind another": ["PID 8 of 11/21/2026 7:00:01 AM queued behind PID 4."]})

    def test_printer_events_that_the_channel_had_lost_are_told(self):
        self.expect(nothing(4, "7:00:00 AM", 7) + nothing(8, "7:10:00 AM", 7) + begun(12, "7:20:00 AM", newest=41) +
                    done(12, "7:20:00 AM"), {
            "1 scan that missed printer events": [
                "PID 12 of 11/21/2026 7:20:00 AM began behind event 40, though 7 was dealt with last."]})

    def test_a_scan_that_saw_no_event_is_told(self):
        self.expect(nothing(4, "7:00:00 AM", 0), {
            "1 scan that saw no event at all": ["PID 4 of 11/21/2026 7:00:00 AM saw no event."]})

    def test_long_work_of_the_siblings_and_a_long_scan_are_told(self):
        self.expect(begun(4, "7:00:00 AM") + device(4, "7:10:01 AM") + done(4, "7:10:01 AM") + called(8, "7:20:00 AM") +
                    line(8, "7:21:01 AM", "Found no new '300/306' events with IDs > 8.") +
                    line(8, "7:21:01 AM", "- No supported printers need to be processed. Done. Exiting."), {
            "1 run whose siblings took long": ["PID 4 of 11/21/2026 7:00:00 AM: its siblings took 10 min 1 s."],
            "1 run that waited long for the scan": ["PID 8 of 11/21/2026 7:20:00 AM: its scan took 1 min 1 s."]})

    def test_a_device_without_hardware_and_a_hash_that_failed_are_told(self):
        zeros = line(4, "7:00:01 AM", "Updated UserPropertyBag for 'CORP\\alice': "
                                      "UserId='00000000-0000-0000-0000-000000000000', Src='alice : pc01.corp.'")
        self.expect(begun(4, "7:00:00 AM") + zeros + device(4, "7:00:01 AM", " :  : pc01.corp.corp.example") + done(4, "7:00:01 AM"), {
            "1 device identifier without the hardware": [
                "PID 4 of 11/21/2026 7:00:00 AM had no hardware for the device's identifier."],
            "1 identifier of zeros": ["PID 4 of 11/21/2026 7:00:00 AM wrote an identifier of zeros."]})

    def test_errors_and_failures_are_told_in_the_log_s_own_words(self):
        self.expect(begun(4, "7:00:00 AM") +
                    line(4, "7:00:01 AM", "ERROR: Failed trying to get token information: 5") +
                    line(4, "7:00:01 AM", "An exception occurred while looping for NewOrChanged event processing.") +
                    line(4, "7:00:01 AM", "NewOrChanged event done...exiting."), {
            "1 run ended by a failure": ["PID 4 of 11/21/2026 7:00:00 AM was ended by a failure."],
            "1 error line": ["11/21/2026 7:00:01 AM, PID 4: ERROR: Failed trying to get token information: 5"]})

    def test_a_run_without_a_beginning_and_a_line_of_nobody_are_told(self):
        self.expect(nothing(4, "7:00:00 AM") + done(8, "7:10:00 AM") + nothing(12, "7:20:00 AM") +
                    line(12, "7:20:00 AM", "Hello."), {
            "1 run without an end": ["PID 12 of 11/21/2026 7:20:00 AM has no end: it is the log's last: it may still work."],
            "2 runs without a beginning": ["PID 8 of 11/21/2026 7:10:00 AM has no beginning.",
                                           "PID 12 of 11/21/2026 7:20:00 AM has no beginning."],
            "1 line that this viewer does not know": ["Line 13, 11/21/2026 7:20:00 AM: Hello."]})

    def test_more_than_5000_events_are_told(self):
        self.expect(called(4, "7:00:00 AM") + line(4, "7:00:00 AM", "Found more than 5000 unprocessed '300' and '306' events. "
                                                                    "Will stop counting and process all printers.") +
                    done(4, "7:00:01 AM"), {
            "1 scan with more than 5000 events": ["PID 4 of 11/21/2026 7:00:00 AM found more than 5000 events."]})


class Files(ViewerTest):
    def test_an_empty_and_a_foreign_file_are_told(self):
        self.browser.open(self.file("", "empty.log"), self.file(b"\x89PNG\r\n\x1a\n" + bytes(range(256)) * 40, "picture.log"),
                          self.file("127.0.0.1 - GET /\n" * 50, "web.log"))
        self.assertEqual(self.browser.findings(), {"3 files without a line of the program": [
            "empty.log is empty.", "picture.log holds no line of the program.", "web.log holds no line of the program."]})
        self.assertEqual(self.browser.rows(), [])

    def test_a_torn_log_shows_what_is_left_of_it(self):
        log = nothing(4, "7:00:00 AM").encode()
        torn = line(8, "7:10:00 AM", "# Called with 3 argu").encode()[:-2]
        self.open(log[30:] + bytes(64) + torn + nothing(12, "7:20:00 AM").encode() + b"junk\r\n" + log[:40])
        self.assertEqual(self.browser.findings(), {
            "1 run without an end": ["PID 8 of 11/21/2026 7:10:00 AM has no end: it was ended, crashed, or still works."],
            "3 signs of a damaged file": [
                "PalvoPrinterConfiguration.log holds 3 lines without the program's stamp.",
                "PalvoPrinterConfiguration.log holds 64 zero bytes: Windows stopped while it was written.",
                "PalvoPrinterConfiguration.log breaks off in its last line."],
            "1 line that this viewer does not know": [
                "Line 5, 11/21/2026 7:10:00 AM, breaks off: # Called with 3 argu"]})

    def test_every_way_to_write_a_name_is_read(self):
        for name, encoding, page in (("Büro Zürich", "cp1252", "Automatic"), ("Büro Zürich", "utf-8", "Automatic"),
                                     ("Büro Zürich", "utf-8-sig", "Automatic"), ("事務所", "utf-16", "Automatic"),
                                     ("Бюро 1", "cp1251", "1251 Cyrillic"), ("事務所", "cp932", "932 Japanese"),
                                     ("办公室", "cp936", "936 Simplified Chinese"), ("사무실", "cp949", "949 Korean"),
                                     ("辦公室", "cp950", "950 Traditional Chinese"), ("Gabinet Łódź", "cp1250", "1250 Central European"),
                                     ("Γραφείο", "cp1253", "1253 Greek"), ("สำนักงาน", "cp874", "874 Thai")):
            with self.subTest(name=name, encoding=encoding):
                self.browser.show_viewer()
                self.open((begun(4, "7:00:00 AM", name) + done(4, "7:00:01 AM")).encode(encoding))
                self.browser.choose("codepage", page)
                self.browser.wait_until_read()
                self.assertEqual(self.browser.findings(), {})
                self.assertEqual(self.browser.options("f-printer"), ["All printers", name])
                self.browser.told()
        self.browser.show_viewer()

    def test_a_plvold_gives_back_what_the_log_lost(self):
        runs = [nothing(4 * i, f"7:{i:02}:00 AM") for i in range(1, 7)]
        self.browser.open(self.file("".join(runs[:5]), "PalvoPrinterConfiguration.log.plvold"),
                          self.file("".join(runs[2:4]) + runs[5]))
        self.assertEqual(self.browser.findings(), {
            "1 trim that was ended": ["PalvoPrinterConfiguration.log and its .plvold were put together."]})
        self.assertEqual([row.split(" | ")[1] for row in self.browser.runs()],
                         ["PID 4", "PID 8", "PID 12", "PID 16", "PID 20", "PID 24"])

    def test_a_plvold_alone_is_a_log(self):
        self.open(nothing(4, "7:00:00 AM"), "PalvoPrinterConfiguration.log.plvold")
        self.assertEqual(self.browser.findings(), {})
        self.assertEqual(len(self.browser.runs()), 1)

    def test_several_machines_logs_stand_one_after_another_and_are_told_apart(self):
        self.browser.open(self.file(nothing(4, "7:00:00 AM"), "pc01.log"), self.file(nothing(4, "6:00:00 AM"), "pc02.log"))
        self.assertEqual(self.browser.rows(), [
            "pc01.log", "11/21/2026 7:00:00 AM1 run, 0 s", "7:00:00 AM | PID 4 | New or changed task | nothing to do",
            "pc02.log", "11/21/2026 6:00:00 AM1 run, 0 s", "6:00:00 AM | PID 4 | New or changed task | nothing to do"])
        self.browser.choose("f-log", "pc02.log")
        self.assertEqual(self.browser.runs(), ["6:00:00 AM | PID 4 | New or changed task | nothing to do"])

    def test_dropped_files_are_opened_like_chosen_ones(self):
        self.browser.script("""
            const transfer = new DataTransfer();
            transfer.items.add(new File([arguments[0]], "dropped.log"));
            document.dispatchEvent(new DragEvent("drop", { dataTransfer: transfer, cancelable: true, bubbles: true }));""",
                            nothing(4, "7:00:00 AM"))
        self.browser.wait_until_read()
        self.assertEqual(self.browser.text("logs"), "dropped.log 4 lines, 1 run, 11/21/2026 7:00:00 AM to 11/21/2026 7:00:00 AM")

    def test_closing_all_leaves_nothing_of_them(self):
        self.open(begun(4, "7:00:00 AM", "Office 1") + done(4, "7:00:01 AM"))
        self.browser.click("close")
        self.browser.wait_for(lambda: self.browser.script("return document.getElementById('main').hidden"), "the closing")
        self.assertNotIn("Office 1", self.browser.page())


class Timeline(ViewerTest):
    LOG = (nothing(4, "7:00:00 AM") + begun(8, "7:00:10 AM", "Office 1") + redundant(12, "7:00:12 AM") +
           user(8, "7:00:14 AM") + device(8, "7:00:14 AM") +
           line(8, "7:00:15 AM", "# Procesing a queued special NewOrChanged event.") + device(8, "7:00:18 AM") +
           done(8, "7:00:18 AM") +
           called(16, "8:30:00 AM", REFRESH, "Somebody") +
           line(16, "8:30:00 AM", "# Processing a periodic refresh event: Somebody") +
           user(16, "8:30:02 AM", "CORP\\bob", "bob : pc01") + line(16, "8:30:02 AM", "Refresh event done...exiting."))

    def setUp(self):
        super().setUp()
        self.open(self.LOG)

    def test_it_tells_who_worked_who_queued_and_where_nothing_was(self):
        self.assertEqual(self.browser.rows(), [
            "11/21/2026 7:00:00 AM3 runs, 18 s",
            "7:00:00 AM | PID 4 | New or changed task | nothing to do",
            "7:00:10 AM | PID 8 | New or changed task | worked for 'Office 1', 2 passes",
            "7:00:12 AM | PID 12 | New or changed task | queued behind PID 8",
            "1 h 29 min without a line",
            "11/21/2026 8:30:00 AM1 run, 2 s",
            "8:30:00 AM | PID 16 | Periodic refresh | worked"])

    def test_the_bars_tell_the_siblings_time(self):
        bars = self.browser.script("""
            const row = [...document.querySelectorAll("#rows > .run")][1], all = row.querySelector(".bar").clientWidth;
            return [...row.querySelectorAll(".segment")].map(bar => [bar.className, Math.round(bar.offsetLeft / all * 19),
                Math.round(bar.offsetWidth / all * 19)]);""")
        # In seconds from the episode's beginning; each stamp's own second is drawn, too.
        self.assertEqual(bars, [["segment siblings", 10, 5], ["segment work", 14, 2], ["segment siblings", 15, 4],
                                ["segment work", 18, 1]])

    def test_a_click_shows_the_run_s_lines_with_what_each_means(self):
        lines = self.choose_run(12)
        self.assertEqual([text for _, text, _ in lines], [
            "# Called with 3 argument(s): -c -i NewOrChangedTask",
            "#\tResolved Args: NoNgen, NoWarmup, NewOrChangedEvent, NewOrChangedTask, -i NewOrChangedTask",
            "Found 1 '300/306' events with IDs from 8 to 8.", "-Processing NewOrChanged event: NewOrChangedTask",
            "-Redundant instance for a NewOrChanged event: An instance is already running to process a NewOrChanged "
            "event...Queuing request and exiting this instance [NewOrChangedTask]."])
        self.assertEqual(lines[4][::2], ("7:00:12 AM", "Another copy works. This one left its request to it and ends."))
        self.assertEqual(self.facts(), {
            "Began": "11/21/2026 7:00:12 AM", "Took": "0 s", "Outcome": "queued behind PID 8", "Caller": "NewOrChangedTask",
            "Queued behind": "PID 8", "Log": "PalvoPrinterConfiguration.log"})

    def test_the_working_run_tells_who_queued_and_how_long_its_siblings_took(self):
        self.choose_run(8)
        self.assertEqual(self.facts(), {
            "Began": "11/21/2026 7:00:10 AM", "Took": "8 s", "Siblings": "7 s in 2 passes",
            "Outcome": "worked for 'Office 1', 2 passes", "Caller": "NewOrChangedTask", "Printers": "Office 1",
            "Users": "CORP\\alice", "Queued here": "PID 12 ", "Log": "PalvoPrinterConfiguration.log"})

    def test_each_filter_leaves_its_runs(self):
        for control, choice, pids in (("f-printer", "Office 1", [8]), ("f-user", "CORP\\bob", [16]), ("f-user", "CORP\\alice", [8]),
                                      ("f-caller", "Somebody", [16]), ("f-outcome", "queued", [12]),
                                      ("f-outcome", "nothing to do", [4]), ("f-outcome", "errors", [])):
            with self.subTest(filter=control, choice=choice):
                self.browser.choose(control, choice)
                self.assertEqual([row.split(" | ")[1] for row in self.browser.runs()], [f"PID {pid}" for pid in pids])
                self.assertEqual(self.browser.text("count"), f"{len(pids)} of 4 runs")
                self.browser.script("const all = document.getElementById(arguments[0]); all.value = '';"
                                    "all.dispatchEvent(new Event('change'))", control)
        for text, pids in (("QUEUED SPECIAL", [8]), ("pid 16", [16]), ("no such text", [])):
            with self.subTest(text=text):
                self.browser.type("f-text", text)
                self.assertEqual([row.split(" | ")[1] for row in self.browser.runs()], [f"PID {pid}" for pid in pids])

    def test_the_keyboard_moves_through_the_runs(self):
        timeline = self.browser.driver.find_element("id", "timeline")
        keys = {"down": "\ue015", "end": "\ue010", "home": "\ue011", "up": "\ue013"}
        for key, pid in (("down", 4), ("down", 8), ("end", 16), ("up", 12), ("home", 4)):
            timeline.send_keys(keys[key])
            self.assertEqual(self.browser.script("""
                const chosen = document.getElementById(document.getElementById("timeline").getAttribute("aria-activedescendant"));
                return [chosen.getAttribute("aria-selected"), chosen.children[1].textContent]"""), ["true", f"PID {pid}"])
        self.assertEqual(self.browser.script("return document.querySelector('#run h2').textContent"), "PID 4: New or changed task")

    def test_a_finding_leads_to_its_run_even_behind_a_filter(self):
        self.browser.type("f-text", "no such text")
        self.browser.script("document.querySelector('#findings button').click()")
        self.assertEqual(self.browser.script("return document.querySelector('#run h2').textContent"), "PID 12: New or changed task")
        self.assertEqual(len(self.browser.runs()), 4)

    def test_paper_has_all_rows(self):
        self.open("".join(nothing(4 * i, f"{1 + i // 60 % 12}:{i % 60:02}:00 AM") for i in range(1, 400)), "many.log")
        self.assertLess(len(self.browser.runs()), 200)
        self.browser.script("window.dispatchEvent(new Event('beforeprint'))")
        self.assertEqual(len(self.browser.runs()), 403)
        self.browser.script("window.dispatchEvent(new Event('afterprint'))")
        self.assertLess(len(self.browser.runs()), 200)


class Hostile(ViewerTest):
    MARKUP = "<img src=x onerror=document.title='hit'>\"'><script>document.title='hit'</script>"

    def test_nothing_of_a_log_is_ever_markup(self):
        name = self.MARKUP
        self.open(begun(4, "7:00:00 AM", name, name) + user(4, "7:00:01 AM", name, name) + line(4, "7:00:01 AM", "ERROR: " + name) +
                  name + "\r\n" + done(4, "7:00:02 AM") + redundant(8, "7:00:03 AM"), "a&lt;b.log")
        self.choose_run(4)
        for control in ("f-printer", "f-user", "f-caller"):
            self.assertIn(name, self.browser.options(control))
        self.assertEqual(self.browser.script("return document.querySelectorAll('img, main script, [onerror]').length"), 0)
        self.assertEqual(self.browser.driver.title, "Log viewer: Palvo Printer Configuration")
        self.assertIn(name, self.browser.text("run"))

    def test_the_policy_stops_markup_that_got_in_all_the_same(self):
        with self.assertRaisesRegex(Exception, "TrustedHTML"):
            self.browser.script("document.body.innerHTML = '<img src=x onerror=document.title=1>'")
        refused = self.browser.driver.execute_async_script("""
            const done = arguments[0];
            document.addEventListener("securitypolicyviolation", event => done(event.effectiveDirective), { once: true });
            fetch("https://example.invalid/").catch(() => {});""")
        self.assertEqual(refused, "connect-src")
        self.browser.told()
        self.browser.show_viewer()

    def test_the_policy_has_the_hashes_of_the_file(self):
        self.assertEqual(subprocess.run([ROOT / "tools" / "seal-log-viewer", "--check"], check=False).returncode, 0)

    def test_a_huge_line_and_a_line_of_quotes_do_not_stop_it(self):
        trap = "Updated UserPropertyBag for '" + "': UserId='" * 100_000
        self.open(nothing(4, "7:00:00 AM") + line(8, "7:00:01 AM", "x" * 3_000_000) + line(12, "7:00:02 AM", trap))
        self.assertEqual(len(self.choose_run(8)[0][1]), len("x" * 4000 + " … (2,996,000 more characters)"))


class Exports(ViewerTest):
    LOG = (called(4, "12:00:00 AM", "NoNgen, NoWarmup, DisplayHelp, NotNewOrChangedEvent", '=1+1"x') +
           redundant(8, "1:05:09 PM"))
    MEANINGS = ("The run begins: its switches as they were written, and who called.",
                "What the switches came to: native images, warm-up, mode, kind of printer event, who called.")

    def test_the_csv_is_exact_and_no_cell_is_a_formula(self):
        self.open(self.LOG, "+log.log")
        self.browser.choose("f-outcome", "other")
        self.browser.type("offset", "+01:00")
        self.assertEqual(self.browser.download("csv", "palvo-log.csv").decode("utf-8"), (
            "\ufeff"
            '"log","line","time","pid","run","caller","outcome","message","meaning"\r\n'
            '"\'+log.log","1","2026-11-21T00:00:00+01:00","4","1","\'=1+1""x","other",'
            f'"# Called with 3 argument(s): -c -i =1+1""x","{self.MEANINGS[0]}"\r\n'
            '"\'+log.log","2","2026-11-21T00:00:00+01:00","4","1","\'=1+1""x","other",'
            '"#\tResolved Args: NoNgen, NoWarmup, DisplayHelp, NotNewOrChangedEvent, -i =1+1""x",'
            f'"{self.MEANINGS[1]}"\r\n'))

    def test_what_begins_with_a_sign_is_text_in_the_csv(self):
        self.open("".join(line(4, "7:00:00 AM", text) for text in
                          ("-1", "+1", "@a", "\t=1", "＝1", " =1", "a=1")).encode())
        rows = self.browser.download("csv", "palvo-log.csv").decode("utf-8-sig").split("\r\n")[1:-1]
        self.assertEqual([row.split('","')[7] for row in rows], ["'-1", "'+1", "'@a", "'\t=1", "'＝1", "' =1", "a=1"])

    def test_the_json_is_exact(self):
        self.open(self.LOG, "one.log")
        self.browser.choose("f-outcome", "other")
        self.browser.type("offset", "+01:00")
        caller = '=1+1"x'
        lines = [{"number": i + 1, "time": "2026-11-21T00:00:00+01:00", "message": message, "meaning": meaning}
                 for i, (message, meaning) in enumerate(zip((
                     f"# Called with 3 argument(s): -c -i {caller}",
                     f"#\tResolved Args: NoNgen, NoWarmup, DisplayHelp, NotNewOrChangedEvent, -i {caller}"), self.MEANINGS))]
        expected = {
            "format": "PalvoPrinterConfiguration log", "version": 1, "utcOffset": "+01:00", "namesHidden": False,
            "logs": [{"name": "one.log", "lines": 7}],
            "findings": [
                {"kind": "gap", "severity": "notice", "text": "No line from 11/21/2026 12:00:00 AM to 11/21/2026 1:05:09 PM: "
                                                              "13 h 5 min.", "line": 3},
                {"kind": "queued", "severity": "note", "text": "PID 8 of 11/21/2026 1:05:09 PM queued behind a run that the "
                                                               "log does not show.", "line": 3}],
            "runs": [{"log": "one.log", "pid": 4, "start": "2026-11-21T00:00:00+01:00", "end": "2026-11-21T00:00:00+01:00",
                      "name": "Usage (-?)", "caller": caller, "outcome": "other", "queuedBehind": None, "siblingsSeconds": 0,
                      "printers": [], "users": [], "lines": lines}]}
        saved = self.browser.download("json", "palvo-log.json")
        self.assertEqual(saved.decode("utf-8"), json.dumps(expected, indent=1, ensure_ascii=False) + "\n")

    def test_an_offset_that_is_none_is_refused(self):
        self.open(self.LOG)
        self.browser.type("offset", "+25:00")
        self.browser.click("csv")
        self.assertTrue(self.browser.script("return document.activeElement.id === 'offset'"))
        self.assertEqual(list(self.browser.downloads.glob("palvo-log.csv*")), [])


class HiddenNames(ViewerTest):
    NAMES = ("alice", "CORP", "pc01", "lab-4711", "Payroll", "Vendor", "Zelda", "secret", "5d1c9e40", "1f0a9c10", "2f0a9c10")
    LOG = (begun(4, "7:00:00 AM", "Payroll Printer") + user(4, "7:00:01 AM") + device(4, "7:00:01 AM") + done(4, "7:00:02 AM") +
           called(8, "7:10:00 AM", "NoNgen, NoWarmup, NewOrChangedEvent, NormalNewOrChangedEvent", "Zelda") +
           line(8, "7:10:00 AM", "-Processing NewOrChanged event: Zelda") +
           line(8, "7:10:00 AM", "# Procesing a special NewOrChanged event.") + user(8, "7:10:01 AM") + done(8, "7:10:01 AM") +
           line(12, "7:20:00 AM", "ERROR: Unrecognized argument: secret!") +
           line(12, "7:20:00 AM", "# Called with 1 argument(s): -c -secret") +
           line(12, "7:20:00 AM", "#\tResolved Args: NoNgen, Zelda, InvalidArgumentList, NotNewOrChangedEvent, -i ") +
           line(16, "7:30:00 AM", "Added driver instance for 'Vendor Model 5'") +
           line(16, "7:30:00 AM", "Hello alice on pc01") + "a line of Zelda\r\n" +
           line(20, "7:40:00 AM", "# Called with 3 argu Zelda")[:-2] + nothing(24, "7:50:00 AM", 8))

    def setUp(self):
        super().setUp()
        self.open(self.LOG, "pc01-Zelda.log")

    def leaks(self, text):
        return [name for name in self.NAMES if name.lower() in text.lower()]

    def test_the_page_shows_them_before(self):
        for pid in (4, 8):
            self.choose_run(pid)
            self.assertIn("alice", self.browser.page())

    def test_no_name_is_left_on_the_page_or_in_an_export(self):
        self.choose_run(4)
        self.browser.type("f-text", "alice")
        self.browser.click("hide")
        for pid in (4, 8, 12, 16, 20, 24):
            self.choose_run(pid)
            self.assertEqual(self.leaks(self.browser.page()), [])
        self.assertEqual(self.leaks(self.browser.download("csv", "palvo-log.csv").decode()), [])
        self.assertEqual(self.leaks(self.browser.download("json", "palvo-log.json").decode()), [])

    def test_a_text_that_was_looked_for_goes_with_the_names(self):
        self.browser.type("f-text", "alice")
        self.assertEqual(len(self.browser.runs()), 3)
        self.browser.click("hide")
        self.assertEqual(self.leaks(self.browser.page()), [])
        self.assertEqual(len(self.browser.runs()), 7)

    def test_a_name_is_the_same_token_everywhere(self):
        self.browser.click("hide")
        self.assertEqual(self.browser.options("f-printer"), ["All printers", "Printer 1"])
        self.assertEqual(self.browser.options("f-user"), ["All users", "User 1"])
        self.assertEqual(self.browser.options("f-caller"), ["All callers", "Caller 1", "NewOrChangedTask"])
        self.browser.choose("f-user", "User 1")
        self.assertEqual([row.split(" | ")[1] for row in self.browser.runs()], ["PID 4", "PID 8"])
        messages = [text for _, text, _ in self.choose_run(8)]
        self.assertEqual(messages[0], "# Called with 3 argument(s): -c -i Caller 1")
        self.assertEqual(messages[4], "Updated UserPropertyBag for 'User 1': UserId='Id 1', Src='(hidden)'")
        self.browser.choose("f-user", "All users")
        self.assertEqual([text for _, text, _ in self.choose_run(12)], [
            "ERROR: Unrecognized argument: (hidden)!", "# Called with 1 argument(s): -c (hidden)",
            "#\tResolved Args: NoNgen, (hidden), InvalidArgumentList, NotNewOrChangedEvent, -i "])
        self.assertEqual(self.browser.text("logs").split(" lines")[0], "Log 1 31")

    def test_they_come_back(self):
        self.browser.click("hide")
        self.browser.click("hide")
        self.assertEqual(self.browser.options("f-printer"), ["All printers", "Payroll Printer"])


if __name__ == "__main__":
    unittest.main()
