#include "Text.h"

#include "WindowsHeaders.h"

#include <cwchar>

namespace PalvoLab
{
namespace
{

bool IsHighSurrogate(wchar_t c)
{
    return c >= 0xD800 && c <= 0xDBFF;
}

bool IsLowSurrogate(wchar_t c)
{
    return c >= 0xDC00 && c <= 0xDFFF;
}

void AppendEscape(std::string& line, wchar_t c)
{
    static const char digits[] = "0123456789ABCDEF";
    line += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4)
    {
        line += digits[(c >> shift) & 0xF];
    }
}

void AppendUtf8(std::string& line, std::uint32_t c)
{
    const auto put = [&line](std::uint32_t byte) { line += static_cast<char>(byte); };
    if (c < 0x80)
    {
        put(c);
    }
    else if (c < 0x800)
    {
        put(0xC0 | (c >> 6));
        put(0x80 | (c & 0x3F));
    }
    else if (c < 0x10000)
    {
        put(0xE0 | (c >> 12));
        put(0x80 | ((c >> 6) & 0x3F));
        put(0x80 | (c & 0x3F));
    }
    else
    {
        put(0xF0 | (c >> 18));
        put(0x80 | ((c >> 12) & 0x3F));
        put(0x80 | ((c >> 6) & 0x3F));
        put(0x80 | (c & 0x3F));
    }
}

std::optional<unsigned> HexDigits(std::wstring_view text)
{
    unsigned value = 0;
    for (const wchar_t c : text)
    {
        unsigned digit = 0;
        if (c >= L'0' && c <= L'9')
        {
            digit = static_cast<unsigned>(c - L'0');
        }
        else if ((c | 0x20) >= L'a' && (c | 0x20) <= L'f')
        {
            digit = static_cast<unsigned>((c | 0x20) - L'a') + 10;
        }
        else
        {
            return std::nullopt;
        }
        value = value * 16 + digit;
    }
    return value;
}

} // namespace

std::string ToLine(std::wstring_view text)
{
    std::string line;
    line.reserve(text.size() + 16);
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        const wchar_t c = text[i];
        const wchar_t next = i + 1 < text.size() ? text[i + 1] : L'\0';
        if (IsHighSurrogate(c) && IsLowSurrogate(next))
        {
            AppendUtf8(line, 0x10000U + ((static_cast<std::uint32_t>(c) - 0xD800U) << 10) +
                                 (static_cast<std::uint32_t>(next) - 0xDC00U));
            ++i;
        }
        else if (c < 0x20 || c == 0x7F || IsHighSurrogate(c) || IsLowSurrogate(c) ||
                 (c == L'\\' && next == L'u'))
        {
            AppendEscape(line, c);
        }
        else
        {
            AppendUtf8(line, c);
        }
    }
    return line;
}

std::wstring ReplaceEscapes(std::wstring_view text)
{
    std::wstring plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (text[i] == L'\\' && i + 5 < text.size() && text[i + 1] == L'u')
        {
            if (const auto value = HexDigits(text.substr(i + 2, 4)))
            {
                plain += static_cast<wchar_t>(*value);
                i += 5;
                continue;
            }
        }
        plain += text[i];
    }
    return plain;
}

std::wstring FromLine(std::string_view line)
{
    return ReplaceEscapes(Widen(line));
}

std::wstring Widen(std::string_view text)
{
    const int size = static_cast<int>(text.size());
    const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), length);
    return wide;
}

bool EqualNoCase(std::wstring_view left, std::wstring_view right)
{
    if (left.size() != right.size())
    {
        return false;
    }
    const int size = static_cast<int>(left.size());
    return size == 0 ||
           CompareStringOrdinal(left.data(), size, right.data(), size, TRUE) == CSTR_EQUAL;
}

bool StartsWithNoCase(std::wstring_view text, std::wstring_view prefix)
{
    return text.size() >= prefix.size() && EqualNoCase(text.substr(0, prefix.size()), prefix);
}

std::optional<std::uint64_t> ParseNumber(std::wstring_view text)
{
    const bool hex = text.size() > 2 && text[0] == L'0' && (text[1] | 0x20) == L'x';
    const std::wstring_view digits = hex ? text.substr(2) : text;
    if (digits.empty() || digits.size() > 20)
    {
        return std::nullopt;
    }
    for (const wchar_t c : digits)
    {
        const bool decimal = c >= L'0' && c <= L'9';
        const bool letter = hex && (c | 0x20) >= L'a' && (c | 0x20) <= L'f';
        if (!decimal && !letter)
        {
            return std::nullopt;
        }
    }
    return _wcstoui64(std::wstring(digits).c_str(), nullptr, hex ? 16 : 10);
}

std::vector<std::wstring> Split(std::wstring_view text, wchar_t separator)
{
    std::vector<std::wstring> parts;
    std::size_t begin = 0;
    while (true)
    {
        const std::size_t end = text.find(separator, begin);
        if (end == std::wstring_view::npos)
        {
            parts.emplace_back(text.substr(begin));
            return parts;
        }
        parts.emplace_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
}

std::wstring Hex(std::uint64_t value)
{
    wchar_t text[24] = {};
    _snwprintf_s(text, std::size(text), _TRUNCATE, L"0x%I64x", value);
    return text;
}

std::wstring FormatTime(std::uint64_t fileTime)
{
    const FILETIME time = {static_cast<DWORD>(fileTime), static_cast<DWORD>(fileTime >> 32)};
    SYSTEMTIME parts = {};
    FileTimeToSystemTime(&time, &parts);
    const unsigned fraction = static_cast<unsigned>(fileTime % 10000000U);
    wchar_t text[40] = {};
    _snwprintf_s(text, std::size(text), _TRUNCATE, L"%04u-%02u-%02uT%02u:%02u:%02u.%07uZ",
                 parts.wYear, parts.wMonth, parts.wDay, parts.wHour, parts.wMinute, parts.wSecond,
                 fraction);
    return text;
}

std::uint64_t Now()
{
    FILETIME time = {};
    GetSystemTimePreciseAsFileTime(&time);
    return (static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

} // namespace PalvoLab
