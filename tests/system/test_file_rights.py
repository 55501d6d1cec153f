"""What accounts may do with the log and with the suite's folder, and what the program's grants change."""

import unittest

from lab import SUITE, Lab

CMD = r"C:\windows\system32\cmd.exe"
CALLED = "# Called with 1 argument(s): -?"
# What Windows's ProgramData gives to what SYSTEM makes below it.
INHERITED = "(A;ID;FA;;;SY)(A;ID;FA;;;BA)(A;ID;FA;;;BA)(A;ID;0x1200a9;;;BU)"


class FileRights(unittest.TestCase):
    def setUp(self):
        self.lab = Lab()
        self.lab("reset")
        self.lab("user", "add", "bob", "standard")

    def rights(self):
        return self.lab("rights", str(self.lab.log_path())).strip()

    def run_as(self, account, *arguments, fault=None):
        options = ("--account", account, *(("--fault", fault) if fault else ()))
        return self.lab.run(*arguments, options=options)

    def cmd(self, account, command):
        """A line of a command prompt of that account; its exit code."""
        self.lab("run", "--account", account, "--output", "NUL", "--program", CMD, "--raw",
                 f"/c {command}", check=False)
        return self.lab.code

    def write(self, account, path):
        """Whether the account can write a line into the file."""
        self.cmd(account, f'echo theirs>>"{path}"')
        host = self.lab.prefix / "drive_c" / path.removeprefix("C:\\").replace("\\", "/")
        return host.exists() and b"theirs" in host.read_bytes()

    def log_in_windows(self):
        return str(self.lab.log_path()).replace(str(self.lab.prefix / "drive_c"), "C:").replace(
            "/", "\\")

    def test_a_run_grants_local_service_and_all_users_to_read_write_and_delete(self):
        self.run_as("SYSTEM", "-?")
        self.assertEqual(self.rights(), "O:BAD:(A;;0x13019f;;;AU)(A;;0x13019f;;;LS)" + INHERITED)

    def test_the_logs_list_does_not_grow_with_every_run(self):
        self.run_as("SYSTEM", "-?")
        first = self.rights()
        for account in ("SYSTEM", "SYSTEM", "LocalService"):
            self.run_as(account, "-?")
            self.assertEqual(self.rights(), first)

    def test_local_service_writes_the_log_after_the_grants_and_not_before(self):
        self.run_as("SYSTEM", "-?", fault="SetSecurityInfo 1 5 always")
        self.assertEqual(self.rights(), "O:BAD:AI" + INHERITED)
        self.assertEqual(self.run_as("LocalService", "-?").log, [])
        self.run_as("SYSTEM", "-?")
        self.assertEqual(self.run_as("LocalService", "-?").log[0], CALLED)

    def test_a_standard_user_writes_the_log_after_the_grants_and_not_before(self):
        self.run_as("SYSTEM", "-?", fault="SetSecurityInfo 1 5 always")
        self.assertFalse(self.write("bob", self.log_in_windows()))
        self.run_as("SYSTEM", "-?")
        self.assertTrue(self.write("bob", self.log_in_windows()))

    def test_a_standard_user_deletes_and_replaces_the_log(self):
        self.run_as("SYSTEM", "-?")
        run = self.run_as("bob", "-DL")
        self.assertEqual((run.code, self.lab.log()),
                         (0, ["# Invoked to delete log file. Done...exiting."]))
        self.assertTrue(self.rights().startswith("O:" + self.sid("bob") + "D:"), self.rights())
        # The replaced log is the user's and the log nevertheless: the next run grants what it lacks.
        self.assertEqual(self.run_as("SYSTEM", "-?").log[0], CALLED)
        self.assertEqual(self.run_as("LocalService", "-?").log[0], CALLED)

    def sid(self, user):
        return next(line.split("\t")[2] for line in self.lab("user", "list").splitlines()
                    if line.startswith(user + "\t"))

    def test_a_log_that_nobody_granted_cannot_be_deleted_by_a_user(self):
        self.run_as("SYSTEM", "-?", fault="SetSecurityInfo 1 5 always")
        before = self.lab.log_bytes()
        self.assertEqual(self.run_as("bob", "-DL").code, 1)
        self.assertEqual(self.lab.log_bytes(), before)

    def test_a_standard_user_writes_nothing_in_the_suites_folder(self):
        self.addCleanup((self.lab.suite() / "version.dll").unlink, missing_ok=True)
        for name in ("version.dll", "PalvoPrinterQuery.exe"):
            with self.subTest(file=name):
                self.assertFalse(self.write("bob", rf"{SUITE}\{name}"))
        self.assertTrue(self.write("Administrator", SUITE + r"\version.dll"))

    def test_a_list_counts_for_the_file_and_not_for_a_link_that_leads_to_it(self):
        self.run_as("SYSTEM", "-?", fault="SetSecurityInfo 1 5 always")
        log, link = self.lab.log_path(), self.lab.prefix / "drive_c" / "ProgramData" / "link.log"
        link.symlink_to(log)
        self.addCleanup(link.unlink)
        self.assertEqual(self.lab("rights", str(link)).strip(), self.rights())
        before = log.read_bytes()
        self.cmd("bob", r'echo theirs>>"C:\ProgramData\link.log"')
        self.assertEqual(log.read_bytes(), before)
        self.cmd("Administrator", r'echo theirs>>"C:\ProgramData\link.log"')
        self.assertEqual(log.read_bytes(), before + b"theirs\r\n")

    def test_a_log_whose_list_shuts_the_system_out_costs_the_lines_and_no_more(self):
        self.run_as("SYSTEM", "-?")
        self.lab("rights", str(self.lab.log_path()), "O:" + self.sid("bob") + "D:")
        run = self.run_as("SYSTEM", "-r")
        self.assertEqual((run.code, run.log, len(run.siblings)), (0, [], 2))


if __name__ == "__main__":
    unittest.main()
