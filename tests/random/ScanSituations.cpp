#include "ScanSituations.h"

#include "CodeText.h"
#include "RandomTexts.h"
#include "Shrinking.h"

#include <algorithm>
#include <iterator>

namespace
{
using namespace std::string_literals;

const std::vector<std::wstring>& Manifests()
{
    static const std::vector<std::wstring> manifests = {
        L"C:\\d\\p-manifest.ini", L"C:\\d\\Q-Manifest.INI", L"c:\\d\\\u00E4-manifest.ini.bak",
        L"-manifest.ini"};
    return manifests;
}

std::wstring Capitals(std::wstring text)
{
    for (wchar_t& character : text)
    {
        character = static_cast<wchar_t>(character >= L'a' && character <= L'z' ? character - 32
                                                                                : character);
    }
    return text;
}

std::wstring Name(Random& random)
{
    static const std::vector<std::wstring> names = {
        L"A", L"a",        L"Sales Room 3",        L"%s%n", L"\u0416", L"\u00E4", L"\u00C4",
        L"'", L"\\\\s\\P", std::wstring(220, L'x')};
    return random.OneIn(10) ? AnyText(random, random.Between(1, 8)) : random.Of(names);
}

ScanModel::Printer AnyPrinter(Random& random)
{
    ScanModel::Printer printer;
    printer.driverModel = random.OneIn(6) ? random.Of({0U, 3U, 5U, 0x10004U}) : 4;
    if (random.OneIn(12))
    {
        return printer;
    }
    printer.files.emplace();
    for (std::size_t count = random.Below(3); count != 0; --count)
    {
        printer.files->push_back(
            random.Of({L"C:\\d\\x.dll"s, L"C:\\d\\p-manifest.in"s, L"p_manifest.ini"s, L""s,
                       L"manifest.ini"s, L"C:\\d\\x.dll"s}));
    }
    for (std::size_t count = random.Below(3); count != 0; --count)
    {
        printer.files->push_back(random.Of(Manifests()));
    }
    return printer;
}

ScanModel::Event AnyEvent(Random& random, std::uint64_t id,
                          const std::map<std::wstring, ScanModel::Printer>& printers)
{
    const auto name = [&]() -> std::wstring
    {
        if (printers.empty() || random.OneIn(8))
        {
            return random.OneIn(3) ? L"" : Name(random);
        }
        return std::next(printers.begin(),
                         static_cast<std::ptrdiff_t>(random.Below(printers.size())))
            ->first;
    };
    ScanModel::Event event = {id, std::nullopt, std::nullopt, random.OneIn(40)};
    if (random.OneIn(2) || random.OneIn(10))
    {
        event.createdPrinter = name();
    }
    if (!event.createdPrinter || random.OneIn(8))
    {
        event.changedPrinter = name();
    }
    return event;
}

void AddFailures(Random& random, ScanModel::Situation& tried)
{
    tried.queryFails = random.OneIn(60);
    tried.nothingCanBeRead = random.OneIn(60);
    tried.spoolerFails = random.OneIn(60);
    tried.batchSize = random.OneIn(4) ? random.Between(1, 9) : 10;
    if (random.OneIn(30))
    {
        tried.failingFetch = static_cast<unsigned>(random.Between(1, 4));
    }
}

void AddSimplerEvents(const ScanModel::Situation& tried,
                      std::vector<ScanModel::Situation>& candidates)
{
    for (std::size_t i = 0; i < tried.events.size(); ++i)
    {
        const ScanModel::Event& event = tried.events[i];
        const auto with = [&](auto member, const auto& value)
        {
            candidates.push_back(tried);
            candidates.back().events[i].*member = value;
        };
        if (event.cannotBeRead)
        {
            with(&ScanModel::Event::cannotBeRead, false);
        }
        if (event.createdPrinter)
        {
            with(&ScanModel::Event::createdPrinter, std::nullopt);
        }
        if (event.changedPrinter)
        {
            with(&ScanModel::Event::changedPrinter, std::nullopt);
        }
        for (const std::uint64_t id : Smaller(event.recordId))
        {
            const auto hasId = [id](const ScanModel::Event& other) { return other.recordId == id; };
            if (std::none_of(tried.events.begin(), tried.events.end(), hasId))
            {
                with(&ScanModel::Event::recordId, id);
            }
        }
    }
}

std::string Named(const std::optional<std::wstring>& text)
{
    return text ? CodeText(*text) : "std::nullopt";
}
} // namespace

