#pragma once

#include "WindowsHeaders.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

/// What a debugger is told of an exception.
struct ExceptionReport
{
    DWORD code = 0;
    std::vector<ULONG_PTR> parameters;
    bool isFirstChance = false; ///< false: no handler of the program took it
};

/// How a program ended that was run to its end.
struct ProgramRun
{
    DWORD exitCode = 0;
    std::string output;            ///< with plain line feeds
    std::set<std::string> modules; ///< the names of the DLLs that it had loaded, in upper case
    std::optional<ExceptionReport> exception; ///< the last one, breakpoints apart
};

/// Runs a program with its output in a file and, as its debugger, notes what it loads. Throws
/// std::runtime_error when it cannot be started.
ProgramRun RunToItsEnd(const std::wstring& program, const std::wstring& arguments);
