"""The fault sweep's judge finds each kind of planted fault in a run in which a call failed, and lets pass
what the rules let be lost there."""

import unittest
from dataclasses import replace

from proof.fault_cases import EVENT, INSTALL, REFRESH, TRIM, UNINSTALL, Case
from proof.fault_facts import Facts, differences
from proof.fault_judge import Loss, begins, judge
from proof.fault_losses import A_LINE, NONE
from proof.fault_rules import losses_of

QUERY, OWN_QUERY = 'query as LocalService: -e "One"', 'query as SYSTEM: -e "One"'
WRITER = 'writer as SYSTEM: -e -i "PalvoPrinterConfiguration(NewOrChangedTask PID: #)"'
USER_ID = "Updated UserPropertyBag for 'VM\\alice': UserId='#', Src='alice : vm.vm.'"
DEVICE_ID = "Updated UserPropertyBags: DeviceId='#', Src='# : lab-# : vm.vm.'"
LISTS = {"the list of alice has 6.0:A,B", "the list of alice has 7.0:", "the list of S-1-5-18 has 7.0:"}
WORKED = Facts(
    0, ["# Processing a configuration request from a NewOrChanged event event for 'One'.", USER_ID, DEVICE_ID,
        "NewOrChanged event done...exiting.", "", ""], [], [QUERY, WRITER],
    LISTS | {"UserId of alice is 1", "DeviceId of alice is 2", "DeviceId of alice_Classes is 2",
             "IsAdmin of alice is 1", "IsAdmin of alice_Classes is 1", "the position is REG_QWORD, 0"})

DELETED = ("Auto-Config scheduled tasks deleted upon request or because digital signature validation "
           "failed.")
CHANNEL_OPEN = "the channel is on, 67108864, overwrites"
REMOVED = Facts(
    0, [DELETED, "# Invoked to uninstall scheduled tasks. Done...", "Removed our driver GUIDs."],
    ["Channel properties updated."], [],
    {"the list of alice has 6.0:A,B", "the channel is off, 1052672, overwrites"})
CHANNEL_LEFT = Facts(1, REMOVED.lines, ["EvtOpenChannelConfig failed with #."], [],
                     {"the list of alice has 6.0:A,B", CHANNEL_OPEN})


class JudgeTest(unittest.TestCase):
    def wrong(self, case, wanted, found):
        return judge(losses_of(case), differences(wanted, found), case.often)

    def assert_good(self, case, wanted, found):
        self.assertEqual(self.wrong(case, wanted, found), "")

    def assert_found(self, case, wanted, found, text):
        self.assertIn(text, self.wrong(case, wanted, found))


