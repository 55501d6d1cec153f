#pragma once

#include "Journal.h"
#include "LogFile.h"
#include "Replaced.h"
#include "TemporaryFolder.h"

/// The message of one log line: what follows the time stamp, the program and the process id.
std::wstring MessageOf(const std::wstring& line);

/// The lines of a log file's bytes, without their line ends.
std::vector<std::wstring> LinesOf(const std::string& bytes);

/// A log of a test's own, in a folder of its own.
class TestLog
{
public:
    TestLog() : log(folder.Path(), L"Test") {}

    LogFile& Log() { return log; }
    /// The messages that were logged so far.
    [[nodiscard]] std::vector<std::wstring> Messages() const;

private:
    TemporaryFolder folder;
    LogFile log;
};

/// Writes "log: MESSAGE" into a journal for every line that any log of the program writes.
class LogJournal
{
public:
    explicit LogJournal(Journal& target);

private:
    Replaced<"KERNEL32", "WriteFile", decltype(::WriteFile)> writeFile;
};
