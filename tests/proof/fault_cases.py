"""What the fault sweep makes fail: the modes, every function's ways of failing, and what the program's
rules say of runs in which one fails."""

import re
from dataclasses import dataclass, replace

from proof.program_promises import NAMES

FOREIGN = "6.0:A,B"     # another program's list of applications
CHANGED = ("-c", "-i", "NewOrChangedTask")
NORMAL_REQUEST, REFRESH_REQUEST = NAMES["normal request"], NAMES["refresh request"]


@dataclass(frozen=True)
class Situation:
    """What a copy of the program is made to do, and beside what."""
    name: str
    arguments: tuple
    code: int               # the exit code of a normal run
    account: str = "SYSTEM"
    beside: tuple = None    # the arguments of a copy that is at work meanwhile
    posted: str = ""        # the request that comes while the query program runs

    def alone(self):
        """The mode without the copy that is at work."""
        return replace(self, beside=None, code=0) if self.beside else self


EVENT = Situation("printer event", CHANGED, 0)
# The printer that the second request is for was dealt with by the first.
SKIPPING = Situation("queued request that needs no work", CHANGED, 0, posted=NORMAL_REQUEST)
LOGON = Situation("user logon, then a printer event", ("-c", "-i", "UserLogonTask", "-IN", "-w"), 0,
                  posted=NORMAL_REQUEST)
REFRESH = Situation("refresh", ("-r", "-i", "PeriodicRefreshTask", "-IN", "-w"), 0)
# The siblings take long enough for the message queue to be looked at, and hold messages for it.
ON_DEMAND = Situation("on demand, twice, slowly", (), 0, posted=REFRESH_REQUEST)
NOTHING = Situation("nothing to do", CHANGED, 0)
REDUNDANT = Situation("redundant printer event", CHANGED, 1, beside=("-c",))
REDUNDANT_LOGON = Situation("redundant logon", ("-c", "-i", "UserLogonTask"), 1, beside=("-c",))
REDUNDANT_REFRESH = Situation("redundant refresh", ("-r",), 1, beside=("-r",))
INSTALL = Situation("install", ("-IT",), 0)
UNINSTALL = Situation("uninstall", ("-UT",), 0)
DELETE_LOG = Situation("delete log", ("-DL",), 0)
DRIVER = Situation("driver", ("-APDI", "-i", "Palvo Orvela PV6 PS"), 0)
HELP = Situation("help", ("-?",), 1)
UNKNOWN = Situation("unknown switch", ("-x",), 1)
# The switch that cannot be read counts as on.
SWITCHED_OFF = Situation("switched off", ("-?",), 0)
TRIM = Situation("long log", ("-?",), 1)
# A text that is longer than most has its length asked for.
PROMPT = Situation("debugger prompt", ("-UN", "-i", "x" * 300), 1)
BOX = Situation("debugger prompt on the desktop", ("-UN",), 1, "alice")
REDUNDANTS = [REDUNDANT, REDUNDANT_LOGON, REDUNDANT_REFRESH]
SITUATIONS = [EVENT, SKIPPING, LOGON, REFRESH, ON_DEMAND, NOTHING, *REDUNDANTS, INSTALL, UNINSTALL,
              DELETE_LOG, DRIVER, HELP, UNKNOWN, SWITCHED_OFF, TRIM, PROMPT, BOX]
# Of modes that are alike the short form takes a function's cases in one.
ALIKE = [[EVENT, SKIPPING, NOTHING], [LOGON], [REFRESH, ON_DEMAND], REDUNDANTS, [INSTALL], [UNINSTALL],
         [DELETE_LOG, DRIVER, HELP, UNKNOWN, SWITCHED_OFF], [TRIM], [PROMPT, BOX]]
# These wait for the programs that they start.
WAITING = [EVENT, SKIPPING, LOGON, REFRESH, ON_DEMAND]
# These scan the event log, and store how far they came.
SCANNING = [EVENT, SKIPPING, LOGON, NOTHING, REDUNDANT]

# They have no way to fail: they return a length, a constant or nothing.
NO_FAILURE = set("""
    memcpy memmove memset memcmp memchr strlen wcslen strcmp strncmp iswspace strerror localeconv
    ___lc_codepage_func ___mb_cur_max_func IsDBCSLeadByteEx _errno _time64 EqualSid GetLengthSid
    VerSetConditionMask BuildExplicitAccessWithNameW""".split())
