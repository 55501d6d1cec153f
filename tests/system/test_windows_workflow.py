"""What the workflow for Windows and its trial name is there: nobody sees them run here."""

import json
import os
import re
import unittest
from pathlib import Path

from lab import ROOT

BUILD = Path(os.environ.get("PALVO_LAB_BIN", ROOT / "build" / "release"))
WORKFLOW = (ROOT / ".github" / "workflows" / "windows.yml").read_text()
TRIAL = (ROOT / "tools" / "try-on-windows.ps1").read_text()


def sources(*folders):
    """The text of all sources, their string literals with single backslashes."""
    files = sorted(file for folder in folders for file in (ROOT / folder).rglob("*.[ch]*"))
    return "\n".join(file.read_text() for file in files).replace("\\\\", "\\")


class WindowsWorkflowTest(unittest.TestCase):
    def test_presets_that_it_names_exist(self):
        presets = json.loads((ROOT / "CMakePresets.json").read_text())
        named = set(re.findall(r"cmake --workflow --preset (\S+)", WORKFLOW))
        self.assertEqual(named, {"windows", "windows-tests"})
        self.assertLessEqual(named, {preset["name"] for preset in presets["workflowPresets"]})

    def test_scripts_that_it_runs_exist_and_take_what_it_gives(self):
        scripts = set(re.findall(r"[\w/-]+\.ps1", WORKFLOW))
        self.assertEqual(scripts, {"tools/try-on-windows.ps1"})
        parameters = set(re.findall(r"^    (?:\[\S+\] )*\[string\] \$(\w+)", TRIAL, re.MULTILINE))
        self.assertEqual(parameters, {"Program", "Outputs"})
        self.assertEqual(set(re.findall(r" -(Program|Outputs) ", WORKFLOW)), parameters)

    def test_folders_that_it_reads_are_those_of_presets(self):
        presets = json.loads((ROOT / "CMakePresets.json").read_text())["configurePresets"]
        folders = set(re.findall(r"build/([\w-]+)/", WORKFLOW))
        self.assertEqual(folders, {"release", "windows", "windows-tests"})
        self.assertLessEqual(folders, {preset["name"] for preset in presets})

    def test_the_list_of_statements_is_built_where_it_is_taken_from(self):
        self.assertEqual(re.findall(r"tools/build (\w+) ([\w-]+)", WORKFLOW),
                         [("release", "windows-contract")])
        self.assertIn("path: build/release/lab/windows-contract.exe\n", WORKFLOW)
        self.assertTrue((BUILD / "lab" / "windows-contract.exe").is_file())
        for script in re.findall(r"run: (tools/[\w-]+)", WORKFLOW):
            self.assertTrue((ROOT / script).is_file(), script)

    def test_dlls_that_the_trial_lays_beside_the_program_are_loaded_late(self):
        [laid] = re.findall(r"foreach \(\$dll in (.*)\) \{", TRIAL)
        late = re.findall(r"delay_load\(palvo_windows (\S+)",
                          (ROOT / "cmake" / "WindowsLibraries.cmake").read_text().lower())
        self.assertEqual(re.findall(r"'(.*?)'", laid), ["wevtapi.dll", "wtsapi32.dll"])
        self.assertLessEqual({"wevtapi.dll", "wtsapi32.dll"}, set(late))

    def test_names_that_the_trial_looks_for_are_the_programs(self):
        code = sources("src/tasks", "src/eventlog", "src/driver", "src/SimpleUtilitiesLib")
        names = re.findall(r"'(Palvo PalvoOrvela [^']+|Microsoft-Windows-[^']+|PalvoPrinter\w+\.exe|"
                           r"SOFTWARE\\Classes\\[^']+)'", TRIAL)
        self.assertEqual(len(names), 8, names)
        for name in names + ["Task successfully registered.", "1052672"]:
            with self.subTest(name):
                self.assertIn(name, code)
                self.assertIn(name.replace(".", r"\.") if name.startswith("Task") else name, TRIAL)


if __name__ == "__main__":
    unittest.main()
