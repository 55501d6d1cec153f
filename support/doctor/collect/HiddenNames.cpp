#include "HiddenNames.h"

#include "DesktopAppEntries.h"
#include "DesktopAppGuidList.h"
#include "Format.h"
#include "KnownTexts.h"
#include "Rules.h"
#include "SupportedPrinters.h"
#include "Text.h"

#include <algorithm>

namespace
{
constexpr wchar_t Hidden[] = L"(hidden)";
constexpr wchar_t ZeroIdentifier[] = L"00000000-0000-0000-0000-000000000000";
/// With this a DeviceId's source begins when WMI does not know the hardware.
constexpr wchar_t NoHardware[] = L" :  : ";

template <class List> bool IsKnown(const List& list, const std::wstring& text)
{
    return std::ranges::any_of(list, [&text](const wchar_t* known)
                               { return EqualsIgnoringCase(known, text); });
}

bool HasOnly(const std::wstring& text, const wchar_t* characters)
{
    return !text.empty() && text.find_first_not_of(characters) == std::wstring::npos;
}

std::wstring HiddenWhole(const std::wstring& text)
{
    return Format(L"(hidden: %u characters)", static_cast<unsigned>(text.size()));
}

/// Each part of a text between `separator`s, as `write` has it.
template <class Write>
std::wstring PartByPart(const std::wstring& text, wchar_t separator, Write write)
{
    std::wstring result;
    std::size_t begin = 0;
    for (std::size_t end = text.find(separator); end != std::wstring::npos;
         begin = end + 1, end = text.find(separator, begin))
    {
        result += write(text.substr(begin, end - begin)) + separator;
    }
    return result + write(text.substr(begin));
}

ValueFact WithText(ValueFact value, const std::wstring& text)
{
    value.bytes.clear();
    for (const wchar_t character : text)
    {
        value.bytes.push_back(static_cast<std::uint8_t>(character & 0xFF));
        value.bytes.push_back(static_cast<std::uint8_t>(character >> 8));
    }
    return value;
}

/// Numbers stay; of others the size does. A value of a number's type can hold any bytes.
ValueFact HideNumber(ValueFact value)
{
    const std::size_t size = value.type == REG_DWORD ? 4 : value.type == REG_QWORD ? 8 : 0;
    if (size == 0 || value.bytes.size() != size)
    {
        std::ranges::fill(value.bytes, std::uint8_t{});
    }
    return value;
}

/// One of these texts stays.
template <class List> ValueFact HideText(const ValueFact& value, const List& known)
{
    const std::wstring text = value.Text();
    return value.IsThere() ? WithText(value, IsKnown(known, text) ? text : Hidden) : value;
}

/// One that is sound becomes another sound one.
ValueFact HideIdentifier(const ValueFact& value)
{
    const std::wstring text = value.Text();
    return !value.IsThere() || text == ZeroIdentifier
               ? value
               : WithText(value,
                          IsIdentifier(text) ? L"ffffffff-ffff-ffff-ffff-ffffffffffff" : Hidden);
}

/// A list with this version's entry becomes that entry.
ValueFact HideApplications(const ValueFact& value)
{
    const std::wstring text = value.Text();
    const std::wstring ours = FromNarrow(DesktopAppGuidList);
    const bool isSound = DesktopAppEntries::Update(text, ours) == text;
    return value.IsThere() ? WithText(value, isSound ? DesktopAppEntries::Update({}, ours) : Hidden)
                           : value;
}

SettingsFacts HideSettings(const SettingsFacts& settings)
{
    return {HideNumber(settings.runSwitch), settings.effectiveSwitch == 0 ? 0U : 1U,
            HideNumber(settings.position),
            HideText(settings.prompt, std::array{L"always", L"never"})};
}
} // namespace

std::wstring HiddenNames::Token(const std::wstring& kind, const std::wstring& name)
{
    auto& known = tokens[kind];
    const std::size_t number = known.try_emplace(LowerCase(name), known.size() + 1).first->second;
    return Format(L"%s %u", kind, static_cast<unsigned>(number));
}

std::wstring HiddenNames::InPath(const std::wstring& path)
{
    const auto part = [this](const std::wstring& text)
    {
        const bool isDrive = text.size() == 2 && text[1] == L':';
        return text.empty() || isDrive || IsKnown(KnownPathParts, text) ? text
                                                                        : Token(L"Name", text);
    };
    const bool isQuoted = path.size() > 1 && path.front() == L'"' && path.back() == L'"';
    return isQuoted ? L"\"" + PartByPart(path.substr(1, path.size() - 2), L'\\', part) + L"\""
                    : PartByPart(path, L'\\', part);
}

