#pragma once

#include <string>

/// Creates a directory and every missing level above it. True if it exists at the end. The path
/// begins with a drive ("C:\...") or a server ("\\server\share\..."); a trailing '\' is optional.
bool MakeDirectory(const std::wstring& directory);
