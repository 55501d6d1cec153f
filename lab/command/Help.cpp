#include "Command.h"
#include "SchedulerCommands.h"

#include "Text.h"

namespace PalvoLab
{

const std::vector<Command>& Commands()
{
    static const std::vector<Command> commands = {
        {L"reset", &RunReset,
         L"reset                          make everything as it was at the start\n"},
        {L"keep", &RunKeep,
         L"keep                           keep the machine as it is; no program may be at work\n"},
        {L"restore", &RunRestore,
         L"restore                        after reset: make the machine as it was kept, but for\n"
         L"                               Windows' version and what siblings are told\n"},
        {L"printer", &RunPrinter,
         L"printer add NAME DRIVER        add a printer; the spooler logs event 300\n"
         L"printer change NAME...         change some; the spooler logs event 306 for each\n"
         L"printer remove NAME            remove one\n"
         L"printer list                   all printers with their drivers\n"},
        {L"driver", &RunDriver,
         L"driver list                    installed drivers and driver packages\n"
         L"driver add NAME [--version N] [--platform TEXT] [--manifest NAME]\n"
         L"        [--manifest-file PATH] [--file NAME]...\n"
         L"                               install a driver with a manifest and dependent files\n"
         L"driver package NAME [...]      the same, into the driver store only\n"},
        {L"user", &RunUser,
         L"user add NAME standard|admin|fulladmin   make a user (admin: split by UAC)\n"
         L"user logon NAME [--session N] [--remote|--type N] [--hive-after]   log on; the\n"
         L"                               security log gets event 4624, twice for a user that\n"
         L"                               UAC splits\n"
         L"user hive NAME                 mount the user's hive, which --hive-after did not: on\n"
         L"                               Windows the event comes before the profile is loaded\n"
         L"user disconnect NAME           leave the session without logging off\n"
         L"user logoff NAME               log off; the user's hive is unmounted\n"
         L"user list                      all users\n"},
        {L"session", &RunSession,
         L"session add ID STATE [USER]    a session in any state: active connected connectquery\n"
         L"                               shadow disconnected idle listen reset down init\n"
         L"session remove ID\n"},
        {L"account", &RunAccount,
         L"account [NAME]                 show or choose who runs programs: SYSTEM, LocalService,\n"
         L"                               NetworkService, Administrator, USER or USER:elevated\n"},
        {L"event", &RunEvent,
         L"event add ID PRINTER [--qualifiers N] [--element NAME]   log one event\n"
         L"event list                     the print channel's events\n"
         L"event clear                    clear the channel; record ids go on counting\n"
         L"event fill COUNT PRINTER [--id N]   log many events at once; no task starts for them\n"},
        {L"tasks", &RunTasks, kTasksHelp},
        {L"clock", &RunClock, kClockHelp},
        {L"run", &RunProgram,
         L"run [--account A] [--timeout MS] [--output FILE] [--print-exit]\n"
         L"    [--no-wait|--suspended|--in-turns] [--kill-after N] [--fault \"F N ERROR "
         L"[always]\"]...\n"
         L"    [--program PATH] (-- ARGUMENT... | --raw TEXT [--escapes])\n"
         L"                               run the program; ends with its exit code.\n"
         L"                               --suspended makes it, with the lab in it, prints its\n"
         L"                               process id and leaves it before its first instruction;\n"
         L"                               --in-turns holds it before each call that others can\n"
         L"                               notice, as long as this process lives (serve): see "
         L"turn;\n"
         L"                               --kill-after ends it after its N-th recorded call;\n"
         L"                               --raw takes the command line as it is, with --escapes\n"
         L"                               backslash, u, XXXX in it\n"},
        {L"resume", &RunResume, L"resume PID                     let a suspended copy run\n"},
        {L"kill", &RunKill, L"kill PID                       end a copy of the program at once\n"},
        {L"turn", &RunTurn,
         L"turn PID [COUNT]               let a copy that is held go on past COUNT calls, or to "
         L"its\n"
         L"                               end; each call before which it stops is told; it stops\n"
         L"                               for good at a wait that got nothing: \"blocked\"\n"},
        {L"burst", &RunBurst,
         L"burst FILE|- [--output-dir DIR]\n"
         L"                               start one copy per line of FILE together, wait for all;\n"
         L"                               a line is \"[@ACCOUNT ]arguments\"\n"},
        {L"show", &RunShow,
         L"show printers|events|sessions|siblings|bags [--hex]|log|calls|leaks|counts|registry\n"
         L"     |faults|files|messages|settings|channel|operands\n"},
        {L"sibling", &RunSibling,
         L"sibling query|writer [--take MS[-MS]] [--return CODE]\n"
         L"        [--hold|--hold-no-more|--release] [--missing|--present]\n"
         L"        [--posts EVENT] [--changes PRINTER [--times N]]\n"
         L"                               tell a stand-in what to do; --hold: not to end before\n"
         L"                               --release; --hold-no-more: only those held now;\n"
         L"                               --posts: the next one sets this event, as a copy\n"
         L"                               of the program does that leaves a request;\n"
         L"                               --changes: each of the next N, else of the next one,\n"
         L"                               changes the printer; the next command starts its task\n"},
        {L"power", &RunPower,
         L"power flush                    what is in the program's registry and log is on the "
         L"disk\n"
         L"power off                      end all copies and siblings at once; no task starts\n"
         L"power on                       what was not flushed is lost; tasks start again\n"},
        {L"fault", &RunFault,
         L"fault FUNCTION N ERROR [once|always]   make the N-th call fail in each program that\n"
         L"                               starts: ERROR is a code, return=V[,error=E][,errno=E],\n"
         L"                               or kill; of reads also bytes=N (no more come)\n"
         L"                               and wrong-type\n"
         L"fault clear                    no more faults\n"},
        {L"hold", &RunHold,
         L"hold mutex|event NAME [--account A] [--security SDDL]\n"
         L"                               make an object, a mutex to own it, as somebody else who\n"
         L"                               came first; it stays while this process lives (serve)\n"
         L"hold off                       give them all up\n"},
        {L"rights", &RunRights,
         L"rights PATH [SDDL]             whose a file or folder is and its list, or new ones\n"},
        {L"imports", &RunImports,
         L"imports                        every function that the program imports: DLL, name, when "
         L"its\n"
         L"                               DLL is loaded, and whether the call can fail\n"},
        {L"record", &RunRecord,
         L"record on|off|counts|memory    record calls, or count them per function, or only how\n"
         L"                               much memory each run had at most, in KiB (show counts)\n"
         L"record on FUNCTION...          record the calls of these alone\n"},
        {L"set", &RunSet,
         L"set machine-switch N|none      the switch that turns the program off\n"
         L"set debugger-prompt TEXT|none\n"
         L"set windows-version win7|win8|win81|win10|none\n"
         L"set hive-readonly USER|SID on|off\n"
         L"set bag-value USER|SID NAME TEXT   write into a printer property bag\n"
         L"set machine-value KEY NAME text|binary|dword|qword DATA   write into "
         L"HKEY_LOCAL_MACHINE\n"
         L"set lookup-fails on|off        accounts cannot be looked up\n"
         L"set localised on|off           accounts have German names\n"
         L"set suite none|smallbusiness|enterprise\n"
         L"set scheduler running|stopped|missing   the task scheduler's service, or no class of "
         L"it\n"
         L"set battery on|off             the machine runs on battery\n"
         L"set managed on|off             the process looks like one with managed code\n"
         L"set file-holder NAME|none       the program that Restart Manager calls a file's holder\n"
         L"set window-station auto|visible|hidden|none\n"
         L"set message-queue \"N N quit\"   what a program finds in its message queue\n"
         L"set message-limit BYTES|none   longer messages to a session fail\n"
         L"set message-response N         the answer to a message to a session\n"
         L"set box-returns N              the answer to a message box; 0: it fails\n"
         L"set channel-enabled on|off, set channel-size BYTES, set channel-retention on|off\n"},
        {L"help", &RunHelp,
         L"serve                          commands from standard input, a line each, arguments "
         L"between\n"
         L"                               tabs; after each a line with \\x1e and its exit code\n"
         L"help                           this text\n"},
    };
    return commands;
}

int RunHelp(const Arguments&)
{
    PrintBytes("palvo-lab COMMAND ...\n\n");
    for (const Command& command : Commands())
    {
        PrintBytes(ToLine(L"  "));
        std::wstring text = command.help;
        text.pop_back();
        bool first = true;
        for (const std::wstring& line : Split(text, L'\n'))
        {
            Print((first ? L"" : L"  ") + line);
            first = false;
        }
    }
    return kDone;
}

} // namespace PalvoLab
