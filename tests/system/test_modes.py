"""The simple modes, the command line and the log, on the shipped file."""

import os
import re
import shutil
import subprocess
import unittest

from lab import ROOT, SUPPORTED, Lab

USAGE = ("\nPalvoPrinterConfiguration - Palvo Corporation\n\n"
         "\tPalvoPrinterConfiguration.exe [-? | -c | -r | -IT | -UT | -DL | -IN | -UN | -w]\n\n"
         "\tAuto-Config requires Windows 8 or later, Job Management requires Vista or later.")

LOG_NAME = (r"C:\ProgramData\Palvo\PrinterDriver\V6.0\PalvoPrinterConfiguration\PalvoOrvela"
            r"\PalvoPrinterConfiguration.log")


class Modes(unittest.TestCase):
    def setUp(self):
        self.lab = Lab()
        self.lab("reset")

    def test_the_machine_wide_switch_ends_the_run_before_it_logs(self):
        self.lab("set", "machine-switch", "0")
        for arguments in (("-?",), ("-c", "-i", "NewOrChangedTask"), ("-r",), ("-DL",)):
            with self.subTest(arguments=arguments):
                run = self.lab.run(*arguments)
                self.assertEqual((run.code, run.output), (0, ""))
        self.assertFalse(self.lab.log_path().exists())

    def test_help_and_unknown_arguments_print_the_usage_text(self):
        for argument in ("-?", "/?", "-x", "-", "/", "-e"):
            with self.subTest(argument=argument):
                run = self.lab.run(argument)
                self.assertEqual((run.code, run.output), (1, USAGE))

    def test_an_argument_with_a_wildcard_is_taken_to_the_letter(self):
        folder = self.lab.prefix / "drive_c" / "Wildcards"
        at_the_root = self.lab.prefix / "drive_c" / "x"
        for path in (folder, at_the_root):
            path.mkdir(exist_ok=True)
            self.addCleanup(shutil.rmtree, path)
        (folder / "-x").touch()
        (folder / "NewOrChangedTask").touch()
        for arguments in (("/?",), ("-?",), ("*",), ("-?", "-i", "New*")):
            with self.subTest(arguments=arguments):
                self.lab("reset")
                # The lab's process is started in this folder, so the program is in it, too.
                done = subprocess.run(
                    [ROOT / "palvo-lab", "run", "--", *arguments], cwd=folder, check=False,
                    stdout=subprocess.PIPE,
                    env=dict(os.environ, PALVO_LAB_PREFIX=str(self.lab.prefix)))
                asks = "?" in arguments[0]
                self.assertEqual((done.returncode, done.stdout.decode().replace("\r\n", "\n")),
                                 (1, USAGE) if asks else (0, ""))
                switches = " ".join(a for a in arguments if a != "*")
                self.assertEqual(self.lab.log()[0],
                                 f"# Called with {len(arguments)} argument(s): {switches}")

    def test_an_unknown_argument_is_named_in_the_log(self):
        self.assertEqual(self.lab.run("-x", "-c").log, [
            "ERROR: Unrecognized argument: x!",
            "# Called with 2 argument(s): -x",
            "#\tResolved Args: NoNgen, NoWarmup, InvalidArgumentList, NotNewOrChangedEvent, -i "])

    def test_no_arguments_refresh_on_demand(self):
        run = self.lab.run()
        self.assertEqual(run.code, 0)
        self.assertEqual(run.log[:3], [
            "# Called with no arguments",
            "#\tResolved Args: NoNgen, NoWarmup, OnDemandAutoConfigRefresh, NotNewOrChangedEvent, -i ",
            "# Processing on-demand auto-configuration: "])
        self.assertEqual([s.arguments for s in run.siblings],
                         [" ", f'  -i "PalvoPrinterConfiguration({run.pid})"'])

    def test_the_log_is_deleted_and_begun_again(self):
        self.lab.run("-?")
        run = self.lab.run("-DL")
        self.assertEqual(run.code, 0)
        self.assertEqual(self.lab.log(), ["# Invoked to delete log file. Done...exiting."])

    def test_a_log_that_cannot_be_deleted_is_told_by_the_exit_code(self):
        run = self.lab.run("-DL", options=("--fault", "SetFileInformationByHandle 1 5 always"))
        self.assertEqual(run.code, 1)
        self.assertEqual(self.lab.log()[-1], "# Invoked to delete log file. Done...exiting.")

    def test_a_log_that_is_not_there_counts_as_deleted(self):
        self.lab.run("-?")
        self.lab.log_path().unlink()
        # Where the log's folder is cannot be told, so no log is created in it.
        run = self.lab.run("-DL", options=("--fault", "GetFinalPathNameByHandleW 1 5 always"))
        self.assertEqual((run.code, run.output, run.log), (0, "", []))

    def test_a_log_without_a_directory_cannot_be_deleted(self):
        for fault in ("SHGetKnownFolderPath 1 0x80070002", "CreateDirectoryW 1 5 always"):
            with self.subTest(fault=fault):
                self.lab("reset")
                run = self.lab.run("-DL", options=("--fault", fault))
                self.assertEqual((run.code, run.output, run.log), (1, "", []))

    def test_a_driver_package_is_installed_by_name(self):
        run = self.lab.run("-APDI", "-i", "Palvo Orvela PV6 PS")
        self.assertEqual((run.code, run.output),
                         (0, "Added driver instance for 'Palvo Orvela PV6 PS'.\n"))
        self.assertEqual(run.log[-1], "Added driver instance for 'Palvo Orvela PV6 PS'")

    def test_a_driver_package_that_cannot_be_installed_gives_the_spoolers_result(self):
        run = self.lab.run("-APDI", "-i", "No %s Such %n Driver")
        self.assertGreaterEqual(run.code, 0x80000000)
        self.assertEqual(run.output, "ERROR: Failed to add driver instance for 'No %s Such %n Driver': "
                         f"HRESULT=0x{run.code:x}.\n")
        self.assertEqual(run.log[-1], "ERROR: Failed to add driver instance for 'No %s Such %n "
                         f"Driver': HRESULT=0x{run.code:x}")

    def test_native_images_alone_start_the_writer_and_return_1(self):
        run = self.lab.run("-UN", "-w")
        self.assertEqual(run.code, 1)
        self.assertEqual(run.log, [
            "ERROR: Can't specify -w with -UN. Ignoring -w.",
            "# Called with 2 argument(s): -UN -w",
            "#\tResolved Args: UninstallNgen, NoWarmup, NoCmdLineOption, NotNewOrChangedEvent, -i ",
            "# Will removing NGEN-generated Native Images of the Desktop Orvela and related apps (-UN)",
            "# Spawn PalvoPrinterConfigurationWriter in the background with the arg(s): -UN"])
        writer = f'  -UN -i "PalvoPrinterConfiguration({run.pid})"'
        self.lab.wait_for(lambda: [s.arguments for s in self.lab.siblings()] == [writer],
                          "the writer in the background")

    def test_a_print_server_is_not_warmed_up(self):
        self.lab("set", "suite", "enterprise")
        run = self.lab.run("-IN", "-w")
        self.assertEqual(run.code, 1)
        self.assertEqual(run.log[2:], [
            "# Ignoring request to warmup the Desktop Orvela because we are running on a print server",
            "# Will execute NGEN of Desktop Orvela and related apps (-IN)",
            "# Spawn PalvoPrinterConfigurationWriter in the background with the arg(s): -IN"])

    def test_the_debugger_prompt_is_offered_once(self):
        self.lab("user", "add", "anna", "standard")
        self.lab("user", "logon", "anna")
        self.lab("set", "debugger-prompt", "ALWAYS")
        self.lab.run("-r", "-IN")
        messages = self.lab("show", "messages").splitlines()
        self.assertEqual(len(messages), 1)
        self.assertIn("Attach debugger now, if desired.", messages[0])
        self.assertIn("Non-Interactive Process: PalvoPrinterConfiguration.exe", messages[0])


