#pragma once

#include "WindowsHeaders.h"

#include <cstdint>

/// Copies `log`, which is `size` bytes long, to `copy`, which is empty, and then fills `log` anew
/// with the lines that a trim keeps. Both may be read and written. A line feed that stands alone
/// gets a carriage return; no other byte changes.
///
/// A log that cannot be copied whole, or emptied, stays as it is. Afterwards a read that fails or
/// ends early, or a write that fails or falls short, ends the work: what is in the log then are
/// whole lines from the first kept one on, without a hole. Needs no memory of the heap, since the
/// log is lost if this stops halfway.
void TrimOpenLog(HANDLE log, std::uint64_t size, HANDLE copy) noexcept;
