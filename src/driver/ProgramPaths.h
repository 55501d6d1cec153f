#pragma once

#include <string>

/// The full paths of this program and of its two siblings in the same directory. All are empty if
/// the directory is unknown: then nothing is started or registered, in particular no file of that
/// name in a drive's root.
struct ProgramPaths
{
    std::wstring configuration;
    std::wstring query;
    std::wstring writer;
};

/// The three paths for a program in `directory`; empty if `directory` is.
ProgramPaths ProgramPathsIn(const std::wstring& directory);

/// The log's directory under the ProgramData folder. Empty, so that nothing is logged, if Windows
/// does not give the folder.
std::wstring LogDirectory();
