"""Every call that the program makes into Windows fails in turn, in every mode.

The calls are found from the executable itself: its import table names the functions, a normal run of
each mode counts them, those of COM interfaces too. Each call of each function then fails once alone,
and once with all that follow, with each of the ways in which that function fails. After each run
everything is as it has to be (exit code, log, nothing left open), and one run of the same mode does
and leaves what it does and leaves where nothing ever failed.
"""

import re
from dataclasses import dataclass
from pathlib import Path

from proof import SUPPORTED, Kept, Proof, program  # First: it says where the lab's module lies.
from recorded_history import CALL, step_of

LIMIT_MS = 60000        # of one run in the lab, far more than any needs

DONE = "NewOrChanged event done...exiting."
CRASH = 0xC0000000      # exit codes from here on are those of the system's exceptions
ABORTED = 3             # the C runtime's code for an exception that nobody caught

# Who calls these is the runtime library, at the start and the end of every program, or they have no
# way to fail: they return a length, a constant or nothing.
NO_FAILURE = set("""
    memcpy memmove memset memcmp memchr strlen wcslen strcmp strncmp iswspace strerror localeconv
    ___lc_codepage_func ___mb_cur_max_func IsDBCSLeadByteEx _errno _time64 EqualSid
    VerSetConditionMask __iob_func __set_app_type __setusermatherr __wgetmainargs _initterm _onexit
    _amsg_exit _cexit _exit exit abort signal __C_specific_handler RaiseException RtlCaptureContext
    RtlLookupFunctionEntry RtlUnwindEx RtlVirtualUnwind TlsAlloc TlsFree TlsGetValue TlsSetValue
    CreateSemaphoreW ReleaseSemaphore VirtualProtect VirtualQuery GetStartupInfoW
    LoadLibraryA FreeLibrary GetProcAddress""".split())
# LoadLibraryA, GetProcAddress and FreeLibrary: the late loading of the system's own DLLs, which are
# always there.

# Giving back: when it fails, the one thing that was to be given back stays open.
GIVES_BACK = set("""
    CloseHandle RegCloseKey LocalFree EvtClose ClosePrinter DestroyEnvironmentBlock UnloadUserProfile
    VariantClear CryptReleaseContext CryptDestroyHash""".split())

# Where an exception leaves the mode, by its rules: no memory, or a registry value that cannot be
# written outside of the mode that catches it.
RAISES = {"malloc", "calloc", "realloc", "RegSetValueExW", "SysAllocString"}

# The ways in which a function fails, where one code does not do.
WAYS = {
    "WaitForSingleObject": ["return=258", "return=4294967295,error=6", "return=128"],
    "RegOpenKeyExW": ["2", "5"],
    "RegCreateKeyExW": ["5", "1450"],
    "RegQueryValueExW": ["2", "5", "234", "bytes=0", "bytes=3", "wrong-type"],
    "RegEnumKeyExW": ["5", "234", "259"],
    "RegSetValueExW": ["5", "1450"],
    "CreateFileW": ["5", "32", "3"],
    "CreateDirectoryW": ["5", "183", "3"],
    "WriteFile": ["112", "5"],
    "ReadFile": ["21", "return=1", "bytes=1000"],   # "return=1": a success of no bytes
    "DeleteFileW": ["5", "32", "2"],
    "CopyFileW": ["5", "112"],
    "CreateProcessW": ["2", "5", "740"],
    "CreateProcessAsUserW": ["1314", "2"],
    "LogonUserW": ["1385", "1326"],
    "EvtQuery": ["15007", "5", "1722"],
    "EvtNext": ["259", "1734", "15011", "return=1"],    # "return=1": a success of nothing
    "EvtRender": ["122", "13", "wrong-type", "return=1"],
    "OpenPrinterW": ["1801", "1722", "5"],
    "GetPrinterDriverW": ["122", "1801", "0"],
    "WTSEnumerateSessionsW": ["1722", "5", "return=1"],
    "GetModuleFileNameW": ["5", "return=260,error=122"],
    "WTSQueryUserToken": ["1314", "1008"],
    "LookupAccountSidW": ["1332", "122"],
    "LookupAccountNameW": ["1332", "122"],
    "GetUserNameExW": ["1332", "234"],
    "GetComputerNameExW": ["234", "87"],
    "GetTokenInformation": ["122", "5"],
    "MultiByteToWideChar": ["1113"], "WideCharToMultiByte": ["1113"],
    "malloc": ["12"], "calloc": ["12"], "realloc": ["12"],
    "LocalAlloc": ["8"], "SysAllocString": ["8"],
    "CoInitializeEx": ["0x80010106", "0x8007000E"],
    "CoInitializeSecurity": ["0x80010119", "0x80010118"],
    "CoCreateInstance": ["0x80040154", "0x80070005"],
    "SHGetKnownFolderPath": ["0x80070002", "0x80070005"],
    "VariantChangeType": ["0x80020005", "0x8007000E"],
    "IWbemClassObject::Get": ["0x80041002", "wrong-type"],
    "_vsnwprintf": ["return=4294967295,errno=22"], "_vscwprintf": ["return=4294967295,errno=22"],
    "fflush": ["return=4294967295,errno=28"],
    "InstallPrinterDriverFromPackageW": ["0x80070005", "0x800F0219"],
    "IEnumWbemClassObject::Next": ["0x80041003", "return=1", "return=0"],
    "fputs": ["return=4294967295,errno=28"], "fwrite": ["return=0,errno=28"],
    "VerifyVersionInfoW": ["1150"],
}

