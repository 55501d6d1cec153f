#pragma once

#include "WindowsHeaders.h"

#include <string>

/// The running program's full path (GetModuleFileNameW), cut at `bufferCharacters` with the
/// terminating zero. Empty on failure.
std::wstring ProgramPath(DWORD bufferCharacters = 260);

/// The directory that the running program lies in, without a '\' at its end. Empty when its path
/// cannot be had or does not fit into 260 characters: a path that was cut could name any directory.
std::wstring ProgramDirectory();
