// Reads that succeed and give something else than what is stored, as a fault asks for.
#pragma once

#include "FaultPlan.h"

#include <optional>

namespace PalvoLab
{

// The next call of a double that reads gives this.
void AskForOddRead(const OddRead& read);

// What the call that asks is to give, once; nothing when it is to give what is stored.
std::optional<OddRead> TakeOddRead();

} // namespace PalvoLab
