#include "Command.h"

#include "Accounts.h"
#include "CallRecord.h"
#include "EventChannel.h"
#include "FaultPlan.h"
#include "LabState.h"
#include "LeakRecord.h"
#include "SiblingStore.h"
#include "Text.h"

namespace PalvoLab
{
namespace
{

std::wstring ProgramData()
{
    const std::wstring& lab = DataFolder();
    return lab.substr(0, lab.rfind(L'\\', lab.size() - 2) + 1);
}

int ShowPrinters(const Arguments&)
{
    return RunPrinter({L"list"});
}

int ShowEvents(const Arguments&)
{
    return RunEvent({L"list"});
}

int ShowChannel(const Arguments&)
{
    const ChannelConfig config = EventChannel::Find(kPrintChannel)->Config();
    Print(std::wstring(L"enabled\t") + (config.enabled ? L"on" : L"off"));
    Print(L"size\t" + std::to_wstring(config.maxSize));
    Print(std::wstring(L"full\t") + (config.retention ? L"keeps the oldest" : L"overwrites"));
    return kDone;
}

int ShowSessions(const Arguments&)
{
    for (const Session& session : Sessions())
    {
        const auto user = FindUser(session.user);
        Print(std::to_wstring(session.id) + L"\t" + StateText(session.state) + L"\t" +
              session.station + L"\t" +
              (user ? user->name + L"\t" + KindText(user->kind) + L"\t" + user->sid : L"-"));
    }
    return kDone;
}

int ShowSiblings(const Arguments&)
{
    for (const SiblingRun& run : SiblingRuns())
    {
        Print(SiblingName(run.kind) + L"\tpid " + std::to_wstring(run.processId) + L"\tparent " +
              std::to_wstring(run.parentId) + L"\taccount " + run.account + L"\tstart " +
              FormatTime(run.startTime) + L"\t" +
              (run.endTime ? L"end " + FormatTime(*run.endTime) : L"running") + L"\texit " +
              (run.exitCode ? std::to_wstring(*run.exitCode) : L"-") + L"\t" + run.commandLine);
    }
    return kDone;
}

int ShowLog(const Arguments&)
{
    const auto log = ReadWholeFile(LogPath());
    if (!log)
    {
        return Complain(L"there is no log");
    }
    PrintBytes(*log);
    return kDone;
}

int ShowLines(const std::vector<std::string>& lines)
{
    for (const std::string& line : lines)
    {
        PrintBytes(line + "\n");
    }
    return kDone;
}

int ShowCalls(const Arguments&)
{
    return ShowLines(ReadLines(kCallFile));
}

int ShowLeaks(const Arguments&)
{
    return ShowLines(LeakLines());
}

int ShowCounts(const Arguments&)
{
    return ShowLines(ReadLines(L"counts.log"));
}

int ShowOperands(const Arguments&)
{
    return ShowLines(ReadLines(kOperandFile));
}

int ShowMessages(const Arguments&)
{
    return ShowLines(ReadLines(L"messages.log"));
}

int ShowFaults(const Arguments&)
{
    for (const Fault& fault : LoadFaults())
    {
        Print(fault.function + L"\t" + std::to_wstring(fault.nth) + L"\t" + fault.error + L"\t" +
              (fault.always ? L"always" : L"once"));
    }
    return kDone;
}

int ShowSettings(const Arguments&)
{
    const LabKey key = OpenStateKey(L"Settings");
    if (key)
    {
        for (const std::wstring& name : key.ValueNames())
        {
            Print(name + L"\t" + key.String(name).value_or(L""));
        }
    }
    return kDone;
}

void PrintTree(const std::wstring& folder)
{
    WIN32_FIND_DATAW found = {};
    const HANDLE search = FindFirstFileW((folder + L"\\*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
    {
        return;
    }
    do
    {
        const std::wstring name = found.cFileName;
        if (name == L"." || name == L"..")
        {
            continue;
        }
        const std::wstring path = folder + L"\\" + name;
        if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        {
            Print(path + L"\\\tfolder");
            PrintTree(path);
        }
        else
        {
            const std::uint64_t size =
                (static_cast<std::uint64_t>(found.nFileSizeHigh) << 32) | found.nFileSizeLow;
            Print(path + L"\t" + std::to_wstring(size) + L" bytes");
        }
    } while (FindNextFileW(search, &found));
    FindClose(search);
}

int ShowFiles(const Arguments&)
{
    PrintTree(ProgramData() + L"Palvo");
    return kDone;
}

struct View
{
    const wchar_t* name;
    int (*show)(const Arguments&);
    bool takesArguments;
};

constexpr View kViews[] = {
    {L"printers", &ShowPrinters, false}, {L"events", &ShowEvents, false},
    {L"sessions", &ShowSessions, false}, {L"siblings", &ShowSiblings, false},
    {L"bags", &ShowBags, true},          {L"log", &ShowLog, false},
    {L"calls", &ShowCalls, false},       {L"leaks", &ShowLeaks, false},
    {L"counts", &ShowCounts, false},     {L"registry", &ShowRegistryTree, true},
    {L"faults", &ShowFaults, false},     {L"files", &ShowFiles, false},
    {L"messages", &ShowMessages, false}, {L"settings", &ShowSettings, false},
    {L"channel", &ShowChannel, false},   {L"operands", &ShowOperands, false},
};

} // namespace

std::wstring LogPath()
{
    return ProgramData() + L"Palvo\\PrinterDriver\\V6.0\\PalvoPrinterConfiguration\\"
                           L"PalvoOrvela\\PalvoPrinterConfiguration.log";
}

int RunShow(const Arguments& arguments)
{
    for (const View& view : kViews)
    {
        if (!arguments.empty() && arguments[0] == view.name &&
            (view.takesArguments || arguments.size() == 1))
        {
            return view.show(Arguments(arguments.begin() + 1, arguments.end()));
        }
    }
    return Misused(L"show");
}

} // namespace PalvoLab
