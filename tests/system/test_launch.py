"""How the sibling programs are started, and what is seen of it when they cannot be."""

import unittest

from lab import SUPPORTED, Lab

EVENT = ("-c", "-i", "NewOrChangedTask")
FOUND = ("Found one pertinent, non-duplicate '300/306' event in the range of IDs from 2 to 2. "
         "One printer added or changed: 'Front Desk'")
EVENT_LOG = [
    "# Called with 3 argument(s): -c -i NewOrChangedTask",
    "#\tResolved Args: NoNgen, NoWarmup, NewOrChangedEvent, NewOrChangedTask, -i NewOrChangedTask",
    FOUND,
    "-Processing NewOrChanged event: NewOrChangedTask",
    FOUND,
    "# Processing a configuration request from a NewOrChanged event event for 'Front Desk'.",
    "Update UserPropertyBags With Desktop GUIDs before exiting after processing queued request(s)",
    "NewOrChanged event done...exiting.",
    "",
    ""]
REFRESH_LOG = [
    "# Called with 1 argument(s): -r",
    "#\tResolved Args: NoNgen, NoWarmup, PeriodicRefreshEvent, NotNewOrChangedEvent, -i ",
    "# Processing a periodic refresh event: ",
    "Update UserPropertyBags With Desktop GUIDs before exiting after processing queued request(s)",
    "Refresh event done...exiting."]
LOGON_LOG = [
    "# Called with 3 argument(s): -c -i UserLogonTask",
    "#\tResolved Args: NoNgen, NoWarmup, NewOrChangedEvent, UserLogonEvent, -i UserLogonTask",
    "-Processing NewOrChanged event: UserLogonTask",
    "# Procesing a special NewOrChanged event.",
    "Update UserPropertyBags With Desktop GUIDs before exiting after processing queued request(s)",
    "NewOrChanged event done...exiting.",
    "",
    ""]

QUERY = ("query", "LocalService")
OWN_QUERY = ("query", "SYSTEM")
WRITER = ("writer", "SYSTEM")


class LaunchTest(unittest.TestCase):
    def setUp(self):
        self.lab = Lab()
        self.prepare()

    def prepare(self):
        """A machine on which one supported printer is new."""
        self.lab("reset")
        self.lab("printer", "add", "Anchor", "Legacy V3 Driver")
        self.assertEqual(self.lab.run(*EVENT).code, 0)
        self.lab("printer", "add", "Front Desk", SUPPORTED)


class Failing(LaunchTest):
    # What fails, and which programs run all the same, as whom.
    FAULTS = (
        (("LogonUserW 1 1385 always",), [OWN_QUERY, WRITER]),
        (("DuplicateTokenEx 1 8 always",), [QUERY, WRITER]),
        (("CreateEnvironmentBlock 1 8 always",), [QUERY, WRITER]),
        (("CreateProcessAsUserW 1 1314 always",), [WRITER]),
        (("CreateProcessW 1 5 always",), [QUERY]),
        (("CreateProcessAsUserW 1 5 always", "CreateProcessW 1 5 always"), []),
        (("LogonUserW 1 1385 always", "CreateProcessW 1 2"), [WRITER]),
        (("LogonUserW 1 1385 always", "CreateProcessW 1 2 always"), []))

    def test_what_fails_in_a_launch_is_seen_neither_in_the_log_nor_in_the_exit_code(self):
        for arguments, log in ((EVENT, EVENT_LOG), (("-r",), REFRESH_LOG),
                               (("-c", "-i", "UserLogonTask"), LOGON_LOG)):
            for faults, programs in self.FAULTS:
                with self.subTest(arguments=arguments, faults=faults):
                    self.prepare()
                    run = self.lab.run(*arguments, options=[
                        part for fault in faults for part in ("--fault", fault)])
                    self.assertEqual((run.code, run.output, run.log), (0, "", log))
                    self.assertEqual([(s.name, s.account) for s in run.siblings], programs)

    def test_programs_that_are_not_there_are_not_told_of(self):
        self.lab("sibling", "query", "--missing")
        self.lab("sibling", "writer", "--missing")
        run = self.lab.run(*EVENT)
        self.assertEqual((run.code, run.output, run.log, run.siblings), (0, "", EVENT_LOG, []))

    def test_a_writer_that_cannot_be_started_in_the_background_is_not_told_of(self):
        run = self.lab.run("-IN", "-w", options=("--fault", "CreateProcessW 1 5"))
        self.assertEqual((run.code, run.output, run.siblings), (1, "", []))
        self.assertEqual(run.log, [
            "# Called with 2 argument(s): -IN -w",
            "#\tResolved Args: InstallNgen, Warmup, NoCmdLineOption, NotNewOrChangedEvent, -i ",
            "# Will execute warmup of the Desktop Orvela (-w)",
            "# Will execute NGEN of Desktop Orvela and related apps (-IN)",
            "# Spawn PalvoPrinterConfigurationWriter in the background with the arg(s): -IN -w"])

    def test_a_background_start_that_fails_leaves_the_mode_its_work(self):
        run = self.lab.run("-r", "-IN", options=("--fault", "CreateProcessW 1 5"))
        self.assertEqual((run.code, run.output), (0, ""))
        self.assertEqual(run.log, [
            "# Called with 2 argument(s): -r -IN",
            "#\tResolved Args: InstallNgen, NoWarmup, PeriodicRefreshEvent, NotNewOrChangedEvent, "
            "-i ",
            "# Will execute NGEN of Desktop Orvela and related apps (-IN)",
            "# Spawn PalvoPrinterConfigurationWriter in the background with the arg(s): -IN"]
            + REFRESH_LOG[2:])
        self.assertEqual([(s.name, s.account, s.arguments) for s in run.siblings], [
            (*QUERY, " "), (*WRITER, f'  -i "PalvoPrinterConfiguration({run.pid})"')])


class Order(LaunchTest):
    def test_the_writer_starts_after_the_query_program_has_ended(self):
        self.lab("sibling", "query", "--take", "500")
        for options in ((), ("--fault", "LogonUserW 1 1385 always")):
            with self.subTest(options=options):
                self.lab("printer", "change", "Front Desk")
                run = self.lab.run(*EVENT, options=options)
                query, writer = run.siblings
                self.assertEqual((query.name, writer.name), ("query", "writer"))
                self.assertLess(query.end, writer.start)

    def test_the_run_ends_after_the_writer(self):
        self.lab("sibling", "writer", "--take", "500")
        run = self.lab.run(*EVENT)
        self.assertEqual([s.ended for s in run.siblings], [True, True])
        self.assertEqual(run.log, EVENT_LOG)


if __name__ == "__main__":
    unittest.main()
