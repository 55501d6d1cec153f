"""The proofs take nothing for proved that they did not see, and nothing for Wine's fault that is not."""

import io
import os
import tempfile
import unittest
from contextlib import redirect_stderr, redirect_stdout
from pathlib import Path
from random import Random
from types import SimpleNamespace
from unittest import mock

from proof.history import Findings, Story, share
from proof.kill_plan import TRIES, KillPlan
from proof.kills import Doomed, KillStory
from proof.recorded_history import KILLED, Ended
from proof.runner import Proof
from proof.wine_faults import GivenUp, is_wines_fault, told_whole
from proof.written_history import Script, logon_alone

from lab import Lab, Server


class Lost:
    """A proof of one lab whose record holds an error of Wine's."""
    seed, long, start, runs = 1, False, 0, 0

    def __init__(self):
        self.labs = [lambda *_, **__: "1 CreateProcessW() = 0 [1359]\n"]
        self.findings, self.once = [], 0

    def find(self, text):
        self.findings.append(text)


LAST_WORDS = "echo last words >&2; exit 7"


def script_in(folder, name, commands):
    script = Path(folder, name)
    script.write_text(f"#!/bin/sh\n{commands}\n")
    script.chmod(0o755)


class Proofs(unittest.TestCase):
    def share(self, *errors):
        """The findings where histories end with these errors, and then one is good."""
        def tell(_lab, _random):
            if left:
                error = left.pop(0)
                raise error if isinstance(error, Exception) else AssertionError(error)
            script = Script()
            logon_alone(script)
            return script.history

        left, proof = list(errors), Lost()
        findings = Findings(proof, "test")
        with redirect_stdout(io.StringIO()):
            share(proof, findings, lambda figures: figures["runs"], tell)
        return proof

    def test_only_the_copy_that_wine_lost_is_wines_fault(self):
        lost = "palvo-lab: 'x.exe' cannot be started: error 1359"
        for errors, found, once in (
                ([], 0, 0), ([lost], 0, 1), ([lost, lost], 1, 1), (["something else"], 1, 0),
                ([GivenUp("x")], 0, 1), ([GivenUp("x"), GivenUp("x")], 1, 1),
                (["palvo-lab: 'x.exe' cannot be started: error 13590"], 1, 0)):
            proof = self.share(*errors)
            self.assertEqual((len(proof.findings), proof.once), (found, once), errors)

    def test_a_history_is_not_whole_when_wine_ended_a_process_of_it(self):
        line = "wine client error:8a8: write: Bad file descriptor"
        told = io.StringIO()
        with mock.patch("lab.subprocess.Popen"), redirect_stderr(told):
            server = Server("prefix")
            os.write(server.errors.fileno(), b"bad_alloc\nwine client err")
            server.tell_errors()
            self.assertEqual((server.given_up, told.getvalue()), ([], "bad_alloc\n"))
            os.write(server.errors.fileno(), b"or:8a8: write: Bad file descriptor\nthe rest\n")
            server.tell_errors()
            self.assertEqual(server.given_up, [line])
            self.assertEqual(told.getvalue(), f"bad_alloc\n{line}\nthe rest\n")
            server.end()
        good = SimpleNamespace(given_up=lambda: [])
        told_whole(good, [SimpleNamespace(given_up=[])])
        with self.assertRaisesRegex(GivenUp, line):
            told_whole(good, [server])
        with self.assertRaisesRegex(GivenUp, line):
            told_whole(SimpleNamespace(given_up=lambda: [line]))

    def test_what_wine_said_in_a_history_explains_it_and_what_it_said_before_does_not(self):
        def tell_kills(lab, random):
            return KillStory(lab, random, mock.Mock(), mock.Mock()).tell()

        def tell(lab, random):
            with mock.patch.object(Story, "plan", lambda _: []), \
                    mock.patch.object(Story, "change_printers", lambda *_: None), \
                    mock.patch.object(Story, "lead"):
                return Story(lab, random).tell()

        for teller, where, last in ((tell, "history", "wait_for_quiet"), (tell_kills, "kills", "collect")):
            for said, explained in (([["earlier"], []], False),
                                    ([[], ["wine client error:5c0: write: Bad file descriptor"]], True)):
                lab = mock.Mock(return_value="", prefix=Path("nowhere"))
                lab.given_up.side_effect = said
                with mock.patch("proof.recording.Lane"), mock.patch(f"proof.{where}.prepare"), \
                        mock.patch("proof.recording.Lane.return_value.server.given_up", []), \
                        mock.patch(f"proof.{where}.{last}", side_effect=AssertionError("in vain")), \
                        mock.patch.object(KillStory, "round"):
                    with self.assertRaises(GivenUp if explained else AssertionError, msg=(where, said)):
                        teller(lab, Random(1))

    def test_what_wine_said_of_an_earlier_case_excuses_no_other(self):
        def fail(_lab, _case):
            raise AssertionError("no sibling")

        proof, lab = Proof.__new__(Proof), mock.Mock(return_value="")
        proof.long, proof.labs, proof.findings, proof.once, proof.runs = False, [lab], [], 0, 0
        lab.given_up.side_effect = [["earlier"], []]
        with redirect_stdout(io.StringIO()):
            proof.share(fail, ["a case"])
        self.assertEqual((proof.findings, proof.once), (["a case: AssertionError: no sibling"], 0))

    def test_a_lab_that_ended_between_two_commands_tells_its_code_and_its_last_words(self):
        told = io.StringIO()
        with tempfile.TemporaryDirectory() as folder, mock.patch("lab.ROOT", Path(folder)):
            script_in(folder, "palvo-lab", LAST_WORDS)
            server = Server("prefix")
            server.process.wait()
            with redirect_stderr(told), self.assertRaisesRegex(
                    AssertionError, "palvo-lab run -c ended, and its process ended with 7, after:"):
                server.ask(["run", "-c"])
            self.assertEqual(told.getvalue(), "last words\n")
            server.end()

    def test_the_next_command_starts_another_lab_and_tells_the_last_words_of_the_one_that_ended(self):
        told, lab = io.StringIO(), Lab("gone")
        with tempfile.TemporaryDirectory() as folder, mock.patch("lab.ROOT", Path(folder)):
            script_in(folder, "palvo-lab", LAST_WORDS)
            lab.servers[lab.prefix] = Server(lab.prefix)
            lab.servers[lab.prefix].process.wait()
            script_in(folder, "palvo-lab", "read -r command; printf 'said\\n\\0360\\n'")
            with redirect_stderr(told):
                self.assertEqual(lab("show", "calls"), "said\n")
            lab.close()
        self.assertEqual(told.getvalue(), "last words\n")

    def test_what_the_lab_writes_to_standard_error_is_known_while_it_runs(self):
        with tempfile.TemporaryDirectory() as folder:
            script_in(folder, "wine", '[ "$1" != --version ] || { echo wine-8.0; exit; }\n'
                      "while read -r command; do "
                      "echo 'wine client error:1: gone' >&2; printf '\\0360\\n'; done")
            for name in ("bin/lab/palvo-lab.exe", "prefix/system.reg"):
                Path(folder, name).parent.mkdir(parents=True)
                Path(folder, name).touch()
            path = f"{folder}{os.pathsep}{os.environ['PATH']}"
            with mock.patch.dict(os.environ, PATH=path, PALVO_LAB_BIN=f"{folder}/bin"), \
                    redirect_stderr(io.StringIO()):
                server = Server(f"{folder}/prefix")
                self.assertEqual(server.ask(["show", "calls"]), ("", 0))
                self.assertEqual(server.given_up, ["wine client error:1: gone"])
                server.end()

    def test_a_case_failed_by_wine_when_a_process_did_not_start_or_was_ended_by_it(self):
        for error, calls, given_up, expected in (
                ("no sibling", "1 CreateProcessW() = 0 [5]", [], False),
                ("'x.exe' cannot be started: error 1359", "", [], True),
                ("palvo-lab reset ended, and its process ended with 1, after:\n", "", [], True),
                ("palvo-lab reset hangs, and its process ended with -9, after:\n", "", [], False),
                ("no sibling", "1 CreateProcessW() = 0 [1359]", [], True),
                ("no sibling", "", ["wine client error:8a8: write: Bad file descriptor"], True)):
            self.assertEqual(is_wines_fault(error, given_up, calls), expected, (error, calls, given_up))

    def test_findings_of_an_ended_run_are_found_again(self):
        class Before:
            before = {"begun": 3, "figures": {"runs": 7}, "allowed": {}, "findings": ["history 1-2: bad"],
                      "once": 1, "seconds": 5}

            def __init__(self, _name, *judges):
                self.judges = judges

        proof, told = Lost(), io.StringIO()
        findings = Findings(proof, "test")
        with mock.patch("proof.history.Kept", Before), redirect_stdout(told):
            findings.go_on()
        self.assertEqual((proof.findings, findings.figures["runs"]), (["history 1-2: bad"], 7))
        self.assertIn("history 1-2: bad", told.getvalue())
        self.assertLessEqual({"history.py", "history_checker.py", "copy_grammar.py", "recording.py",
                              "recorded_history.py", "program_promises.py"}, set(findings.kept.judges))

    def test_a_call_that_no_copy_was_killed_after_is_asked_for_again_and_given_up(self):
        plan = KillPlan([("-c", 1), ("-c", 2)])
        for _ in range(TRIES):
            self.assertFalse(plan.is_over())
            call = plan.take(["-r", "-c"], deepest=True)
            self.assertEqual(call, ("-c", 2))
            plan.settle(call, killed=False, counts=True)
        self.assertEqual((plan.given_up, plan.done), ([("-c", 2)], 0))
        self.assertFalse(plan.is_over())

    def test_a_copy_that_could_not_come_so_far_gives_nothing_up(self):
        plan = KillPlan([("-c", 1)])
        for _ in range(TRIES + 1):
            plan.settle(plan.take(["-c"], deepest=False), killed=False, counts=False)
        self.assertEqual((plan.given_up, plan.is_over()), ([], False))

    def test_a_plan_is_over_when_every_copy_of_it_has_ended(self):
        plan = KillPlan([("-c", 1), ("-c", 2)])
        first, last = (plan.take(["-c"], deepest=False) for _ in range(2))
        self.assertEqual((first, last, plan.take(["-c"], deepest=True)), (("-c", 1), ("-c", 2), None))
        plan.settle(last, killed=True, counts=False)
        self.assertFalse(plan.is_over())
        plan.settle(first, killed=True, counts=False)
        self.assertEqual((plan.is_over(), plan.done, plan.total), (True, 2, 2))

    def test_only_a_copy_that_was_killed_has_done_its_part_of_the_plan(self):
        for code, killed in ((KILLED, True), (0, False), (1, False), (0xC0000005, False)):
            doomed = Doomed("-c", [], ("-c", 3))
            self.assertFalse(doomed.was_killed())
            doomed.ended = Ended(100, code, "", 5, 20)
            self.assertEqual(doomed.was_killed(), killed)


if __name__ == "__main__":
    unittest.main()
