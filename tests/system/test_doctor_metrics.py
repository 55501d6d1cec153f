"""The doctor's metrics, and the alerts on them: Prometheus's own tools and server read what the doctor
wrote of causes that were seeded in the lab."""

import json
import re
import shutil
import subprocess
import tempfile
import threading
import time
import unittest
from contextlib import contextmanager
from datetime import datetime
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path
from urllib.request import urlopen

from doctor import DoctorTest
from lab import NEW_OR_CHANGED, PERIODIC_REFRESH, ROOT, SECONDS, USER_LOGON
from test_doctor_page import identifiers

RULES = ROOT / "support" / "monitoring" / "palvo-printer-doctor.rules.yml"
NEEDED = ("prometheus", "promtool")
FILE = r"C:\fleet\palvo.prom"
PREFIX = "palvo_printer_doctor_"
SWITCH_OFF = ("set", "machine-switch", "0")
MACHINES = 1000


def rules():
    """{alert: the identifiers that its expression names}."""
    text = RULES.read_text(encoding="utf-8")
    return {alert: ids.split("|") if ids else [] for alert, ids in re.findall(
        r'- alert: (\w+)\n +expr: (?:palvo_printer_doctor_findings\{id=~"([a-z|-]+)"\} > 0)?', text)}


def series(text):
    """{name with labels: value}."""
    return dict(line.rsplit(" ", 1) for line in text.splitlines() if not line.startswith("#"))


def promtool(*arguments, text=None):
    """What it said; empty when all is well."""
    result = subprocess.run(["promtool", *arguments], input=text, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, encoding="utf-8", check=False, timeout=SECONDS)
    return result.stdout if result.returncode or "check" in arguments else ""


def free_port():
    with ThreadingHTTPServer(("127.0.0.1", 0), BaseHTTPRequestHandler) as server:
        return server.server_port


class RulesFile(unittest.TestCase):
    def test_every_finding_belongs_to_one_alert(self):
        named = [one for ids in rules().values() for one in ids]
        self.assertEqual(sorted(named), sorted(identifiers()))

    def test_what_many_machines_may_have_is_but_a_notice(self):
        harmless = re.search(r'id!~"([a-z|-]+)"', RULES.read_text(encoding="utf-8"))[1].split("|")
        self.assertLessEqual(set(harmless), set(rules()["PalvoPrinterNotice"]))


class MetricsTest(DoctorTest):
    def setUp(self):
        super().setUp()
        self.folder = self.lab.prefix / "drive_c" / "fleet"
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir()
        self.addCleanup(shutil.rmtree, self.folder)

    def metrics(self, *arguments):
        self.doctor("--prometheus", FILE, *arguments)
        self.assertEqual([path.name for path in self.folder.iterdir()], ["palvo.prom"])
        return (self.folder / "palvo.prom").read_bytes().decode("ascii")


