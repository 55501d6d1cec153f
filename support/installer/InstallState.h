#pragma once

#include <string>

// What an installation changes beyond its files, kept under HKEY_LOCAL_MACHINE so that a roll-back
// can put it back: the channel's switch, retention and size, the suite's scheduled tasks as XML,
// the scan position, and the access lists of the log's folder.

/// Keeps all of it, in place of what was kept before. What cannot be read is not kept, and so not
/// put back. Throws ExceptionRegistryRequest when it cannot be kept.
void KeepState();

/// Puts back what was kept: a task that was there is registered from its XML, one that was not
/// there is deleted. Every part is tried; false when one could not be put back.
bool RestoreState();

/// Makes the log's folder one where users create nothing (LogFolder.h), and keeps what it was,
/// beside what is kept. False when that fails. Throws ExceptionRegistryRequest.
bool SecureFolder();

/// Forgets what was kept.
void ForgetState();

/// Keeps the channel that KeepState kept for longer, until the removal. Throws
/// ExceptionRegistryRequest when it cannot be kept.
void KeepFirstChannel();

/// Makes the channel as it was before the first installation, where that was kept. False when it
/// cannot.
bool RestoreFirstChannel();

void ForgetFirstChannel();

/// Deletes the tasks that start the program, so that no copy starts while its files are replaced.
bool DeleteStartingTasks();

/// Whether all tasks that start the program are registered.
bool AreStartingTasksThere();
