#pragma once

#include "Run.h"

/// Sets up everything that makes the program run by itself: the event channel, the three scheduled
/// tasks, the list of desktop applications. Returns the larger failure of the channel and of the
/// logon task, or 0; failures of the other two tasks are logged and do not count, on purpose.
int InstallScheduledTasks(const Run& run);

/// Takes all that down again, and the job-management service's task with it. Every step is done
/// whatever became of the others. Returns the largest failure, or 0.
int UninstallScheduledTasks(const Run& run);