std::vector<std::wstring> HiddenNames::InPaths(const std::vector<std::wstring>& paths)
{
    std::vector<std::wstring> hidden;
    std::ranges::transform(paths, std::back_inserter(hidden),
                           [this](const std::wstring& path) { return InPath(path); });
    return hidden;
}

std::wstring HiddenNames::InArguments(const std::wstring& arguments)
{
    return PartByPart(arguments, L' ',
                      [](const std::wstring& text)
                      {
                          return IsKnown(KnownSwitches, text) || IsKnown(KnownCallers, text)
                                     ? text
                                     : std::wstring(Hidden);
                      });
}

std::wstring HiddenNames::InAccount(const std::wstring& account)
{
    return IsKnown(KnownAccounts, account) ? account : Token(L"User", FileNameOf(account));
}

std::wstring HiddenNames::InPlatform(const std::wstring& platform)
{
    return platform.empty() || IsSupportedPlatform(platform) ? platform
                                                             : Token(L"Platform", platform);
}

std::optional<std::wstring> HiddenNames::InField(std::wstring_view field, const std::wstring& value)
{
    if (field == L"number" || field == L"from" || field == L"newest")
    {
        return HasOnly(value, L"0123456789") ? std::optional(value) : std::nullopt;
    }
    if (field == L"hex")
    {
        return HasOnly(value, L"0123456789abcdefABCDEF") ? std::optional(value) : std::nullopt;
    }
    if (field == L"word")
    {
        return IsKnown(KnownWords, value) ? value : Hidden;
    }
    if (field == L"switches")
    {
        return InArguments(value);
    }
    if (field == L"caller")
    {
        return value.empty() || IsKnown(KnownCallers, value) ? value : Token(L"Caller", value);
    }
    if (field == L"printer")
    {
        return Token(L"Printer", value);
    }
    if (field == L"user")
    {
        return Token(L"User", FileNameOf(value));
    }
    if (field == L"id" && value == ZeroIdentifier)
    {
        return value;
    }
    const bool isWithoutHardware = field == L"source" && value.starts_with(NoHardware);
    return (isWithoutHardware ? std::wstring(NoHardware) : std::wstring()) + Hidden;
}

std::optional<std::wstring> HiddenNames::InForm(std::wstring_view form, std::wstring_view message)
{
    std::wstring result;
    for (;;)
    {
        const std::size_t open = form.find(L'{');
        const std::wstring_view fixed = form.substr(0, open);
        if (!message.starts_with(fixed))
        {
            return std::nullopt;
        }
        result += fixed;
        message.remove_prefix(fixed.size());
        if (open == std::wstring_view::npos)
        {
            return message.empty() ? std::optional(result) : std::nullopt;
        }
        const std::size_t close = form.find(L'}', open);
        const std::wstring_view field = form.substr(open + 1, close - open - 1);
        form.remove_prefix(close + 1);
        const std::wstring_view next = form.substr(0, form.find(L'{'));
        const bool isLast = next.size() == form.size();
        const std::size_t end = !isLast                   ? message.find(next)
                                : message.ends_with(next) ? message.size() - next.size()
                                                          : std::wstring_view::npos;
        const auto value = end == std::wstring_view::npos
                               ? std::nullopt
                               : InField(field, std::wstring(message.substr(0, end)));
        if (!value)
        {
            return std::nullopt;
        }
        result += *value;
        message.remove_prefix(end);
    }
}

std::wstring HiddenNames::InMessage(const std::wstring& message)
{
    if (message.empty())
    {
        return message;
    }
    for (const wchar_t* form : LineForms)
    {
        if (auto hidden = InForm(form, message))
        {
            return *hidden;
        }
    }
    // That it tells of a failure stays.
    constexpr wchar_t Failure[] = L"ERROR: ";
    return (message.starts_with(Failure) ? Failure : L"") + HiddenWhole(message);
}

std::wstring HiddenNames::InLog(const std::string& bytes)
{
    std::wstring log;
    ForEachLogLine(bytes,
                   [&](const std::wstring& line)
                   {
                       const auto entry = ParseLogLine(line);
                       log += entry ? LogLineOf(*entry, InMessage(entry->message))
                                    : HiddenWhole(line) + L"\n";
                   });
    return log;
}

