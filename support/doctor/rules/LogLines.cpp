#include "LogLine.h"
#include "Rules.h"

#include <cstdio>

namespace
{
constexpr wchar_t Module[] = L" PalvoPrinterConfiguration(PID";

std::wstring FromCodePage(const char* bytes, std::size_t count)
{
    const int size = static_cast<int>(count);
    std::wstring text(count, L'\0');
    const int length = MultiByteToWideChar(CP_ACP, 0, bytes, size, text.data(), size);
    text.resize(static_cast<std::size_t>(length));
    return text;
}

/// The local time of "[3/7/2024 2:05:09 PM]".
std::optional<std::uint64_t> ParseStamp(const std::wstring& stamp)
{
    unsigned month = 0;
    unsigned day = 0;
    unsigned year = 0;
    unsigned hour = 0;
    unsigned minute = 0;
    unsigned second = 0;
    wchar_t half = 0;
    if (std::swscanf(stamp.c_str(), L"[%2u/%2u/%4u %2u:%2u:%2u %lcM]", &month, &day, &year, &hour,
                     &minute, &second, &half) != 7 ||
        (half != L'A' && half != L'P') || hour == 0 || hour > 12)
    {
        return std::nullopt;
    }
    SYSTEMTIME parts = {};
    parts.wYear = static_cast<WORD>(year);
    parts.wMonth = static_cast<WORD>(month);
    parts.wDay = static_cast<WORD>(day);
    parts.wHour = static_cast<WORD>(hour % 12 + (half == L'P' ? 12 : 0));
    parts.wMinute = static_cast<WORD>(minute);
    parts.wSecond = static_cast<WORD>(second);
    FILETIME time = {};
    if (!SystemTimeToFileTime(&parts, &time))
    {
        return std::nullopt;
    }
    return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}
} // namespace

std::optional<LogEntry> ParseLogLine(const std::wstring& line)
{
    const std::size_t stampEnd = line.find(L']');
    const std::size_t end = line.find(L"): ");
    const std::size_t digits = stampEnd + std::size(Module);
    if (stampEnd == std::wstring::npos || end == std::wstring::npos || end <= digits ||
        end > digits + 10 || line.compare(stampEnd + 1, std::size(Module) - 1, Module) != 0 ||
        line.find_first_not_of(L"0123456789", digits) != end)
    {
        return std::nullopt;
    }
    const auto time = ParseStamp(line.substr(0, stampEnd + 1));
    if (!time)
    {
        return std::nullopt;
    }
    LogEntry entry;
    entry.time = *time;
    entry.process = std::wcstoul(line.c_str() + digits, nullptr, 10);
    entry.message = line.substr(end + 3);
    return entry;
}

std::wstring LogLineOf(const LogEntry& entry, const std::wstring& message)
{
    const FILETIME time = {static_cast<DWORD>(entry.time), static_cast<DWORD>(entry.time >> 32)};
    SYSTEMTIME parts = {};
    FileTimeToSystemTime(&time, &parts);
    return LogLineText(parts, L"PalvoPrinterConfiguration", entry.process, std::nullopt, message);
}

void ForEachLogLine(const std::string& bytes, const std::function<void(const std::wstring&)>& take)
{
    std::size_t begin = 0;
    for (std::size_t end = bytes.find('\n'); end != std::string::npos;
         begin = end + 1, end = bytes.find('\n', begin))
    {
        const bool hasReturn = end > begin && bytes[end - 1] == '\r';
        take(FromCodePage(bytes.data() + begin, end - begin - (hasReturn ? 1 : 0)));
    }
}

void ParseLog(const std::string& bytes, LogFacts& log)
{
    ForEachLogLine(bytes,
                   [&log](const std::wstring& line)
                   {
                       if (auto entry = ParseLogLine(line))
                       {
                           log.entries.push_back(std::move(*entry));
                       }
                       else
                       {
                           ++log.foreignLines;
                       }
                   });
}
