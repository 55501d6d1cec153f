"""Logs that the program itself writes in the lab, for the viewer's tests and the pictures."""

from lab import SUPPORTED

EVENT = ("-c", "-i", "NewOrChangedTask")
LOGON = ("-c", "-i", "UserLogonTask")
MODES = ("-c -i NewOrChangedTask", "-c -i UserLogonTask", "-c -i UserLogonTask -IN -w", "-c -i POJEMService",
         "-c -i Zelda", "-c", "-r -i PeriodicRefreshTask", "-r -i PeriodicRefreshTask -IN -w", "-r", "",
         "-i Zelda", "-w", "-IN", "-UN", "-UN -w", "-APDI -i Nothing", "-?", "-x", "-IT", "-UT")


def prepare(lab):
    """A machine with two users, and an empty log."""
    lab("reset")
    for name, rights in (("alice", "admin"), ("bob", "standard")):
        lab("user", "add", name, rights)
        lab("user", "logon", name)
    lab("printer", "add", "Anchor", "Legacy V3 Driver")


def run_all_modes(lab):
    """One run of each mode, one after another; how many that is."""
    lab("printer", "add", "Office 1", SUPPORTED)
    for arguments in MODES:
        lab.run(*arguments.split())
    return len(MODES)


def hold(lab, *arguments):
    """Starts a copy and holds it at its writer; its process id."""
    lab("sibling", "writer", "--hold")
    pid = lab.start(*arguments)
    lab.wait_for(lambda: any(run.name == "writer" and run.parent == pid for run in lab.siblings()), "the writer's start")
    return pid


def release(lab, pid):
    lab("sibling", "writer", "--release")
    lab.wait_for(lambda: ends_of(lab, pid), "the end of the working copy")
    lab.wait_for(lambda: not lab.at_work(), "the end of all copies")


def ends_of(lab, pid):
    return [message for process, message in lab.log_lines() if process == pid and message.endswith("event done...exiting.")]


def run_burst(lab):
    """A copy works while others come: (its process id, how many came)."""
    lab("printer", "add", "Office 2", SUPPORTED)
    worker = hold(lab, *EVENT)
    lab("printer", "add", "Office 3", SUPPORTED)
    others = [" ".join(EVENT)] * 3 + [" ".join(LOGON)] * 2
    assert set(lab.burst(others)) == {1}
    release(lab, worker)
    return worker, len(others)


def run_and_kill(lab):
    """A copy is ended at work, and the next one works: (the one's process id, the other's)."""
    lab("printer", "change", "Office 2")
    killed = hold(lab, *EVENT)
    lab.kill(killed)
    lab("sibling", "writer", "--release")
    lab.wait_for(lambda: not lab.at_work(), "the end of the writer")
    return killed, lab.run(*LOGON).pid
