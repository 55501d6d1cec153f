#pragma once

#include "Facts.h"
#include "Finding.h"

/// For Prometheus: its text exposition format, as docs/monitoring.md lists it. No name of a user, a
/// printer or the machine is in it. `version` is the doctor's.
std::wstring ReportAsMetrics(const Facts& facts, const Report& report, const std::wstring& version);

/// A label's value with the format's escapes.
std::wstring MetricLabel(const std::wstring& text);