# Only the runtime library calls these, each release some of them: at the start and the end of every
# program, for exceptions, for its last words, and to load DLLs late.
RUNTIMES = set("""
    __iob_func __set_app_type __setusermatherr __wgetmainargs _initterm _onexit _amsg_exit _cexit _exit
    exit abort signal __C_specific_handler RaiseException RtlLookupFunctionEntry RtlUnwindEx
    RtlVirtualUnwind TlsAlloc TlsFree TlsGetValue TlsSetValue CreateSemaphoreW ReleaseSemaphore
    VirtualProtect VirtualQuery GetStartupInfoW GetThreadId FormatMessageA LoadLibraryA LoadLibraryW
    FreeLibrary InitializeConditionVariable SleepConditionVariableCS WakeAllConditionVariable
    WakeConditionVariable TryEnterCriticalSection _close _open _read _write fprintf fputc fputs realloc
    strchr strtoul vfprintf""".split())

# Imported, and out of reach of the lab.
OUT_OF_REACH = {
    "CompareStringOrdinal": "for a log whose path is written with other capitals than the file has",
    "SetSecurityDescriptorSacl": "for files with an integrity label, which Wine does not have",
    "UnloadUserProfile": "for a profile that nothing in the program loads",
}

# What is called only after something else failed: that fault, and the mode in which it fails.
AFTER = {
    "ConvertStringSecurityDescriptorToSecurityDescriptorW": ("GetSecurityInfo 1 5 always", HELP),
    "FormatMessageW": ("RegCreateKeyExW 1 5", INSTALL),
    "GetUserNameW": ("LookupAccountSidW 1 return=1 always", LOGON),
    "LookupAccountNameW": ("LookupAccountSidW 1 1332 always", HELP),
    "SetThreadToken": ("RevertToSelf 1 5", LOGON),
    "MessageBoxW": ("WTSSendMessageW 1 5 always", BOX),
    "VariantChangeType": ("IWbemClassObject::Get 1 wrong-type always", LOGON),
}

