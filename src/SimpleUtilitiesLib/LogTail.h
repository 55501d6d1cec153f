#pragma once

#include "WindowsHeaders.h"

#include <cstdint>

/// Fills `log`, an empty file that may be read and written, with the lines that a trim keeps of
/// `copy`, a copy of the log as it was, `size` bytes long. A line feed that stands alone gets a
/// carriage return; no other byte changes. A read that fails or ends early, or a write that fails
/// or falls short, ends the work: what is in the log then are whole lines from the first kept one
/// on, without a hole. Needs no memory of the heap, since the log is lost if this does not run.
void CopyLogTail(HANDLE copy, std::uint64_t size, HANDLE log) noexcept;
