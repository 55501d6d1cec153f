"""The log viewer on logs that the program wrote in the lab, and on very large ones."""

import unittest

from lab import Lab
from lab_logs import EVENT, prepare, run_all_modes, run_and_kill, run_burst
from viewer_test import ViewerTest, begun, device, done, nothing, redundant, user

MEBIBYTE = 1024 * 1024

# The files are made in the page, and how long it takes is measured there, beside a plain loop that decodes the same
# bytes and looks at every character. The page is asked all the while whether it still answers.
MEASURE = """
    const [one, bytes, answer] = arguments;
    const text = one.repeat(Math.floor(bytes / one.length));
    const file = new File([text], "large.log"), main = document.getElementById("main");
    const plain = async () => {
        const start = performance.now(), read = new TextDecoder().decode(await file.arrayBuffer());
        let lines = 0;
        for (let i = 0; i < read.length; i++) if (read.charCodeAt(i) === 10) lines++;
        return [performance.now() - start, lines];
    };
    const viewed = () => new Promise(resolve => {
        const start = performance.now();
        let last = start, longest = 0;
        const ticking = setInterval(() => {
            longest = Math.max(longest, performance.now() - last);
            last = performance.now();
        }, 10);
        new MutationObserver((_, observer) => {
            if (main.getAttribute("aria-busy") !== "false") return;
            observer.disconnect();
            clearInterval(ticking);
            resolve([performance.now() - start, Math.max(longest, performance.now() - last)]);
        }).observe(main, { attributes: true });
        const transfer = new DataTransfer();
        transfer.items.add(file);
        document.dispatchEvent(new DragEvent("drop", { dataTransfer: transfer, cancelable: true }));
    });
    (async () => {
        await plain();
        const [loop, lines] = await plain(), [time, longest] = await viewed();
        answer({ loop, lines, time, longest });
    })();"""


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

    def measure(self, one, bytes_):
        return self.browser.driver.execute_async_script(MEASURE, one, bytes_)

    def test_a_log_of_4_mebibytes_is_shown_in_a_second(self):
        figures = self.measure(self.RUNS, 4 * MEBIBYTE)
        print(f"    4 MiB, {figures['lines']} lines: {figures['time']:.0f} ms, plain loop {figures['loop']:.0f} ms", flush=True)
        self.assertIn("runs", self.browser.text("count"))
        # A second, or as much longer as the machine is just slower than one that needs 10 ms for the loop.
        self.assertLess(figures["time"], max(1000, 100 * figures["loop"]))

    def test_the_page_answers_while_it_reads_a_much_larger_file_and_says_that_it_left_some_out(self):
        figures = self.measure(self.RUNS, 48 * MEBIBYTE)
        print(f"    48 MiB: {figures['time']:.0f} ms, at most {figures['longest']:.0f} ms without an answer", flush=True)
        # Reading without a breath would be more than a third of the time in one piece.
        self.assertLess(figures["longest"], max(1000, 0.3 * figures["time"]))
        damage = self.browser.findings()["1 sign of a damaged file"]
        self.assertRegex(damage[0], r"^large.log is larger than 32 MiB: the first 16,\d\d\d,\d\d\d bytes were left out.$")

    def test_a_large_file_of_something_else_does_not_stop_it(self):
        for one in ("\0" * 1000, "x" * 1000, "[1/1/2026 1:00:00 AM] P(PID1): ", "[1/1/2026 1:00:00 AM] P(PID1): # Called wi" * 9 + "\n",
                    "[13/99/2026 1:00:00 AM] P(PID1): x\n", "\n"):
            with self.subTest(one=one[:40]):
                figures = self.measure(one, 8 * MEBIBYTE)
                self.assertLess(figures["time"], max(20_000, 2000 * figures["loop"]))
                self.browser.show_viewer()


if __name__ == "__main__":
    unittest.main()