# The ways in which a function fails. 5, access denied, where nothing stands here.
WAYS = {
    "WaitForSingleObject": ["return=258", "return=4294967295,error=6", "return=128"],
    "CreateEventW": ["5", "6", "1450"], "CreateMutexW": ["5", "6", "1450"],     # 6: of another kind
    "SetEvent": ["6"], "ReleaseMutex": ["288"], "CloseHandle": ["6"],
    "RegOpenKeyExW": ["2", "5"], "RegCreateKeyExW": ["5", "1450"], "RegCloseKey": ["6"],
    "RegQueryValueExW": ["2", "5", "234", "bytes=0", "bytes=3", "wrong-type"],
    "RegQueryInfoKeyW": ["5", "1018"], "RegEnumKeyExW": ["5", "234", "259"],
    "RegSetValueExW": ["5", "1450"],
    "CreateFileW": ["5", "32", "3"], "CreateDirectoryW": ["5", "183", "3"],
    "WriteFile": ["112", "5"], "GetFileSizeEx": ["6"], "SetFilePointerEx": ["131"],
    "ReadFile": ["21", "return=1", "bytes=1000"],   # "return=1": a success of no bytes
    "SetEndOfFile": ["112"], "SetFileInformationByHandle": ["5"], "GetFinalPathNameByHandleW": ["3", "5"],
    "CreateProcessW": ["2", "5", "740"], "CreateProcessAsUserW": ["1314", "2"],
    "GetExitCodeProcess": ["6"], "CreateEnvironmentBlock": ["5", "1314"],
    "DestroyEnvironmentBlock": ["6"],
    "LogonUserW": ["1385", "1326"], "ProcessIdToSessionId": ["87"],
    "EvtQuery": ["15007", "5", "1722"],
    "EvtNext": ["259", "1734", "15011", "return=1"],    # "return=1": a success of nothing
    "EvtRender": ["122", "13", "wrong-type", "return=1"],
    "EvtCreateRenderContext": ["8", "87"], "EvtClose": ["6"], "EvtOpenChannelConfig": ["15007", "5"],
    "EvtSetChannelConfigProperty": ["87", "5"], "EvtSaveChannelConfig": ["5", "1722"],
    "OpenPrinterW": ["1801", "1722", "5"], "GetPrinterDriverW": ["122", "1801", "0"],
    "ClosePrinter": ["6"], "InstallPrinterDriverFromPackageW": ["0x80070005", "0x800F0219"],
    "WTSEnumerateSessionsW": ["1722", "5", "return=1"], "WTSQueryUserToken": ["1314", "1008"],
    "WTSSendMessageW": ["1722", "5"], "MessageBoxW": ["1459"],
    "GetMessageW": ["return=4294967295,error=1400"],
    "GetUserObjectInformationW": ["122", "5"],
    "GetModuleFileNameW": ["5", "return=260,error=122"], "GetModuleHandleW": ["126"],
    "LoadLibraryExA": ["126", "8"], "GetProcAddress": ["127"], "GetSystemDirectoryA": ["122"],
    "GetPrivateProfileStringW": ["return=0,error=2"],
    "LookupAccountSidW": ["1332", "122"], "LookupAccountNameW": ["1332", "122"],
    "GetUserNameExW": ["1332", "234"], "GetUserNameW": ["122"],
    "GetComputerNameExW": ["234", "87"], "GetComputerNameW": ["111"],
    "GetTokenInformation": ["122", "5"], "DuplicateTokenEx": ["5", "1346"],
    "CheckTokenMembership": ["1309", "5"], "ImpersonateLoggedOnUser": ["1346", "1314"],
    "ConvertSidToStringSidW": ["1337", "8"], "ConvertStringSidToSidW": ["1337", "8"],
    "CreateWellKnownSid": ["87", "122"], "GetSecurityInfo": ["5", "6"], "SetSecurityInfo": ["5", "1307"],
    "ConvertStringSecurityDescriptorToSecurityDescriptorW": ["1336", "8"],
    "MakeAbsoluteSD": ["122", "1338"], "IsValidSecurityDescriptor": ["1338"],
    "InitializeSecurityDescriptor": ["1305"], "SetSecurityDescriptorDacl": ["1338"],
    "InitializeAcl": ["87"], "AddAce": ["1344"], "GetAce": ["87"], "GetAclInformation": ["1336"],
    "SetEntriesInAclW": ["87", "1332", "8"],
    "CryptAcquireContextW": ["0x80090016", "0x80090017"], "CryptCreateHash": ["0x80090008", "8"],
    "CryptHashData": ["0x80090020"], "CryptGetHashParam": ["234", "0x80090020"],
    "CryptDestroyHash": ["6"], "CryptReleaseContext": ["6"],
    "MultiByteToWideChar": ["1113"], "WideCharToMultiByte": ["1113"], "LCMapStringEx": ["122", "87"],
    "FormatMessageW": ["317", "8"],
    "malloc": ["12"], "calloc": ["12"], "realloc": ["12"],
    "LocalAlloc": ["8"], "LocalFree": ["return=1,error=6"], "SysAllocString": ["8"],
    "CoInitializeEx": ["0x80010106", "0x8007000E"], "CoCreateInstance": ["0x80040154", "0x80070005"],
    "CoInitializeSecurity": ["0x80010119", "0x80010118"], "CoSetProxyBlanket": ["0x80004002", "0x80070005"],
    "SHGetKnownFolderPath": ["0x80070002", "0x80070005"],
    "VariantClear": ["0x80020008"], "VariantChangeType": ["0x80020005", "0x8007000E"],
    "_vsnwprintf": ["return=4294967295,errno=22"], "_vscwprintf": ["return=4294967295,errno=22"],
    "fflush": ["return=4294967295,errno=28"],
    "fwrite": ["return=0,errno=28"],
    "VerifyVersionInfoW": ["1150"],
}
# The same of COM methods: by the whole name, by the name without the interface, or for all others.
METHOD_WAYS = {
    "IWbemLocator::ConnectServer": ["0x8004100E", "0x80041003"],
    "IWbemServices::ExecQuery": ["0x80041017", "0x80041003"],
    "IEnumWbemClassObject::Next": ["0x80041003", "return=1", "return=0"],
    "IWbemClassObject::Get": ["0x80041002", "wrong-type"],
    "QueryInterface": ["0x80004002"],
    "Connect": ["0x80041315", "0x80070005"],
    "GetFolder": ["0x80070003"],
    "DeleteTask": ["0x80070002", "0x80070005"],
    "RegisterTaskDefinition": ["0x80070005", "0x80070534"],
}
OTHER_METHODS = ["0x80070057", "0x8007000E"]

# Reads that succeed with less, or with something else, than there is.
ODD_READS = {"wrong-type", "bytes=0", "bytes=3", "bytes=1000"}

# Giving back: when it fails, what was to be given back stays open, and nothing else.
GIVES_BACK = {
    "CloseHandle": "handle|token", "RegCloseKey": "registry key", "LocalFree": "local memory",
    "EvtClose": "event handle", "ClosePrinter": "printer handle",
    "DestroyEnvironmentBlock": "environment block", "VariantClear": "COM text",
    "CryptReleaseContext": "cryptographic provider", "CryptDestroyHash": "hash",
}

