#pragma once

#include "WindowsHeaders.h"

#include <string>

/// The running program's full path (GetModuleFileNameW), cut at `bufferCharacters` with the
/// terminating zero. Empty on failure.
std::wstring ProgramPath(DWORD bufferCharacters = 260);
