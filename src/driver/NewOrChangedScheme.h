#pragma once

#include "Run.h"

/// Processes new and changed printers. Every copy posts its request. One copy works until no
/// request is pending and returns 0; a redundant copy returns 1. An exception is logged in one line
/// and ends the run with 0.
int RunNewOrChanged(const Run& run);
