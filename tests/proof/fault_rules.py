"""Which calls may lose what: the losses by function, as the program's rules have them. A function of which
nothing is said here is a finding."""

from proof.fault_cases import DELETE_LOG, INSTALL, SWITCHED_OFF, UNINSTALL
from proof.fault_judge import Loss, without_lines
from proof.fault_losses import (
    A_LINE, A_VALUE, CAUGHT, CAUGHT_SILENTLY, CHANNEL, CHANNEL_AT_INSTALLATION, COPY_LEFT, EMPTY_TEXTS,
    ENDS, ENDS_SILENTLY, EVERY_PRINTER, EVERY_PRINTER_NOT_SKIPPED, FINDS, IS_REDUNDANT, KILLED,
    LESS_KEPT, LINES_FROM_THEN_ON, LIST_IN_NO_HIVE, LIST_KEPT, LOG_NOT_DELETED, NONE, NOT_MEMBER,
    NOT_SKIPPED, NOT_TRIMMED, NO_ADMINISTRATOR, NO_BACKGROUND_WRITER, NO_CHECKED_TOKEN, NO_DRIVER,
    NO_ELEVATION, NO_IDENTIFIERS, NO_LIST, NO_LOG, NO_LOG_TO_DELETE, NO_MESSAGE, NO_POSITION, NO_PRINT,
    NO_PROGRAM, NO_QUERY, NO_REQUEST, NO_USER_ID, NO_VALUES, NO_WRITER, OLDER_TRIGGER, OTHER_DEVICE_ID,
    OTHER_ENTRY_LOST, OTHER_MESSAGE, OTHER_USER_ID, OWN_ACCOUNT, POSITION_FORGOTTEN, QUEUED_LOST,
    SEES_NOTHING, SEES_WORK, SKIPPED, SWITCHED_ON, TASKS_KEPT, USERS_LINES, VALUE_IN_NO_HIVE,
    WORKS_BESIDE, deletion_losses, task_losses)

LOG_FILE = [NONE, A_LINE, NO_LOG, USERS_LINES, NOT_TRIMMED, LESS_KEPT, COPY_LEFT, LOG_NOT_DELETED]
SCAN = [NONE, FINDS, SEES_NOTHING, EVERY_PRINTER, EVERY_PRINTER_NOT_SKIPPED, NOT_SKIPPED, SKIPPED, SEES_WORK]
HIVES = [LIST_KEPT, LIST_IN_NO_HIVE, VALUE_IN_NO_HIVE, NO_LIST, A_VALUE]

LOSSES = {}     # {function: [(loss, the only situation for it)]}


def let_lose(functions, *losses, only=None):
    for function in functions.split():
        LOSSES.setdefault(function, []).extend((loss, only) for loss in losses)


# The child's environment and exit code, its messages, giving back, and texts of errors that nobody asks for.
let_lose("CreateEnvironmentBlock GetExitCodeProcess PeekMessageW GetMessageW TranslateMessage "
         "DispatchMessageW ClosePrinter CryptDestroyHash CryptReleaseContext DestroyEnvironmentBlock "
         "EvtClose LocalFree RegCloseKey ReleaseMutex RevertToSelf FormatMessageW "
         "QueryPerformanceCounter", NONE)

let_lose("CreateFileW GetFinalPathNameByHandleW GetFileInformationByHandle GetFileInformationByHandleEx",
         *LOG_FILE)
let_lose("WriteFile", A_LINE, NO_LOG, LESS_KEPT, NOT_TRIMMED)
let_lose("WriteFile", NONE, only=DELETE_LOG)
let_lose("CreateDirectoryW", NONE, NO_LOG)
let_lose("GetFileSizeEx", NONE, NOT_TRIMMED)
let_lose("ReadFile SetFilePointerEx SetEndOfFile", NONE, NOT_TRIMMED, LESS_KEPT)
let_lose("SetFileInformationByHandle", NONE, COPY_LEFT, LOG_NOT_DELETED)
let_lose("SHGetKnownFolderPath", NO_LOG)
# The access list of the log's mutex, without which there is no log, and of the log.
let_lose("AddAce GetAce GetAclInformation InitializeAcl InitializeSecurityDescriptor LocalAlloc "
         "IsValidSecurityDescriptor SetSecurityDescriptorDacl SetEntriesInAclW LookupAccountNameW "
         "GetSecurityInfo SetSecurityInfo MakeAbsoluteSD "
         "ConvertStringSecurityDescriptorToSecurityDescriptorW", NONE, NO_LOG, USERS_LINES)
let_lose("GetSecurityInfo MakeAbsoluteSD ConvertStringSecurityDescriptorToSecurityDescriptorW CloseHandle",
         NONE, LINES_FROM_THEN_ON, NO_LOG)

