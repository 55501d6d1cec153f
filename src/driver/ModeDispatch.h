#pragma once

#include "Run.h"

/// Does what the run's mode asks for and returns the exit code. A value that is no mode prints the
/// usage text, as the help does.
int RunMode(const Run& run);
