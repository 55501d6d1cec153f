"""The lab keeps a machine and makes another one like it."""

import unittest

from doctor import DoctorTest


class KeptMachine(DoctorTest):
    def machine(self):
        return [self.lab("show", "registry"), self.lab.log_bytes(), self.lab("tasks"), self.lab.bags(),
                self.lab("printer", "list"), self.lab("show", "channel"),
                self.lab("rights", str(self.lab.log_path()), check=False)]

    def test_it_is_as_it_was(self):
        self.lab("keep")
        machine = self.machine()
        self.lab("reset")
        self.lab("set", "windows-version", "win10")
        for then, now in zip(machine, self.machine()):
            self.assertNotEqual(then, now)
        self.lab("restore")
        self.assertEqual(self.machine(), machine)
        self.assertEqual(self.findings(), [])

    def test_standard_users_may_write_its_log(self):
        self.lab("restore")
        self.assertEqual(self.lab.run("-?", options=("--account", "anna")).log[0],
                         "# Called with 1 argument(s): -?")


if __name__ == "__main__":
    unittest.main()
