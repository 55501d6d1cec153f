#pragma once

#include "Run.h"

/// The periodic and the on-demand refresh. One copy works at a time; a redundant one leaves its
/// request and returns 1. The working copy returns 0 when no request is pending.
int RunRefresh(const Run& run);
