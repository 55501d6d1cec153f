#pragma once

/// True on this Windows version or a later one (VerifyVersionInfoW), service pack 0.0. Versions
/// above 6.2 are told truthfully only because the program's manifest names them.
bool IsWindowsVersionOrLater(unsigned major, unsigned minor);

/// True on an edition of Windows whose suites include Small Business or Enterprise. This is the
/// program's own meaning of "print server".
bool IsPrintServer();
