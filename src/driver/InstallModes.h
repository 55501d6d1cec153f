#pragma once

#include "Run.h"

/// Sets up the event channel, the three scheduled tasks and the list of desktop applications.
/// Returns the larger failure of the channel and of the logon task, or 0. Failures of the other two
/// tasks are only logged, on purpose.
int InstallScheduledTasks(const Run& run);

/// Removes all that, and the job-management service's task. Every step is tried even if others
/// fail. Returns the largest failure, or 0.
int UninstallScheduledTasks(const Run& run);
