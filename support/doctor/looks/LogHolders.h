#pragma once

#include <string>
#include <vector>

/// The other programs that have a file open (Restart Manager), but for those of the suite: "name
/// (process 7)". None when they cannot be had.
std::vector<std::wstring> HoldersOf(const std::wstring& path);
