#pragma once

#include "WindowsHeaders.h"

#include <cstdint>

/// Copies `log`, which is `size` bytes long, more than LogTrim::LargestLog, to the empty `copy`,
/// then empties `log` and writes back the lines that a trim keeps. Both are open for reading and
/// writing. A bare line feed gets a carriage return; no other byte changes.
///
/// A log that cannot be copied whole, or emptied, is not changed, nor is one whose first kept line
/// cannot be found, since the copy cannot be read. After that, a read or write that fails or is
/// short ends the work: the log then has whole lines from the first kept one on, without a hole.
/// Allocates no memory, since stopping halfway would lose the log.
void TrimOpenLog(HANDLE log, std::uint64_t size, HANDLE copy) noexcept;