ScanModel::Situation AnySituation(Random& random)
{
    ScanModel::Situation result;
    for (std::size_t count = random.Below(5); count != 0; --count)
    {
        result.printers[Name(random)] = AnyPrinter(random);
    }
    for (const std::wstring& manifest : Manifests())
    {
        if (!random.OneIn(6))
        {
            result.platforms[Capitals(manifest)] = random.Of(
                {L"PV6P2.0"s, L"PV6P2.0"s, L"PV6P2.0"s, L"pv6p2.0"s, L"Pv6P2.0"s, L"PV6P2.1"s,
                 L"PV6P2.0x"s, L"PV6P2.0  "s, L"PV6P2.0  0"s, L"PV6P2."s, L" PV6P2.0"s, L""s});
        }
    }
    const bool manyEvents = random.OneIn(200);
    // The fillers have the ids below.
    const std::uint64_t base =
        manyEvents ? 6000
                   : random.Of<std::uint64_t>({0, 0, 1, 4000, 0xFFFFFFF8U, 0x7FFFFFFFFFFFFFF8U});
    std::uint64_t id = base;
    for (std::size_t count = random.Length(60, {0, 1, 2, 9, 10, 11, 20, 21}); count != 0; --count)
    {
        id += random.OneIn(5) ? random.Between(1, 9) : 1;
        result.events.push_back(AnyEvent(random, id, result.printers));
    }
    // Half of them are not in the order of their ids.
    for (std::size_t i = random.OneIn(2) ? result.events.size() : 0; i > 1; --i)
    {
        std::swap(result.events[i - 1], result.events[random.Below(i)]);
    }
    if (manyEvents)
    {
        result.fillers = random.Of<std::size_t>({4999, 5000, 5001, 5002}) - result.events.size();
        return result;
    }
    result.position = random.OneIn(3) ? 0 : base + random.Below(id - base + 3);
    AddFailures(random, result);
    return result;
}

std::vector<ScanModel::Situation> SimplerSituations(const ScanModel::Situation& tried)
{
    using Case = ScanModel::Situation;
    std::vector<Case> candidates;
    if (tried.fillers != 0 && !tried.events.empty())
    {
        candidates.push_back(tried);
        candidates.back().fillers += tried.events.size();
        candidates.back().events.clear();
    }
    AddWith(candidates, tried, &Case::fillers, Smaller(tried.fillers));
    AddWith(candidates, tried, &Case::events, Shorter(tried.events));
    AddWith(candidates, tried, &Case::position, Smaller(tried.position));
    AddPlain(candidates, tried, &Case::queryFails, false);
    AddPlain(candidates, tried, &Case::nothingCanBeRead, false);
    AddPlain(candidates, tried, &Case::spoolerFails, false);
    AddPlain(candidates, tried, &Case::batchSize, std::size_t{10});
    AddPlain(candidates, tried, &Case::failingFetch, std::nullopt);
    for (const auto& [name, printer] : tried.printers)
    {
        candidates.push_back(tried);
        candidates.back().printers.erase(name);
        for (const auto& files : Shorter(printer.files.value_or(std::vector<std::wstring>())))
        {
            candidates.push_back(tried);
            candidates.back().printers[name].files = files;
        }
    }
    for (const auto& [path, platform] : tried.platforms)
    {
        candidates.push_back(tried);
        candidates.back().platforms.erase(path);
    }
    AddSimplerEvents(tried, candidates);
    return candidates;
}

std::string SituationText(const ScanModel::Situation& tried)
{
    std::string code = "SetPosition(" + std::to_string(tried.position) + "U);\n";
    for (const auto& [name, printer] : tried.printers)
    {
        code += "spooler.printers[" + CodeText(name) + "] = {" +
                std::to_string(printer.driverModel) + ", " +
                (printer.files ? "{" + CodeText(*printer.files) + "}" : "std::nullopt") + "};\n";
    }
    code += tried.platforms.empty() ? "" : "// GetPrivateProfileStringW answers, by the file:\n";
    for (const auto& [path, platform] : tried.platforms)
    {
        code += "platforms[" + CodeText(path) + "] = " + CodeText(platform) + ";\n";
    }
    for (const ScanModel::Event& event : tried.events)
    {
        code += "channel.events.push_back({" + std::to_string(event.recordId) + "U, " +
                Named(event.createdPrinter) + ", " + Named(event.changedPrinter) +
                (event.cannotBeRead ? ", 300, std::nullopt, 13" : "") + "});\n";
    }
    code += tried.fillers == 0
                ? ""
                : "for (std::uint64_t id = 1; id <= " + std::to_string(tried.fillers) +
                      "; ++id) { Event(id, L\"filler\"); }\n";
    code += tried.queryFails ? "channel.queryError = 15007;\n" : "";
    code += tried.nothingCanBeRead ? "channel.contextError = 8;\n" : "";
    code += tried.spoolerFails ? "spooler.driverError = 1722;\n" : "";
    code += tried.batchSize == 10
                ? ""
                : "channel.mostPerFetch = " + std::to_string(tried.batchSize) + ";\n";
    code += tried.failingFetch ? "channel.nextError = 1734;\nchannel.failingFetch = " +
                                     std::to_string(*tried.failingFetch) + ";\n"
                               : "";
    return code + "ExpectMessage(" + CodeText(ScanModel::Of(tried).message) + ");";
}
