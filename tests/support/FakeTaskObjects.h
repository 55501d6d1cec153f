#pragma once

#include "SchedulerLedger.h"

#include <taskschd.h>

/// A new task service of the double, with one reference that the caller gives back. All objects
/// that come from it keep the raw value of what is put into them.
ITaskService* MakeTaskService(SchedulerLedger& ledger);
