#pragma once

#include <string>

// All work on the scheduler's root folder and print their outcome to standard output.

/// Registers a kind's task: the program at `programPath` with `arguments`, run as SYSTEM. Replaces
/// a task of the same name. Returns 0, or 1 if a step failed and nothing was registered.
int InstallTask(const std::wstring& programPath, const std::wstring& arguments, unsigned kind);

/// Deletes a kind's task; a missing task is no failure. Returns 0 if the deletion was requested, 1
/// if the scheduler could not be reached.
int DeleteTask(unsigned kind);

/// Deletes the job-management service's print-job-start task in the same way.
int DeleteJobStartTask();
