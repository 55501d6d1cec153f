#pragma once

#include <cstdint>

// Where the event scan goes on: the newest event record that was dealt with. It is stored in the
// program's own key and outlives the run.

/// The stored record id; 0 if there is none or it cannot be read.
std::uint64_t ReadScanPosition();

/// Stores a record id. Does nothing if the key cannot be created: the next scan then starts from
/// the old position and finds the same events. Throws ExceptionRegistryRequest if the value cannot
/// be written.
void StoreScanPosition(std::uint64_t recordId);
