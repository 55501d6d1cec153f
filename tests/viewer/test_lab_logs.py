"""The log viewer on logs that the program wrote in the lab, and on very large ones."""

import unittest

from lab import Lab
from lab_logs import EVENT, prepare, run_all_modes, run_and_kill, run_burst
from viewer_test import ViewerTest, begun, device, done, nothing, redundant, user

MEBIBYTE = 1024 * 1024

# The file is made in the page.
MAKE = """
    window.large = new File([arguments[0].repeat(Math.floor(arguments[1] / arguments[0].length))], "large.log");"""

# The least that any viewer does: it decodes the bytes and looks at every character.
PLAIN_LOOP = """
    const answer = arguments[0];
    (async () => {
        const read = new TextDecoder().decode(await window.large.arrayBuffer());
        let lines = 0;
        for (let i = 0; i < read.length; i++) if (read.charCodeAt(i) === 10) lines++;
        answer(lines);
    })();"""

# Answers how often the page had time for something else until the file was shown.
VIEW = """
    const answer = arguments[0], main = document.getElementById("main");
    let breaths = 0;
    const ticking = setInterval(() => breaths++, 1);
    new MutationObserver((_, observer) => {
        if (main.getAttribute("aria-busy") !== "false") return;
        observer.disconnect();
        clearInterval(ticking);
        answer(breaths);
    }).observe(main, { attributes: true });
    const transfer = new DataTransfer();
    transfer.items.add(window.large);
    document.dispatchEvent(new DragEvent("drop", { dataTransfer: transfer, cancelable: true }));"""


