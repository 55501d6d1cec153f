#pragma once

#include "Run.h"

/// Runs the mode and returns the exit code. An unknown mode prints the usage text.
int RunMode(const Run& run);