class FailedLogonTest(JudgeTest):
    case = Case(EVENT, "LogonUserW", 1, "1385", False)
    good = replace(WORKED, programs=[OWN_QUERY, WRITER])

    def test_the_query_program_runs_under_the_own_account(self):
        self.assert_good(self.case, WORKED, self.good)

    def test_a_fallback_that_is_missing_is_found(self):
        self.assert_found(self.case, WORKED, replace(self.good, programs=[WRITER]), f"- program {QUERY}")

    def test_a_run_that_took_no_notice_is_found(self):
        self.assertNotEqual(self.wrong(self.case, WORKED, WORKED), "")

    def test_other_arguments_are_found(self):
        self.assert_found(self.case, WORKED, replace(self.good, programs=["query as SYSTEM: -c", WRITER]),
                          "+ program query as SYSTEM: -c")

    def test_another_account_is_found(self):
        programs = ['query as alice: -e "One"', WRITER]
        self.assert_found(self.case, WORKED, replace(self.good, programs=programs), "+ program query")

    def test_a_writer_that_did_not_run_is_found(self):
        self.assert_found(self.case, WORKED, replace(self.good, programs=[OWN_QUERY]), f"- program {WRITER}")

    def test_an_extra_program_is_found(self):
        self.assert_found(self.case, WORKED, replace(self.good, programs=[OWN_QUERY, WRITER, WRITER]),
                          f"+ program {WRITER}")

    def test_programs_in_another_order_are_found(self):
        self.assert_found(self.case, WORKED, replace(
            self.good, programs=[WRITER, OWN_QUERY, WRITER]), "program")
        self.assert_found(Case(EVENT, "ClosePrinter", 1, "6", False), WORKED,
                          replace(WORKED, programs=[WRITER, QUERY]), "the programs come in another order")

    def test_a_missing_line_is_found(self):
        self.assert_found(self.case, WORKED, replace(
            self.good, lines=WORKED.lines[1:]), "- line # Processing")

    def test_a_line_out_of_order_is_found(self):
        self.assert_found(self.case, WORKED, replace(self.good, lines=[*WORKED.lines[1:], WORKED.lines[0]]),
                          "the lines come in another order")

    def test_an_extra_line_is_found(self):
        self.assert_found(self.case, WORKED, replace(self.good, lines=[*WORKED.lines, "x"]), "+ line x")

    def test_another_exit_code_is_found(self):
        self.assert_found(self.case, WORKED, replace(self.good, code=1), "the code is 1")

    def test_a_value_that_is_missing_or_another_is_found(self):
        less = WORKED.things - {"UserId of alice is 1"}
        self.assert_found(self.case, WORKED, replace(self.good, things=less), "- UserId of alice is 1")
        self.assert_found(self.case, WORKED, replace(self.good, things=less | {"UserId of alice is 3"}),
                          "+ UserId of alice is 3")

    def test_a_list_without_the_own_entry_is_found(self):
        self.assert_found(self.case, WORKED,
                          replace(self.good, things=WORKED.things - {"the list of S-1-5-18 has 7.0:"}),
                          "- the list of S-1-5-18 has 7.0:")

    def test_another_programs_entry_that_is_gone_is_found(self):
        things = WORKED.things - {"the list of alice has 6.0:A,B"}
        self.assert_found(self.case, WORKED, replace(self.good, things=things), "6.0:A,B")

    def test_another_position_is_found(self):
        things = WORKED.things - {"the position is REG_QWORD, 0"} | {"the position is REG_QWORD, -1"}
        self.assert_found(self.case, WORKED, replace(self.good, things=things),
                          "+ the position is REG_QWORD, -1")


class FailedChannelTest(JudgeTest):
    case = Case(UNINSTALL, "EvtOpenChannelConfig", 1, "5", False)

    def test_the_tasks_and_lists_go_although_the_channel_stays(self):
        self.assert_good(self.case, REMOVED, CHANNEL_LEFT)

    def test_a_task_that_stays_is_found(self):
        things = CHANNEL_LEFT.things | {"the task User Logon", "the task User Logon has Settings.Hidden 1"}
        wrong = self.wrong(self.case, REMOVED, replace(CHANNEL_LEFT, things=things))
        self.assertIn("+ the task User Logon'", wrong)
        self.assertNotIn("Hidden", wrong)

    def test_a_list_that_stays_is_found(self):
        things = CHANNEL_LEFT.things | {"the list of alice has 7.0:"}
        self.assert_found(self.case, REMOVED, replace(CHANNEL_LEFT, things=things), "+ the list of alice has")

    def test_a_code_that_hides_the_failure_or_tells_another_is_found(self):
        for code in (0, 2):
            self.assertNotEqual(self.wrong(self.case, REMOVED, replace(CHANNEL_LEFT, code=code)), "")

    def test_a_task_that_cannot_be_deleted_unnoticed_is_found(self):
        for step in ("CoInitializeEx", "CoCreateInstance", "ITaskService::Connect"):
            case = Case(UNINSTALL, step, 1, "0x80070005", False)
            self.assertNotEqual(self.wrong(case, REMOVED, REMOVED), "")

    def test_the_sentence_of_another_step_is_found(self):
        printed = ["EvtSaveChannelConfig failed with #"]
        self.assert_found(self.case, REMOVED, replace(CHANNEL_LEFT, printed=printed), "+ print EvtSave")


