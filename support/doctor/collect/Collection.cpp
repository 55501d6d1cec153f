#include "Collection.h"

#include "Format.h"
#include "HiddenNames.h"
#include "RegistryPaths.h"
#include "ReportMetrics.h"
#include "ReportText.h"
#include "Rules.h"
#include "Text.h"
#include "ZipFile.h"

namespace
{
constexpr char LogName[] = "PalvoPrinterConfiguration.log";
constexpr char LeftoverName[] = "PalvoPrinterConfiguration.log.plvold";

std::wstring ValueText(const wchar_t* name, const ValueFact& value)
{
    std::wstring text = Format(L"%s: ", std::wstring(name));
    if (!value.IsThere())
    {
        return text + Format(L"none (error %lu)\n", value.error);
    }
    text += Format(L"type %lu,", value.type);
    for (const std::uint8_t byte : value.bytes)
    {
        text += Format(L" %02x", static_cast<unsigned>(byte));
    }
    return text + L"\n";
}

std::wstring TaskText(const TaskFact& task)
{
    if (FAILED(task.found))
    {
        return Format(L"%s: 0x%08lX\n", task.name, static_cast<unsigned long>(task.found));
    }
    return Format(L"%s: %s%s, \"%s\" %s as %s, last result 0x%08lX, last run %s\n", task.name,
                  std::wstring(task.enabled ? L"enabled" : L"disabled"),
                  std::wstring(task.running ? L", running" : L""), task.program, task.arguments,
                  task.account, static_cast<unsigned long>(task.lastResult),
                  task.lastRun ? TimeText(*task.lastRun) : L"never");
}

std::wstring ChannelText(const ChannelFacts& channel)
{
    return Format(L"errors %lu and %lu, %s, %I64u bytes, %s, position %I64u, oldest %I64u, newest "
                  L"%I64u, newest printer event %I64u\n",
                  channel.openError, channel.queryError,
                  std::wstring(channel.enabled ? L"on" : L"off"), channel.maximumSize,
                  std::wstring(channel.retains ? L"keeps its oldest events" : L"overwrites"),
                  channel.position, channel.oldest.record, channel.newest.record,
                  channel.newestPrinterEvent.record);
}
} // namespace

std::wstring MachineText(const Facts& facts, const VersionFacts& versions)
{
    std::wstring text = L"Versions\n";
    for (const auto& [file, version] : versions.files)
    {
        text += Format(L"%s: %s\n", file, version.empty() ? std::wstring(L"none") : version);
    }
    text += Format(L"code page: %u\n\nTimes\nUTC: %s\nlocal: %s\nWindows runs for: %I64u minutes\n",
                   versions.codePage, TimeText(facts.utcTime), TimeText(facts.localTime),
                   static_cast<std::uint64_t>(facts.log.upTime / Minute));
    text += L"\nSettings\n" + ValueText(RegistryPaths::RunSwitch, facts.settings.runSwitch) +
            ValueText(RegistryPaths::ScanPosition, facts.settings.position) +
            ValueText(L"PromptToAttachDebugger", facts.settings.prompt) + L"\nTasks\n";
    for (const TaskFact& task : facts.tasks.tasks)
    {
        text += TaskText(task);
    }
    return text + L"\nChannel\n" + ChannelText(facts.channel);
}

std::string Collect(const Collected& collected, bool withNames)
{
    HiddenNames names;
    const Facts facts = withNames ? collected.facts : names.In(collected.facts);
    const Report report = withNames ? collected.report : Judge(facts);
    const std::wstring computer = withNames ? collected.computer : L"(hidden)";
    const auto log = [&](const std::string& bytes)
    { return withNames ? bytes : WithCarriageReturns(ToUtf8(names.InLog(bytes))); };
    const auto text = [](const std::wstring& of) { return WithCarriageReturns(ToUtf8(of)); };

    ZipFile zip(facts.localTime);
    zip.Add("report.txt", text(ReportAsText(report)));
    zip.Add("report.json", ToUtf8(ReportAsJson(report, computer, TimeText(facts.utcTime) + L"Z")));
    zip.Add("metrics.prom", ToUtf8(ReportAsMetrics(facts, report, collected.doctorVersion)));
    zip.Add("machine.txt", text(L"Doctor: " + collected.doctorVersion + L"\nNames: " +
                                (withNames ? L"left in" : L"hidden") + L"\n\n" +
                                MachineText(facts, collected.versions)));
    zip.Add(LogName, log(collected.facts.log.bytes));
    if (facts.log.hasLeftover)
    {
        zip.Add(LeftoverName, log(collected.leftover));
    }
    return zip.Bytes();
}
