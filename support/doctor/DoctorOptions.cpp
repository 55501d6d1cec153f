#include "DoctorOptions.h"

#include <map>

// NOLINTNEXTLINE(readability-identifier-naming): a constant, though its text stands here
const wchar_t DoctorHelp[] =
    L"PalvoPrinterDoctor [--json] [--folder FOLDER] [--hung-after MINUTES] [--prometheus FILE]\n"
    L"                   [--collect FILE.zip [--with-names]] [--help]\n"
    L"Looks why printers are not configured, and writes nothing but these FILEs. Run it as "
    L"SYSTEM:\n"
    L"others do not see everything.\n"
    L"  --json                for programs (docs/doctor-json.md)\n"
    L"  --folder FOLDER       where the suite lies; by default, where the doctor lies\n"
    L"  --hung-after MINUTES  how long a run may take; by default 60\n"
    L"  --prometheus FILE     writes metrics too (docs/monitoring.md)\n"
    L"  --collect FILE.zip    writes what support needs, without names (docs/privacy.md)\n"
    L"  --with-names          leaves the names in the collection\n"
    L"Ends with 0 when all is well, 1 when something needs attention, 2 when it could not look.\n";

namespace
{
/// A number of up to six digits.
std::optional<std::uint64_t> ParseMinutes(const std::wstring& text)
{
    std::uint64_t number = 0;
    for (const wchar_t digit : text)
    {
        if (digit < L'0' || digit > L'9')
        {
            return std::nullopt;
        }
        number = number * 10 + static_cast<std::uint64_t>(digit - L'0');
    }
    return text.empty() || text.size() > 6 ? std::nullopt : std::optional(number);
}
} // namespace

std::optional<DoctorOptions> ParseDoctorOptions(const std::vector<std::wstring>& arguments)
{
    DoctorOptions options;
    const std::map<std::wstring, bool*> switches = {{L"--json", &options.json},
                                                    {L"--help", &options.help},
                                                    {L"--with-names", &options.withNames}};
    const std::map<std::wstring, std::wstring*> texts = {{L"--folder", &options.folder},
                                                         {L"--prometheus", &options.metrics},
                                                         {L"--collect", &options.collection}};
    for (std::size_t i = 0; i < arguments.size(); ++i)
    {
        const std::wstring& argument = arguments[i];
        const bool hasValue = i + 1 < arguments.size();
        if (const auto found = switches.find(argument); found != switches.end())
        {
            *found->second = true;
        }
        else if (const auto text = texts.find(argument); text != texts.end() && hasValue)
        {
            *text->second = arguments[++i];
        }
        else if (const auto minutes = argument == L"--hung-after" && hasValue
                                          ? ParseMinutes(arguments[++i])
                                          : std::nullopt)
        {
            options.hungAfterMinutes = *minutes;
        }
        else
        {
            return std::nullopt;
        }
    }
    return options.withNames && options.collection.empty() ? std::nullopt : std::optional(options);
}
