#include "FindingKinds.h"
#include "Format.h"
#include "Rules.h"

#include <algorithm>

namespace
{
bool IsProgram(const WorkingProcess& process)
{
    return EqualsIgnoringCase(process.file, L"PalvoPrinterConfiguration.exe");
}

void JudgeProcess(const WorkingProcess& process, const Facts& facts, Report& report)
{
    const bool hasAge = process.started && facts.utcTime >= *process.started;
    const std::uint64_t age = hasAge ? facts.utcTime - *process.started : 0;
    const std::wstring text =
        Format(L"Process %lu, %s, has been running for %I64u minutes.", process.id, process.file,
               static_cast<std::uint64_t>(age / Minute));
    if (hasAge && age >= facts.hungAfter)
    {
        report.Find(IsProgram(process) ? FindingKinds::CopyHangs : FindingKinds::SiblingHangs,
                    text);
    }
    else
    {
        report.Tell(L"work", text);
    }
}

/// Only SYSTEM may open all that runs make.
void JudgeClosed(const MutexFact& mutex, const FindingKind& kind, Report& report)
{
    const std::wstring text =
        Format(L"The mutex for %s may not be opened: error %lu.", mutex.scheme, mutex.openError);
    if (mutex.openError == ERROR_ACCESS_DENIED && !report.asSystem)
    {
        report.NotSeen(L"work", text);
    }
    else if (mutex.openError != 0)
    {
        report.Find(kind, text);
    }
}
} // namespace

void JudgeWork(const Facts& facts, Report& report)
{
    for (const WorkingProcess& process : facts.work.processes)
    {
        JudgeProcess(process, facts, report);
    }
    const bool someCopyRuns = std::ranges::any_of(facts.work.processes, IsProgram);
    for (const MutexFact& mutex : facts.work.instances)
    {
        JudgeClosed(mutex, FindingKinds::MutexForeign, report);
        if (mutex.isHeld && !someCopyRuns)
        {
            report.Find(
                FindingKinds::MutexForeign,
                Format(L"The instance mutex for %s is held, and no copy runs.", mutex.scheme));
        }
    }
    if (facts.work.logMutex.isHeld)
    {
        report.Find(FindingKinds::LogMutexHeld, L"The log's mutex is held without a break.");
    }
    JudgeClosed(facts.work.logMutex, FindingKinds::LogMutexClosed, report);
    for (const std::wstring& holder : facts.work.logHolders)
    {
        report.Find(FindingKinds::LogOpenElsewhere, Format(L"%s has the log open.", holder));
    }
}
