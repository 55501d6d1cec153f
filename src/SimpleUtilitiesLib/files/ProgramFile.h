#pragma once

#include "WindowsHeaders.h"

#include <string>

/// The running program's full path (GetModuleFileNameW), truncated to `bufferCharacters` with the
/// terminating zero. Empty on failure.
std::wstring ProgramPath(DWORD bufferCharacters = 260);

/// The running program's directory, without a trailing '\'. Empty if the path is unknown or does
/// not fit into 260 characters: a truncated path could name another directory.
std::wstring ProgramDirectory();
