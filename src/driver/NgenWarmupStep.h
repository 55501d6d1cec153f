#pragma once

#include "Run.h"

/// Starts the writer in the background if native images or a warm-up are asked for; a print server
/// is not warmed up. Every run does this before its mode. Offers the debugger prompt before the
/// writer starts.
void RunNgenWarmupStep(Run& run);
