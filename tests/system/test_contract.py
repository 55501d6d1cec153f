"""The list of statements about Windows, asked without the lab."""

import os
import re
import subprocess
import unittest

from lab import ROOT, Lab

PROGRAM = "lab/windows-contract.exe"
LINE = re.compile(r"(holds|DOES NOT HOLD|breaks off|does not end|not asked) +(\w+)(?:: (.*)| \((.*)\))")


class Contract(unittest.TestCase):
    def ask(self, *arguments):
        """What the program prints when Wine runs it by itself, and its exit code."""
        lab = Lab()
        lab("help")     # The prefix is there after that.
        build = os.environ.get("PALVO_LAB_BIN", ROOT / "build/release")
        environment = dict(os.environ, WINEPREFIX=str(lab.prefix), WINEARCH="win64", WINEDEBUG="-all",
                           DISPLAY="", WINEDLLOVERRIDES="winedbg.exe=d;mscoree,mshtml=")
        result = subprocess.run(["wine", os.path.join(build, PROGRAM), *arguments], env=environment,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL, check=False, timeout=300)
        return result.stdout.decode("utf-8", "replace").replace("\r\n", "\n"), result.returncode

    def test_the_list_tells_of_every_statement_what_wine_does(self):
        output, code = self.ask()
        first, *lines, last = output.splitlines()
        self.assertEqual(first, "Asked by an elevated administrator.")
        told = [found.groups() for line in lines if (found := LINE.fullmatch(line))]
        self.assertEqual([line for line in lines if not LINE.fullmatch(line)
                          and not line.startswith("    ")], [])
        names = [name for _, name, *_ in told]
        self.assertEqual(len(names), len(set(names)))
        outcome = {name: (what, why or about) for what, name, why, about in told}
        self.assertEqual(outcome["MembershipOfAProcessTokenIsNotTold"],
                         ("holds", "CheckTokenMembership, anybody"))
        # Wine has no events to be asked for.
        self.assertEqual(outcome["AQueryNeedsAKnownChannelAndSoundFlags"],
                         ("DOES NOT HOLD", "EvtQuery, anybody"))
        self.assertEqual(outcome["HivesAreThoseOfServicesAndLoggedOnUsers"],
                         ("not asked", "needs the lab"))
        self.assertEqual(outcome["UsersMakeObjectsInTheGlobalNamespace"],
                         ("not asked", "wants to be run by a standard user"))
        kinds = [what for what, *_ in told]
        holds, not_asked = kinds.count("holds"), kinds.count("not asked")
        self.assertEqual(last, f"{holds} hold, {len(kinds) - holds - not_asked} do not, "
                               f"{not_asked} were not asked.")
        self.assertEqual(code, 1)
        # Most can be asked of a Windows by itself, as one account or another.
        needs = [why for what, _, why, _ in told if what == "not asked"].count("needs the lab")
        self.assertGreater(2 * (len(told) - needs), len(told))
        self.assertEqual(list(Lab().prefix.glob("drive_c/Program*/PalvoContract*")), [])

    def test_one_statement_can_be_asked_alone(self):
        self.assertEqual(self.ask("MembershipOfAProcessTokenIsNotTold"), ("", 0))
        output, code = self.ask("AQueryNeedsAKnownChannelAndSoundFlags")
        self.assertRegex(output, r"^    line \d+: EvtQuery")
        self.assertEqual(code, 1)

    def test_a_statement_that_needs_the_lab_is_not_asked_without_it(self):
        self.assertEqual(self.ask("HivesAreThoseOfServicesAndLoggedOnUsers"),
                         ("there is no such statement, or it needs the lab\n", 1))


if __name__ == "__main__":
    unittest.main()
