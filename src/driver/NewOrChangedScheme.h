#pragma once

#include "Run.h"

/// The processing of new and changed printers. Every copy posts its request; one copy works at a
/// time, until no request is pending, and returns 0. A redundant copy returns 1. Whatever goes
/// wrong is logged in one line and ends the run normally.
int RunNewOrChanged(const Run& run);
