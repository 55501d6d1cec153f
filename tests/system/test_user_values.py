"""What the users' property bags get, on the shipped file."""

import hashlib
import re
import unittest

from lab import Lab

GUID = r"[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}"
# The SHA-256 digest of "7.0:" and the list of the desktop applications as it was shipped.
DESKTOP_APP_GUIDS = "685cb7cbb13b3989d5fa3bbd32a06f5d7fabdbb1e7e275039478a0ebc9e2259e"


def identifier(source):
    """The identifier that is made of a text of small letters."""
    digest = hashlib.sha256(source.encode()).hexdigest()
    return "-".join((digest[:8], digest[8:12], digest[12:16], digest[16:20], digest[20:32]))


class UserValues(unittest.TestCase):
    def setUp(self):
        self.lab = Lab()
        self.lab("reset")

    def computer_and_machine(self, log):
        """The computer's name as the log has it for anna, and the text that stands for the machine."""
        found = [match for line in log if (match := re.fullmatch(
            rf"Updated UserPropertyBag for '(.*)\\anna': UserId='{GUID}', Src='anna : (.*)'", line))]
        self.assertEqual(len(found), 1, log)
        computer, machine = found[0].groups()
        self.assertNotEqual(computer, "")
        # A local account's domain is the computer.
        self.assertTrue(machine.startswith(f"{computer}.{computer}.".lower()), machine)
        return computer, machine

    def add(self, name, kind):
        sid = self.lab("user", "add", name, kind).strip()
        self.lab("user", "logon", name)
        return sid

    def test_every_logged_on_user_gets_the_identity_values(self):
        users = {name: self.add(name, kind) for name, kind in
                 (("cleo", "fulladmin"), ("ben", "admin"), ("anna", "standard"))}
        run = self.lab.run("-c", "-i", "UserLogonTask")
        self.assertEqual(run.code, 0)
        bags = self.lab.bags()
        self.assertEqual({name: bags[sid]["IsAdmin"] for name, sid in users.items()}, {
            "anna": ("REG_SZ", "0"), "ben": ("REG_SZ", "1"), "cleo": ("REG_SZ", "1")})
        self.assertEqual(len({bags[sid]["UserId"][1] for sid in users.values()}), 3)
        self.assertEqual(len({bags[sid]["DeviceId"][1] for sid in users.values()}), 1)
        for sid in users.values():
            self.assertRegex(bags[sid]["UserId"][1], f"^{GUID}$")
            self.assertRegex(bags[sid]["DeviceId"][1], f"^{GUID}$")
        updated = [line for line in run.log if line.startswith("Updated UserPropertyBag for ")]
        self.assertEqual(len(updated), 3)

    def test_the_log_tells_what_the_identifiers_are_made_of(self):
        sid = self.add("anna", "standard")
        run = self.lab.run("-c", "-i", "UserLogonTask")
        computer, machine = self.computer_and_machine(run.log)
        user_source = f"anna : {machine}"
        # What WMI tells of the lab's machine.
        device_source = f"5d1c9e40-27ab-4f86-b3d2-0a94e6c7158f : lab-4711 : {machine}"
        self.assertEqual([line for line in run.log if line.startswith("Updated")], [
            f"Updated UserPropertyBag for '{computer}\\anna': UserId='{identifier(user_source)}', "
            f"Src='{user_source}'",
            f"Updated UserPropertyBags: DeviceId='{identifier(device_source)}', "
            f"Src='{device_source}'"])
        bag = self.lab.bags()[sid]
        self.assertEqual((bag["UserId"], bag["DeviceId"]), (
            ("REG_SZ", identifier(user_source)), ("REG_SZ", identifier(device_source))))

    def test_without_wmi_the_device_is_known_by_the_machine_name_alone(self):
        self.add("anna", "standard")
        for fault in ("CoCreateInstance 1 0x80040154", "IWbemLocator::ConnectServer 1 0x80041003",
                      "CoSetProxyBlanket 1 0x80010119", "IWbemServices::ExecQuery 1 0x80041003",
                      "IEnumWbemClassObject::Next 1 0x80041003"):
            with self.subTest(fault=fault):
                run = self.lab.run("-c", "-i", "UserLogonTask", options=("--fault", fault))
                source = f" :  : {self.computer_and_machine(run.log)[1]}"
                self.assertIn(f"Updated UserPropertyBags: DeviceId='{identifier(source)}', "
                              f"Src='{source}'", run.log)

    def test_a_hive_that_several_users_may_write_ends_with_the_last_ones_value(self):
        anna, cleo = self.add("anna", "standard"), self.add("cleo", "fulladmin")
        self.lab.run("-c", "-i", "UserLogonTask")
        self.assertEqual({self.lab.bags()[sid]["IsAdmin"][1] for sid in (anna, cleo)}, {"1"})

    def test_a_disconnected_user_gets_the_values_too(self):
        sid = self.add("anna", "standard")
        self.lab("user", "disconnect", "anna")
        self.lab.run("-c", "-i", "UserLogonTask")
        self.assertIn("UserId", self.lab.bags()[sid])

    def test_a_hive_that_cannot_be_written_is_passed_over(self):
        anna, ben = self.add("anna", "standard"), self.add("ben", "standard")
        self.lab("set", "hive-readonly", "anna", "on")
        run = self.lab.run("-c", "-i", "UserLogonTask")
        self.assertEqual(run.code, 0)
        bags = self.lab.bags()
        self.assertNotIn(anna, bags)
        self.assertEqual(set(bags[ben]), {"DesktopAppGUIDs", "UserId", "DeviceId", "IsAdmin"})

    def test_a_copy_that_cannot_become_itself_again_ends_at_once_without_a_line(self):
        self.add("anna", "standard")
        run = self.lab.run("-c", "-i", "UserLogonTask", options=(
            "--fault", "RevertToSelf 1 5 always", "--fault", "SetThreadToken 1 5 always"))
        self.assertEqual((run.code, run.output), (1, ""))
        self.assertEqual([line.split("=")[0] for line in run.log], [
            "# Called with 3 argument(s): -c -i UserLogonTask",
            "#\tResolved Args: NoNgen, NoWarmup, NewOrChangedEvent, UserLogonEvent, -i "
            "UserLogonTask",
            "-Processing NewOrChanged event: UserLogonTask",
            "# Procesing a special NewOrChanged event.",
            self.updated_user(run.log),
            "Updated UserPropertyBags: DeviceId"])

    def updated_user(self, log):
        return f"Updated UserPropertyBag for '{self.computer_and_machine(log)[0]}\\anna': UserId"

    def test_nobody_logged_on_means_no_identity_values(self):
        run = self.lab.run("-c", "-i", "UserLogonTask")
        self.assertEqual(run.code, 0)
        bags = self.lab.bags()
        self.assertTrue(bags, "there is no bag")
        for bag in bags.values():
            self.assertEqual(set(bag), {"DesktopAppGUIDs"})

    def test_the_list_of_desktop_applications_is_stored_to_the_byte(self):
        self.lab.run("-c", "-i", "UserLogonTask")
        bags = self.lab.bags()
        self.assertTrue(bags, "there is no bag")
        for hive, bag in bags.items():
            with self.subTest(hive=hive):
                kind, text = bag["DesktopAppGUIDs"]
                self.assertEqual(kind, "REG_SZ")
                self.assertEqual(len(text), len("7.0:") + 6475)
                self.assertEqual(hashlib.sha256(text.encode()).hexdigest(), DESKTOP_APP_GUIDS)


if __name__ == "__main__":
    unittest.main()
