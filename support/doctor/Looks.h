#pragma once

#include "Facts.h"

// The system calls: each fills one part of the facts. None writes anything, waits for anything that
// the program uses, or opens anything so that the program could not.

/// `folder` is that of the three programs.
SettingsFacts LookAtSettings();
SuiteFacts LookAtSuite(const std::wstring& folder);
TaskFacts LookAtTasks();
ChannelFacts LookAtChannel();
LogFacts LookAtLog();
PrinterFacts LookAtPrinters();
SessionFacts LookAtSessions();
ServiceFacts LookAtServices();
WorkFacts LookAtWork(const std::wstring& logPath);

// For a collection alone.

/// Of Windows (its kernel32.dll) and of the programs in `folder`.
VersionFacts LookAtVersions(const std::wstring& folder);

/// What a trim that was ended left beside the log; empty when there is nothing to read.
std::string LookAtLeftover(const std::wstring& logPath);

/// One value under `root`.
ValueFact LookAtValue(HKEY root, const std::wstring& subKey, const std::wstring& name);
