#pragma once

#include "LogFile.h"
#include "Replaced.h"
#include "TemporaryFolder.h"

#include <string>
#include <vector>

/// A log whose lines stay in memory, since a file would take most of the time of a cheap case.
class MemoryLog
{
public:
    MemoryLog();

    LogFile& Log() { return log; }
    /// Forgets the lines.
    void Clear() { lines.clear(); }
    /// How the lines differ from these messages; nothing when they do not.
    [[nodiscard]] std::optional<std::string> Difference(
        const std::vector<std::wstring>& messages) const;

private:
    TemporaryFolder folder;
    LogFile log;
    std::vector<std::string> lines; ///< as they were written, with their line ends

    Replaced<"KERNEL32", "CreateFileW", decltype(CreateFileW)> createFile;
    Replaced<"KERNEL32", "GetFileInformationByHandleEx", decltype(GetFileInformationByHandleEx)>
        standardInfo;
    Replaced<"KERNEL32", "GetFileInformationByHandle", decltype(GetFileInformationByHandle)>
        information;
    Replaced<"KERNEL32", "GetFinalPathNameByHandleW", decltype(GetFinalPathNameByHandleW)>
        finalPath;
    Replaced<"KERNEL32", "WriteFile", decltype(::WriteFile)> writeFile;
    Replaced<"KERNEL32", "CloseHandle", decltype(CloseHandle)> closeHandle;
    Replaced<"KERNEL32", "WaitForSingleObject", decltype(WaitForSingleObject)> wait;
    Replaced<"KERNEL32", "ReleaseMutex", decltype(ReleaseMutex)> releaseMutex;
};
