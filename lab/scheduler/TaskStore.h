// The registered tasks of the lab, kept in the registry so that every process sees the same.
#pragma once

#include "PropertyBag.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace PalvoLab
{

// Held while tasks, their running instances or the lab's clock are read and written together.
inline constexpr wchar_t kSchedulerLock[] = L"Global\\PalvoLabScheduler";

struct TriggerData
{
    std::int32_t type = 0; // TASK_TRIGGER_TYPE2
    PropertyBag properties;
    PropertyBag repetition;
};

struct ActionData
{
    std::int32_t type = 0; // TASK_ACTION_TYPE
    PropertyBag properties;
};

// What a task is. Triggers and actions are shared with the COM objects that still edit them.
struct TaskData
{
    PropertyBag registrationInfo;
    PropertyBag principal;
    PropertyBag settings;
    std::vector<std::shared_ptr<TriggerData>> triggers;
    std::vector<std::shared_ptr<ActionData>> actions;
};

struct StoredTask
{
    std::wstring name;
    TaskData data;

    // The arguments of the registration: UserId, LogonType, Flags, SecurityDescriptor, and Password
    // when one was given.
    PropertyBag registration;

    // Another number for every registration, so that what an earlier one started is known as such.
    std::uint32_t serial = 0;

    // Set by `palvo-lab tasks protect`: nobody may delete or replace it.
    bool isProtected = false;
};

// In the order of their names.
std::vector<std::wstring> TaskNames();
std::optional<StoredTask> LoadTask(const std::wstring& name);
std::vector<StoredTask> LoadTasks();

// Whether a task may have this name.
bool IsTaskName(const std::wstring& name);

// Stores a task in place of one of the same name, with a new serial number. Events that were logged
// before do not start it.
void SaveTask(const StoredTask& task);

// False when there is none of that name.
bool RemoveTask(const std::wstring& name);

// A stored task's XML was handed out: a task may be registered from that text again.
void KeepGivenTask(const std::wstring& name, const std::wstring& xml);

// The task of which this very text was handed out; nothing for any other XML.
std::optional<StoredTask> LoadGivenTask(const std::wstring& xml);

void ProtectTask(const std::wstring& name, bool isProtected);

// How far a task has seen the events of a channel.
std::uint64_t SeenRecord(const std::wstring& task, const std::wstring& channel);
void SetSeenRecord(const std::wstring& task, const std::wstring& channel, std::uint64_t recordId);

// What became of a task's runs.
struct TaskHistory
{
    std::optional<std::wstring> lastRun; // by the lab's clock
    std::uint32_t lastResult = 0;
    std::uint32_t missedRuns = 0;
    std::uint32_t queued = 0; // starts that wait for a running instance
};

TaskHistory LoadHistory(const std::wstring& task);
void SaveHistory(const std::wstring& task, const TaskHistory& history);

// A line of the scheduler's own log: what was registered, started, ignored, refused, and why.
void LogScheduler(const std::wstring& text);
std::vector<std::string> SchedulerLog();

// Forgets all tasks, those that were handed out too, and the log.
void RemoveAllTasks();

} // namespace PalvoLab