let_lose("LogonUserW", OWN_ACCOUNT)
let_lose("CreateProcessAsUserW", NO_QUERY)
let_lose("CreateProcessW", NO_WRITER, NO_BACKGROUND_WRITER)
let_lose("GetModuleFileNameW", NONE, NO_PROGRAM, NO_BACKGROUND_WRITER, NO_MESSAGE,
         "\n".join(task_losses("")))

let_lose("WTSEnumerateSessionsW WTSQueryUserToken", NO_VALUES)
let_lose("WTSEnumerateSessionsW WTSSendMessageW ProcessIdToSessionId GetUserObjectInformationW MessageBoxW "
         "GetProcessWindowStation GetModuleHandleW", NONE, OTHER_MESSAGE, NO_MESSAGE)
let_lose("ConvertStringSidToSidW LookupAccountSidW", NONE, NO_LOG, USERS_LINES, OWN_ACCOUNT, NO_IDENTIFIERS)
let_lose("ConvertSidToStringSidW", NO_IDENTIFIERS)
let_lose("ImpersonateLoggedOnUser", NO_IDENTIFIERS, NO_ADMINISTRATOR)
let_lose("GetTokenInformation", NO_IDENTIFIERS, NO_ELEVATION)
let_lose("fwrite fflush", NONE, NO_PRINT)
let_lose("SetThreadToken", NONE, ENDS_SILENTLY)
let_lose("DuplicateTokenEx", NONE, NO_VALUES, NO_CHECKED_TOKEN)
let_lose("CheckTokenMembership CreateWellKnownSid", NOT_MEMBER)
let_lose("GetComputerNameW GetComputerNameExW GetUserNameExW GetUserNameW LCMapStringEx WideCharToMultiByte "
         "GetProcAddress LoadLibraryExA GetSystemDirectoryA", NONE, OTHER_USER_ID, OTHER_DEVICE_ID)
let_lose("CryptAcquireContextW CryptCreateHash CryptHashData CryptGetHashParam", OTHER_USER_ID,
         OTHER_DEVICE_ID)
let_lose("IWbemLocator::ConnectServer CoSetProxyBlanket IWbemServices::ExecQuery "
         "IEnumWbemClassObject::Next IWbemClassObject::Get", OTHER_DEVICE_ID)
let_lose("IEnumWbemClassObject::Next", NONE)
let_lose("CoInitializeEx CoCreateInstance SysAllocString", OTHER_DEVICE_ID)
let_lose("VariantClear VariantChangeType", NONE, OTHER_DEVICE_ID)

let_lose("RegOpenKeyExW RegQueryValueExW RegQueryInfoKeyW RegEnumKeyExW", NONE, *HIVES, NO_MESSAGE,
         OTHER_ENTRY_LOST)
let_lose("RegCreateKeyExW RegSetValueExW", NONE, *HIVES, NO_POSITION, NO_USER_ID)
let_lose("RegOpenKeyExW RegQueryValueExW", SWITCHED_ON, only=SWITCHED_OFF)
# The position is read or stored.
let_lose("RegOpenKeyExW RegQueryValueExW RegCreateKeyExW RegSetValueExW", NOT_SKIPPED, FINDS, SEES_WORK)
let_lose("RegQueryValueExW", "+ the list of {hive} has {text}")
let_lose("RegSetValueExW SysAllocString", CAUGHT, ENDS)

let_lose("EvtQuery EvtNext EvtCreateRenderContext EvtRender OpenPrinterW GetPrinterDriverW "
         "GetPrivateProfileStringW", *SCAN)
let_lose("EvtQuery EvtNext EvtCreateRenderContext EvtRender", POSITION_FORGOTTEN)

let_lose("InstallPrinterDriverFromPackageW", NO_DRIVER)
# The system counts as an older one.
let_lose("VerifyVersionInfoW", NONE, OLDER_TRIGGER, TASKS_KEPT)
# That a task cannot be deleted does not count.
let_lose("ITaskFolder::DeleteTask", NONE, "+ the task {task}")
CHANNEL_STEPS = {       # {function: {what is printed: the status}}
    "EvtOpenChannelConfig": {"EvtOpenChannelConfig failed with #.": 1},
    "EvtSetChannelConfigProperty": {
        "EvtSetChannelConfigProperty for Enabled property failed with #": 2,
        "EvtSetChannelConfigProperty for Retention property failed with #": 2,
        "EvtChannelLoggingConfigMaxSize for MAx Size property failed with #": 3},
    "EvtSaveChannelConfig": {"EvtSaveChannelConfig failed with #": 4},
}
for step, sentences in CHANNEL_STEPS.items():
    for sentence, status in sentences.items():
        for loss, only in ((CHANNEL, UNINSTALL), (CHANNEL_AT_INSTALLATION, INSTALL)):
            let_lose(step, loss.format(sentence=sentence, status=status), only=only)

