#pragma once

#include "Run.h"

/// The first scan of a printer-event run, one copy at a time. True when no supported printer was
/// added or changed, so that the run is over; the newest record is stored then.
bool PreScanFindsNothingToDo(const Run& run);

/// Stores the newest record that was dealt with. A key that cannot be created is passed over: the
/// next scan then begins where this one began.
void StoreScanPosition(std::uint64_t recordId);
