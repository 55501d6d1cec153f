"""What a run may lose where a call fails, by the program's rules. Everything else must be as in a run in
which nothing fails. A loss has a line for each difference; fault_judge.py says how it reads them."""

NONE = ""       # nothing is lost

# The log. Its own failures are silent.
A_LINE = "- line {text}"
NO_LOG = """
    - every line
    may - the log keeps the tail
    may + the log keeps all
"""
# The log stays open, or is closed to the program: what follows is lost.
LINES_FROM_THEN_ON = """
    - line {text}
    may - line *
"""
# Lines that are written as the session's user, to whom the log was not opened.
USERS_LINES = """
    - line Updated UserPropertyBag for *
    may - line Updated UserPropertyBag*
"""
NOT_TRIMMED = """
    - the log keeps the tail
    + the log keeps all
    may - line {text}
"""
LESS_KEPT = """
    - the log keeps the tail
    + the log keeps whole lines of the tail
"""
COPY_LEFT = "+ a copy of the log"
LOG_NOT_DELETED = """
    the code is 1
    may + line *
"""

# -DL without a log, or without its folder.
NO_LOG_TO_DELETE = NO_LOG + "may the code is 1"

# The sibling programs.
NO_QUERY = "- program query as *"
NO_WRITER = "- program writer as *"
NO_BACKGROUND_WRITER = "- behind, writer as *"
OWN_ACCOUNT = """
    - program query as LocalService: {arguments}
    + program query as SYSTEM: {arguments}
"""
NO_PROGRAM = """
    - program *
    may - program *
    may - behind, writer as *
"""

# The users' values.
NO_USER_ID = """
    - line Updated UserPropertyBag for *
    may - UserId of alice is *
"""
NO_IDENTIFIERS = """
    - line Updated UserPropertyBag for *
    - line Updated UserPropertyBags: DeviceId=*
    may - UserId of alice is *
    may - DeviceId of every hive is *
"""
NO_ADMINISTRATOR = "- IsAdmin of every hive is 1"
NO_VALUES = NO_IDENTIFIERS + "may - IsAdmin of every hive is 1"
A_VALUE = "- {value} of {hive} is {text}"
VALUE_IN_NO_HIVE = """
    - {value} of every hive is {text}
"""
OTHER_USER_ID = """
    - line Updated UserPropertyBag for 'VM\\alice': {old}
    + line Updated UserPropertyBag for 'VM\\alice': {new}
    may - UserId of alice is *
    may + UserId of alice is *
"""
OTHER_DEVICE_ID = """
    - line Updated UserPropertyBags: {old}
    + line Updated UserPropertyBags: {new}
    may - DeviceId of every hive is *
    may + DeviceId of every hive is *
"""
NOT_MEMBER = """
    + line ERROR: Failed checking token membership for the Administrators group.
    may - IsAdmin of every hive is 1
    may + IsAdmin of every hive is 0
"""
NO_ELEVATION = NOT_MEMBER + "+ line ERROR: Failed trying to get token information: #"
NO_CHECKED_TOKEN = NOT_MEMBER + "+ line ERROR: Failed trying to duplicate a token: #"
NO_LIST = "- the list of {hive} has 7.0:"
LIST_IN_NO_HIVE = "- the list of every hive has 7.0:"
LIST_KEPT = """
    + the list of {hive} has 7.0:
    may - the list of *
"""

