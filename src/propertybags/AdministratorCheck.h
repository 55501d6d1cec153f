#pragma once

#include "WindowsHeaders.h"

class LogFile;

/// Whether the token's user is a member of the built-in Administrators group. If User Account
/// Control limited the token, its linked full token decides. False, with the reason in the log, on
/// failure.
bool IsAdministrator(HANDLE token, LogFile& log);
