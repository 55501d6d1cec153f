// Text helpers of the lab: UTF-8 in and out, one-line forms, comparisons.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace PalvoLab
{

// UTF-16 to UTF-8 on one line: control characters and unpaired surrogates become \uXXXX, and so
// does a backslash in front of a "u", which makes the form unambiguous. All else stays as it is.
std::string ToLine(std::wstring_view text);

// The way back from ToLine.
std::wstring FromLine(std::string_view line);

// Puts the characters in place of \uXXXX in an argument of a command.
std::wstring ReplaceEscapes(std::wstring_view text);

// Plain UTF-8 to UTF-16, nothing escaped.
std::wstring Widen(std::string_view text);

// Ordinal comparison that ignores case, as Windows compares names.
bool EqualNoCase(std::wstring_view left, std::wstring_view right);

bool StartsWithNoCase(std::wstring_view text, std::wstring_view prefix);

// A decimal number or one with 0x; nothing when the text is anything else.
std::optional<std::uint64_t> ParseNumber(std::wstring_view text);

// The parts between separators; an empty text has one empty part.
std::vector<std::wstring> Split(std::wstring_view text, wchar_t separator);

// "0x" and at least one digit.
std::wstring Hex(std::uint64_t value);

// A time in 100 ns units since 1601 as "2024-05-06T07:08:09.1234567Z".
std::wstring FormatTime(std::uint64_t fileTime);

// The present time in 100 ns units since 1601.
std::uint64_t Now();

} // namespace PalvoLab