# The scan.
FINDS = """
    - line Found {old}
    + line Found {new}
"""
# The pre-scan takes what it cannot judge for nothing to do; the position is stored.
SEES_NOTHING = """
    - line Found {old}
    + line Found {new}
    + line - No supported printers need to be processed. Done. Exiting.
    may - *
    may + the position is REG_QWORD, *
    may the code is 0
"""
# Or takes what it did not look at for work.
SEES_WORK = """
    - line - No supported printers need to be processed. Done. Exiting.
    + line -Processing NewOrChanged event: NewOrChangedTask
    + line # Processing a configuration request from a NewOrChanged event event for *
    + program writer as SYSTEM: {asked} -i *
    + program query as LocalService: {asked}*
    + line Update UserPropertyBags With Desktop GUIDs before exiting after processing queued request(s)
    + line NewOrChanged event done...exiting.
    may - line Found *
    may + line *
    may - the position is REG_QWORD, 0
    may + the position is REG_QWORD, *
"""
EVERY_PRINTER = """
    - line Found {old}
    + line Found {new}
    - line # Processing * from a NewOrChanged event event for 'One'.
    + line # Processing * from a NewOrChanged event event for multiple printers.
    - program query as {account}: -e "One"
    + program query as {account}: -c
    - program writer as SYSTEM: -e {tag}
    + program writer as SYSTEM: -c {tag}
    may - the position is REG_QWORD, *
    may + the position is REG_QWORD, *
"""
NO_POSITION = """
    - the position is *
    + no position
"""

# Requests.
IS_REDUNDANT = """
    the code is 1
    + line -Redundant instance {text}
    + print -Redundant instance {text}
    may - *
"""
NO_REQUEST = """
    - line {text}
    - program *
    may - *
    may + no position
"""
WORKS_BESIDE = """
    the code is 0
    - line -Redundant instance {text}
    - print -Redundant instance {text}
    may the lines come in another order
    may + *
    may - *
"""

# The queued request of a printer that was dealt with is not skipped.
NOT_SKIPPED = """
    - line ## Skipping queued *
    + line # Processing *ueued configuration request from a NewOrChanged event event for *
    + program query as {account}: {query}
    + program writer as {writer}
    may - line Found *
    may + line Found *
    may + line Updated UserPropertyBag*
    may the lines come in another order
    may - the position is REG_QWORD, *
    may + the position is REG_QWORD, *
"""
# The pass for every printer notes none by its name: the queued request is for none of those.
EVERY_PRINTER_NOT_SKIPPED = """
    - line # Processing a configuration request from a NewOrChanged event event for 'One'.
    + line # Processing a configuration request from a NewOrChanged event event for multiple printers.
    - line ## Skipping queued *
    + line # Processing a Queued configuration request from a NewOrChanged event event for *
    + program query as {account}: -c
    + program writer as SYSTEM: -c {tag}
    may - line Found *
    may + line Found *
    may + line Updated UserPropertyBag*
    may - the position is REG_QWORD, *
    may + the position is REG_QWORD, *
"""
# And one that needs a pass is.
SKIPPED = """
    - line # Processing *
    + line ## Skipping queued *
    - line Found {old}
    + line Found {new}
    - program query as *
    - program writer as *
    may - line Updated UserPropertyBag*
    may - the position is REG_QWORD, *
    may + the position is REG_QWORD, *
"""
POSITION_FORGOTTEN = """
    - the position is REG_QWORD, 0
    + the position is REG_QWORD, *
"""

# An exception ends the process with 3; the new-or-changed scheme logs it and ends with 0.
UNDONE = """
    may - *
    may + no position
    may + the channel is on, *
    may + the list of *
    may + the task *
    may + the log keeps *
    may + a copy of the log
"""
ENDS = "the code is 3" + UNDONE
CAUGHT = """
    + line An exception occurred while looping for NewOrChanged event processing.
    may - *
    may + no position
"""
# It ends at once rather than go on as somebody else.
ENDS_SILENTLY = "the code is 1" + UNDONE
KILLED = "the code is 57005" + UNDONE
# Without any more memory there is no line either.
CAUGHT_SILENTLY = """
    - line NewOrChanged event done...exiting.
    may - *
    may + no position
"""

# The texts of what an engineer is shown.
NO_PRINT = """
    - print {text}
    may - print *
"""
OTHER_MESSAGE = """
    - the message {old}
    + the message {new}
"""
NO_MESSAGE = "- the message {text}"