class FailedTaskTest(JudgeTest):
    wanted = Facts(0, ["Auto-config scheduled task successfully created with event and calendar triggers."],
                   ["Success! Task successfully registered."] * 3, [],
                   {"the task New or Changed", "the task Periodic Refresh", "the task User Logon"})

    def failed(self, task, purpose, code, lines=()):
        text = f"ERROR: Failed to create or recreate auto-config scheduled task for {purpose}."
        return Facts(code, [text, *lines], [*self.wanted.printed[1:], "Error saving the Task : #"], [],
                     self.wanted.things - {f"the task {task}"})

    def test_only_the_logon_task_decides_the_code(self):
        case = Case(INSTALL, "ITaskFolder::RegisterTaskDefinition", 1, "0x80070005", False)
        printer = self.failed("New or Changed", "new/changed printer events", 0, self.wanted.lines)
        logon = self.failed("User Logon", "user logon events", 1)
        self.assert_good(case, self.wanted, printer)
        self.assert_good(case, self.wanted, logon)
        self.assert_found(case, self.wanted, replace(printer, code=1), "the code is 1")
        self.assertNotEqual(self.wrong(case, self.wanted, replace(logon, code=0)), "")

    def test_the_line_of_another_task_is_found(self):
        case = Case(INSTALL, "ITaskFolder::RegisterTaskDefinition", 1, "0x80070005", False)
        self.assertNotEqual(self.wrong(case, self.wanted, self.failed(
            "New or Changed", "periodic refresh", 0, self.wanted.lines)), "")


class TrimTest(JudgeTest):
    wanted = Facts(1, ["Log trimmed.", "# Called"], [], [], {"the log keeps the tail"})
    case = Case(TRIM, "ReadFile", 2, "21", False)

    def test_a_log_that_cannot_be_copied_is_kept(self):
        self.assert_good(self.case, self.wanted, replace(self.wanted, things={"the log keeps all"}))

    def test_a_log_that_lost_other_lines_is_found(self):
        self.assert_found(self.case, self.wanted, replace(
            self.wanted, things={"the log keeps else"}), "keeps else")

    def test_a_copy_that_is_left_is_found(self):
        self.assert_found(self.case, self.wanted, replace(self.wanted, things=self.wanted.things | {
            "a copy of the log"}), "+ a copy of the log")


class TwoFaultsTest(JudgeTest):
    case = Case(INSTALL, "WriteFile", 3, "112", False, "ITaskFolder::RegisterTaskDefinition 3 0x80070005")

    def test_the_line_that_tells_of_a_failure_may_be_lost_with_it_and_nothing_else(self):
        wanted = FailedTaskTest.wanted
        found = Facts(1, [], [*wanted.printed[1:], "Error saving the Task : #"], [],
                      wanted.things - {"the task User Logon"})
        self.assert_good(self.case, wanted, found)
        self.assertNotEqual(self.wrong(self.case, wanted, replace(found, code=0)), "")
        self.assertNotEqual(self.wrong(self.case, wanted, replace(
            found, things=wanted.things - {"the task New or Changed"})), "")


class EndedTest(unittest.TestCase):
    def test_a_run_that_was_ended_has_done_what_comes_first(self):
        self.assertTrue(begins(WORKED, replace(WORKED, lines=WORKED.lines[:2], programs=[QUERY])))
        self.assertFalse(begins(WORKED, replace(WORKED, lines=WORKED.lines[1:])))
        self.assertFalse(begins(WORKED, replace(WORKED, programs=[WRITER])))
        self.assertFalse(begins(WORKED, replace(WORKED, printed=["x"])))


class LossTest(unittest.TestCase):
    def test_one_failed_call_has_one_loss_and_many_have_many(self):
        losses = [Loss.of(A_LINE)]
        self.assertEqual(judge(losses, ["- line x"], False), "")
        self.assertNotEqual(judge(losses, ["- line x", "- line y"], False), "")
        self.assertEqual(judge(losses, ["- line x", "- line y"], True), "")
        self.assertNotEqual(judge(losses, ["- line x", "- program y"], True), "")
        self.assertNotEqual(judge(losses, [], False), "")
        self.assertEqual(judge([Loss.of(NONE)], [], False), "")

    def test_what_may_be_lost_is_lost_only_with_what_must_be(self):
        losses = [Loss.of("- program x\nmay - line *")]
        self.assertEqual(judge(losses, ["- program x", "- line y", "- line z"], True), "")
        self.assertNotEqual(judge(losses, ["- line y"], True), "")

    def test_a_name_is_the_same_in_all_lines_of_a_loss(self):
        losses = [Loss.of("- program query as A: {asked}\n+ program query as B: {asked}")]
        self.assertEqual(judge(losses, ["- program query as A: -c", "+ program query as B: -c"], False), "")
        self.assertNotEqual(judge(losses, ["- program query as A: -c",
                            "+ program query as B: -e"], False), "")

    def test_a_function_of_which_nothing_is_said_is_found(self):
        self.assertRaises(KeyError, losses_of, Case(REFRESH, "Beep", 1, "5", False))


if __name__ == "__main__":
    unittest.main()
