#pragma once

#include "WindowsHeaders.h"

#include <string>
#include <vector>

struct ProcessEntry
{
    DWORD id;
    DWORD parent;
    std::wstring file; ///< name of the program's file
};

/// All processes (CreateToolhelp32Snapshot); none when they cannot be had.
std::vector<ProcessEntry> ListProcesses();
