#include "ReportMetrics.h"

#include "FindingKinds.h"
#include "Format.h"
#include "Rules.h"

#include <algorithm>

namespace
{
constexpr std::uint64_t MetricsVersion = 1;
constexpr std::uint64_t UnixEpoch = 116'444'736'000'000'000;

/// Writes one family of samples after the other; all are gauges.
class Metrics
{
public:
    void Begin(const wchar_t* name, const wchar_t* help)
    {
        family = std::wstring(L"palvo_printer_doctor_") + name;
        text += L"# HELP " + family + L" " + help + L"\n# TYPE " + family + L" gauge\n";
    }
    void Add(std::uint64_t value) { text += Format(L"%s %I64u\n", family, value); }
    void Add(const wchar_t* label, const std::wstring& is, std::uint64_t value)
    {
        text +=
            Format(L"%s{%s=\"%s\"} %I64u\n", family, std::wstring(label), MetricLabel(is), value);
    }
    void Single(const wchar_t* name, const wchar_t* help, std::uint64_t value)
    {
        Begin(name, help);
        Add(value);
    }
    [[nodiscard]] const std::wstring& Text() const { return text; }

private:
    std::wstring family;
    std::wstring text;
};

std::uint64_t SecondsBetween(std::uint64_t begin, std::uint64_t end)
{
    return end > begin ? (end - begin) / Second : 0;
}

void AddFindings(const Report& report, Metrics& metrics)
{
    metrics.Begin(L"findings", L"Findings of each kind; docs/troubleshooting.md explains each id.");
    for (const FindingKind* kind : FindingKinds::All)
    {
        metrics.Add(
            L"id", kind->id,
            static_cast<std::uint64_t>(std::ranges::count(report.findings, kind, &Finding::kind)));
    }
}

void AddTasks(const TaskFacts& tasks, Metrics& metrics)
{
    metrics.Begin(L"task_last_result",
                  L"Last result of each task that is there, as Windows has it.");
    for (const TaskFact& task : tasks.tasks)
    {
        if (SUCCEEDED(task.found))
        {
            metrics.Add(L"task", task.name, static_cast<std::uint32_t>(task.lastResult));
        }
    }
}

void AddChannel(const Facts& facts, Metrics& metrics)
{
    const ChannelFacts& channel = facts.channel;
    if (channel.openError == 0)
    {
        metrics.Single(L"channel_enabled", L"Whether the print service's channel is on.",
                       channel.enabled ? 1 : 0);
        metrics.Single(L"channel_size_bytes", L"Largest size of the channel.", channel.maximumSize);
    }
    metrics.Single(L"scan_position", L"Record id of the event that was dealt with last.",
                   channel.position);
    if (channel.queryError != 0)
    {
        return;
    }
    const EventFact& newest = channel.newestPrinterEvent;
    metrics.Single(L"channel_oldest_record", L"Record id of the channel's oldest event; 0: none.",
                   channel.oldest.record);
    metrics.Single(L"channel_newest_record", L"Record id of the channel's newest event; 0: none.",
                   channel.newest.record);
    metrics.Single(
        L"printer_event_waiting_seconds",
        L"How long the newest printer event has been waiting to be dealt with; 0: none waits.",
        IsWaiting(facts, newest) ? SecondsBetween(newest.time, facts.utcTime) : 0);
}

void AddLog(const Facts& facts, Metrics& metrics)
{
    const LogFacts& log = facts.log;
    metrics.Single(L"log_size_bytes", L"Size of the log; 0: none could be read.", log.size);
    if (!log.entries.empty())
    {
        metrics.Single(L"log_silent_seconds", L"Age of the log's last line.",
                       SecondsBetween(log.entries.back().time, facts.localTime));
    }
    if (log.freeBytes)
    {
        metrics.Single(L"log_disk_free_bytes", L"What is left on the log's disk.", *log.freeBytes);
    }
}
} // namespace

std::wstring MetricLabel(const std::wstring& text)
{
    std::wstring label;
    for (const wchar_t character : text)
    {
        if (character == L'\\' || character == L'"')
        {
            label += L'\\';
        }
        label += character == L'\n' ? std::wstring(L"\\n") : std::wstring(1, character);
    }
    return label;
}

std::wstring ReportAsMetrics(const Facts& facts, const Report& report, const std::wstring& version)
{
    Metrics metrics;
    metrics.Begin(L"info", L"The doctor's version.");
    metrics.Add(L"version", version, 1);
    metrics.Single(L"schema", L"Version of these metrics.", MetricsVersion);
    metrics.Single(L"look_timestamp_seconds", L"When the doctor looked.",
                   SecondsBetween(UnixEpoch, facts.utcTime));
    metrics.Single(L"code", L"0 well, 1 something needs attention, 2 could not look.",
                   static_cast<std::uint64_t>(report.ExitCode()));
    metrics.Single(L"unseen", L"How much could not be looked at.", report.unseen.size());
    AddFindings(report, metrics);
    AddTasks(facts.tasks, metrics);
    AddChannel(facts, metrics);
    AddLog(facts, metrics);
    return metrics.Text();
}
