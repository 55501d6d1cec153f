"""A Windows of the tests' own under Wine."""

import os
import shutil
import subprocess
from pathlib import Path

TOOLS = Path(__file__).resolve().parent


class WinePrefix:
    """A Wine prefix in a folder, made when it is missing. Its server is ended with it, and no other."""

    def __init__(self, folder):
        self.folder = Path(folder)
        self.environment = dict(os.environ, WINEPREFIX=str(self.folder), WINEARCH="win64",
                                WINEDEBUG="-all")
        # No window is ever to wait for a person.
        self.environment.pop("DISPLAY", None)
        self.environment.pop("WAYLAND_DISPLAY", None)

    def make(self):
        """Tells of a Wine that nobody tried, too."""
        subprocess.run([TOOLS / "check-wine"], stdin=subprocess.DEVNULL, timeout=60, check=True)
        done = self.folder / "made-by-tests"
        if done.exists():
            return
        print("Making a Wine prefix (once)", flush=True)
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir(parents=True)
        result = subprocess.run(
            ["wineboot", "-i"], env=self.environment, stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=300, check=False)
        if result.returncode != 0 or not (self.folder / "drive_c" / "windows").is_dir():
            raise RuntimeError("Wine could not make its prefix:\n"
                               + result.stdout.decode(errors="replace"))
        self.server("-w")
        done.touch()

    def end(self):
        if self.folder.is_dir():
            self.server("-k")

    def server(self, argument):
        """-k ends it, -w waits for its end, -p keeps it when nobody uses it."""
        subprocess.run([TOOLS / "wineserver", argument], env=self.environment, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=120,
                       check=False)
