#pragma once

class LogFile;

// Each lets one more account append to the log file that exists. True only when the file's DACL was
// set; a log that is switched off, a file that cannot be opened or a mutex that cannot be had
// leaves everything as it is. Nothing is thrown or logged.

bool GrantLocalServiceAccess(const LogFile& log) noexcept;
bool GrantAuthenticatedUsersAccess(const LogFile& log) noexcept;
