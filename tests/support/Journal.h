#pragma once

#include <string>
#include <vector>

/// What happened, in order: the doubles write one line per call, so that a test can compare a whole
/// sequence at once.
using Journal = std::vector<std::wstring>;