class LabLogs(ViewerTest):
    def setUp(self):
        super().setUp()
        self.lab = Lab()
        prepare(self.lab)
        self.addCleanup(self.lab, "sibling", "writer", "--release")

    def open_log(self):
        self.open(self.lab.log_bytes())

    def test_every_line_of_every_mode_is_known_and_every_run_is_whole(self):
        count = run_all_modes(self.lab)
        self.open_log()
        findings = self.browser.findings()
        self.assertEqual(list(findings), ["3 error lines"])
        self.assertEqual([entry.split(": ", 1)[1] for entry in findings["3 error lines"]], [
            "ERROR: Can't specify -w with -UN. Ignoring -w.",
            "ERROR: Failed to add driver instance for 'Nothing': HRESULT=0x80070705", "ERROR: Unrecognized argument: x!"])
        self.assertEqual([row.split(" | ", 2)[2] for row in self.browser.runs()], [
            "New or changed task | worked for 'Office 1'", "User logon task | worked", "User logon task | worked",
            "Job management | worked", "-c, another caller | worked", "-c, another caller | worked",
            "Periodic refresh | worked", "Periodic refresh | worked", "Periodic refresh | worked",
            "On-demand refresh | worked", "On-demand refresh | worked",
            *["Native images (-IN -UN -w) | done"] * 3, "Native images (-IN -UN -w) | done, 1 error",
            "Adds a driver (-APDI) | done, 1 error", "Usage (-?) | done", "Unknown switch | done, 1 error",
            "Installation (-IT) | done", "Removal (-UT) | done"])
        self.assertEqual(count, 20)

    def test_a_burst_shows_who_queued_behind_whom(self):
        self.lab.run(*EVENT)
        worker, others = run_burst(self.lab)
        self.open_log()
        rows = [row.split(" | ") for row in self.browser.runs()]
        self.assertEqual(sum(row[3] == f"queued behind PID {worker}" for row in rows), others)
        self.assertEqual([row[1] for row in rows if row[3].startswith("worked")], [f"PID {worker}"])
        self.assertEqual(list(self.browser.findings()), [f"{others} runs queued behind another"])
        self.choose_run(worker)
        self.assertEqual(self.facts()["Users"].count("alice") + self.facts()["Users"].count("bob"), 2)

    def test_a_copy_that_was_killed_has_no_end(self):
        run_burst(self.lab)
        killed, after = run_and_kill(self.lab)
        self.open_log()
        ends = self.browser.findings()["1 run without an end"]
        self.assertRegex(ends[0], f"^PID {killed} of .* has no end: a later run worked, so it was ended or crashed.$")
        self.assertEqual(len(ends), 1)
        outcomes = {row.split(" | ")[1]: row.split(" | ")[3] for row in self.browser.runs()}
        self.assertEqual((outcomes[f"PID {killed}"], outcomes[f"PID {after}"]), ("no end", "worked"))

    def test_no_name_of_the_machine_is_left_when_names_are_hidden(self):
        run_all_modes(self.lab)
        self.open_log()
        self.browser.click("hide")
        page = self.browser.page() + self.browser.download("json", "palvo-log.json").decode()
        names = ["alice", "bob", "Office", "Zelda", "lab-4711", "5d1c9e40"]
        self.assertEqual([name for name in names if name.lower() in page.lower()], [])

    def test_a_log_that_the_program_trimmed_says_so(self):
        self.lab.run("-?")
        self.lab.log_path().write_bytes(self.lab.log_bytes() * (5 * MEBIBYTE // len(self.lab.log_bytes())))
        self.lab.run(*EVENT)
        self.open_log()
        self.assertEqual(len(self.browser.findings()["1 trim"]), 1)


class LargeLogs(ViewerTest):
    RUNS = "".join(nothing(4 * i, f"7:{i % 60:02}:00 AM") for i in range(1, 40)) + "".join(
        begun(i, "8:00:00 AM", f"Office {i}") + redundant(i + 4, "8:00:01 AM") + user(i, "8:00:02 AM") +
        device(i, "8:00:02 AM") + done(i, "8:00:03 AM") for i in range(200, 400, 8))

    def cost(self, script):
        """What a script answers, and the milliseconds of processor time that it took."""
        before = self.browser.processor_milliseconds()
        answer = self.browser.driver.execute_async_script(script)
        return answer, self.browser.processor_milliseconds() - before

    def measure(self, one, bytes_):
        """(how many times a plain loop's cost the view took, how often the page drew breath)"""
        self.browser.script(MAKE, one, bytes_)
        self.cost(PLAIN_LOOP)   # The first time it is compiled.
        lines, loop = self.cost(PLAIN_LOOP)
        breaths, view = self.cost(VIEW)
        print(f"    {bytes_ // MEBIBYTE} MiB, {lines} lines: {view:.0f} ms, plain loop {loop:.1f} ms, "
              f"{breaths} breaths", flush=True)
        return view / loop, breaths

    def test_a_log_of_4_mebibytes_costs_little_more_than_to_read_it(self):
        times, _ = self.measure(self.RUNS, 4 * MEBIBYTE)
        self.assertIn("runs", self.browser.text("count"))
        self.assertLess(times, 25)      # Half a second, where the loop takes 20 ms.

    def test_the_page_answers_while_it_reads_a_much_larger_file_and_says_that_it_left_some_out(self):
        _, breaths = self.measure(self.RUNS, 48 * MEBIBYTE)
        self.assertGreater(breaths, 10)    # Without any for the timeline it draws five.
        damage = self.browser.findings()["1 sign of a damaged file"]
        self.assertRegex(damage[0], r"^large.log is larger than 32 MiB: the first 16,\d\d\d,\d\d\d bytes were left out.$")

    def test_a_large_file_of_something_else_does_not_stop_it(self):
        for one in ("\0" * 1000, "x" * 1000, "[1/1/2026 1:00:00 AM] P(PID1): ", "[1/1/2026 1:00:00 AM] P(PID1): # Called wi" * 9 + "\n",
                    "[13/99/2026 1:00:00 AM] P(PID1): x\n", "\n"):
            with self.subTest(one=one[:40]):
                self.assertLess(self.measure(one, 8 * MEBIBYTE)[0], 60)
                self.browser.show_viewer()


if __name__ == "__main__":
    unittest.main()
