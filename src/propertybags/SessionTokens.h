#pragma once

#include "Owners.h"

#include <vector>

/// The primary tokens of the users of all active and disconnected sessions but session 0, in the
/// order in which the sessions are enumerated. A session whose token cannot be had is left out.
std::vector<KernelHandle> CollectSessionTokens();
