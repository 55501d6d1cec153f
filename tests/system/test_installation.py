"""The program installs itself and takes itself down again, whatever fails."""

import re
import shutil
import unittest

from lab import NEW_OR_CHANGED, PERIODIC_REFRESH, SUPPORTED, USER_LOGON
from proof.program_promises import (
    CHANNEL_FAILED, CHANNEL_SET, CREATION_FAILED, INSTALLED, JOB_START_GONE, JOB_START_STAYS, REGISTERED,
    TASKS_GONE, TASKS_STAY, UNINSTALLED)
from scheduled_tasks import ALL_TASKS, COMMON, LOGON_QUERY, OLD_LOGON_QUERY, PRINTER_QUERY, LabTest

# The functions of Windows and the runtime library that start a program.
STARTING = re.compile(r"CreateProcess|ShellExec|WinExec|_w?spawn|_w?exec|_w?popen|system$")


class Installing(LabTest):
    def test_it_switches_the_channel_on_and_registers_three_tasks(self):
        self.lab("set", "channel-enabled", "off")
        self.lab("set", "channel-retention", "on")
        run = self.install()
        self.assertEqual(run.output, CHANNEL_SET + REGISTERED * 3)
        self.assertEqual(run.log[2:], INSTALLED)
        self.assertEqual(self.lab.tasks(), ALL_TASKS)
        self.assertEqual(self.lab.channel(), ("on", "1052672", "overwrites"))
        self.assertEqual(self.lab.scan_position(), ("REG_QWORD", 0))
        self.assertTrue(all("DesktopAppGUIDs" in bag for bag in self.lab.bags().values()))
        self.assertEqual(self.lab.leaks(), [])

    def test_every_property_of_the_tasks_is_stored_as_it_was_put(self):
        self.install()
        self.assertEqual(self.lab.raw_task(NEW_OR_CHANGED), COMMON | {
            "Settings.MultipleInstances": "0", "Trigger0.Type": "0",
            "Trigger0.Id": "Event 300 or 306 Trigger", "Trigger0.Subscription": PRINTER_QUERY,
            "Action0.Arguments": "-c -i NewOrChangedTask"})
        self.assertEqual(self.lab.raw_task(USER_LOGON), COMMON | {
            "Settings.MultipleInstances": "0", "Trigger0.Type": "0",
            "Trigger0.Id": "Logon Event Trigger", "Trigger0.Subscription": LOGON_QUERY,
            "Action0.Arguments": "-c -i UserLogonTask -IN -w"})
        refresh = self.lab.raw_task(PERIODIC_REFRESH)
        self.assertRegex(refresh.pop("Trigger0.StartBoundary"),
                         r"^2000-01-01T0[0-3]:[0-5]0:00$")
        self.assertEqual(refresh, COMMON | {
            "Settings.MultipleInstances": "2", "Trigger0.Type": "2", "Trigger0.Id": "Time Trigger",
            "Trigger0.Repetition.Interval": "PT4H",
            "Action0.Arguments": "-r -i PeriodicRefreshTask -IN -w"})

    def test_the_version_of_windows_chooses_the_logon_query_and_what_is_deleted(self):
        for version, query, deleted in (("win7", OLD_LOGON_QUERY, False),
                                        ("win8", OLD_LOGON_QUERY, True),
                                        ("win81", OLD_LOGON_QUERY, True),
                                        ("win10", LOGON_QUERY, True)):
            with self.subTest(version=version):
                self.lab("set", "windows-version", version)
                self.install()
                self.assertEqual(self.lab.raw_task(USER_LOGON)["Trigger0.Subscription"], query)
                run = self.lab.run("-UT")
                self.assertEqual((run.code, run.output), (0, CHANNEL_SET))
                self.assertEqual(run.log[2:],
                                 [TASKS_GONE] * deleted + [JOB_START_GONE] + UNINSTALLED)
                self.assertEqual(self.lab.tasks(), [] if deleted else ALL_TASKS)

    def test_installing_again_leaves_three_tasks_with_the_second_definition(self):
        self.lab("set", "windows-version", "win7")
        self.install()
        self.lab("set", "windows-version", "win10")
        self.install()
        self.assertEqual(self.lab.tasks(), ALL_TASKS)
        self.assertEqual(self.lab.raw_task(USER_LOGON)["Trigger0.Subscription"], LOGON_QUERY)

    def test_neither_installing_nor_removing_starts_another_program(self):
        self.lab("user", "add", "anna", "admin")
        self.lab("user", "logon", "anna")
        self.lab("record", "counts")
        self.install()
        self.assertEqual(self.lab.run("-UT").code, 0)
        counts = self.lab.counts()
        self.assertEqual(counts["ITaskFolder::RegisterTaskDefinition"], 3)
        # Imports are counted too: three tasks are registered, four deleted.
        self.assertEqual(counts["CoCreateInstance"], 3 + 4)
        self.assertEqual([name for name in counts if STARTING.search(name)], [])
        self.assertEqual(self.lab.siblings(), [])

    def test_two_installations_at_once_leave_three_whole_tasks(self):
        for _ in range(5):
            self.assertEqual(self.lab.burst(["-IT", "-IT"]), [0, 0])
            self.assertEqual(self.lab.tasks(), ALL_TASKS)
        self.assertEqual(len(self.lab.raw_task(PERIODIC_REFRESH)), len(COMMON) + 6)
        self.assertEqual(self.lab.leaks(), [])

    def test_a_path_with_blanks_and_other_scripts_is_what_the_task_starts(self):
        folder = self.lab.prefix / "drive_c" / "Früher 日本 100%"
        folder.mkdir(exist_ok=True)
        self.addCleanup(shutil.rmtree, folder)
        for name in ("PalvoPrinterConfiguration", "PalvoPrinterQuery",
                     "PalvoPrinterConfigurationWriter"):
            shutil.copy(self.lab.suite() / f"{name}.exe", folder)
        path = r"C:\Früher 日本 100%\PalvoPrinterConfiguration.exe"
        self.install(options=("--program", path))
        self.assertEqual(self.lab.raw_task(NEW_OR_CHANGED)["Action0.Path"], path)
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.lab("tasks", "wait")
        self.assertEqual(self.lab.finished(), [(NEW_OR_CHANGED, "0x0")])
        self.assertEqual(self.lab.log()[-1],
                         "- No supported printers need to be processed. Done. Exiting.")


