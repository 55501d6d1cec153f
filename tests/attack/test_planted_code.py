"""What a user plants in the hope that the program runs it: DLLs and programs in the current folder, on
PATH, in the log's folder, in temporary folders, and under the names that a command line may mean."""

import re
import shutil
import unittest

from attack import BAG, EVENT, LOGON, TOOLS, AttackTest

PROGRAMS = ("PalvoPrinterQuery.exe", "PalvoPrinterConfigurationWriter.exe",
            "PalvoPrinterConfiguration.exe", "Program.exe", "Palvo.exe")
# What Windows or the program is known to load, whether this machine has it or not.
DLLS = """
    secur32 sspicli ole32 oleaut32 clbcatq wbemcomn wbemprox wbemsvc fastprox cryptsp cryptbase bcrypt
    bcryptprimitives rsaenh shell32 shcore shlwapi user32 userenv profapi wevtapi winspool wtsapi32 wtsapi
    winsta taskschd xmllite version propsys uxtheme dwmapi windows.storage wldp ntmarta msasn1 kernel.appcore
    iertutil edputil cryptnet gpapi dpapi rpcrtremote samlib logoncli netutils srvcli combase amsi mpr
    mscoree""".split()
VARIABLES = ("TEMP", "TMP", "SystemRoot", "windir", "SystemDrive", "ProgramData", "ALLUSERSPROFILE",
             "APPDATA", "USERPROFILE", "ComSpec", "USERNAME", "__COMPAT_LAYER", "COR_PROFILER_PATH")


class PlantedCode(AttackTest):
    def setUp(self):
        super().setUp()
        self.folder = self.drive / "Elsewhere"
        self.plant_in(self.folder)
        self.addCleanup(shutil.rmtree, self.folder)

    def plant_in(self, folder, programs=PROGRAMS):
        """Without making a folder that was there."""
        folder.mkdir(exist_ok=True)
        for name in programs:
            self.plant("planted-program.exe", folder / name)
        for name in DLLS:
            self.plant("planted-dll.dll", folder / f"{name}.dll")
        self.plant("planted-dll.dll", folder / "winspool.drv")
        wbem = folder / "wbem"
        wbem.mkdir(exist_ok=True)
        self.addCleanup(shutil.rmtree, wbem, ignore_errors=True)
        self.plant("planted-dll.dll", wbem / "wbemprox.dll")

    def plant(self, tool, path):
        if not path.exists():
            shutil.copy(TOOLS / tool, path)
            self.addCleanup(self.remove, path)

    def test_what_is_planted_tells_that_it_ran(self):
        self.attacker.do("run", r"C:\Elsewhere", r"C:\Elsewhere\Palvo.exe", "")
        # It has no such entry point: rundll32 loads it and gives up.
        self.attacker.tell("run", r"C:\Elsewhere", r"rundll32.exe C:\Elsewhere\wbemcomn.dll,None", "")
        marks = [self.drive / f"planted-ran-{name}" for name in ("Palvo.exe", "wbemcomn.dll")]
        self.assertEqual(sorted(self.drive.glob("planted-ran-*")), marks)
        for mark in marks:
            mark.unlink()

    def run_there(self, arguments, variables=()):
        """A run to its end, whose current folder and PATH are the user's."""
        lab = "Z:" + str(TOOLS.parents[1] / "lab" / "palvo-lab.exe").replace("/", "\\")
        before = len(self.lab.siblings())
        starts = self.starts()
        self.lab("record", "on", "CreateProcessW", "CreateProcessAsUserW")
        with self.nothing_changes_outside():
            self.attacker.do("run", r"C:\Elsewhere", f'"{lab}" run --output NUL -- {" ".join(arguments)}',
                             " ".join(variables))
        self.lab("record", "off")
        siblings = [s.name for s in self.lab.siblings()[before:]]
        self.assertEqual(self.starts() - starts, len(siblings), "none but siblings")
        return siblings

    def starts(self):
        """How many programs were started while that was recorded."""
        return len(re.findall(r" CreateProcess(AsUser)?W\(", self.lab("show", "calls")))

    def test_neither_the_current_folder_nor_path_is_searched(self):
        self.add_user("anna")
        self.lab("printer", "change", "Office")
        self.assertEqual(self.run_there(EVENT), ["query", "writer"])
        self.assertEqual(self.run_there(LOGON), ["query", "writer"])
        for arguments in (("-IT",), ("-UT",)):
            with self.subTest(arguments=arguments):
                self.run_there(arguments)

    def test_no_variable_leads_the_program_elsewhere(self):
        self.add_user("anna")
        before = len(self.lab.log())
        self.lab("printer", "change", "Office")
        self.assertEqual(self.run_there(EVENT, VARIABLES), ["query", "writer"])
        self.assertIn("NewOrChanged event done...exiting.", self.lab.log()[before:])

    def test_what_lies_in_the_logs_folder_and_those_above_is_not_run(self):
        self.add_user("anna")
        for folder in self.log.parents[:2]:
            self.plant_in(folder)
        self.addCleanup(shutil.rmtree, self.log.parents[1])
        self.expect_served()

    def test_what_lies_in_the_program_folders_parents_is_not_run(self):
        self.add_user("anna")
        for folder in self.lab.suite().parents[:2]:
            # Those whose names the command line may mean only administrators can put there.
            self.plant_in(folder, [name for name in PROGRAMS if name.startswith("PalvoPrinter")])
        self.expect_served()

    def test_nothing_is_loaded_while_users_are_impersonated_however_many(self):
        probe = "Z:" + str(TOOLS.with_name("product") / "IdentifierProbe.exe").replace("/", "\\")
        for number, name in enumerate(("anna", "ben", "carl", "dora")):
            self.add_user(name, "admin" if number % 2 else "standard")
            with self.subTest(users=number + 1):
                printed = self.lab("run", "--program", probe, "--", "sessions")
                self.assertEqual(printed, f"impersonated {2 * (number + 1)} times\n")

    def test_of_a_users_registry_the_property_bag_alone_is_opened(self):
        self.add_user("anna")
        self.lab("printer", "change", "Office")
        for arguments in (EVENT, LOGON, ("-r",), ("-IT",), ("-UT",), ("-DL",), ("-w",)):
            with self.subTest(arguments=arguments):
                self.lab("record", "on", "RegOpenKeyExW", "RegCreateKeyExW")
                self.attacked_work(*arguments)
                self.lab("record", "off")
        keys = re.findall(r'\("(.*?)",', self.lab("show", "calls"))
        self.assertIn(r"\Registry\User", keys)
        # The lab has no name for HKEY_CURRENT_USER: it would be none of these.
        self.assertEqual([key for key in keys if key != r"\Registry\User" and not re.fullmatch(
            rf"\\Registry\\(Machine\\.*|User\\[^\\]+\\{re.escape(BAG)})", key, re.IGNORECASE)], [])

    def test_folder_under_a_name_that_the_command_line_may_mean_is_no_hindrance(self):
        # What every user may make below a drive's root: folders.
        folder = self.drive / "Program.exe"
        folder.mkdir()
        self.addCleanup(folder.rmdir)
        self.expect_served()


if __name__ == "__main__":
    unittest.main()
