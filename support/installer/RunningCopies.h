#pragma once

#include <string>

/// Ends the program and its siblings that run from `folder`, and all that they started: first the
/// program, so that nothing is started anew. A file that is in use cannot be replaced. False when
/// one is still there after ten seconds.
bool EndCopies(const std::wstring& folder);