RightsFacts HiddenNames::InRights(const RightsFacts& rights)
{
    RightsFacts hidden = {{}, InPaths(rights.unreadable)};
    for (const WritableFolder& writable : rights.writable)
    {
        // The accounts are four groups that the doctor names itself.
        hidden.writable.push_back({InPath(writable.folder), writable.account});
    }
    return hidden;
}

SuiteFacts HiddenNames::InSuite(const SuiteFacts& suite)
{
    return {suite.isWindows8, InPath(suite.folder), InPaths(suite.missing), InPaths(suite.onTheWay),
            InRights(suite.rights)};
}

TaskFacts HiddenNames::InTasks(const TaskFacts& tasks)
{
    TaskFacts hidden = {tasks.reached, {}};
    for (const TaskFact& task : tasks.tasks)
    {
        hidden.tasks.push_back({task.name, task.wantedArguments, task.found, task.enabled,
                                InPath(task.program), InArguments(task.arguments),
                                InAccount(task.account), task.lastResult, task.running,
                                task.lastRun});
    }
    return hidden;
}

LogFacts HiddenNames::InLogFacts(const LogFacts& log)
{
    LogFacts hidden;
    hidden.path = InPath(log.path);
    hidden.openError = log.openError;
    hidden.isFolder = log.isFolder;
    hidden.isReadOnly = log.isReadOnly;
    hidden.isProper = log.isProper;
    hidden.size = log.size;
    hidden.hasLeftover = log.hasLeftover;
    hidden.rights = InRights(log.rights);
    hidden.freeBytes = log.freeBytes;
    hidden.upTime = log.upTime;
    hidden.asleep = log.asleep;
    hidden.liveProcesses = log.liveProcesses;
    hidden.foreignLines = log.foreignLines;
    for (const LogEntry& entry : log.entries)
    {
        hidden.entries.push_back({entry.time, entry.process, InMessage(entry.message)});
    }
    return hidden;
}

PrinterFacts HiddenNames::InPrinters(const PrinterFacts& printers)
{
    PrinterFacts hidden = {printers.listError, {}};
    for (const PrinterFact& printer : printers.printers)
    {
        hidden.printers.push_back({Token(L"Printer", printer.name), printer.openError,
                                   printer.driverRead, Hidden, printer.driverVersion,
                                   InPath(printer.manifest), printer.manifestError,
                                   InPlatform(printer.platform)});
    }
    return hidden;
}

SessionFacts HiddenNames::InSessions(const SessionFacts& sessions)
{
    SessionFacts hidden = {sessions.listError, {}};
    for (const SessionFact& session : sessions.sessions)
    {
        SessionFact one;
        one.id = session.id;
        one.isSeen = session.isSeen;
        one.tokenError = session.tokenError;
        one.user = Token(L"User", session.user);
        one.hasHive = session.hasHive;
        one.writeError = session.writeError;
        one.userId = HideIdentifier(session.userId);
        one.deviceId = HideIdentifier(session.deviceId);
        one.isAdministrator = HideText(session.isAdministrator, std::array{L"0", L"1"});
        one.applications = HideApplications(session.applications);
        hidden.sessions.push_back(one);
    }
    return hidden;
}

WorkFacts HiddenNames::InWork(const WorkFacts& work)
{
    WorkFacts hidden = {{}, work.instances, work.logMutex, {}};
    for (const WorkingProcess& process : work.processes)
    {
        hidden.processes.push_back({process.id, InPath(process.file), process.started});
    }
    for (const std::wstring& holder : work.logHolders)
    {
        hidden.logHolders.push_back(Token(L"Program", holder));
    }
    return hidden;
}

Facts HiddenNames::In(const Facts& facts)
{
    Facts hidden;
    hidden.utcTime = facts.utcTime;
    hidden.localTime = facts.localTime;
    hidden.hungAfter = facts.hungAfter;
    hidden.settings = HideSettings(facts.settings);
    hidden.suite = InSuite(facts.suite);
    hidden.tasks = InTasks(facts.tasks);
    hidden.channel = facts.channel;
    hidden.channel.lastEvents.clear();
    hidden.log = InLogFacts(facts.log);
    hidden.printers = InPrinters(facts.printers);
    for (const PrinterFact& printer : facts.printers.printers)
    {
        if (const auto event = facts.channel.lastEvents.find(printer.name);
            event != facts.channel.lastEvents.end())
        {
            hidden.channel.lastEvents.emplace(Token(L"Printer", printer.name), event->second);
        }
    }
    hidden.sessions = InSessions(facts.sessions);
    hidden.services = facts.services;
    hidden.work = InWork(facts.work);
    return hidden;
}
