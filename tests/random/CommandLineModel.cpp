#include "CommandLineModel.h"

#include <map>

namespace CommandLineModel
{
namespace
{
constexpr unsigned Invalid = 0;
constexpr unsigned NoMode = 1;
constexpr unsigned NewOrChanged = 2;
constexpr unsigned OnDemand = 4;
constexpr unsigned AddDriver = 9;
constexpr unsigned UninstallNgen = 2;

std::wstring Folded(const std::wstring& text)
{
    std::wstring folded;
    for (const wchar_t character : text)
    {
        const bool isCapital = character >= L'A' && character <= L'Z';
        folded += isCapital ? static_cast<wchar_t>(character + 32) : character;
    }
    return folded;
}

unsigned EventTypeOf(const std::wstring& invoker)
{
    static const std::map<std::wstring, unsigned> known = {
        {L"neworchangedtask", 2}, {L"pojemservice", 3}, {L"userlogontask", 4}};
    const auto found = known.find(Folded(invoker));
    return found == known.end() ? 1 : found->second;
}

/// Sets what a switch asks for. False when there is no such switch.
bool Obey(const std::wstring& key, std::size_t argumentCount, Outcome& outcome)
{
    static const std::map<std::wstring, unsigned> modes = {{L"c", 2},  {L"r", 3},  {L"?", 5},
                                                           {L"dl", 6}, {L"it", 7}, {L"ut", 8}};
    const std::wstring folded = Folded(key);
    if (const auto found = modes.find(folded); found != modes.end())
    {
        outcome.mode = found->second;
    }
    else if (folded == L"in")
    {
        outcome.ngen = 1;
    }
    else if (folded == L"un")
    {
        outcome.ngen = UninstallNgen;
    }
    else if (folded == L"w")
    {
        outcome.warmup = 1;
    }
    else if (folded == L"apdi" && argumentCount == 3)
    {
        outcome.mode = AddDriver;
    }
    else
    {
        return false;
    }
    return true;
}

/// The walk over the arguments. Returns the switches as they were written.
std::wstring Walk(const std::vector<std::wstring>& arguments, Outcome& outcome)
{
    std::wstring switches;
    unsigned lastEventType = 1;
    for (std::size_t i = 0; i < arguments.size(); ++i)
    {
        const std::wstring& argument = arguments[i];
        if (argument.empty() || (argument[0] != L'-' && argument[0] != L'/'))
        {
            continue;
        }
        const std::wstring key = argument.substr(1);
        if (Folded(key) == L"i")
        {
            if (i + 1 < arguments.size())
            {
                ++i;
                outcome.invoker.clear();
                for (const wchar_t character : arguments[i])
                {
                    if (character != L'"')
                    {
                        outcome.invoker += character;
                    }
                }
            }
            lastEventType = EventTypeOf(outcome.invoker);
            continue;
        }
        switches += (switches.empty() ? L"" : L" ") + argument;
        if (!Obey(key, arguments.size(), outcome))
        {
            outcome.log.push_back(L"ERROR: Unrecognized argument: " + key + L"!");
            outcome.mode = Invalid;
            return switches;
        }
    }
    if (outcome.mode == NewOrChanged)
    {
        outcome.eventType = lastEventType;
    }
    return switches;
}

void LogTheCall(const std::vector<std::wstring>& arguments, const std::wstring& switches,
                Outcome& outcome)
{
    if (arguments.empty())
    {
        outcome.log.push_back(L"# Called with no arguments");
        return;
    }
    std::wstring line =
        L"# Called with " + std::to_wstring(arguments.size()) + L" argument(s): " + switches;
    if (!outcome.invoker.empty())
    {
        line += L" -i " + outcome.invoker;
    }
    outcome.log.push_back(line);
}

void LogTheOutcome(Outcome& outcome)
{
    static const wchar_t* const ngenNames[] = {L"NoNgen", L"InstallNgen", L"UninstallNgen"};
    static const wchar_t* const warmupNames[] = {L"NoWarmup", L"Warmup"};
    static const wchar_t* const modeNames[] = {
        L"InvalidArgumentList",     L"NoCmdLineOption",           L"NewOrChangedEvent",
        L"PeriodicRefreshEvent",    L"OnDemandAutoConfigRefresh", L"DisplayHelp",
        L"DeleteLogFile",           L"InstallScheduledTask",      L"UninstallScheduledTask",
        L"AddPrinterDriverInstance"};
    static const wchar_t* const eventNames[] = {L"NotNewOrChangedEvent", L"NormalNewOrChangedEvent",
                                                L"NewOrChangedTask", L"XmlConfigEvent",
                                                L"UserLogonEvent"};
    std::wstring line = L"#\tResolved Args: ";
    line += ngenNames[outcome.ngen];
    line += L", ";
    line += warmupNames[outcome.warmup];
    line += L", ";
    line += modeNames[outcome.mode];
    line += L", ";
    line += eventNames[outcome.eventType];
    outcome.log.push_back(line + L", -i " + outcome.invoker);
}
} // namespace

Outcome Of(const std::vector<std::wstring>& arguments)
{
    Outcome outcome;
    const std::wstring switches = Walk(arguments, outcome);
    if (outcome.mode == NoMode && outcome.ngen == 0 && outcome.warmup == 0)
    {
        outcome.mode = OnDemand;
    }
    if (outcome.ngen == UninstallNgen && outcome.warmup == 1)
    {
        outcome.log.emplace_back(L"ERROR: Can't specify -w with -UN. Ignoring -w.");
        outcome.warmup = 0;
    }
    LogTheCall(arguments, switches, outcome);
    LogTheOutcome(outcome);
    return outcome;
}
} // namespace CommandLineModel
