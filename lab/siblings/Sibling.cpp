// The stand-in of the sibling programs. One source serves both: the program learns from its own
// file name which one it is.
#include "Accounts.h"
#include "LabState.h"
#include "Owners.h"
#include "PrinterStore.h"
#include "SiblingStore.h"
#include "Text.h"

#include <tlhelp32.h>

#include <random>
#include <vector>

namespace
{

using namespace PalvoLab;

SiblingKind OwnKind()
{
    std::vector<wchar_t> path(32768);
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    const std::wstring program = path.data();
    return EqualNoCase(program.substr(program.rfind(L'\\') + 1), SiblingFile(SiblingKind::Query))
               ? SiblingKind::Query
               : SiblingKind::Writer;
}

DWORD ParentId()
{
    const FileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(snapshot.Get(), &entry); more;
         more = Process32NextW(snapshot.Get(), &entry))
    {
        if (entry.th32ProcessID == GetCurrentProcessId())
        {
            return entry.th32ParentProcessID;
        }
    }
    return 0;
}

DWORD TimeToTake(const SiblingOrders& orders)
{
    if (orders.takeAtMost <= orders.takeMilliseconds)
    {
        return orders.takeMilliseconds;
    }
    std::mt19937 random(GetCurrentProcessId() ^ static_cast<unsigned>(Now()));
    return std::uniform_int_distribution<DWORD>(orders.takeMilliseconds, orders.takeAtMost)(random);
}

// Leaves a request as a copy of the program does: only while somebody holds the event open.
void Post(const std::wstring& eventName)
{
    const KernelHandle event(
        eventName.empty() ? nullptr : OpenEventW(EVENT_MODIFY_STATE, FALSE, eventName.c_str()));
    if (event)
    {
        SetEvent(event.Get());
    }
}

// The event is made before the start is recorded: who sees the start can release.
void Work(SiblingRun& run)
{
    const KernelHandle release(
        CreateEventW(nullptr, TRUE, FALSE, ReleaseEventName(run.kind).c_str()));
    run.startTime = Now();
    RecordSiblingStart(run);
    Post(TakeEventToPost(run.kind));
    ChangePrinter(TakePrinterToChange(run.kind));
    const SiblingOrders orders = LoadOrders(run.kind);
    if (orders.hold)
    {
        WaitForSingleObject(release.Get(), INFINITE);
    }
    Sleep(TimeToTake(orders));
    run.exitCode = orders.returnCode;
    run.endTime = Now();
    RecordSiblingEnd(run);
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    SiblingRun run;
    run.kind = OwnKind();
    run.processId = GetCurrentProcessId();
    run.parentId = ParentId();
    run.account = ProcessIdentity().Text();
    run.commandLine = GetCommandLineW();
    RecordOperands(run, {arguments + 1, arguments + count});
    Work(run);
    ExitProcess(run.exitCode.value_or(0));
}
