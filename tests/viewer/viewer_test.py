"""What the viewer's tests share: one browser, the viewer opened anew for each, and made logs."""

import tempfile
import unittest
from pathlib import Path

from browser import VIEWER, Browser, NoBrowser, what_is_missing

EVENT = "NoNgen, NoWarmup, NewOrChangedEvent, NewOrChangedTask"
LOGON = "NoNgen, NoWarmup, NewOrChangedEvent, UserLogonEvent"
REFRESH = "NoNgen, NoWarmup, PeriodicRefreshEvent, NotNewOrChangedEvent"
NOTHING = "- No supported printers need to be processed. Done. Exiting."
REDUNDANT = ("-Redundant instance for a NewOrChanged event: An instance is already running to process a NewOrChanged "
             "event...Queuing request and exiting this instance [NewOrChangedTask].")
UPDATE = ("Update UserPropertyBags With Desktop GUIDs before exiting after processing queued request(s)")


def line(pid, time, message, day="11/21/2026"):
    return f"[{day} {time}] PalvoPrinterConfiguration(PID{pid}): {message}\r\n"


def called(pid, time, resolved=EVENT, caller="NewOrChangedTask", day="11/21/2026"):
    """The two lines with which a run begins."""
    return (line(pid, time, f"# Called with 3 argument(s): -c -i {caller}", day) +
            line(pid, time, f"#\tResolved Args: {resolved}, -i {caller}", day))


def nothing(pid, time, newest=7, day="11/21/2026"):
    """A whole run that finds nothing to do."""
    return (called(pid, time, day=day) + line(pid, time, f"Found no new '300/306' events with IDs > {newest}.", day) +
            line(pid, time, NOTHING, day))


def user(pid, time, name="CORP\\alice", source="alice : pc01.corp.corp.example"):
    return line(pid, time, f"Updated UserPropertyBag for '{name}': UserId='1f0a9c10-5b7e-4d21-8a0c-91e4b7d6f035', "
                           f"Src='{source}'")


def device(pid, time, source="5d1c9e40 : lab-4711 : pc01.corp.corp.example"):
    return line(pid, time, "Updated UserPropertyBags: DeviceId='2f0a9c10-5b7e-4d21-8a0c-91e4b7d6f035', "
                           f"Src='{source}'")


def begun(pid, time, printer="Office 1", caller="NewOrChangedTask", newest=8):
    """A run to the line after which its siblings run."""
    found = (f"Found one pertinent, non-duplicate '300/306' event in the range of IDs from {newest} to {newest}. One "
             f"printer added or changed: '{printer}'")
    return (called(pid, time, caller=caller) + line(pid, time, found) +
            line(pid, time, f"-Processing NewOrChanged event: {caller}") + line(pid, time, found) +
            line(pid, time, f"# Processing a configuration request from a NewOrChanged event event for '{printer}'."))


def done(pid, time):
    return (line(pid, time, UPDATE) + line(pid, time, "NewOrChanged event done...exiting.") + line(pid, time, "") +
            line(pid, time, ""))


def redundant(pid, time):
    return (called(pid, time) + line(pid, time, "Found 1 '300/306' events with IDs from 8 to 8.") +
            line(pid, time, "-Processing NewOrChanged event: NewOrChangedTask") + line(pid, time, REDUNDANT))


class ViewerTest(unittest.TestCase):
    browser = None
    missing = None      # why the tests are skipped; empty when they run

    @staticmethod
    def start_browser():
        ViewerTest.missing = what_is_missing()
        if not ViewerTest.missing:
            try:
                ViewerTest.browser = Browser()
            except NoBrowser as error:
                ViewerTest.missing = str(error)

    @classmethod
    def tearDownClass(cls):
        if ViewerTest.browser is not None:
            ViewerTest.browser.end()
            ViewerTest.browser = ViewerTest.missing = None

    def setUp(self):
        if ViewerTest.missing is None:
            ViewerTest.start_browser()
        if ViewerTest.missing:
            self.skipTest(ViewerTest.missing)
        self.browser = ViewerTest.browser
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.browser.show_viewer()
        # Whatever a test does, the page keeps quiet and asks for nothing but itself.
        self.addCleanup(self.expect_quiet)

    def expect_quiet(self):
        console, requests = self.browser.told()
        self.assertEqual(console, [])
        # What is saved is made on the page and never leaves it.
        elsewhere = [address for address in requests if not address.startswith("blob:null/")]
        self.assertEqual(elsewhere, [VIEWER.as_uri()])

    def file(self, content, name="PalvoPrinterConfiguration.log"):
        path = self.folder / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode("cp1252"))
        return path

    def open(self, content, name="PalvoPrinterConfiguration.log"):
        self.browser.open(self.file(content, name))

    def choose_run(self, pid):
        """The (time, message, meaning) of the lines that the run's row shows when it is clicked."""
        self.browser.script("""
            const row = [...document.querySelectorAll("#rows > .run")].find(row => row.children[1].textContent === arguments[0]);
            row.click();""", f"PID {pid}")
        return [tuple(entry) for entry in self.browser.script("""
            return [...document.querySelectorAll("#run li")].map(entry => [...entry.children].map(part => part.textContent))""")]

    def facts(self):
        """{term: text} of the chosen run."""
        return dict(self.browser.script("""
            return [...document.querySelectorAll("#run dt")].map(term => [term.textContent, term.nextElementSibling.textContent])"""))
