"""Data that users can make as large and as odd as they like: names, events, lists, manifests."""

import unittest

from attack import BAG, EVENT, LOG_MUTEX, LOGON, LONG, ODD_NAMES, AttackTest

LARGE = 100_000_000 if LONG else 10_000_000     # bytes
HUGE_TEXTS = ("%s", "a" * 30_000, "\\u0416" * 30_000, '"' * 20_000, "\\\\u000A" * 3_000)


class HostileData(AttackTest):
    def test_list_of_any_length_costs_twice_that_and_others_get_theirs(self):
        anna, ben = self.add_user("anna"), self.add_user("ben")
        usual, _ = self.peak(*LOGON)
        for unit in map(ord, "*x"):
            with self.subTest(unit=chr(unit)):
                self.lab("set", "bag-value", ben, "DesktopAppGUIDs", "theirs")
                self.attacker.do("value", f"{anna}\\{BAG}", "DesktopAppGUIDs", 1, LARGE, unit)
                peak, (code, siblings) = self.peak(*LOGON)
                self.assertEqual((code, len(siblings)), (0, 2))
                self.assertLess(peak, usual + 3 * LARGE // 1024)
                # Before the lab shows it.
                self.attacker.do("value", f"{anna}\\{BAG}", "DesktopAppGUIDs", 1, 0, unit)
                self.assertRegex(self.bag(ben)["DesktopAppGUIDs"][1], r"^theirs\*7\.0:")

    def bag(self, sid):
        return self.lab.bags()[sid]

    def test_values_of_any_type_are_written_anew(self):
        anna = self.add_user("anna")
        for kind in (0, 2, 3, 4, 5, 6, 7, 8, 11, 0xDEAD):
            for name in ("UserId", "DeviceId", "IsAdmin", "DesktopAppGUIDs"):
                self.attacker.do("value", f"{anna}\\{BAG}", name, kind, 3, 37)
        self.assertEqual(self.attacked_work(*LOGON)[0], 0)
        bag = self.bag(anna)
        self.assertEqual({kind for kind, _ in bag.values()}, {"REG_SZ"})
        self.assertTrue(bag["DesktopAppGUIDs"][1].startswith("%*7.0:"))
        self.assertEqual(bag["IsAdmin"][1], "0")

    def test_printers_with_odd_names_are_served_like_others(self):
        self.expect_served()
        for name in ODD_NAMES:
            with self.subTest(name=name):
                self.lab("printer", "add", name, "Palvo Orvela PV6", check=False)
                if self.lab.code != 0:
                    continue    # The spooler takes no such name.
                code, siblings = self.attacked_work(*EVENT)
                self.assertEqual((code, [s.name for s in siblings]), (0, ["query", "writer"]))
                # The writer's line is the last. The process's number stands before the operands.
                operands = self.lab("show", "operands").split("\n")[-3].split("\t")[1:]
                self.assertEqual((len(operands), operands[0]), (2, "-e"))
        self.log.unlink()   # A name with a line's end has made lines of its own.
        self.expect_served()

    def test_events_with_odd_and_huge_texts_keep_no_printer_from_being_served(self):
        for text in ODD_NAMES + HUGE_TEXTS:
            self.lab("event", "add", "306", text)
        usual, _ = self.peak("-?")
        self.lab("printer", "change", "Office")
        peak, (code, siblings) = self.peak(*EVENT)
        self.assertEqual((code, [s.arguments for s in siblings][:1]), (0, [' -e "Office"']))
        # Twelve megabytes of a run that scans, and what the longest event needs.
        self.assertLess(peak - usual, 4096)

    def test_manifests_of_any_size_and_content_keep_no_printer_from_being_served(self):
        size = LARGE // 4
        fine = b"[PV-Private]\r\nDriverPlatform=PV6P2.0\r\n"
        for number, content in enumerate((
                b"", b"\0" * 1000, b"[" * 100_000, b"x" * size, b"=\n" * 50_000,
                b"\xff\xfe" + b"\0\xd8" * 1000,
                b"[PV-Private]\r\nDriverPlatform=" + b"9" * 1_000_000,
                b"[PV-Private]\r\nDriverPlatform=%s%n\r\n", fine.replace(b"=", b"\0="))):
            with self.subTest(number=number):
                file = self.drive / "theirs.ini"
                file.write_bytes(content)
                self.addCleanup(self.remove, file)
                driver = f"Odd {number}"
                self.lab("driver", "add", driver, "--manifest-file", r"C:\theirs.ini")
                self.lab("printer", "add", f"Printer {number}", driver)
        usual, _ = self.peak("-?")
        self.lab("printer", "change", "Office")
        peak, (code, siblings) = self.peak(*EVENT)
        self.assertEqual((code, [s.name for s in siblings]), (0, ["query", "writer"]))
        self.assertLess(peak - usual, 8 * size // 1024)

    def test_users_with_odd_names_get_their_values_and_so_do_others(self):
        users = [self.add_user(name) for name in (
            "%s%n%x", "a\u202eb\ufeff", "-x", "be\x07ll\x1b", "Zo\u00eb \u65e5\u672c", "ben")]
        self.assertEqual(self.attacked_work(*LOGON)[0], 0)
        for sid in users:
            self.assertEqual(set(self.bag(sid)), {"DesktopAppGUIDs", "UserId", "DeviceId", "IsAdmin"})
        self.assertEqual(len([line for line in self.lab.log()
                              if line.startswith("Updated UserPropertyBag for ")]), len(users))


class LeavingUser(AttackTest):
    def test_user_who_logs_off_in_the_middle_of_a_turn_keeps_no_other_waiting(self):
        users = {name: self.add_user(name) for name in ("anna", "ben", "carl")}
        for name in ("anna", "ben"):        # in the middle of her turn, and before his
            with self.subTest(leaving=name):
                self.log_off_in_annas_turn(name, users)
                self.assertEqual(self.lab.log()[-3], "NewOrChanged event done...exiting.")
                carl = self.bag(users["carl"])
                self.assertEqual(set(carl), {"DesktopAppGUIDs", "UserId", "DeviceId", "IsAdmin"})
                self.assertNotEqual(carl["UserId"], ("REG_SZ", "0"))
                self.lab("user", "logon", name)

    def log_off_in_annas_turn(self, name, users):
        self.lab("sibling", "writer", "--hold")
        for sid in users.values():
            self.attacker.do("value", f"{sid}\\{BAG}", "UserId", 1, 2, ord("0"))
        self.lab.start(*LOGON)
        self.lab.wait_for(lambda: any(not s.ended for s in self.lab.siblings()), "the writer")
        # The run wants to tell of a value that it has written, and waits.
        with self.attacker.holding("mutex", LOG_MUTEX, ""):
            self.lab("sibling", "writer", "--release")
            self.lab.wait_for(lambda: self.bag(users["anna"]).get("UserId") != ("REG_SZ", "0"),
                              "anna's turn")
            self.lab("user", "logoff", name)
        self.lab.wait_for(lambda: not self.lab.at_work(), "the end of the run")

    def bag(self, sid):
        return self.lab.bags().get(sid, {})


if __name__ == "__main__":
    unittest.main()
