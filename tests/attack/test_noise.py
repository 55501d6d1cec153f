"""Fifty users, or one with fifty programs, who do what the other attacks do: all at once, while the
program runs. Afterwards it does its work as ever."""

import os
import random
import shutil
import threading
import time
import unittest
from collections import Counter

from lab import Server

from attack import (BAG, EVENT, LOG_MUTEX, LOGON, LONG, ODD_NAMES, TOOLS, AttackTest, global_objects)
from test_held_objects import DESCRIPTORS, WINDOWS_PATH

AT_ONCE = 50
ROUNDS = 2
SECONDS = 3600      # of the long form
THEIRS = b"theirs\r\n"
COPIES = (("SYSTEM", *EVENT), ("SYSTEM", *LOGON), ("SYSTEM", "-r"), ("SYSTEM", "-?"),
          ("SYSTEM", "-DL"), ("Administrator", "-x"))


class Noise(AttackTest):
    def setUp(self):
        super().setUp()
        self.users = {name: self.add_user(name) for name in ("anna", "ben")}
        self.elsewhere = self.drive / "Elsewhere"
        self.elsewhere.mkdir()
        self.victim = self.elsewhere / "victim"
        self.addCleanup(shutil.rmtree, self.elsewhere)
        # A command of its own beside those of the test, which wait for the runs.
        self.other_lab = Server(self.lab.prefix)
        self.addCleanup(self.other_lab.end)
        self.lock, self.counting = threading.Lock(), threading.Lock()
        self.tried, self.done = Counter(), Counter()    # attacks

    def ask(self, *arguments):
        with self.lock:
            return self.other_lab.ask(arguments)[1] == 0

    # What a user does, and what comes after a moment. False where it was refused.

    def link(self, chance):
        self.remove(self.log)
        (os.link if chance.random() < 0.5 else os.symlink)(self.victim, self.log)

    def link_to_nothing(self, _):
        self.remove(self.log)
        self.log.symlink_to(self.elsewhere / "new")

    def copys_link(self, chance):
        copy = self.log.with_name(self.log.name + ".plvold")
        self.remove(copy)
        copy.symlink_to(chance.choice([self.victim, self.elsewhere]))

    def mount_point(self, chance):
        folder = self.log.parents[chance.randrange(5)]
        if folder.is_symlink():
            return False
        shutil.rmtree(folder, ignore_errors=True)
        folder.symlink_to(self.elsewhere, target_is_directory=True)
        return True

    def no_mount_point(self, _):
        for folder in self.log.parents[:5]:
            if folder.is_symlink():
                folder.unlink()

    def folder(self, _):
        self.remove(self.log)
        self.log.mkdir(parents=True)

    def nothing(self, _):
        shutil.rmtree(self.log, ignore_errors=True)
        self.remove(self.log)

    def foreign_log(self, chance):
        self.log.parent.mkdir(parents=True, exist_ok=True)
        with open(self.log, "r+b" if self.log.is_file() else "xb") as stream:
            # Through a link it would be the user's own doing.
            if os.path.samestat(os.fstat(stream.fileno()), self.victim.stat()):
                return False
            stream.truncate(chance.choice([0, 10, 2 ** 23]))
            return True

    def held_log(self, chance):
        return self.hold(chance, "file", WINDOWS_PATH)

    def held_mutex(self, chance):
        return self.hold(chance, "mutex", LOG_MUTEX, "")

    def held_object(self, chance):
        return self.hold(chance, "object", chance.choice(["mutex", "event", "section"]),
                         chance.choice(list(global_objects().values())), chance.choice(DESCRIPTORS))

    def hold(self, chance, *what):
        answer, number = self.attacker.tell(*what)
        if answer == "ok":
            time.sleep(chance.random() / 10)
            self.attacker.do("let-go", number)
        return answer == "ok"

    def planted_dll(self, chance):
        name = chance.choice(["wevtapi", "secur32", "wbemcomn", "cryptbase", "userenv"])
        shutil.copy(TOOLS / "planted-dll.dll", self.log.parent / f"{name}.dll")

    def printer(self, chance):
        name = chance.choice(ODD_NAMES)
        return self.ask("printer", chance.choice(["add", "remove"]), name, "Palvo Orvela PV6")

    def event(self, chance):
        return self.ask("event", "add", "306", chance.choice(ODD_NAMES) * chance.randrange(1, 200))

    def bag(self, chance):
        answer, _ = self.attacker.tell(
            "value", f"{chance.choice(list(self.users.values()))}\\{BAG}",
            chance.choice(["DesktopAppGUIDs", "UserId", "IsAdmin"]),
            chance.randrange(12), chance.randrange(100_000), chance.randrange(256))
        return answer == "ok"

    def leaving(self, chance):
        return self.ask("user", chance.choice(["logoff", "logon"]), chance.choice(list(self.users)))

    ATTACKS = (link, link_to_nothing, copys_link, mount_point, no_mount_point, folder, nothing,
               foreign_log, held_log, held_mutex, held_object, planted_dll, printer, event, bag,
               leaving)

    def attack_until(self, done, seed):
        chance = random.Random(seed)
        try:
            while not done.is_set():
                self.attack(chance.choice(self.ATTACKS), chance)
                done.wait(chance.random() / 2)
        except Exception as error:  # Told in the main thread.
            self.died.append(error)

    def attack(self, attack, chance):
        try:
            did = attack(self, chance) is not False
        except (OSError, shutil.Error):     # Another one was quicker.
            did = False
        with self.counting:
            self.tried[attack.__name__] += 1
            self.done[attack.__name__] += did

    def round(self, seed):
        done = threading.Event()
        self.died = []      # what ended an attacker
        attackers = [threading.Thread(target=self.attack_until, args=(done, f"{seed} {number}"))
                     for number in range(AT_ONCE)]
        for attacker in attackers:
            attacker.start()
        try:
            codes = self.lab.burst([f"@{account} {' '.join(arguments)}"
                                    for account, *arguments in COPIES])
        finally:
            done.set()
            for attacker in attackers:
                attacker.join()
        self.assertEqual(self.died, [])
        self.assertEqual(len(codes), len(COPIES), "every copy ends")
        self.assertEqual(set(codes) - {0, 1}, set(), f"codes {codes}")

    def make_order(self):
        """What an administrator does in the end: takes away what is in the log's place."""
        for folder in (*reversed(self.log.parents[:5]), self.log):
            if folder.is_symlink():
                folder.unlink()
        shutil.rmtree(self.log.parents[4], ignore_errors=True)
        for name in self.users:
            self.lab("user", "logoff", name, check=False)
            self.lab("user", "logon", name)

    def expect_elsewhere_as_it_was(self):
        """What the attackers put there through links of each other may be there; and folders, since a
        user who is quick enough puts a mount point above a folder while it is made."""
        self.assertEqual(self.victim.read_bytes(), THEIRS)
        self.assertEqual(self.victim.stat().st_mode & 0o777, 0o600)
        for path in self.elsewhere.rglob("*"):
            if path.is_file():
                self.assertNotIn(b"PalvoPrinterConfiguration(PID", path.read_bytes(), path)

    def test_after_noise_of_fifty_at_once_an_ordinary_run_does_its_work(self):
        seed = os.environ.get("PALVO_SEED") or str(random.randrange(10 ** 9))
        end = time.monotonic() + SECONDS
        number = 0
        while number < ROUNDS or LONG and time.monotonic() < end:
            with self.subTest(seed=f"{seed} {number}"):
                self.victim.write_bytes(THEIRS)
                self.victim.chmod(0o600)
                self.round(f"{seed} {number}")
                self.expect_elsewhere_as_it_was()
                self.make_order()
                shutil.rmtree(self.elsewhere)
                self.elsewhere.mkdir()
                self.attacked_work(*EVENT)      # for the printers that the attackers changed
                self.remove(self.log)   # A name with a line's end has made lines of its own.
                self.expect_served()
                self.assertEqual(set(self.lab.bags()[self.users["anna"]]),
                                 {"DesktopAppGUIDs", "UserId", "DeviceId", "IsAdmin"})
            number += 1
        self.assertEqual({attack for attack in self.tried if not self.done[attack]}, set(),
                         f"never done of {dict(self.tried)}, seed {seed}")


if __name__ == "__main__":
    unittest.main()
