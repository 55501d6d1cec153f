#pragma once

#include "WindowsHeaders.h"

#include <string>

/// Writes a file that nobody ever sees in part: under a name beside it, "<path>.new", which then
/// takes its place. A reader that keeps it from being replaced is waited for, for a second. The
/// folder must be there, and be reached by its own path: no link, mount point or short name. 0 or
/// the error.
DWORD WriteWholeFile(const std::wstring& path, const std::string& bytes);
