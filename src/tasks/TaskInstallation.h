#pragma once

#include <string>

// Both work on the scheduler's root folder and say on standard output how it went.

/// Registers the task of a kind: the program at `programPath` with `arguments`, run as SYSTEM.
/// Replaces a task of the same name. Returns 0, or 1 when a step failed and nothing was registered.
int InstallTask(const std::wstring& programPath, const std::wstring& arguments, unsigned kind);

/// Deletes the task of a kind; one that does not exist is no failure. Returns 0 when the delete was
/// issued, 1 when the scheduler could not be reached.
int DeleteTask(unsigned kind);

/// Deletes the job-management service's print-job-start task in the same way.
int DeleteJobStartTask();