class File(MetricsTest):
    def test_it_has_every_kind_of_finding_in_the_order_of_the_checks(self):
        self.lab(*SWITCH_OFF)
        text = self.metrics()
        counts = re.findall(r'^palvo_printer_doctor_findings\{id="(.*)"\} (\d+)$', text, re.MULTILINE)
        self.assertEqual([one for one, _ in counts], identifiers())
        self.assertEqual([one for one, count in counts if count != "0"], ["run-switch-off"])

    def test_its_figures_are_the_machines(self):
        before = int(time.time())
        values = series(self.metrics())
        looked = values.pop(PREFIX + "look_timestamp_seconds")
        self.assertTrue(before <= int(looked) <= time.time(), looked)
        silent = int(values.pop(PREFIX + "log_silent_seconds"))
        last = re.findall(rb"^\[(.+?)\]", self.lab.log_bytes(), re.MULTILINE)[-1].decode()
        written = datetime.strptime(last, "%m/%d/%Y %I:%M:%S %p").timestamp()
        self.assertTrue(before - written <= silent <= time.time() - written, (silent, last))
        self.assertGreater(int(values.pop(PREFIX + "log_disk_free_bytes")), 16 << 20)
        others = {name: value for name, value in values.items() if "_findings{" not in name}
        self.assertEqual(others, {
            PREFIX + 'info{version="7.0.0.0"}': "1", PREFIX + "schema": "1", PREFIX + "code": "0",
            PREFIX + "unseen": "0",
            **{f'{PREFIX}task_last_result{{task="{task}"}}': value for task, value in
               ((NEW_OR_CHANGED, "0"), (PERIODIC_REFRESH, "267011"), (USER_LOGON, "0"))},
            PREFIX + "channel_enabled": "1", PREFIX + "channel_size_bytes": "1052672",
            PREFIX + "scan_position": "2", PREFIX + "channel_oldest_record": "1",
            PREFIX + "channel_newest_record": "2", PREFIX + "printer_event_waiting_seconds": "0",
            PREFIX + "log_size_bytes": str(len(self.lab.log_bytes()))})

    def test_no_name_is_in_it(self):
        self.lab("set", "hive-readonly", "anna", "on")
        text = self.metrics().lower()
        for name in ("anna", "front desk", "anchor", self.sid.lower()):
            self.assertNotIn(name, text)

    def test_what_is_there_is_replaced_and_the_report_is_printed_all_the_same(self):
        (self.folder / "palvo.prom").write_bytes(b"old")
        (self.folder / "palvo.prom.new").write_bytes(b"of a doctor that was ended")
        code, output = self.doctor("--prometheus", FILE)
        self.assertEqual((code, output.splitlines()[-1]), (0, "All is well."))
        self.assertTrue(self.metrics().startswith("# HELP palvo_printer_doctor_info "))

    def test_a_reader_that_has_the_file_open_is_waited_for(self):
        self.lab("fault", "MoveFileExW", "1", "32")
        self.assertIn(PREFIX + "code 0\n", self.metrics())

    def test_a_file_that_cannot_be_written_is_told_and_leaves_nothing(self):
        self.lab("fault", "MoveFileExW", "1", "5", "always")
        self.assertEqual(self.doctor("--prometheus", FILE, "--json"),
                         (2, FILE + " cannot be written: error 5.\n"))
        self.assertEqual(list(self.folder.iterdir()), [])
        code, output = self.doctor("--prometheus", r"C:\none\palvo.prom")
        self.assertEqual((code, output), (2, "C:\\none\\palvo.prom cannot be written: error 3.\n"))

    def test_nothing_is_written_through_a_link_in_its_place(self):
        other = self.folder / "other.txt"
        for plant in (lambda path: path.hardlink_to(other), lambda path: path.symlink_to(other)):
            other.write_bytes(b"of somebody")
            for name in ("palvo.prom", "palvo.prom.new"):
                (self.folder / name).unlink(missing_ok=True)
                plant(self.folder / name)
            self.doctor("--prometheus", FILE)
            self.assertEqual(other.read_bytes(), b"of somebody")


