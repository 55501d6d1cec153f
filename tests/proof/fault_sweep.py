"""Every call that the program makes into Windows fails in turn, in every mode.

The calls are found from the executable itself: its import table names the functions, a normal run of
each mode counts them, those of COM interfaces too. Each call of each function then fails once alone,
and once with all that follow, with each of the ways in which that function fails. After each run
everything is as it has to be (exit code, log, nothing left open), and one ordinary run does the work.
"""

import re
from dataclasses import dataclass

from proof import SUPPORTED, Proof

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
    CreateSemaphoreW ReleaseSemaphore VirtualProtect VirtualQuery GetStartupInfoW fflush
    LoadLibraryA FreeLibrary GetProcAddress _vsnwprintf _vscwprintf""".split())
# LoadLibraryA, GetProcAddress and FreeLibrary: the late loading of the system's own DLLs, which are
# always there. _vsnwprintf and _vscwprintf fail when a format does not fit; the compiler checks them.

# Giving back: when it fails, what was to be given back stays open.
GIVES_BACK = set("""
    CloseHandle RegCloseKey LocalFree EvtClose ClosePrinter DestroyEnvironmentBlock UnloadUserProfile
    VariantClear CryptReleaseContext CryptDestroyHash RevertToSelf ReleaseMutex""".split())

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
    "EvtNext": ["259", "1734", "15011"],
    "EvtRender": ["122", "13", "wrong-type"],
    "OpenPrinterW": ["1801", "1722", "5"],
    "GetPrinterDriverW": ["122", "1801", "0"],
    "WTSEnumerateSessionsW": ["1722", "5"],
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
    "VariantChangeType": ["0x80020005"],
    "InstallPrinterDriverFromPackageW": ["0x80070005", "0x800F0219"],
    "IEnumWbemClassObject::Next": ["0x80041003", "return=1"],
    "fputs": ["return=4294967295,errno=28"], "fwrite": ["return=0,errno=28"],
    "VerifyVersionInfoW": ["1150"],
}


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
DRIVER = Mode("driver", ("-APDI", "-i", "Palvo Orvela PV6 PS"), range(2))
HELP = Mode("help", ("-?",), range(1, 2))
TRIM = Mode("long log", ("-?",), range(1, 2))
PROMPT = Mode("debugger prompt", ("-UN",), range(1, 2))
BOX = Mode("debugger prompt on the desktop", ("-UN",), range(1, 2), "alice")
# The siblings take long enough for the message queue to be looked at, and hold messages for it.
SLOW = Mode("slow siblings", ("-r",), range(2))
MODES = RECURRING + [INSTALL, UNINSTALL, DELETE_LOG, DRIVER, HELP, TRIM, PROMPT, BOX, SLOW]

# What is called only after something else failed: that fault, and the mode in which it fails.
AFTER = {
    "ConvertStringSecurityDescriptorToSecurityDescriptorW": ("GetSecurityInfo 1 5 always", HELP),
    "GetUserNameW": ("GetUserNameExW 1 1332 always", RECURRING[1]),
    "SetThreadToken": ("RevertToSelf 1 5", RECURRING[1]),
    "MessageBoxW": ("WTSSendMessageW 1 5 always", BOX),
}

# Imported, and out of reach of the lab.
OUT_OF_REACH = {
    "FormatMessageW": "for the texts of errors, which no mode shows to anybody",
    "SetSecurityDescriptorSacl": "for files with an integrity label, which Wine does not have",
    "UnloadUserProfile": "for a profile that nothing in the program loads",
    "VariantChangeType": "for a property that is no text; Wine's are all texts",
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

    def ends(self):
        """A child that never ends keeps the program waiting, for ever: such a case has no end."""
        return not (self.always and self.function == "WaitForSingleObject"
                    and self.way in ("return=258", "return=128"))


def prepare(lab, mode):
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


def run(lab, mode, *options):
    """The exit code, None when the run had to be ended, and the process id."""
    said = lab("run", *options, "--print-exit", "--account", mode.account, "--timeout", str(LIMIT_MS),
               "--fault", "Sleep 1 return=0 always", "--", *mode.arguments, check=False)
    found = re.search(r"palvo-lab: exit (\d+) pid (\d+)\n$", said)
    if not found and lab.code != 124:
        raise AssertionError(f"palvo-lab ended with {lab.code}: {said}")
    return (int(found[1]), int(found[2])) if found else (None, 0)


def check_faulted(lab, case, code):
    if code is None:
        raise AssertionError(f"did not end within {LIMIT_MS} ms")
    aborted = code == ABORTED and case.function in RAISES
    if case.function in ("SetThreadToken", "RevertToSelf") and code == 1:
        aborted = True      # it ends at once rather than go on as somebody else
    good = code in case.mode.codes or (case.mode == DRIVER and 0x80000000 <= code < CRASH)
    if not good and not aborted:
        raise AssertionError(f"exit code {code} (0x{code:x})")
    # Without the program's path its lines name no program.
    if case.function == "GetModuleFileNameW" and lab.log_path().is_file():
        lab.parse_log(lab.log_bytes().replace(b"] (PID", b"] PalvoPrinterConfiguration(PID"))
        lab.log_path().unlink()
    lab.log_lines()
    if not aborted and case.function not in GIVES_BACK:
        leaks = lab.leaks()
        if leaks:
            raise AssertionError(f"left open: {leaks}")


def expect(good, what):
    if not good:
        raise AssertionError(f"the ordinary run afterwards: {what}")


def check_repair(lab, mode):
    """One ordinary run does what the failed one was asked for."""
    if mode in RECURRING or mode == SLOW:
        lab("printer", "change", "One")
        before = len(lab.siblings())
        code, pid = run(lab, RECURRING[0])
        runs = [s for s in lab.siblings()[before:] if s.parent == pid]
        expect(code == 0, f"ended with {code}")
        expect([s.name for s in runs] == ["query", "writer"], f"started {runs}")
        expect(DONE in lab.log()[-3:], f"said {lab.log()[-3:]}")
        expect(all("DesktopAppGUIDs" in bag for bag in lab.bags().values()), "property bags")
        expect(any({"UserId", "DeviceId", "IsAdmin"} <= set(bag) for bag in lab.bags().values()),
               "the user's values")
        return
    code, _ = run(lab, mode)
    expect(code == (1 if 1 in mode.codes and 0 not in mode.codes else 0), f"ended with {code}")
    if mode == INSTALL:
        expect(len(lab.tasks()) == 3 and lab.channel() == ("on", "1052672", "overwrites"), "tasks")
    elif mode == UNINSTALL:
        expect(not lab.tasks() and lab.channel()[0] == "off", "tasks")
    elif mode == DELETE_LOG:
        expect(lab.log() == ["# Invoked to delete log file. Done...exiting."], "the log")
    elif mode == DRIVER:
        expect("Palvo Orvela PV6 PS" in lab("driver", "list"), "the driver")
    elif mode in (HELP, TRIM):
        expect(lab.log()[-1].startswith("#\tResolved Args: "), "the log")
        expect(lab.log_path().stat().st_size < 4 * 1024 * 1024, "the log's size")
    elif mode in (PROMPT, BOX):
        lab.wait_for(lambda: any("-UN" in s.arguments for s in lab.siblings()), "the writer")


def count_calls(lab, mode):
    """{function: calls} of a normal run."""
    prepare(lab, mode)
    lab("record", "counts")
    code, _ = run(lab, mode)
    lab("record", "off")
    if code not in mode.codes:
        raise AssertionError(f"a normal run of '{mode.name}' ended with {code}")
    first = lab("show", "counts").splitlines()
    return {name: int(calls) for _, name, calls in (line.split() for line in first)}


def imports(lab):
    """The functions that the executable imports and that can fail."""
    return [name for _, name, _, kind in
            (line.split("\t") for line in lab("imports").splitlines())
            if kind == "can fail" and name not in NO_FAILURE]


def cases_of(mode, function, calls):
    # The runtime library copies the arguments before the program begins, and trusts its malloc.
    first = len(mode.arguments) + 3 if function == "malloc" else 1
    for nth in range(first, calls + 1):
        for way in WAYS.get(function, ["0x80070005" if "::" in function else "5"]):
            for always in (False, True):
                case = Case(mode, function, nth, way, always)
                if case.ends():
                    yield case


def choose(proof, mode, counts):
    """All cases of a mode, or one of each of its functions, of every other one this time."""
    for function, calls in sorted(counts.items()):
        cases = list(cases_of(mode, function, calls))
        if proof.long:
            yield from cases
        elif cases and proof.random.random() < 0.5:
            yield proof.random.choice(cases)


def main():
    proof = Proof("Fault sweep: every call into Windows fails in turn")
    lab = proof.labs[0]
    can_fail = imports(lab)
    cases, called, calls = [], set(), 0
    for mode in MODES:
        counts = {name: count for name, count in count_calls(lab, mode).items()
                  if name in can_fail or "::" in name}
        called |= set(counts)
        calls += sum(counts.values())
        cases += choose(proof, mode, counts)
    for function, (before, mode) in AFTER.items():
        cases += [Case(mode, function, 1, "5", always, before) for always in (False, True)]
    for function in sorted(set(can_fail) - called - set(AFTER) - set(OUT_OF_REACH)):
        proof.find(f"{function} is imported, and no mode here calls it")

    def work(own, case):
        prepare(own, case.mode)
        code, _ = run(own, case.mode, "--fault", case.fault())
        check_faulted(own, case, code)
        check_repair(own, case.mode)

    proof.share(work, cases)
    for function, reason in OUT_OF_REACH.items():
        if function in can_fail:
            print(f"  not reached: {function}: {reason}")
    proof.end(f"{len(MODES)} modes, {len(called)} functions and methods, {calls} calls in normal "
              f"runs, {len(cases)} runs with a fault")


if __name__ == "__main__":
    main()
