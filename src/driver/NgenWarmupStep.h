#pragma once

#include "Run.h"

/// Starts the writer in the background when the run asks for native images or a warm-up. Every run
/// does this before its mode. A print server is not warmed up. Returns whether the debugger prompt
/// was offered on the way.
bool RunNgenWarmupStep(Run& run);
