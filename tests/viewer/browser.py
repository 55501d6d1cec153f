"""The log viewer in a headless Chromium, as the viewer's tests and the pictures use it."""

import json
import os
import sys
import tempfile
import time
from pathlib import Path

try:
    from selenium import webdriver
    from selenium.common.exceptions import WebDriverException
except ImportError:
    # Debian's modules are not seen by another Python that comes first in the path.
    sys.path.append("/usr/lib/python3/dist-packages")
    try:
        from selenium import webdriver
        from selenium.common.exceptions import WebDriverException
    except ImportError:
        webdriver = None

VIEWER = Path(__file__).resolve().parent.parent.parent / "support" / "log-viewer.html"
CHROMIUM, DRIVER = Path("/usr/bin/chromium"), Path("/usr/bin/chromedriver")

# Longer than anything the viewer does takes on a slow machine.
SECONDS = 120


def what_is_missing():
    """Why no browser can be started here; empty when one can."""
    missing = [str(path) for path in (CHROMIUM, DRIVER) if not path.exists()]
    if webdriver is None:
        missing.append("selenium")
    return f"missing: {', '.join(missing)} (tools/install-packages --support)" if missing else ""


class NoBrowser(Exception):
    """Chromium is there and does not start, as in a container that lets it do too little."""


class Browser:
    """One Chromium that shows the viewer, and what it told of the network and to its console."""

    def __init__(self):
        # A folder of its own for all that Chromium keeps; it goes with the browser.
        self.folder = tempfile.TemporaryDirectory(prefix="viewer-", ignore_cleanup_errors=True)
        self.downloads = Path(self.folder.name) / "downloads"
        self.downloads.mkdir()
        options = webdriver.ChromeOptions()
        options.binary_location = str(CHROMIUM)
        for argument in ("--headless=new", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                         "--disable-background-networking", "--window-size=1440,1000",
                         f"--user-data-dir={self.folder.name}/profile"):
            options.add_argument(argument)
        if os.geteuid() == 0:
            # Chromium refuses to start as root with its sandbox, and a container has often root alone.
            options.add_argument("--no-sandbox")
        options.add_experimental_option("prefs", {"download.default_directory": str(self.downloads)})
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        service = webdriver.chrome.service.Service(str(DRIVER))
        try:
            self.driver = webdriver.Chrome(options=options, service=service)
        except WebDriverException as error:
            self.folder.cleanup()
            raise NoBrowser(f"Chromium does not start here: {str(error).strip()}") from error
        self.driver.set_script_timeout(SECONDS)
        self.driver.set_page_load_timeout(SECONDS)
        self.driver.get("about:blank")      # Chromium's first page asks for much.

    def end(self):
        self.driver.quit()
        self.folder.cleanup()

    def show_viewer(self):
        self.told()
        self.driver.get(VIEWER.as_uri())

    def script(self, text, *arguments):
        return self.driver.execute_script(text, *arguments)

    def processor_milliseconds(self):
        """What the page's main thread has worked so far. What else the machine does is not in it."""
        self.driver.execute_cdp_cmd("Performance.enable", {"timeDomain": "threadTicks"})
        metrics = self.driver.execute_cdp_cmd("Performance.getMetrics", {})["metrics"]
        return 1000 * next(one["value"] for one in metrics if one["name"] == "TaskDuration")

    def wait_for(self, condition, what):
        end = time.monotonic() + SECONDS
        while not (found := condition()):
            if time.monotonic() > end:
                raise AssertionError(f"waited in vain for {what}")
            time.sleep(0.02)
        return found

    def open(self, *paths):
        """Chooses files as a person does, and waits until they are shown."""
        self.driver.find_element("id", "files").send_keys("\n".join(map(str, paths)))
        self.wait_until_read()

    def wait_until_read(self):
        self.wait_for(lambda: self.script(
            "const main = document.getElementById('main');"
            "return document.getElementById('files').files.length === 0 && !main.hidden && "
            "main.getAttribute('aria-busy') === 'false'"), "the viewer to have read")

    def choose(self, control, text):
        """Chooses the option of that text."""
        self.script("""
            const select = document.getElementById(arguments[0]);
            const option = [...select.options].find(option => option.textContent === arguments[1]);
            if (!option) throw new Error("no such option: " + arguments[1]);
            select.value = option.value;
            select.dispatchEvent(new Event("change"));""", control, text)

    def options(self, control):
        return self.script("return [...document.getElementById(arguments[0]).options]"
                           ".map(option => option.textContent)", control)

    def type(self, control, text):
        """Writes into a field; the timeline has then been filtered by it."""
        self.script("const field = document.getElementById(arguments[0]); field.value = arguments[1];"
                    "field.dispatchEvent(new Event('input'))", control, text)
        time.sleep(0.3)     # The page waits for 0.12 s whether more is written.

    def click(self, control):
        self.driver.find_element("id", control).click()

    def findings(self):
        """{title: [entry ...]} of the findings as they are read on the page."""
        return {title: entries for title, entries in self.script("""
            return [...document.querySelectorAll("#findings details")].map(group => [
                group.querySelector("b").textContent,
                [...group.querySelectorAll("li")].map(entry => entry.textContent)])""")}

    def rows(self):
        """The texts of the timeline's rows, the fields of a run joined by " | "."""
        return self.script("""
            return [...document.querySelectorAll("#rows > .item")].map(row =>
                row.classList.contains("run") ? [...row.children].map(field => field.textContent).filter(Boolean).join(" | ")
                : row.textContent)""")

    def runs(self):
        return [row for row in self.rows() if " | PID " in row]

    def text(self, control):
        return self.script("return document.getElementById(arguments[0]).textContent", control)

    def page(self):
        """Everything in the document, with what fields hold, but not the viewer's own code."""
        return self.script("""
            const copy = document.documentElement.cloneNode(true);
            copy.querySelectorAll("script, style").forEach(element => element.remove());
            const held = [...document.querySelectorAll("input, select")].map(field => field.value);
            return [copy.outerHTML, document.title, location.href, ...held].join("\\n");""")

    def download(self, control, name):
        """What a button saves."""
        target = self.downloads / name
        target.unlink(missing_ok=True)
        self.click(control)
        self.wait_for(target.exists, f"the download of {name}")
        return target.read_bytes()

    def told(self):
        """(what the console got, the addresses that were asked for) since this was last called."""
        console = [entry["message"] for entry in self.driver.get_log("browser")]
        requests = []
        for entry in self.driver.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                requests.append(message["params"]["request"]["url"])
        return console, requests
