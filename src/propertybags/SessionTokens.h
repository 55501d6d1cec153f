#pragma once

#include "Owners.h"

#include <vector>

/// The primary tokens of the users of all active and disconnected sessions except session 0, in the
/// order of enumeration. Skips a session whose token cannot be queried.
std::vector<KernelHandle> CollectSessionTokens();
