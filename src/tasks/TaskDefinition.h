#pragma once

#include "TaskSteps.h"

#include <string>

/// What a task runs, and when.
struct TaskRequest
{
    std::wstring programPath;
    std::wstring arguments;
    unsigned kind;
};

/// How long a task or what a trigger started may run: two hours, as Task Scheduler writes it.
inline constexpr wchar_t TaskTimeLimit[] = L"PT2H";

// Each sets one part of a new task definition, or prints the failed step and throws StepFailed.
// `timeLimit` is TaskTimeLimit as a COM string.
void SetRegistrationInfo(ITaskDefinition& definition);
void SetPrincipal(ITaskDefinition& definition);
void SetSettings(ITaskDefinition& definition, BSTR timeLimit);
void AddTrigger(ITaskDefinition& definition, unsigned kind, BSTR timeLimit);
void AddAction(ITaskDefinition& definition, const TaskRequest& request);
