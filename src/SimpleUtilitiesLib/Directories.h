#pragma once

#include <string>

/// Creates a directory and every missing level above it. True when it exists at the end. Paths of a
/// drive ("C:\...") and of a server ("\\server\share\...") are understood, with or without a
/// trailing '\'.
bool MakeDirectory(const std::wstring& directory);
