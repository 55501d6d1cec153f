#pragma once

#include <string>

/// Creates a directory and every missing level above it. True when it exists at the end. Paths of a
/// drive ("C:\...") and of a server ("\\server\share\...") are understood, with or without a
/// trailing '\'. Nothing is left behind in another place that a mount point leads to.
bool MakeDirectory(const std::wstring& directory);