# What the rules let be lost where one of these fails.
# A printer that cannot be asked counts as not supported, a program that cannot be started is not tried
# again, and an exception ends the pass: the position is stored by then, and the event is left behind.
LOSES_EVENT = {"OpenPrinterW", "GetPrinterDriverW", "GetPrivateProfileStringW", "CreateProcessW",
               "GetModuleFileNameW", "malloc"}
# What cannot be posted nobody takes.
LOSES_REQUEST = {"CreateEventW", "SetEvent"}
# An event that cannot be read has the number 0, and so has none when the channel cannot be read twice in
# a row. It is stored: the next scan begins with the oldest event.
FORGETS_POSITION = {"EvtCreateRenderContext", "EvtRender", "EvtQuery", "EvtNext", "_vscwprintf",
                    "_vsnwprintf"}

# A log whose access list cannot be read gets one that begins empty: it holds the granted accounts alone, and
# the program, as SYSTEM, opens it no more.
CLOSES_LOG = {"GetSecurityInfo", "MakeAbsoluteSD"}


# The copy of a trimmed log that cannot be deleted is deleted by the next trim.
LEAVES_COPY = {"CreateFileW", "GetFinalPathNameByHandleW", "SetFileInformationByHandle", "CloseHandle"}


@dataclass(frozen=True)
class Case:
    mode: Situation
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

    @property
    def often(self):
        """Whether more than one call may fail."""
        return self.always or bool(self.before)

    @property
    def failing(self):
        """The functions that fail."""
        return [*(fault.split()[0] for fault in self.before.split(";") if fault),
                *([] if self.kills else [self.function])]

    @property
    def kills(self):
        return self.way == "kill"

    def ends(self, normal):
        """A child that never ends keeps the program waiting, for ever: such a case has no end, unless
        the wait for the instance, by its number, tells the copy before that it is redundant."""
        if not self.always or self.function != "WaitForSingleObject" or self.mode not in WAITING:
            return True
        return self.way == "return=258" and self.nth <= normal.instance_wait or "=4294967295" in self.way


def ways_of(function):
    if "::" not in function:
        return WAYS.get(function, ["5"])
    return METHOD_WAYS.get(function, METHOD_WAYS.get(function.split("::")[1], OTHER_METHODS))


def numbers_of(situation, function, normal):
    """Of the calls that can be told by their number. The number of the others changes with the time that a
    child takes: the program looks for it again and again."""
    # The runtime library copies the arguments before the program begins, and trusts its malloc.
    first = len(situation.arguments) + 3 if function == "malloc" else 1
    last = {"WaitForSingleObject": normal.waits, "PeekMessageW": 1}.get(function) if normal.waits else None
    return range(first, min(last or normal.calls[function], normal.calls[function]) + 1)


def cases_of(situation, function, normal):
    for nth in numbers_of(situation, function, normal):
        for way in ways_of(function):
            for always in (False, True):
                case = Case(situation, function, nth, way, always)
                if case.ends(normal):
                    yield case


def cases_after():
    """The cases of what is called only after something else failed."""
    return [Case(mode, function, 1, way, always, before) for function, (before, mode) in AFTER.items()
            for always in (False, True) for way in ways_of(function)]


def unknown_functions(can_fail, called, source):
    """What the program imports or calls and nothing here makes fail, and what stands here for nothing.
    The executable tells its functions, but not the COM methods that it calls: these stand in the
    source."""
    for function in sorted(can_fail - called - set(AFTER) - set(OUT_OF_REACH) - NO_FAILURE - RUNTIMES):
        yield f"{function} is imported, and no mode here calls it"
    for function in sorted((set(AFTER) | set(OUT_OF_REACH) | NO_FAILURE) - can_fail):
        yield f"{function} is not imported any more"
    for function in sorted(function for function in RUNTIMES if re.search(rf"\b{function}\(", source)):
        yield f"{function} is called by the program itself"
    methods = {name.split("::")[1] for name in called if "::" in name}
    used = set(re.findall(r"(?:->|\.)((?:get_|put_)\w+|[A-Z]\w+)\(", source))
    for method in sorted(used - methods - set(re.findall(r"\b(\w+)\([^;{}]*\)[^;{}]*\{", source))):
        yield f"the method {method} is in the source, and no mode here calls it"