class BadInput(unittest.TestCase):
    def setUp(self):
        self.lab = Lab()
        self.lab("reset")

    def test_arguments_of_any_kind_are_data(self):
        for raw in ('""', "-c -i", "%s %n -i %s%n", "-c -i \\uD800 \\uDC00x", "-i " + "x" * 30000,
                    " ".join(["w"] * 8000), "-c -i \"日本 %s\""):
            with self.subTest(raw=raw[:30]):
                run = self.lab.run(raw=raw, options=("--escapes",))
                self.assertEqual(run.code, 0)
                self.assertTrue(run.log[0].startswith("# Called with "))

    def test_a_log_that_is_a_directory_costs_the_lines_and_no_more(self):
        self.lab.log_path().mkdir(parents=True)
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.lab("printer", "add", "One", SUPPORTED)
        output = self.lab("run", "--print-exit", "--", "-c", "-i", "NewOrChangedTask")
        self.assertIn("exit 0", output)
        self.assertEqual(len(self.lab.siblings()), 2)
        self.lab.log_path().rmdir()

    def test_a_log_of_any_bytes_is_appended_to(self):
        self.lab.log_path().parent.mkdir(parents=True, exist_ok=True)
        before = bytes(range(256)) * 10
        self.lab.log_path().write_bytes(before)
        self.lab("run", "--", "-DL", "-?", check=False)
        after = self.lab.log_bytes()
        self.assertEqual(after[:len(before)], before)
        self.assertEqual(after[len(before):].count(b"\r\n"), 2)

    def test_a_log_over_4_mib_keeps_whole_lines_of_its_last_2_mib(self):
        self.lab.log_path().parent.mkdir(parents=True, exist_ok=True)
        line = b"x" * 98 + b"\r\n"
        self.lab.log_path().write_bytes(line * 41943 + b"y" * 5 + b"\r\n")      # 4,194,307 bytes
        self.lab("run", "--", "-?", check=False)
        content = self.lab.log_bytes()
        kept = content[:content.index(b"[")]
        self.assertEqual(kept, line * 20972 + b"yyyyy\r\n")
        self.assertIn(b": Log trimmed.\r\n", content)
        self.assertFalse(self.lab.log_path().with_name(self.lab.log_path().name + ".plvold").exists())

    def test_a_trim_whose_reads_come_short_keeps_the_same_lines(self):
        self.lab.log_path().parent.mkdir(parents=True, exist_ok=True)
        line = b"x" * 98 + b"\r\n"
        self.lab.log_path().write_bytes(line * 41943 + b"y" * 5 + b"\r\n")
        self.lab("run", "--fault", "ReadFile 1 bytes=999 always", "--", "-?", check=False)
        content = self.lab.log_bytes()
        self.assertEqual(content[:content.index(b"[")], line * 20972 + b"yyyyy\r\n")

    def test_a_log_of_exactly_4_mib_is_not_trimmed(self):
        self.lab.log_path().parent.mkdir(parents=True, exist_ok=True)
        before = (b"x" * 62 + b"\r\n") * 65536
        self.lab.log_path().write_bytes(before)
        self.lab("run", "--", "-?", check=False)
        self.assertTrue(self.lab.log_bytes().startswith(before))
        self.assertNotIn(b"Log trimmed.", self.lab.log_bytes())

    def test_program_data_that_cannot_be_had_costs_the_log_and_no_more(self):
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.lab("printer", "add", "One", SUPPORTED)
        run = self.lab.run("-c", "-i", "NewOrChangedTask",
                           options=("--fault", "SHGetKnownFolderPath 1 0x80070002"))
        self.assertEqual((run.code, run.log, len(run.siblings)), (0, [], 2))

    def test_local_service_and_authenticated_users_may_write_the_log(self):
        self.lab("record", "on", "SetSecurityInfo")
        self.lab.run("-?")
        # What is asked for. What the file then stores is test_file_rights's.
        calls = re.findall(r' SetSecurityInfo\("file (.*)", 1, 4, "D:(\(.*?\)).*"\) = 0 \[\d+\]$',
                           self.lab("show", "calls"), re.MULTILINE)
        self.assertEqual(calls, [(LOG_NAME, "(A;OICI;SDGWGR;;;LS)"),
                                 (LOG_NAME, "(A;OICI;SDGWGR;;;AU)")])
        run = self.lab.run("-?", options=("--account", "LocalService"))
        self.assertEqual(run.log[0], "# Called with 1 argument(s): -?")


if __name__ == "__main__":
    unittest.main()
