#include "SiblingStore.h"

#include "LabLock.h"
#include "LabState.h"
#include "Text.h"

#include <map>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kEventToPost[] = L"EventToPost";
constexpr wchar_t kPrinterToChange[] = L"PrinterToChange";
constexpr wchar_t kChanges[] = L"Changes";
constexpr wchar_t kOrderLock[] = L"Global\\PalvoLabSiblingOrders";
constexpr wchar_t kSiblingFile[] = L"siblings.log";

std::wstring OrderKey(SiblingKind kind)
{
    return L"Siblings\\" + SiblingName(kind);
}

// "S" or "E", the kind, the process id, then what belongs to a start or an end; tabs between.
std::wstring CommonPart(const wchar_t* what, const SiblingRun& run, std::uint64_t time)
{
    return std::wstring(what) + L"\t" + SiblingName(run.kind) + L"\t" +
           std::to_wstring(run.processId) + L"\t" + std::to_wstring(time);
}

// Tabs separate the fields, so each field is turned into its one-line form by itself.
std::string Joined(std::wstring_view common, std::initializer_list<std::wstring> fields)
{
    std::string line;
    for (const std::wstring& part : Split(common, L'\t'))
    {
        line += (line.empty() ? "" : "\t") + ToLine(part);
    }
    for (const std::wstring& field : fields)
    {
        line += "\t" + ToLine(field);
    }
    return line;
}

std::vector<std::string> Fields(const std::string& line)
{
    std::vector<std::string> fields(1);
    for (const char c : line)
    {
        if (c == '\t')
        {
            fields.emplace_back();
        }
        else
        {
            fields.back() += c;
        }
    }
    return fields;
}

std::uint64_t NumberField(const std::string& field)
{
    return ParseNumber(Widen(field)).value_or(0);
}

} // namespace

std::wstring SiblingName(SiblingKind kind)
{
    return kind == SiblingKind::Query ? L"query" : L"writer";
}

std::optional<SiblingKind> ParseSiblingKind(std::wstring_view text)
{
    if (text == L"query")
    {
        return SiblingKind::Query;
    }
    return text == L"writer" ? std::optional(SiblingKind::Writer) : std::nullopt;
}

std::wstring SiblingFile(SiblingKind kind)
{
    return kind == SiblingKind::Query ? L"PalvoPrinterQuery.exe"
                                      : L"PalvoPrinterConfigurationWriter.exe";
}

SiblingOrders LoadOrders(SiblingKind kind)
{
    const LabKey key = OpenStateKey(OrderKey(kind));
    SiblingOrders orders;
    orders.takeMilliseconds = key.Number(L"Take").value_or(0);
    orders.takeAtMost = key.Number(L"TakeAtMost").value_or(0);
    orders.returnCode = key.Number(L"Return").value_or(0);
    orders.hold = key.Number(L"Hold").value_or(0) != 0;
    orders.eventToPost = key.String(kEventToPost).value_or(L"");
    return orders;
}

void SaveOrders(SiblingKind kind, const SiblingOrders& orders)
{
    const LabKey key = CreateStateKey(OrderKey(kind));
    key.SetNumber(L"Take", orders.takeMilliseconds);
    key.SetNumber(L"TakeAtMost", orders.takeAtMost);
    key.SetNumber(L"Return", orders.returnCode);
    key.SetNumber(L"Hold", orders.hold ? 1 : 0);
    key.SetString(kEventToPost, orders.eventToPost);
}

std::wstring TakeEventToPost(SiblingKind kind)
{
    const LabKey key = CreateStateKey(OrderKey(kind));
    const std::wstring name = key.String(kEventToPost).value_or(L"");
    key.Remove(kEventToPost);
    return name;
}

void OrderChanges(SiblingKind kind, const std::wstring& printer, std::uint32_t times)
{
    const LabLock lock(kOrderLock);
    const LabKey key = CreateStateKey(OrderKey(kind));
    key.SetString(kPrinterToChange, printer);
    key.SetNumber(kChanges, times);
}

std::wstring TakePrinterToChange(SiblingKind kind)
{
    const LabLock lock(kOrderLock);
    const LabKey key = CreateStateKey(OrderKey(kind));
    const std::uint32_t left = key.Number(kChanges).value_or(0);
    if (left == 0)
    {
        return L"";
    }
    key.SetNumber(kChanges, left - 1);
    return key.String(kPrinterToChange).value_or(L"");
}

std::wstring ReleaseEventName(SiblingKind kind)
{
    return kind == SiblingKind::Query ? L"Global\\PalvoLabSiblingQuery"
                                      : L"Global\\PalvoLabSiblingWriter";
}

void RecordSiblingStart(const SiblingRun& run)
{
    AppendLine(kSiblingFile, Joined(CommonPart(L"S", run, run.startTime),
                                    {std::to_wstring(run.parentId), run.account, run.commandLine}));
}

void RecordOperands(const SiblingRun& run, const std::vector<std::wstring>& operands)
{
    std::string line = std::to_string(run.processId);
    for (const std::wstring& operand : operands)
    {
        line += "\t" + ToLine(operand);
    }
    AppendLine(kOperandFile, line);
}

void RecordSiblingEnd(const SiblingRun& run)
{
    AppendLine(kSiblingFile, Joined(CommonPart(L"E", run, run.endTime.value_or(0)),
                                    {std::to_wstring(run.exitCode.value_or(0))}));
}

std::vector<SiblingRun> SiblingRuns()
{
    std::vector<SiblingRun> runs;
    std::map<std::uint32_t, std::size_t> newest;
    for (const std::string& line : ReadLines(kSiblingFile))
    {
        const std::vector<std::string> fields = Fields(line);
        if (fields.size() == 7 && fields[0] == "S")
        {
            SiblingRun run;
            run.kind = ParseSiblingKind(Widen(fields[1])).value_or(SiblingKind::Query);
            run.processId = static_cast<std::uint32_t>(NumberField(fields[2]));
            run.startTime = NumberField(fields[3]);
            run.parentId = static_cast<std::uint32_t>(NumberField(fields[4]));
            run.account = FromLine(fields[5]);
            run.commandLine = FromLine(fields[6]);
            newest[run.processId] = runs.size();
            runs.push_back(run);
        }
        else if (fields.size() == 5 && fields[0] == "E")
        {
            const auto run = newest.find(static_cast<std::uint32_t>(NumberField(fields[2])));
            if (run != newest.end())
            {
                runs[run->second].endTime = NumberField(fields[3]);
                runs[run->second].exitCode = static_cast<std::uint32_t>(NumberField(fields[4]));
            }
        }
    }
    return runs;
}

} // namespace PalvoLab
