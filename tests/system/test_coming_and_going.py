"""Users whose hives come after their logon, and users who come and go while a copy works."""

import unittest

from lab import Lab

LOGON = ("-c", "-i", "UserLogonTask")


class ComingAndGoing(unittest.TestCase):
    def setUp(self):
        self.lab = Lab()
        self.lab("reset")
        self.addCleanup(self.lab, "sibling", "writer", "--release")
        self.sid = {name: self.lab("user", "add", name, "standard").strip() for name in ("anna", "ben")}

    def users_with_values(self):
        bags = self.lab.bags()
        return [name for name, sid in self.sid.items() if "UserId" in bags.get(sid, {})]

    def run_with(self, change):
        """A run in the middle of which something changes; its log."""
        self.lab("sibling", "writer", "--hold")
        pid = self.lab.start(*LOGON)
        self.lab.wait_for(lambda: [s for s in self.lab.siblings() if s.name == "writer"], "the writer")
        change()
        self.lab("sibling", "writer", "--release")
        self.lab.wait_for(lambda: "NewOrChanged event done...exiting." in self.lab.log()
                          and not self.lab.at_work(), "the end")
        return [message for process, message in self.lab.log_lines() if process == pid]

    def test_a_user_whose_hive_comes_after_the_logon_is_served_by_the_next_run(self):
        self.lab("user", "logon", "ben")
        self.lab("user", "logon", "anna", "--hive-after")
        run = self.lab.run(*LOGON)
        self.assertEqual((run.code, self.users_with_values()), (0, ["ben"]))
        self.assertEqual(self.lab.leaks(), [])
        self.lab("user", "hive", "anna")
        self.assertEqual(self.lab.run("-r").code, 0)
        self.assertEqual(self.users_with_values(), ["anna", "ben"])

    def test_a_hive_that_comes_while_the_writer_works_is_served_by_the_same_run(self):
        self.lab("user", "logon", "anna", "--hive-after")
        self.run_with(lambda: self.lab("user", "hive", "anna"))
        self.assertEqual(self.users_with_values(), ["anna"])

    def test_a_user_who_leaves_while_the_writer_works_keeps_nobody_from_his_values(self):
        self.lab("user", "logon", "anna")
        self.lab("user", "logon", "ben")
        log = self.run_with(lambda: self.lab("user", "logoff", "anna"))
        self.assertEqual(self.users_with_values(), ["ben"])
        updated = [line for line in log if line.startswith("Updated UserPropertyBag for ")]
        self.assertEqual([r"\ben'" in line for line in updated], [True])
        self.assertEqual(self.lab.leaks(), [])


if __name__ == "__main__":
    unittest.main()
