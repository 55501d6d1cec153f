#pragma once

#include "ChildCommandLine.h"
#include "ProgramPaths.h"

#include <cstdint>
#include <string>

class LogFile;

/// Runs the query program (as Local Service where that account can log on, else as this account)
/// and then the writer (as this account), each to its end; then writes the identity values of every
/// user who has a session. Returns the larger of the two exit codes. A program that cannot be
/// started counts as 0.
std::uint32_t LaunchWriterForRequest(const WriterRequest& request, const std::wstring& invoker,
                                     const ProgramPaths& paths, LogFile& log);

/// Starts the writer with `arguments`, which begin with a blank, and does not wait for it. Returns
/// 0, or 1 if it does not start.
int LaunchWriterInBackground(const std::wstring& invoker, const std::wstring& writerPath,
                             const std::wstring& arguments);