# A switch that cannot be read counts as on.
SWITCHED_ON = """
    the code is 1
    + line # Called with # argument(s): -?
    + print PalvoPrinterConfiguration - Palvo Corporation
    may + line *
    may + print *
"""

# Installing and removing.
OTHER_ENTRY_LOST = "- the list of {hive} has 6.0:A,B"
CHANNEL = """
    the code is {status}
    - print Channel properties updated.
    + print {sentence}
    - the channel is *
    + the channel is on, *
"""
CHANNEL_AT_INSTALLATION = CHANNEL + """
    + line ERROR: Failed to configure event log to enable auto-config scheduled task's event trigger.
    - line Auto-config scheduled task successfully created with event and calendar triggers.
"""
OLDER_TRIGGER = """
    - the task User Logon has Trigger0.Subscription *
    + the task User Logon has Trigger0.Subscription *
"""
TASKS_KEPT = """
    - line Auto-Config scheduled tasks deleted upon request or because digital signature validation failed.
    + the task New or Changed
    + the task Periodic Refresh
    + the task User Logon
"""
NO_DRIVER = """
    the code is {code}
    - line Added driver instance for 'Palvo Orvela PV# PS'
    - print Added driver instance for 'Palvo Orvela PV# PS'.
    + line ERROR: Failed to add driver instance for 'Palvo Orvela PV# PS': HRESULT=*
    + print ERROR: Failed to add driver instance for 'Palvo Orvela PV# PS': HRESULT=*
    - the driver Palvo Orvela PV6 PS*
    may + the driver Palvo Orvela PV6 PS*
"""
TASKS = {"New or Changed": "for new/changed printer events", "Periodic Refresh": "for periodic refresh",
         "User Logon": "for user logon events"}


def task_losses(sentence):
    """A step fails in the registration of one task, and the sentence is printed."""
    for task, purpose in TASKS.items():
        counts = "the code is 1\n- line Auto-config scheduled task successfully created with event and " \
                 "calendar triggers." if task == "User Logon" else ""
        yield f"""
            - print Success! Task successfully registered.
            {f"+ print {sentence}*" if sentence else ""}
            + line ERROR: Failed to create or recreate auto-config scheduled task {purpose}.
            - the task {task}
            {counts}
        """


def deletion_losses(sentence):
    """A step fails in the deletion of one task."""
    for task in TASKS:
        yield f"""
            the code is 1
            {f"+ print {sentence}*" if sentence else ""}
            - line Auto-Config scheduled tasks deleted upon request or because digital signature validation *
            + line ERROR: Failed to delete Auto-config scheduled task.
            + the task {task}
        """
    yield f"""
        the code is 1
        {f"+ print {sentence}*" if sentence else ""}
        - line Print Job Start scheduled task deleted upon request or because digital signature validation *
        + line ERROR: Failed to delete Print Job Start scheduled task.
    """


# Where the query program posts the queued request, that request is lost with it.
QUEUED_LOST = """
    may - line Found *
    may - line ## Skipping queued *
    may - line *rocess* *ueued *
    may - line Updated *
    may - program *
    may - the position is *
    may + no position
"""
# A text that cannot be made is empty, wherever it would have been used: in a name, a path, a command line.
# Only that the run ends, gives back what it took, and spoils nothing for the next is judged there.
EMPTY_TEXTS = """
    may the code is *
    may - the log keeps the tail
    may + the log keeps all
    may - every line
    may - line *
    may + line *
    may - print *
    may + print *
    may - program *
    may + program *
    may - behind, *
    may + behind, *
    may - the list of *
    may + the list of *
    may - *Id of *
    may + *Id of *
    may - IsAdmin of *
    may - the position is *
    may + the position is *
    may + no position
    may - the message *
    may + the message *
    may - the task *
    may + the task *
    may the lines come in another order
"""
