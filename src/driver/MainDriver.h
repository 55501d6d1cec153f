#pragma once

#include "Run.h"

/// One run of the program, from its arguments to its exit code.
int RunProgram(int argumentCount, const wchar_t* const* arguments);

/// Runs the mode and returns the exit code. An unknown mode prints the usage text.
int RunMode(const Run& run);
