"""What the doctor collects for support, and that it names nobody unless it is asked to."""

import json
import re
import shutil
import zipfile
from datetime import datetime, timedelta

from doctor import SCHEMA, DoctorTest, misfits
from lab import LOG, ROOT, USER_LOGON
from test_doctor_log import line

FILE = r"C:\collected\of-this-machine.zip"
KNOWN = ROOT / "support" / "doctor" / "collect" / "KnownTexts.h"
VIEWER = ROOT / "support" / "log-viewer.html"
MEMBERS = ["report.txt", "report.json", "metrics.prom", "machine.txt", LOG.name]


class Collection(DoctorTest):
    def setUp(self):
        super().setUp()
        self.folder = self.lab.prefix / "drive_c" / "collected"
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir()
        self.addCleanup(shutil.rmtree, self.folder)

    def collect(self, *arguments):
        """{name: bytes} of the zip, and the bytes of the zip itself."""
        self.doctor("--collect", FILE, *arguments)
        self.assertEqual([path.name for path in self.folder.iterdir()], ["of-this-machine.zip"])
        path = self.folder / "of-this-machine.zip"
        with zipfile.ZipFile(path) as packed:
            self.assertIsNone(packed.testzip())
            for member in packed.infolist():
                age = datetime.now() - datetime(*member.date_time)
                self.assertLess(abs(age), timedelta(minutes=5))
            return {name: packed.read(name) for name in packed.namelist()}, path.read_bytes()

    def names(self):
        """Every name, identifier and source text of the lab's machine, as the log and the lab have it."""
        log = self.lab.log_bytes().decode("cp1252")
        sources = re.findall(r"Src='(.*)'\r", log)
        self.assertTrue(sources)
        parts = {part for source in sources for part in source.split(" : ")}
        users = re.findall(r"UserPropertyBag for '(.*?)'", log)
        values = {data for bag in self.lab.bags().values() for name, (_, data) in bag.items()
                  if name in ("UserId", "DeviceId")}
        self.assertGreaterEqual(len(parts | values), 5)
        computer = self.report()["computer"]
        return {"anna", "Front Desk", "Anchor", self.sid, computer, *parts, *users, *values, *sources}

    def assert_unnamed(self, whole, names):
        for name in sorted(names):
            for code in ("utf-8", "utf-16-le"):
                for form in (name, name.lower(), name.upper()):
                    self.assertNotIn(form.encode(code), whole, name)

    def test_it_names_nobody(self):
        self.lab("set", "hive-readonly", "anna", "on")
        self.lab("printer", "change", "Front Desk")
        self.lab("tasks", "wait")
        self.lab("fault", "OpenPrinterW", "2", "5")
        names = self.names()
        members, whole = self.collect()
        self.assertEqual(list(members), MEMBERS)
        self.assert_unnamed(whole, names)
        report = json.loads(members["report.json"])
        self.assertEqual(misfits(report, SCHEMA), [])
        self.assertEqual([(one["id"], one["what"]) for one in report["findings"]], [
            ("printer-not-opened", 'The printer "Printer 1" cannot be opened: error 5.'),
            ("hive-read-only", '"User 1" may not write the printer property bag: error 5.')])
        self.assertIn(b'hive-read-only: "User 1" may not write', members["report.txt"])

    def test_a_hostile_log_names_nobody(self):
        with open(self.lab.log_path(), "ab") as file:
            for text in ("Muriel", "ERROR: Muriel", "# Processing a configuration request from a "
                         "NewOrChanged event event for 'x'.\r\nMuriel",
                         "Found Muriel '300/306' events with IDs from 1 to 2.",
                         "-Processing NewOrChanged event: Muriel", "\0Muriel"):
                file.write(line(text))
            file.write(b"Muriel\r\n[Muriel")
        leftover = self.lab.log_path().with_name(LOG.name + ".plvold")
        leftover.write_bytes(line("Muriel") + b"Muriel\n")
        members, whole = self.collect()
        self.assert_unnamed(whole, ["Muriel"])
        self.assertEqual(list(members), [*MEMBERS, LOG.name + ".plvold"])
        self.assertRegex(members[LOG.name + ".plvold"].decode(),
                         r"^\[.* [AP]M\] PalvoPrinterConfiguration\(PID4242\): \(hidden: 6 characters\)\r\n"
                         r"\(hidden: 6 characters\)\r\n$")

    def test_the_log_without_names_has_every_line_of_the_log(self):
        log = self.lab.log_bytes().decode("cp1252").split("\r\n")
        shown = self.collect()[0][LOG.name].decode("ascii").split("\r\n")
        self.assertEqual(len(shown), len(log))
        heads = re.compile(r"^\[.*?\] PalvoPrinterConfiguration\(PID\d+\): ")
        for was, now in zip(log[:-1], shown):
            self.assertEqual(heads.match(was)[0], heads.match(now)[0])
            self.assertNotIn("(hidden: ", now)

    def test_names_are_left_in_when_that_is_asked_for(self):
        members, _ = self.collect("--with-names")
        self.assertEqual(members[LOG.name], self.lab.log_bytes())
        self.assertEqual(json.loads(members["report.json"])["notes"], self.report()["notes"])
        self.assertIn(b"\r\nNames: left in\r\n", members["machine.txt"])

    def test_it_has_the_settings_tasks_channel_and_versions(self):
        text = self.collect()[0]["machine.txt"].decode("ascii").replace("\r\n", "\n")
        self.assertRegex(text, r"^Doctor: 7\.0\.0\.0\nNames: hidden\n\nVersions\n")
        for expected in ("\nPalvoPrinterConfiguration.exe: 7.0.0.0\n",
                         "\nLastEvtRecordProcessed: type 11, 02 00 00 00 00 00 00 00\n",
                         "\nPromptToAttachDebugger: none (error 2)\n",
                         "\nerrors 0 and 0, on, 1052672 bytes, overwrites, position 2, oldest 1, newest 2, "
                         "newest printer event 2\n",
                         f'\n{USER_LOGON}: enabled, "C:\\Program Files\\Palvo Printer Suite'
                         '\\PalvoPrinterConfiguration.exe" -c -i UserLogonTask -IN -w as '):
            self.assertIn(expected, text)
        self.assertRegex(text, r"\nkernel32\.dll: \d+\.\d+\.\d+\.\d+\n")

    def test_it_writes_nothing_but_that_file(self):
        def machine():
            drive = self.lab.prefix / "drive_c"
            return ([self.lab("show", what) for what in ("registry", "bags", "channel", "events")],
                    {path: path.stat().st_mtime_ns for folder in ("ProgramData/Palvo", "Program Files")
                     for path in (drive / folder).rglob("*")}, self.lab.log_bytes())
        before = machine()
        self.collect()
        self.assertEqual(machine(), before)
        self.assertEqual(self.lab.leaks(), [])

    def test_names_without_a_collection_are_a_wrong_switch(self):
        self.assertEqual(self.doctor("--with-names"), (2, self.doctor("--help")[1]))

    def test_a_machine_without_a_log_is_collected_too(self):
        self.lab.log_path().unlink()
        members, _ = self.collect()
        self.assertEqual(list(members), MEMBERS)
        self.assertEqual(members[LOG.name], b"")
        self.assertIn(b"log-missing: ", members["report.txt"])