class Removing(LabTest):
    def test_it_leaves_the_identity_values_the_position_and_the_log(self):
        self.install()
        sid = self.lab("user", "add", "anna", "admin").strip()
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.lab("user", "logon", "anna")
        self.lab("printer", "add", "Front Desk", SUPPORTED)
        self.lab("tasks", "wait")
        bags, log = self.lab.bags(), self.lab.log_bytes()
        self.assertEqual(set(bags[sid]), {"DesktopAppGUIDs", "UserId", "DeviceId", "IsAdmin"})
        self.assertEqual(self.lab.scan_position(), ("REG_QWORD", 2))

        self.assertEqual(self.lab.run("-UT").code, 0)
        for bag in bags.values():
            bag["DesktopAppGUIDs"] = ("REG_SZ", "")
        self.assertEqual(self.lab.bags(), bags)
        self.assertEqual(self.lab.scan_position(), ("REG_QWORD", 2))
        after = self.lab.log_bytes()
        self.assertEqual(after[:len(log)], log)
        self.assertEqual([message for _, message in self.lab.parse_log(after[len(log):])], [
            "# Called with 1 argument(s): -UT",
            "#\tResolved Args: NoNgen, NoWarmup, UninstallScheduledTask, NotNewOrChangedEvent, "
            "-i ",
            TASKS_GONE, JOB_START_GONE, *UNINSTALLED])


