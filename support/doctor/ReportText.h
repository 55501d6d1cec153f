#pragma once

#include "Finding.h"

/// For people: one finding a line, then what could not be seen, the notes and a verdict. A line end
/// or another control character in what was found is shown as '?'.
std::wstring ReportAsText(const Report& report);

/// For programs, as docs/doctor-json.md describes it; ASCII alone. `time` is UTC.
std::wstring ReportAsJson(const Report& report, const std::wstring& computer,
                          const std::wstring& time);
