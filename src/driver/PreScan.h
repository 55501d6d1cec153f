#pragma once

#include "Run.h"

/// Scans the event log at the start of a printer-event run, one copy at a time. True if no
/// supported printer was added or changed: the newest record id is then stored, and the run is
/// over.
bool PreScanFindsNothingToDo(const Run& run);
