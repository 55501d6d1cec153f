#pragma once

#include <string>

/// The full paths of this program and of its two siblings in the same directory. All are empty when
/// the directory cannot be had: nothing is then started or registered, least of all a file of that
/// name in a drive's root.
struct ProgramPaths
{
    std::wstring configuration;
    std::wstring query;
    std::wstring writer;
};

/// The three paths for a program that lies in `directory`; empty ones when that is empty.
ProgramPaths ProgramPathsIn(const std::wstring& directory);

/// The log's directory under the ProgramData folder. Empty, so that nothing is logged, when the
/// folder cannot be had.
std::wstring LogDirectory();
