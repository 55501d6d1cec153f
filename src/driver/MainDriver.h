#pragma once

/// One run of the program, from its arguments to its exit code.
int RunProgram(int argumentCount, const wchar_t* const* arguments);