ODD_READS = {"wrong-type", "bytes=0", "bytes=3", "bytes=1000"}


@dataclass(frozen=True)
class Mode:
    name: str
    arguments: tuple
    codes: range            # the exit codes that it can give
    account: str = "SYSTEM"


RECURRING = [Mode("printer event", ("-c", "-i", "NewOrChangedTask"), range(2)),
             Mode("user logon", ("-c", "-i", "UserLogonTask", "-IN", "-w"), range(2)),
             Mode("refresh", ("-r", "-i", "PeriodicRefreshTask", "-IN", "-w"), range(2))]
INSTALL = Mode("install", ("-IT",), range(5))
UNINSTALL = Mode("uninstall", ("-UT",), range(5))
DELETE_LOG = Mode("delete log", ("-DL",), range(2))
DRIVER = Mode("driver", ("-APDI", "-i", "Palvo Orvela PV6 PS"), range(1))
HELP = Mode("help", ("-?",), range(1, 2))
TRIM = Mode("long log", ("-?",), range(1, 2))
PROMPT = Mode("debugger prompt", ("-UN",), range(1, 2))
BOX = Mode("debugger prompt on the desktop", ("-UN",), range(1, 2), "alice")
# The siblings take long enough for the message queue to be looked at, and hold messages for it.
SLOW = Mode("slow siblings", ("-r",), range(2))
NOTHING = Mode("nothing to do", RECURRING[0].arguments, range(2))
REDUNDANT = Mode("redundant copy", RECURRING[0].arguments, range(2))
MODES = RECURRING + [INSTALL, UNINSTALL, DELETE_LOG, DRIVER, HELP, TRIM, PROMPT, BOX, SLOW, NOTHING,
                     REDUNDANT]
# These wait for the programs that they start.
WAITING = RECURRING + [SLOW]

# What is called only after something else failed: that fault, and the mode in which it fails.
AFTER = {
    "ConvertStringSecurityDescriptorToSecurityDescriptorW": ("GetSecurityInfo 1 5 always", HELP),
    "FormatMessageW": ("RegCreateKeyExW 1 5", INSTALL),
    "GetUserNameW": ("LookupAccountSidW 1 return=1 always", RECURRING[1]),
    "SetThreadToken": ("RevertToSelf 1 5", RECURRING[1]),
    "MessageBoxW": ("WTSSendMessageW 1 5 always", BOX),
    "VariantChangeType": ("IWbemClassObject::Get 1 wrong-type always", RECURRING[1]),
}

# Imported, and out of reach of the lab.
OUT_OF_REACH = {
    "SetSecurityDescriptorSacl": "for files with an integrity label, which Wine does not have",
    "UnloadUserProfile": "for a profile that nothing in the program loads",
} | dict.fromkeys("_close _open _read _write fprintf fputc fwrite realloc vfprintf".split(),
                  "the runtime library's, for its last words")


@dataclass(frozen=True)
class Case:
    mode: Mode
    function: str
    nth: int
    way: str
    always: bool
    before: str = ""        # the fault that makes the program call the function

    def fault(self):
        return (f"{self.before}{';' if self.before else ''}{self.function} {self.nth} {self.way}"
                f"{' always' if self.always else ''}")

    def __str__(self):
        return f"{self.mode.name}: {self.fault()}"

    def ends(self, instance_wait):
        """A child that never ends keeps the program waiting, for ever: such a case has no end, unless
        the wait for the instance, by its number, tells the copy before that it is redundant."""
        if not self.always or self.function != "WaitForSingleObject" or self.mode not in WAITING:
            return True
        return self.way == "return=258" and self.nth <= instance_wait or "=4294967295" in self.way