# What is printed where a step fails.
TASK_STEPS = {
    "CoInitializeEx": ["CoInitializeEx failed"], "CoInitializeSecurity": ["CoInitializeSecurity failed"],
    "CoCreateInstance": ["Failed to CoCreate an instance of the TaskService class"],
    "ITaskService::Connect": ["ITaskService::Connect failed"],
    "ITaskService::GetFolder": ["Cannot get Root Folder pointer"],
    "ITaskService::NewTask": ["Failed to create an instance of the task"],
    "ITaskDefinition::get_RegistrationInfo": ["Cannot get identification pointer"],
    "IRegistrationInfo::put_Author": ["Cannot put identification info"],
    "ITaskDefinition::get_Principal": ["Cannot get principal pointer"],
    "IPrincipal::put_RunLevel": ["Cannot put runlevel"],
    # The refresh task's number of instances is set with its trigger.
    "ITaskDefinition::get_Settings": ["Cannot get settings pointer", "Cannot create the first trigger"],
    "ITaskSettings::put_MultipleInstances": ["Cannot put settings info", "Cannot create the first trigger"],
    "ITaskDefinition::get_Triggers": ["Cannot get trigger collection"],
    "ITriggerCollection::Create": ["Cannot create the first trigger", "Cannot create the second trigger"],
    "IEventTrigger::QueryInterface": ["QueryInterface call on IEventTrigger failed"],
    "IDailyTrigger::QueryInterface": ["QueryInterface call on IEventTrigger failed"],
    "IDailyTrigger::get_Repetition": ["QueryInterface call on IRepetitionPattern failed"],
    "IRepetitionPattern::put_Interval": ["Cannot put the repetition interval"],
    "ITaskDefinition::get_Actions": ["Cannot get action collection pointer"],
    "IActionCollection::Create": ["Cannot create an exec action"],
    "IExecAction::QueryInterface": ["QueryInterface call failed for IExecAction"],
    "IExecAction::put_Path": ["Cannot put path information"],
    "IExecAction::put_Arguments": ["Cannot put arguments"],
    "ITaskFolder::RegisterTaskDefinition": ["Error saving the Task"],
    "SysAllocString": [""],     # nothing is printed
} | {f"ITaskSettings::put_{name}": ["Cannot put settings info"] for name in (
    "Enabled", "StartWhenAvailable", "Compatibility", "ExecutionTimeLimit", "AllowHardTerminate",
    "DisallowStartIfOnBatteries", "StopIfGoingOnBatteries", "Hidden")
} | {f"IEventTrigger::put_{name}": ["Cannot put the event trigger info"] for name in (
    "Id", "Subscription", "ExecutionTimeLimit")
} | {f"IDailyTrigger::put_{name}": ["Cannot put the event trigger info for #nd trigger"] for name in (
    "Id", "ExecutionTimeLimit", "StartBoundary")}
for step, sentences in TASK_STEPS.items():
    for sentence in sentences:
        let_lose(step, *task_losses(sentence), only=INSTALL)
        let_lose(step, *deletion_losses(sentence), only=UNINSTALL)

let_lose("CreateEventW SetEvent", NONE, NO_REQUEST)
let_lose("CreateMutexW", NONE, NO_LOG, WORKS_BESIDE)
let_lose("WaitForSingleObject", NONE, A_LINE, NO_LOG, IS_REDUNDANT, NO_REQUEST, WORKS_BESIDE)

let_lose("_vsnwprintf _vscwprintf MultiByteToWideChar", EMPTY_TEXTS)
let_lose("malloc calloc realloc", NONE, ENDS, CAUGHT, CAUGHT_SILENTLY, A_LINE, NO_LOG, USERS_LINES, *HIVES)
# The name of Local Service, of a request's event, of a mutex.
let_lose("malloc calloc realloc", OWN_ACCOUNT, NO_REQUEST, WORKS_BESIDE)


# Where both fail.
TOGETHER = {("LogonUserW", "CreateProcessW"): NO_QUERY}


def losses_of(case):
    """What a run of the case may lose."""
    losses = [loss for function in case.failing for loss, only in LOSSES[function]
              if only in (None, case.mode)]
    losses += [loss for both, loss in TOGETHER.items() if set(both) <= set(case.failing)]
    if case.mode.posted:
        losses += [loss + QUEUED_LOST for loss in (NO_QUERY, NO_PROGRAM) if loss in losses]
    if case.mode == DELETE_LOG and NO_LOG in losses:
        losses.append(NO_LOG_TO_DELETE)
    if case.kills:      # maybe before the loss had come
        return [Loss.of(KILLED), *(Loss((), loss.must + loss.may) for loss in map(Loss.of, losses))]
    if case.before and A_LINE in losses:    # maybe of the lines that tell of the other failure
        return [Loss(without_lines(loss).must, loss.may + loss.must) for loss in map(Loss.of, losses)]
    return [Loss.of(loss) for loss in losses]