class Alerts(MetricsTest):
    # Cause: how it is seeded, how it is taken back, and the alert with its identifier.
    CAUSES = {
        "task": (("tasks", "put", USER_LOGON, "Settings.Enabled", "0"),
                 ("tasks", "put", USER_LOGON, "Settings.Enabled", "1"),
                 ("PalvoPrintersNotConfigured", "task-disabled")),
        "channel": (("set", "channel-enabled", "off"), ("set", "channel-enabled", "on"),
                    ("PalvoPrintersNotConfigured", "channel-off")),
        "small": (("set", "channel-size", "65536"), ("set", "channel-size", "1052672"),
                  ("PalvoPrinterEventsLost", "channel-small")),
        "hive": (("set", "hive-readonly", "anna", "on"), ("set", "hive-readonly", "anna", "off"),
                 ("PalvoPrinterUserValuesWrong", "hive-read-only")),
        "viewer": (("set", "file-holder", "Notepad"), ("set", "file-holder", "none"),
                   ("PalvoPrinterLogLost", "log-open-elsewhere")),
        "switch": (SWITCH_OFF, ("set", "machine-switch", "1"), ("PalvoPrinterNotice", "run-switch-off")),
    }

    def setUp(self):
        missing = [name for name in NEEDED if shutil.which(name) is None]
        if missing:
            self.skipTest(f"{' and '.join(missing)} missing: tools/install-packages --support")
        super().setUp()
        self.machines = {"well": self.metrics()}
        for cause, (seed, undo, _) in self.CAUSES.items():
            self.lab(*seed)
            self.machines[cause] = self.metrics()
            self.lab(*undo)
        planted = self.lab.prefix / "drive_c" / "Program.exe"
        planted.write_bytes(b"MZ")
        self.machines["planted"] = self.metrics()
        planted.unlink()
        self.lab("fault", "EnumPrintersW", "1", "5", "always")
        self.machines["blind"] = self.metrics()
        self.lab("fault", "clear")
        self.alerts = {cause: alert for cause, (_, _, alert) in self.CAUSES.items()}
        self.alerts |= {"planted": ("PalvoPrinterMachineOpen", "program-on-the-way"),
                        "blind": ("PalvoPrinterDoctorBlind", None)}
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.work = Path(temporary.name)

    def test_promtool_has_no_fault_to_find(self):
        self.assertRegex(promtool("check", "rules", RULES), r"SUCCESS: 10 rules found\n")
        for text in self.machines.values():
            self.assertEqual(promtool("check", "metrics", text=text), "")

    def test_each_cause_has_its_alert_when_it_lasts_for_a_part_of_a_working_day(self):
        # Seven hours a day. A machine that is off gives no values.
        inputs = [{"series": name.replace("}", ",") + f'instance="{machine}"}}' if "{" in name
                   else f'{name}{{instance="{machine}"}}', "values": f"{value}x41 _x102 {value}x41"}
                  for machine, text in self.machines.items() for name, value in series(text).items()]
        # A machine that the doctor never saw; one that it stopped looking at when time began; one
        # that was off then, and is looked at an hour after it is on.
        looked = PREFIX + "look_timestamp_seconds"
        inputs += [{"series": 'up{instance="bare",job="windows"}', "values": "1x41 0x101 1x41"},
                   {"series": looked + '{instance="stopped"}', "values": "0x200"},
                   {"series": looked + '{instance="weekend"}', "values": "0x6 _x152 0x5 98400x20"}]
        severities = dict(re.findall(r"- alert: (\w+)\n(?:.*\n)*? +severity: (\w+)",
                                     RULES.read_text(encoding="utf-8")))
        waits = {"PalvoPrintersNotConfigured": 90, "PalvoPrinterMachineOpen": 0,
                 "PalvoPrinterDoctorMissing": 120}

        def firing(alert, minutes):
            """What fires so many minutes after the machines were switched on."""
            at = [{"instance": machine, **({"id": one} if one else {})}
                  for machine, (name, one) in self.alerts.items() if name == alert]
            if alert == "PalvoPrinterDoctorMissing":
                at = [{"instance": "bare", "job": "windows"}]
            return [{"severity": severities[alert], **labels} for labels in at
                    if minutes >= waits.get(alert, 180)]

        tests = [{"eval_time": f"{day + minutes}m", "alertname": alert,
                  "exp_alerts": firing(alert, minutes)} for alert in severities
                 for day in (0, 24 * 60) for minutes in (80, 100, 110, 130, 170, 190)]
        tests += [{"eval_time": "12h", "alertname": alert, "exp_alerts": []} for alert in severities]
        tests += [{"eval_time": time, "alertname": "PalvoPrinterDoctorSilent", "exp_alerts": machines}
                  for time, machines in (("27h20m", []), ("28h", [
                      {"severity": "warning", "instance": "stopped"}]))]
        # The texts are for people; what they hold is compared below.
        bare = re.sub(r"\n +annotations:\n +summary: .*", "", RULES.read_text(encoding="utf-8"))
        (self.work / "rules.yml").write_text(bare, encoding="utf-8")
        for test in tests:
            test["exp_alerts"] = [{"exp_labels": labels} for labels in test["exp_alerts"]]
        (self.work / "test.yml").write_text(json.dumps(
            {"rule_files": ["rules.yml"], "evaluation_interval": "10m",
             "tests": [{"interval": "10m", "input_series": inputs, "alert_rule_test": tests}]}),
            encoding="utf-8")
        self.assertEqual(promtool("test", "rules", self.work / "test.yml"), "")

    def fleet(self):
        """([what each of the thousand machines has to tell], {(alert, machine or None, id)})."""
        texts = [self.machines["well"]] * MACHINES
        expected = set()
        # As many machines as a cause has; the first machines stay well. The switch may be meant so.
        counts = dict.fromkeys(self.alerts, 3) | {"channel": 30, "switch": 30}
        place = 100
        for cause, count in counts.items():
            alert, one = self.alerts[cause]
            for i in range(place, place + count):
                texts[i] = self.machines[cause]
                expected.add((alert, f"machine-{i:04}", one))
            place += count
        expected.add(("PalvoPrinterFleet", None, "channel-off"))
        texts[-1] = re.sub(r"(look_timestamp_seconds) \d+", rf"\1 {int(time.time()) - 27 * 3600}",
                           self.machines["well"])
        texts[-2] = ""
        return texts, expected | {("PalvoPrinterDoctorSilent", f"machine-{MACHINES - 1:04}", None),
                                  ("PalvoPrinterDoctorMissing", f"machine-{MACHINES - 2:04}", None)}

    @contextmanager
    def serve(self, texts):
        """The port at which all machines' metrics are had, each at its own path."""
        class Handler(BaseHTTPRequestHandler):
            def do_GET(self):
                body = texts[int(self.path.strip("/").removeprefix("machine-"))].encode()
                self.send_response(200)
                self.send_header("Content-Type", "text/plain; version=0.0.4")
                self.send_header("Content-Length", str(len(body)))
                self.end_headers()
                self.wfile.write(body)

            def log_message(self, *_):
                pass

        server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        thread = threading.Thread(target=server.serve_forever)
        thread.start()
        try:
            yield server.server_port
        finally:
            server.shutdown()
            thread.join()
            server.server_close()

    @contextmanager
    def prometheus(self, port):
        """A server that scrapes them; its address. Nothing has to last before it is told."""
        text = re.sub(r"for: \w+", "for: 0s", RULES.read_text(encoding="utf-8"))
        (self.work / "rules.yml").write_text(text, encoding="utf-8")
        (self.work / "prometheus.yml").write_text(json.dumps({
            "global": {"scrape_interval": "15s", "evaluation_interval": "2s"},
            "rule_files": ["rules.yml"],
            "scrape_configs": [{
                "job_name": "windows",
                "static_configs": [{"targets": [f"machine-{i:04}" for i in range(MACHINES)]}],
                "relabel_configs": [
                    {"source_labels": ["__address__"], "target_label": "instance"},
                    {"source_labels": ["__address__"], "target_label": "__metrics_path__",
                     "replacement": "/$1"},
                    {"target_label": "__address__", "replacement": f"127.0.0.1:{port}"}]}]}),
            encoding="utf-8")
        own = free_port()
        with open(self.work / "output.txt", "wb") as output:
            process = subprocess.Popen(
                ["prometheus", f"--config.file={self.work}/prometheus.yml",
                 f"--storage.tsdb.path={self.work}/data", f"--web.listen-address=127.0.0.1:{own}"],
                stdout=output, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL)
        try:
            yield f"http://127.0.0.1:{own}/api/v1/"
        finally:
            process.terminate()
            process.wait(SECONDS)

    def test_a_server_that_scrapes_a_thousand_machines_fires_the_right_alerts(self):
        texts, expected = self.fleet()

        def ask(address):
            try:
                with urlopen(address, timeout=SECONDS) as answer:
                    return json.load(answer)["data"]
            except OSError:
                return None     # It has not begun to listen.

        def state(address):
            """What fires, how many machines were reached, and what the fleet's alert says. On a busy machine
            a scrape can be late once."""
            alerts = (ask(address + "alerts") or {"alerts": []})["alerts"]
            up = (ask(address + "query?query=count(up==1)") or {"result": []})["result"]
            return ({(one["labels"]["alertname"], one["labels"].get("instance"), one["labels"].get("id"))
                     for one in alerts if one["state"] == "firing"},
                    [one["value"][1] for one in up],
                    [one["annotations"]["summary"] for one in alerts
                     if one["labels"].get("id") == "channel-off" and "instance" not in one["labels"]])

        expected = expected, [str(MACHINES)], ["30 machines have channel-off"]
        with self.serve(texts) as port, self.prometheus(port) as address:
            end = time.monotonic() + 2 * SECONDS
            while (seen := state(address)) != expected and time.monotonic() < end:
                time.sleep(1)
            self.assertEqual(seen, expected)
