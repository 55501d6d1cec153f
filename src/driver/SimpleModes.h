#pragma once

#include "Run.h"

/// Prints the usage text. Returns 1.
int DisplayUsage();

/// Deletes the log file and says so in a new one. Returns 0, also if there was none, or 1 if it
/// could not be deleted.
int DeleteLog(const Run& run);

/// Installs a driver of the driver store, named by the invoker string, as a printer driver
/// (InstallPrinterDriverFromPackageW). Returns the spooler's HRESULT.
int AddPrinterDriverInstance(const Run& run);
