#pragma once

#include "Run.h"

// What the two request schemes have in common.

/// Tells the log and standard output that this copy is redundant and leaves its request to another:
/// `event` is what started it, `work` what the other one is doing.
void TellRedundant(const Run& run, const wchar_t* event, const wchar_t* work);

/// Does the work for one printer, or else for all.
void Serve(const Run& run, bool onePrinter, const std::wstring& printerName);
void ServeEverything(const Run& run);

/// After the last request: brings the list of desktop applications of every hive up to date.
void FinishRequests(const Run& run);