class Lists(DoctorTest):
    def set_up_machine(self):
        pass

    def known(self, name):
        text = re.search(rf"{name} = \{{(.*?)\}};", KNOWN.read_text(encoding="utf-8"), re.DOTALL)[1]
        return ["".join(re.findall(r'L"((?:[^"\\]|\\.)*)"', item))
                for item in re.findall(r'(?:L"(?:[^"\\]|\\.)*"\s*)+', text)]

    def viewers(self, begin, end):
        text = VIEWER.read_text(encoding="utf-8")
        return text[text.index(begin) + len(begin):].split(end, 1)[0]

    def test_it_knows_the_messages_that_the_log_viewer_knows(self):
        entries = re.findall(r'\["[a-z -]+",\s*((?:"(?:[^"\\]|\\.)*"\s*\+?\s*)+),',
                             self.viewers("const LINES = [", "\n];"))
        forms = ["".join(re.findall(r'"((?:[^"\\]|\\.)*)"', entry)) for entry in entries]
        self.assertGreater(len(forms), 50)
        self.assertEqual(self.known("LineForms"), [form for form in forms if form])

    def test_it_knows_the_words_and_callers_that_the_log_viewer_knows(self):
        for name, begin, end in (("KnownWords", "const WORDS = new Set([", "]"),
                                 ("KnownCallers", "const CALLERS = [", "]")):
            self.assertEqual(sorted(self.known(name)),
                             sorted(re.findall(r'"(.*?)"', self.viewers(begin, end))))
