// What Task Scheduler refuses when a task is registered.
#pragma once

#include "SchedulerResults.h"
#include "TaskStore.h"

#include <string>

namespace PalvoLab
{

struct Verdict
{
    HRESULT result = S_OK;
    std::wstring reason;
};

// The definition as a whole: a missing action, a start boundary that is no date, a subscription
// that is no well-formed XML, ...
Verdict CheckDefinition(const TaskData& task);

// The account to run as. For the logon of a service account it has to be one.
Verdict CheckAccount(const std::wstring& user, TASK_LOGON_TYPE logonType);

// A security descriptor in text form; an empty one is none.
Verdict CheckDescriptor(const std::wstring& text);

// Whether this process may change tasks that run as the system.
bool MayChangeTasks();

} // namespace PalvoLab
