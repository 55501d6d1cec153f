#pragma once

#include "WindowsHeaders.h"

class LogFile;

/// Whether the token's user is a member of the built-in Administrators group. A token that User
/// Account Control has limited is judged by its full companion. False, with the reason in the log,
/// when it cannot be told.
bool IsAdministrator(HANDLE token, LogFile& log);
