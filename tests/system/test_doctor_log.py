"""The doctor names what is wrong with the log."""

import time
from datetime import datetime, timedelta

from doctor import DoctorTest
from lab import LOG

PATH = "C:" + str(LOG).removeprefix("drive_c").replace("/", "\\")
HEADER = "PalvoPrinterConfiguration(PID"


def line(message, pid=4242, ago=timedelta()):
    moment = datetime.now() - ago
    stamp = moment.strftime("%-m/%-d/%Y %-I:%M:%S ") + ("AM" if moment.hour < 12 else "PM")
    return f"[{stamp}] {HEADER}{pid}): {message}\r\n".encode()


class Log(DoctorTest):
    def append(self, *lines):
        with open(self.lab.log_path(), "ab") as file:
            file.write(b"".join(lines))

    def test_no_log(self):
        self.lab.log_path().unlink()
        self.assert_found(("log-missing", f"There is no {PATH}."))

    def test_no_folder_for_the_log(self):
        self.lab("fault", "SHGetKnownFolderPath", "1", "0x80070003", "always")
        self.assert_found(("log-unknown-folder", "The log's folder cannot be had."))

    def test_a_folder_in_the_logs_place(self):
        self.lab.log_path().unlink()
        self.lab.log_path().mkdir()
        self.assert_found(("log-not-a-file", f"{PATH} is no ordinary file of its own."))

    def test_a_second_name_of_the_log(self):
        other = self.lab.log_path().with_name("other.log")
        other.hardlink_to(self.lab.log_path())
        self.assert_found(("log-not-a-file", f"{PATH} is no ordinary file of its own."))

    def test_a_read_only_log(self):
        self.lab.log_path().chmod(0o444)
        self.addCleanup(lambda: self.lab.log_path().chmod(0o644))
        self.assert_found(("log-read-only", f"{PATH} is read-only."))

    def test_a_log_that_is_not_shared(self):
        self.lab("fault", "CreateFileW", "1", "32")
        self.assert_found(("log-held", f"{PATH} cannot be shared."))

    def test_a_log_that_may_not_be_read(self):
        self.lab("fault", "CreateFileW", "1", "5")
        report = self.report()
        self.assertEqual((report["code"], report["unseen"]), (2, [
            {"area": "log", "reason": "It cannot be read: error 5."}]))

    def test_a_log_that_was_not_trimmed(self):
        size = len(self.lab.log_bytes())
        filler = line("Found").ljust(1024, b".")[:-2].replace(b"\r\n", b"..") + b"\r\n"
        self.append(*[filler] * 7000, line("NewOrChanged event done...exiting."))
        size = len(self.lab.log_bytes())
        self.assert_found(("log-untrimmed", f"{PATH} has {size} bytes."))

    def test_what_an_ended_trim_left(self):
        self.lab.log_path().with_name(self.lab.log_path().name + ".plvold").write_bytes(b"")
        self.assert_found(("log-leftover", f"There is a file {PATH}.plvold."))

    def test_a_full_disk(self):
        self.lab("fault", "GetDiskFreeSpaceExW", "1", "return=1")
        found = self.findings()
        self.assertEqual(found, [("disk-full", "The log's disk has 0 bytes left.")])

    def test_lines_of_others(self):
        self.append(b"hello\r\n", b"[1/1/2026 0:00:00 AM] Other(PID1): x\r\n",
                    line("").replace(b"PID4242", b"PIDx"))
        self.assert_found(("log-foreign-lines", "Lines that are none of the log's: 3."))

    def test_failures_that_a_run_told(self):
        self.append(line("ERROR: Failed trying to get token information: 5"),
                    line("NewOrChanged event done...exiting."))
        self.assert_found(("log-errors", "Failures in the log within a week: 1, the last "
                           '"ERROR: Failed trying to get token information: 5".'))

    def test_a_run_that_was_killed(self):
        self.lab("sibling", "writer", "--hold")
        pid = self.lab.start("-r", "-i", "PeriodicRefreshTask")
        self.lab.wait_for(lambda: any(not one.ended for one in self.lab.siblings()), "the writer")
        self.assertNotIn("run-unfinished", [one for one, _ in self.findings()])
        self.lab.kill(pid)
        self.lab("sibling", "writer", "--release")
        self.assertIn(("run-unfinished", "Runs without an end within a week: 1; process "
                       f'{pid} stopped after "# Processing a periodic refresh event: '
                       'PeriodicRefreshTask".'), self.findings())

    def test_a_killed_run_of_long_ago_is_past(self):
        old = timedelta(days=8)
        text = self.lab.log_bytes()
        self.lab.log_path().write_bytes(line("# Processing", ago=old) + line("ERROR: x", ago=old) + text)
        self.assert_found()

    def test_runs_that_all_leave_their_work_to_another(self):
        self.append(*[line(f"-Redundant instance for Refresh event: {i}", 5000 + i,
                           timedelta(hours=4 * (3 - i))) for i in range(4)])
        self.assertIn(("runs-redundant", "The last 4 runs were redundant, for 720 minutes."),
                      self.findings())

    def test_a_clock_that_went_back(self):
        self.append(line("NewOrChanged event done...exiting.", ago=timedelta(minutes=30)))
        found = self.findings()
        self.assertEqual([one for one, _ in found], ["clock-back"])
        self.assertRegex(found[0][1], r"^The log's time goes back by (29|30) minutes within a week\.$")

    def test_a_log_that_has_been_silent_while_windows_ran(self):
        with open("/proc/uptime", encoding="ascii") as file:
            hours = float(file.read().split()[0]) / 3600
        self.lab.log_path().write_bytes(line("Refresh event done...exiting.",
                                             ago=timedelta(hours=30, minutes=1)))
        expected = [("log-silent", "The log's last line is 30 hours old.")] if hours >= 26 else []
        self.assert_found(*expected)

    def test_a_device_that_wmi_did_not_tell(self):
        self.lab("fault", "IWbemServices::ExecQuery", "1", "0x80041003", "always")
        self.lab("printer", "change", "Front Desk")
        self.lab("tasks", "wait")
        self.lab("fault", "clear")
        self.assert_found(("device-id-blank",
                           "The last run made the DeviceId without the hardware's identity."))

    def test_the_doctor_leaves_the_log_and_its_time_alone(self):
        before = self.lab.log_path().stat()
        text = self.lab.log_bytes()
        time.sleep(0.1)
        self.doctor()
        after = self.lab.log_path().stat()
        self.assertEqual((self.lab.log_bytes(), after.st_mtime_ns, after.st_ino),
                         (text, before.st_mtime_ns, before.st_ino))
