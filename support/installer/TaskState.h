#pragma once

#include <string>

enum class TaskPresence
{
    There,
    NotThere,
    Unknown ///< the scheduler did not tell; standard output says why
};

struct TaskXml
{
    TaskPresence presence = TaskPresence::Unknown;
    std::wstring xml; ///< as IRegisteredTask::get_Xml gives it; empty unless it is there
};

/// A task of the scheduler's root folder.
TaskXml ReadTaskXml(const std::wstring& name);

/// Registers it to run as SYSTEM (ITaskFolder::RegisterTask), in place of one of that name. False,
/// with a line on standard output, when that fails.
bool RegisterTaskXml(const std::wstring& name, const std::wstring& xml);

/// Deletes it; one that does not exist is no failure. False, with a line on standard output, when
/// it stays.
bool DeleteTaskOf(const std::wstring& name);
