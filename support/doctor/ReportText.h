#pragma once

#include "Finding.h"

#include <cstdint>

/// For people: one finding a line, then what could not be seen, the notes and a verdict. A line end
/// or another control character in what was found is shown as '?'.
std::wstring ReportAsText(const Report& report);

/// For programs, as docs/doctor-json.md describes it; ASCII alone. `time` is UTC.
std::wstring ReportAsJson(const Report& report, const std::wstring& computer,
                          const std::wstring& time);

std::string ToUtf8(const std::wstring& text);

/// "2026-03-07T14:05:09", of 100 ns since 1601.
std::wstring TimeText(std::uint64_t time);
