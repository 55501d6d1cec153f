#pragma once

class LogFile;

// Each lets one more account append to the existing log file. True only if the file's DACL was set.
// Does nothing if the log is off, the file cannot be opened or the mutex cannot be acquired. Throws
// and logs nothing.

bool GrantLocalServiceAccess(const LogFile& log) noexcept;
bool GrantAuthenticatedUsersAccess(const LogFile& log) noexcept;
