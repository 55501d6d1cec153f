#pragma once

#include <exception>
#include <string>

/// The multi-line text of any caught exception, for the log and for message boxes. Never throws; on
/// failure returns the text built so far.
std::wstring DescribeException(const std::exception& e) noexcept;