class Failing(LabTest):
    # Of a task with an event trigger: the first installed.
    STEPS = (
        ("CoInitializeEx", "\nCoInitializeEx failed: "),
        ("CoInitializeSecurity", "\nCoInitializeSecurity failed: "),
        ("CoCreateInstance", "Failed to CoCreate an instance of the TaskService class: "),
        ("ITaskService::Connect", "ITaskService::Connect failed: "),
        ("ITaskService::GetFolder", "Cannot get Root Folder pointer: "),
        ("ITaskService::NewTask", "Failed to create an instance of the task: "),
        ("ITaskDefinition::get_RegistrationInfo", "\nCannot get identification pointer: "),
        ("IRegistrationInfo::put_Author", "\nCannot put identification info: "),
        ("ITaskDefinition::get_Principal", "\nCannot get principal pointer: "),
        ("IPrincipal::put_RunLevel", "\nCannot put runlevel: "),
        ("ITaskDefinition::get_Settings", "\nCannot get settings pointer: "),
        ("ITaskSettings::put_Enabled", "\nCannot put settings info: "),
        ("ITaskSettings::put_StartWhenAvailable", "\nCannot put settings info: "),
        ("ITaskSettings::put_Compatibility", "\nCannot put settings info: "),
        ("ITaskSettings::put_ExecutionTimeLimit", "\nCannot put settings info: "),
        ("ITaskSettings::put_AllowHardTerminate", "\nCannot put settings info: "),
        ("ITaskSettings::put_DisallowStartIfOnBatteries", "\nCannot put settings info: "),
        ("ITaskSettings::put_StopIfGoingOnBatteries", "\nCannot put settings info: "),
        ("ITaskSettings::put_Hidden", "\nCannot put settings info: "),
        ("ITaskSettings::put_MultipleInstances", "\nCannot put settings info: "),
        ("ITaskDefinition::get_Triggers", "\nCannot get trigger collection: "),
        ("ITriggerCollection::Create", "\nCannot create the first trigger: "),
        ("IEventTrigger::QueryInterface", "\nQueryInterface call on IEventTrigger failed: "),
        ("IEventTrigger::put_Id", "\nCannot put the event trigger info: "),
        ("IEventTrigger::put_Subscription", "\nCannot put the event trigger info: "),
        ("IEventTrigger::put_ExecutionTimeLimit", "\nCannot put the event trigger info: "),
        ("ITaskDefinition::get_Actions", "\nCannot get action collection pointer: "),
        ("IActionCollection::Create", "\nCannot create an exec action: "),
        ("IExecAction::QueryInterface", "\nQueryInterface call failed for IExecAction: "),
        ("IExecAction::put_Path", "\nCannot put path information: "),
        ("IExecAction::put_Arguments", "\nCannot put arguments: "),
        ("ITaskFolder::RegisterTaskDefinition", "\nError saving the Task : "))
    # Of the periodic refresh: the number of the call in the whole installation, and its sentence.
    REFRESH_STEPS = (
        ("ITaskSettings::put_MultipleInstances 3", "\nCannot create the first trigger: "),
        ("ITriggerCollection::Create 2", "\nCannot create the second trigger: "),
        ("IDailyTrigger::QueryInterface 1", "\nQueryInterface call on IEventTrigger failed: "),
        ("IDailyTrigger::put_Id 1", "\nCannot put the event trigger info for 2nd trigger: "),
        ("IDailyTrigger::put_ExecutionTimeLimit 1",
         "\nCannot put the event trigger info for 2nd trigger: "),
        ("IDailyTrigger::put_StartBoundary 1",
         "\nCannot put the event trigger info for 2nd trigger: "),
        ("IDailyTrigger::get_Repetition 1", "\nQueryInterface call on IRepetitionPattern failed: "),
        ("IRepetitionPattern::put_Interval 1", "\nCannot put the repetition interval: "))
    CHANNEL_STEPS = (
        ("EvtOpenChannelConfig 1", "EvtOpenChannelConfig failed with 15007.\n", 1),
        ("EvtSetChannelConfigProperty 1",
         "EvtSetChannelConfigProperty for Enabled property failed with 15007\n", 2),
        ("EvtSetChannelConfigProperty 2",
         "EvtSetChannelConfigProperty for Retention property failed with 15007\n", 2),
        ("EvtSetChannelConfigProperty 3",
         "EvtChannelLoggingConfigMaxSize for MAx Size property failed with 15007\n", 3),
        ("EvtSaveChannelConfig 1", "EvtSaveChannelConfig failed with 15007\n", 4))

    def test_each_failing_step_of_a_task_says_its_sentence_and_leaves_the_task_out(self):
        for call, text in self.STEPS:
            with self.subTest(call=call):
                self.lab("reset")
                run = self.lab.run("-IT", options=("--fault", f"{call} 1 0x8004130A"))
                # The outcome counts the channel and the logon task alone.
                self.assertEqual((run.code, run.output),
                                 (0, CHANNEL_SET + text + "8004130a" + REGISTERED * 2))
                self.assertEqual(run.log[2:], [CREATION_FAILED[NEW_OR_CHANGED]] + INSTALLED)
                self.assertEqual(self.lab.tasks(), [PERIODIC_REFRESH, USER_LOGON])
                self.assertEqual(self.lab.leaks(), [])

    def test_each_failing_step_of_the_periodic_refresh_says_its_sentence(self):
        for call, text in self.REFRESH_STEPS:
            with self.subTest(call=call):
                self.lab("reset")
                run = self.lab.run("-IT", options=("--fault", f"{call} 0x80070005"))
                self.assertEqual((run.code, run.output),
                                 (0, CHANNEL_SET + REGISTERED + text + "80070005" + REGISTERED))
                self.assertEqual(run.log[2:], [CREATION_FAILED[PERIODIC_REFRESH]] + INSTALLED)
                self.assertEqual(self.lab.tasks(), [NEW_OR_CHANGED, USER_LOGON])
                self.assertEqual(self.lab.leaks(), [])

    def test_each_failing_step_of_the_channel_says_its_sentence_and_saves_nothing(self):
        for call, text, status in self.CHANNEL_STEPS:
            with self.subTest(call=call):
                self.lab("reset")
                self.lab("set", "channel-enabled", "off")
                run = self.lab.run("-IT", options=("--fault", f"{call} 15007"))
                self.assertEqual((run.code, run.output), (status, text + REGISTERED * 3))
                self.assertEqual(run.log[2:], [CHANNEL_FAILED] + INSTALLED[1:])
                self.assertEqual(self.lab.channel()[0], "off")
                self.assertEqual(self.lab.tasks(), ALL_TASKS)
                self.assertEqual(self.lab.leaks(), [])
                self.install()
                self.assertEqual(self.lab.channel()[0], "on")

    def test_a_logon_task_that_cannot_be_created_enters_the_outcome(self):
        run = self.lab.run("-IT", options=("--fault",
                                           "ITaskFolder::RegisterTaskDefinition 3 0x80070005"))
        self.assertEqual((run.code, run.output),
                         (1, CHANNEL_SET + REGISTERED * 2 + "\nError saving the Task : 80070005"))
        self.assertEqual(run.log[2:], [CREATION_FAILED[USER_LOGON], INSTALLED[1]])
        self.install()
        self.assertEqual(self.lab.tasks(), ALL_TASKS)

    def test_security_that_was_initialised_before_ends_each_call(self):
        run = self.lab.run("-IT", options=("--fault", "CoInitializeSecurity 1 0x80010119 always"))
        self.assertEqual((run.code, run.output),
                         (1, CHANNEL_SET + "\nCoInitializeSecurity failed: 80010119" * 3))
        self.assertEqual(self.lab.tasks(), [])
        self.assertEqual(self.lab.leaks(), [])

    def test_a_scheduler_that_cannot_be_reached_fails_every_step_that_needs_it(self):
        self.install()
        for state, text in (
                ("stopped", "ITaskService::Connect failed: 80070721"),
                ("missing", "Failed to CoCreate an instance of the TaskService class: 80040154")):
            with self.subTest(state=state):
                self.lab("set", "scheduler", state)
                run = self.lab.run("-IT")
                self.assertEqual(run.code, 1)
                self.assertEqual(re.sub(r"\b8[0-9a-f]{7}", "CODE", run.output),
                                 re.sub(r"\b8[0-9a-f]{7}", "CODE", CHANNEL_SET + text * 3))
                self.assertEqual(run.log[2:], list(CREATION_FAILED.values()) + INSTALLED[1:])
                run = self.lab.run("-UT")
                self.assertEqual(run.code, 1)
                self.assertEqual(run.log[2:], [TASKS_STAY, JOB_START_STAYS] + UNINSTALLED)
                self.assertEqual(self.lab.leaks(), [])
        self.lab("set", "scheduler", "running")
        self.assertEqual(self.lab.tasks(), ALL_TASKS)
        self.install()
        self.assertEqual(self.lab.run("-UT").code, 0)
        self.assertEqual(self.lab.tasks(), [])

    def test_a_task_that_cannot_be_deleted_stays_and_is_replaced_when_it_can_be(self):
        self.lab("set", "windows-version", "win7")
        self.install()
        self.lab("set", "windows-version", "win10")
        self.lab("tasks", "protect", USER_LOGON)
        run = self.lab.run("-IT")
        self.assertEqual((run.code, run.output),
                         (1, CHANNEL_SET + REGISTERED * 2 + "\nError saving the Task : 80070005"))
        self.assertEqual(self.lab.raw_task(USER_LOGON)["Trigger0.Subscription"], OLD_LOGON_QUERY)
        self.lab("tasks", "release", USER_LOGON)
        self.install()
        self.assertEqual(self.lab.raw_task(USER_LOGON)["Trigger0.Subscription"], LOGON_QUERY)

    def test_without_the_rights_of_an_installer_nothing_is_registered(self):
        self.lab("user", "add", "stan", "standard")
        run = self.lab.run("-IT", options=("--account", "stan"))
        self.assertNotEqual(run.code, 0)
        self.assertEqual(self.lab.tasks(), [])


if __name__ == "__main__":
    unittest.main()
