#include "DoctorOptions.h"

// NOLINTNEXTLINE(readability-identifier-naming): a constant, though its text stands here
const wchar_t DoctorHelp[] =
    L"PalvoPrinterDoctor [--json] [--folder FOLDER] [--hung-after MINUTES] [--help]\n"
    L"Looks why printers are not configured, and changes nothing. Run it as SYSTEM: others do not\n"
    L"see everything.\n"
    L"  --json                for programs (docs/doctor-json.md)\n"
    L"  --folder FOLDER       where the suite lies; by default, where the doctor lies\n"
    L"  --hung-after MINUTES  how long a run may take; by default 60\n"
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
    for (std::size_t i = 0; i < arguments.size(); ++i)
    {
        const std::wstring& argument = arguments[i];
        const bool hasValue = i + 1 < arguments.size();
        if (argument == L"--json")
        {
            options.json = true;
        }
        else if (argument == L"--help")
        {
            options.help = true;
        }
        else if (argument == L"--folder" && hasValue)
        {
            options.folder = arguments[++i];
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
    return options;
}