def let_end(lab):
    """Lets the copy that was held at work end, and its programs."""
    lab("sibling", "writer", "--release")
    lab.wait_for(lambda: not lab.at_work(), "the end of all programs")


def prepare(lab, mode):
    if lab.at_work():
        let_end(lab)
    lab("reset")
    lab("set", "windows-version", "win10")
    lab("user", "add", "alice", "admin")
    lab("user", "logon", "alice")
    lab("printer", "add", "Anchor", "Legacy V3 Driver")
    lab("printer", "add", "One", SUPPORTED)
    if mode == UNINSTALL:
        lab("run", "--", "-IT")
    if mode == TRIM:
        lab.log_path().parent.mkdir(parents=True, exist_ok=True)
        line = b"[11/21/2026 7:50:40 AM] PalvoPrinterConfiguration(PID1): x\r\n"
        lab.log_path().write_bytes(line * (4 * 1024 * 1024 // len(line) + 1))
    if mode in (PROMPT, BOX):
        lab("set", "debugger-prompt", "ALWAYS")
    if mode == BOX:
        lab("set", "window-station", "visible")
        lab("set", "box-returns", "1")
    if mode == SLOW:
        lab("sibling", "writer", "--take", "150")
        lab("set", "message-queue", "10 11 quit")
    if mode == NOTHING:
        run(lab, mode)
    if mode == REDUNDANT:
        lab("sibling", "writer", "--hold")
        working = lab.start("-c")
        lab.wait_for(lambda: any(run.name == "writer" and run.parent == working
                                 for run in lab.siblings()), "the working copy's writer")
        lab("sibling", "writer", "--hold-no-more")


def run(lab, mode, *options):
    """The exit code, None when the run had to be ended, and the process id."""
    said = lab("run", *options, "--print-exit", "--account", mode.account, "--timeout", str(LIMIT_MS),
               "--fault", "Sleep 1 return=0 always", "--", *mode.arguments, check=False)
    found = re.search(r"palvo-lab: exit (\d+) pid (\d+)\n$", said)
    if not found and lab.code != 124:
        raise AssertionError(f"palvo-lab ended with {lab.code}: {said}")
    return (int(found[1]), int(found[2])) if found else (None, 0)


def check_faulted(lab, case, code, pid):
    if code is None:
        raise AssertionError(f"did not end within {LIMIT_MS} ms")
    # Without the program's path its lines name no program, and one without a time is possible too.
    if case.function in ("GetModuleFileNameW", "_vsnwprintf", "_vscwprintf") and lab.log_bytes():
        log = lab.parse_log(lab.log_bytes().replace(b"] (PID", b"] PalvoPrinterConfiguration(PID")
                            .replace(b"[] ", b"[11/21/2026 7:50:40 AM] "))
        lab.log_path().unlink()
    else:
        log = lab.log_lines()
    said = [text for of, text in log if of == pid]
    # Every exception is caught in the new-or-changed scheme, until it is done.
    in_scheme = any(text.startswith("-Processing NewOrChanged event") for text in said) and (
        DONE not in said)
    aborted = code == ABORTED and case.function in RAISES and not in_scheme
    if case.function in ("SetThreadToken", "RevertToSelf") and code == 1:
        aborted = True      # it ends at once rather than go on as somebody else
    good = code in case.mode.codes or (case.mode == DRIVER and 0x80000000 <= code < CRASH)
    if good and code == 1 and case.mode in WAITING + [NOTHING]:
        # It says so, unless the log's own mutex cannot be had.
        good = any(text.startswith("-Redundant instance") for text in said) or (
            case.function == "WaitForSingleObject" and case.always)
    if not good and not aborted:
        raise AssertionError(f"exit code {code} (0x{code:x}), and it said {said[-3:]}")
    leaks = [] if aborted else lab.leaks()
    if leaks and not (case.function in GIVES_BACK and (case.always or len(leaks) == 1)):
        raise AssertionError(f"left open: {leaks}")


@dataclass
class Outcome:
    """What one run did and left behind, but for numbers, which differ from run to run."""
    code: int
    said: list
    siblings: list
    prompts: int
    bags: dict
    tasks: list
    channel: tuple
    drivers: str
    position: tuple


def without_numbers(text):
    return re.sub(r"\d+", "#", text)


def siblings_of(lab, pid):
    return sorted((run.name, run.account, without_numbers(run.arguments)) for run in lab.siblings()
                  if run.parent == pid)


def outcome(lab, mode):
    """Of a run without a fault, and of the programs that it starts."""
    prompts = len(lab("show", "messages").splitlines())
    code, pid = run(lab, mode)
    lab.wait_for(lambda: not lab.at_work(), "the end of all programs")
    if mode == TRIM and lab.log_path().stat().st_size > 4 * 1024 * 1024:
        raise AssertionError("the log was not trimmed")
    return Outcome(
        code, [without_numbers(text) for of, text in lab.log_lines()
               if of == pid and text != "Log trimmed."],
        siblings_of(lab, pid), len(lab("show", "messages").splitlines()) - prompts, lab.bags(),
        [(name, {what: without_numbers(value) for what, value in lab.raw_task(name).items()})
         for name in lab.tasks()],
        lab.channel(), lab("driver", "list"),
        None if mode.arguments == RECURRING[0].arguments else lab.scan_position())


class Normal:
    """What runs of each mode come to where nothing fails."""

    def __init__(self, lab):
        self.lab = lab
        self.outcomes = {mode: self.outcome_of(mode) for mode in MODES if mode != REDUNDANT}
        self.outcomes[REDUNDANT] = self.outcomes[RECURRING[0]]

    def outcome_of(self, mode):
        prepare(self.lab, mode)
        found = outcome(self.lab, mode)
        check_normal(mode, found)
        return found


def expect(good, found):
    if not good:
        raise AssertionError(f"this is no normal run: {found}")


def check_normal(mode, found):
    """That a run to compare with has done its work."""
    expect(found.code == (1 if mode in (HELP, TRIM, PROMPT, BOX) else 0), found)
    names = [name for name, _, _ in found.siblings]
    if mode in WAITING:
        # Two of them prepare the suite's applications too.
        expect(names == ["query", "writer"] + ["writer"] * ("-w" in mode.arguments), found)
        expect(any({"UserId", "DeviceId", "IsAdmin"} <= set(bag) for bag in found.bags.values()), found)
    else:
        expect(names == ["writer"] * (mode in (PROMPT, BOX)), found)
    if mode in WAITING + [INSTALL, NOTHING]:
        expect(found.bags and all("DesktopAppGUIDs" in bag for bag in found.bags.values()), found)
    expect(len(found.tasks) == (3 if mode == INSTALL else 0), found)
    if mode in (INSTALL, UNINSTALL):
        expect(found.channel[0] == ("on" if mode == INSTALL else "off"), found)
    expect(mode != DRIVER or "\nPalvo Orvela PV6 PS\tversion 4\tinstalled\t" in found.drivers, found)
    expect(found.prompts == (1 if mode in (PROMPT, BOX) else 0), found)
    expect(mode != INSTALL or found.position == ("REG_QWORD", 0), found)
    last = {DELETE_LOG: "# Invoked to delete log file. Done...exiting.",
            NOTHING: "- No supported printers need to be processed. Done. Exiting."}
    expect(mode not in last or found.said[-1] == last[mode], found)
    expect(mode not in RECURRING[:2] or DONE in found.said[-3:], found)


def check_repair(lab, case, normal):
    """One run of the same mode does what the failed one was asked for, and leaves everything as if
    nothing had failed."""
    mode = case.mode
    wanted = normal.outcomes[mode]
    position = (lab.scan_position() or ("", 0))[1]
    if mode == REDUNDANT:
        let_end(lab)
        lab("printer", "change", "One")
    elif mode == RECURRING[0] and position >= 2:
        lab("printer", "change", "One")     # The failed run knew of the event, and left it behind.
    elif mode == NOTHING and position < 2:
        wanted = normal.outcomes[RECURRING[0]]  # Nobody could read the newest event's number.
    found = outcome(lab, mode)
    if case.way in ODD_READS:
        # What was read in a value's place is another's entry, which is kept.
        for hive, values in found.bags.items():
            kind, text = values.get("DesktopAppGUIDs", ("", ""))
            good = wanted.bags.get(hive, {}).get("DesktopAppGUIDs", ("", "no list"))
            if kind == good[0] and good[1] in text.split("*"):
                values["DesktopAppGUIDs"] = good
    for field in Outcome.__dataclass_fields__:
        if getattr(found, field) != getattr(wanted, field):
            raise AssertionError(f"the ordinary run afterwards has {field} {getattr(found, field)} "
                                 f"instead of {getattr(wanted, field)}")


@dataclass
class Counted:
    """The calls of a normal run."""
    calls: dict             # {function: how many}
    instance_wait: int      # which of its waits is the one for the instance


def count_calls(lab, mode):
    prepare(lab, mode)
    lab("record", "counts")
    code, pid = run(lab, mode)
    if code != (1 if mode in (HELP, TRIM, PROMPT, BOX, REDUNDANT) else 0):
        raise AssertionError(f"a normal run of '{mode.name}' ended with {code}")
    of_run = (line.split() for line in lab("show", "counts").splitlines())
    calls = {name: int(count) for of, name, count in of_run if int(of) == pid}
    prepare(lab, mode)
    lab("record", "on", "WaitForSingleObject")
    _, pid = run(lab, mode)
    waits = [call for call in map(CALL.fullmatch, lab("show", "calls").splitlines())
             if call and int(call[2]) == pid]
    instance_waits = [number for number, call in enumerate(waits, 1)
                      if " instance" in (step_of(call[3], call[4], int(call[5], 0)) or [""])[0]]
    return Counted(calls, min(instance_waits, default=0))


def imports(lab):
    """The functions that the executable imports and that can fail."""
    return [name for _, name, _, kind in
            (line.split("\t") for line in lab("imports").splitlines())
            if kind == "can fail" and name not in NO_FAILURE]


def cases_of(mode, function, calls, instance_wait):
    # The runtime library copies the arguments before the program begins, and trusts its malloc.
    first = len(mode.arguments) + 3 if function == "malloc" else 1
    for nth in range(first, calls + 1):
        for way in WAYS.get(function, ["0x80070005" if "::" in function else "5"]):
            for always in (False, True):
                case = Case(mode, function, nth, way, always)
                if case.ends(instance_wait):
                    yield case


def choose(proof, mode, counted, functions):
    """All cases of a mode, or one of each of its functions, of three out of ten this time."""
    for function in functions:
        cases = list(cases_of(mode, function, counted.calls[function], counted.instance_wait))
        if proof.long:
            yield from cases
        elif cases and proof.random.random() < 0.3:
            yield proof.random.choice(cases)


def main():
    proof = Proof("Fault sweep: every call into Windows fails in turn")
    lab = proof.labs[0]
    can_fail = imports(lab)
    cases, called, calls = [], set(), 0
    for mode in MODES:
        counted = count_calls(lab, mode)
        functions = sorted(name for name in counted.calls if name in can_fail or "::" in name)
        called |= set(functions)
        calls += sum(counted.calls[name] for name in functions)
        cases += choose(proof, mode, counted, functions)
    for function, (before, mode) in AFTER.items():
        cases += [Case(mode, function, 1, way, always, before) for always in (False, True)
                  for way in WAYS.get(function, ["5"])]
    for function in sorted(set(can_fail) - called - set(AFTER) - set(OUT_OF_REACH)):
        proof.find(f"{function} is imported, and no mode here calls it")
    normal = {own: Normal(own) for own in proof.labs}

    def work(own, case):
        prepare(own, case.mode)
        own("record", "on", "CreateProcessW", "CreateProcessAsUserW")
        code, pid = run(own, case.mode, "--fault", case.fault())
        if not re.search(rf" {pid} {case.function} call \d+ fault ", own("show", "calls")):
            if case.before:
                raise AssertionError("the call was not made")
            proof.notes.append(f"the run ended before this call: {case}")
        check_faulted(own, case, code, pid)
        check_repair(own, case, normal[own])

    proof.share(work, cases, Kept("fault_sweep", program(), Path(__file__)) if proof.long else None)
    for function, reason in OUT_OF_REACH.items():
        if function in can_fail:
            print(f"  not reached: {function}: {reason}")
    print("".join(f"  {note}\n" for note in proof.notes), end="")
    proof.end(f"{len(MODES)} modes, {len(called)} functions and methods, {calls} calls in normal "
              f"runs, {len(cases)} runs with a fault, {len(proof.notes)} of them without the call")


if __name__ == "__main__":
    main()
