#pragma once

#include "WindowsHeaders.h"

#include <exception>
#include <string>

/// The multi-line text of any caught exception, for the log and for message boxes. Never throws; a
/// failure on the way gives the text as far as it was built.
std::wstring DescribeException(const std::exception& e) noexcept;

/// The system's text for an HRESULT, without its line end; a text of our own when it has none.
std::wstring ComErrorText(HRESULT result);
