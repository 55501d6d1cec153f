#pragma once

#include "CmdLineOptions.h"

#include <string>

class LogFile;

/// Turns the process's arguments into the run's options and logs both. `argumentCount` counts the
/// program's name. `invoker` gets the value of -i without its quotes. A bad command line gives the
/// mode InvalidArgumentList; nothing fails.
CmdLineOptions ParseCommandLine(int argumentCount, const wchar_t* const* arguments, LogFile& log,
                                std::wstring& invoker);

/// The text of -?, for standard output.
std::wstring UsageText();
