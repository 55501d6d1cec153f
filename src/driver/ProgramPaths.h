#pragma once

#include <string>

/// The full paths of this program and of its two siblings in the same directory.
struct ProgramPaths
{
    std::wstring configuration;
    std::wstring query;
    std::wstring writer;
};

/// The three paths for a program that lies in `directory`.
ProgramPaths ProgramPathsIn(const std::wstring& directory);

/// The log's directory under the ProgramData folder. Empty, so that nothing is logged, when the
/// folder cannot be had.
std::wstring LogDirectory();
