#pragma once

/// True on this Windows version or a later one (VerifyVersionInfoW), service pack 0.0. Windows
/// tells versions above 6.2 only to a program whose manifest names them.
bool IsWindowsVersionOrLater(unsigned major, unsigned minor);

/// True if the Windows suites include Small Business or Enterprise: what the program calls a print
/// server.
bool IsPrintServer();
