#pragma once

#include "Run.h"

/// Runs the periodic or the on-demand refresh. One copy works until no request is pending and
/// returns 0; a redundant copy posts its request and returns 1.
int RunRefresh(const Run& run);
