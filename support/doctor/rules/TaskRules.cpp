#include "FindingKinds.h"
#include "Format.h"
#include "Rules.h"

#include <array>
#include <utility>

namespace
{
constexpr auto NotFound = static_cast<HRESULT>(0x80070002);
constexpr HRESULT Running = 0x00041301;
constexpr HRESULT HasNotRun = 0x00041303;
constexpr HRESULT Ended = 0x00041306;
constexpr HRESULT Queued = 0x00041325;

/// 1 is a copy that left its request to the working one.
bool IsGoodResult(HRESULT result)
{
    return result == S_OK || result == 1 || result == Running || result == HasNotRun ||
           result == Queued;
}

bool IsSystem(const std::wstring& account)
{
    return EqualsIgnoringCase(account, L"S-1-5-18") || EqualsIgnoringCase(account, L"SYSTEM") ||
           EqualsIgnoringCase(account, L"NT AUTHORITY\\SYSTEM");
}

void JudgeAction(const TaskFact& task, const std::wstring& program, Report& report)
{
    // Task Scheduler takes the path with or without quotes.
    const bool isOurs = EqualsIgnoringCase(task.program, program) ||
                        EqualsIgnoringCase(task.program, L"\"" + program + L"\"");
    if (!isOurs)
    {
        report.Find(FindingKinds::TaskProgram,
                    Format(L"The task \"%s\" starts \"%s\".", task.name, task.program));
    }
    if (task.arguments != task.wantedArguments)
    {
        report.Find(FindingKinds::TaskArguments,
                    Format(L"The task \"%s\" has the arguments \"%s\" instead of \"%s\".",
                           task.name, task.arguments, task.wantedArguments));
    }
    if (!IsSystem(task.account))
    {
        report.Find(FindingKinds::TaskAccount,
                    Format(L"The task \"%s\" runs as \"%s\".", task.name, task.account));
    }
}

void JudgeLastRun(const TaskFact& task, const Facts& facts, Report& report)
{
    if (task.lastResult == Ended)
    {
        report.Find(FindingKinds::TaskEnded,
                    Format(L"The last run of the task \"%s\" was ended.", task.name));
    }
    else if (!IsGoodResult(task.lastResult))
    {
        report.Find(FindingKinds::TaskResult,
                    Format(L"The last run of the task \"%s\" ended with 0x%08lX.", task.name,
                           static_cast<unsigned long>(task.lastResult)));
    }
    if (task.running && task.lastRun && facts.localTime >= *task.lastRun &&
        facts.localTime - *task.lastRun >= facts.hungAfter)
    {
        report.Find(FindingKinds::TaskRunsLong,
                    Format(L"The task \"%s\" has been running for %I64u minutes.", task.name,
                           static_cast<std::uint64_t>((facts.localTime - *task.lastRun) / Minute)));
    }
}

void JudgeTask(const TaskFact& task, const Facts& facts, Report& report)
{
    if (task.found == NotFound)
    {
        report.Find(FindingKinds::TaskMissing, Format(L"There is no task \"%s\".", task.name));
        return;
    }
    if (FAILED(task.found))
    {
        report.NotSeen(L"tasks", Format(L"The task \"%s\" cannot be read: 0x%08lX.", task.name,
                                        static_cast<unsigned long>(task.found)));
        return;
    }
    if (!task.enabled)
    {
        report.Find(FindingKinds::TaskDisabled, Format(L"The task \"%s\" is disabled.", task.name));
    }
    JudgeAction(task, facts.suite.folder + L"\\PalvoPrinterConfiguration.exe", report);
    JudgeLastRun(task, facts, report);
}

std::wstring WithoutEscapes(std::wstring text)
{
    // "&amp;" comes last: what it gives begins no other escape.
    constexpr std::array<std::pair<const wchar_t*, wchar_t>, 5> Escapes = {{{L"&lt;", L'<'},
                                                                            {L"&gt;", L'>'},
                                                                            {L"&quot;", L'"'},
                                                                            {L"&apos;", L'\''},
                                                                            {L"&amp;", L'&'}}};
    for (const auto& [escape, character] : Escapes)
    {
        const std::wstring from = escape;
        for (std::size_t at = text.find(from); at != std::wstring::npos;
             at = text.find(from, at + 1))
        {
            text.replace(at, from.size(), 1, character);
        }
    }
    return text;
}
} // namespace

std::wstring XmlText(const std::wstring& xml, const std::wstring& name)
{
    const std::wstring open = L"<" + name + L">";
    const std::size_t begin = xml.find(open);
    const std::size_t end =
        begin == std::wstring::npos ? begin : xml.find(L"</" + name + L">", begin);
    if (end == std::wstring::npos)
    {
        return {};
    }
    return WithoutEscapes(xml.substr(begin + open.size(), end - begin - open.size()));
}

void JudgeTasks(const Facts& facts, Report& report)
{
    if (FAILED(facts.tasks.reached))
    {
        report.Find(FindingKinds::SchedulerUnreachable,
                    Format(L"Task Scheduler cannot be reached: 0x%08lX.",
                           static_cast<unsigned long>(facts.tasks.reached)));
        return;
    }
    for (const TaskFact& task : facts.tasks.tasks)
    {
        JudgeTask(task, facts, report);
    }
}
