#include "TaskStore.h"

#include "EventChannel.h"
#include "LabLock.h"
#include "SchedulerResults.h"
#include "Subscription.h"
#include "Text.h"

#include <algorithm>
#include <functional>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kTaskKey[] = L"Tasks";
constexpr wchar_t kGivenKey[] = L"GivenTasks"; // one key for each XML, the task below it
constexpr wchar_t kLogFile[] = L"scheduler.log";

// Of a stored task, or, with another root, of one that was handed out.
std::wstring KeyOf(const std::wstring& task, const wchar_t* part = L"",
                   const wchar_t* root = kTaskKey)
{
    return std::wstring(root) + L"\\" + task + (*part == L'\0' ? L"" : L"\\") + part;
}

std::wstring ItemKey(const std::wstring& task, const wchar_t* part, std::size_t index,
                     const wchar_t* root)
{
    return KeyOf(task, part, root) + L"\\" + std::to_wstring(index);
}

void SaveDefinition(const std::wstring& name, const TaskData& data, const wchar_t* root = kTaskKey)
{
    data.registrationInfo.Save(CreateStateKey(KeyOf(name, L"RegistrationInfo", root)));
    data.principal.Save(CreateStateKey(KeyOf(name, L"Principal", root)));
    data.settings.Save(CreateStateKey(KeyOf(name, L"Settings", root)));
    for (std::size_t i = 0; i < data.triggers.size(); ++i)
    {
        const std::wstring path = ItemKey(name, L"Triggers", i, root);
        const LabKey key = CreateStateKey(path);
        data.triggers[i]->properties.Save(key);
        key.SetNumber(L"Type", static_cast<std::uint32_t>(data.triggers[i]->type));
        data.triggers[i]->repetition.Save(CreateStateKey(path + L"\\Repetition"));
    }
    for (std::size_t i = 0; i < data.actions.size(); ++i)
    {
        const LabKey key = CreateStateKey(ItemKey(name, L"Actions", i, root));
        data.actions[i]->properties.Save(key);
        key.SetNumber(L"Type", static_cast<std::uint32_t>(data.actions[i]->type));
    }
}

TaskData LoadDefinition(const std::wstring& name, const wchar_t* root = kTaskKey)
{
    TaskData data;
    data.registrationInfo = PropertyBag::Load(OpenStateKey(KeyOf(name, L"RegistrationInfo", root)));
    data.principal = PropertyBag::Load(OpenStateKey(KeyOf(name, L"Principal", root)));
    data.settings = PropertyBag::Load(OpenStateKey(KeyOf(name, L"Settings", root)));
    for (std::size_t i = 0;; ++i)
    {
        const std::wstring path = ItemKey(name, L"Triggers", i, root);
        const LabKey key = OpenStateKey(path);
        if (!key)
        {
            break;
        }
        auto trigger = std::make_shared<TriggerData>();
        trigger->type = static_cast<std::int32_t>(key.Number(L"Type").value_or(0));
        trigger->properties = PropertyBag::Load(key);
        trigger->properties.Remove(L"Type");
        trigger->repetition = PropertyBag::Load(OpenStateKey(path + L"\\Repetition"));
        data.triggers.push_back(std::move(trigger));
    }
    for (std::size_t i = 0;; ++i)
    {
        const LabKey key = OpenStateKey(ItemKey(name, L"Actions", i, root));
        if (!key)
        {
            break;
        }
        auto action = std::make_shared<ActionData>();
        action->type = static_cast<std::int32_t>(key.Number(L"Type").value_or(0));
        action->properties = PropertyBag::Load(key);
        action->properties.Remove(L"Type");
        data.actions.push_back(std::move(action));
    }
    return data;
}

std::wstring GivenKeyOf(const std::wstring& xml)
{
    return std::wstring(kGivenKey) + L"\\" + std::to_wstring(std::hash<std::wstring>()(xml));
}

std::uint32_t NextSerial()
{
    const LabKey key = CreateStateKey(kTaskKey);
    const std::uint32_t serial = key.Number(L"NextSerial").value_or(1);
    key.SetNumber(L"NextSerial", serial + 1);
    return serial;
}

// Only what is logged from now on counts for a new task.
void SkipPastEvents(const StoredTask& task)
{
    for (const auto& trigger : task.data.triggers)
    {
        const auto subscription =
            Subscription::Parse(trigger->properties.Text(L"Subscription").value_or(L""));
        for (const std::wstring& name :
             subscription ? subscription->Channels() : std::vector<std::wstring>())
        {
            const auto channel = EventChannel::Find(name);
            const auto events = channel ? channel->Select(nullptr) : std::vector<Event>();
            SetSeenRecord(task.name, channel ? channel->Name() : name,
                          events.empty() ? 0 : events.back().recordId);
        }
    }
}

} // namespace

std::vector<std::wstring> TaskNames()
{
    const LabKey key = OpenStateKey(kTaskKey);
    std::vector<std::wstring> names = key ? key.SubkeyNames() : std::vector<std::wstring>();
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<StoredTask> LoadTask(const std::wstring& name)
{
    const LabLock lock(kSchedulerLock);
    for (const std::wstring& stored : TaskNames())
    {
        if (!EqualNoCase(stored, name))
        {
            continue;
        }
        const LabKey key = OpenStateKey(KeyOf(stored));
        StoredTask task;
        task.name = stored;
        task.data = LoadDefinition(stored);
        task.registration = PropertyBag::Load(OpenStateKey(KeyOf(stored, L"Registration")));
        task.serial = key.Number(L"Serial").value_or(0);
        task.isProtected = key.Number(L"Protected").value_or(0) != 0;
        return task;
    }
    return std::nullopt;
}

std::vector<StoredTask> LoadTasks()
{
    const LabLock lock(kSchedulerLock);
    std::vector<StoredTask> tasks;
    for (const std::wstring& name : TaskNames())
    {
        if (auto task = LoadTask(name))
        {
            tasks.push_back(std::move(*task));
        }
    }
    return tasks;
}

bool IsTaskName(const std::wstring& name)
{
    const bool hasControl =
        std::any_of(name.begin(), name.end(), [](wchar_t c) { return c < L' '; });
    return !name.empty() && name.size() <= 238 && !hasControl &&
           name.find_first_of(L"\\/:*?\"<>|") == std::wstring::npos && name.back() != L'.' &&
           name.back() != L' ';
}

void SaveTask(const StoredTask& task)
{
    const LabLock lock(kSchedulerLock);
    RemoveTask(task.name);
    const LabKey key = CreateStateKey(KeyOf(task.name));
    key.SetNumber(L"Serial", NextSerial());
    task.registration.Save(CreateStateKey(KeyOf(task.name, L"Registration")));
    SaveDefinition(task.name, task.data);
    SkipPastEvents(task);
}

bool RemoveTask(const std::wstring& name)
{
    const LabLock lock(kSchedulerLock);
    const bool existed = static_cast<bool>(OpenStateKey(KeyOf(name)));
    RemoveStateKey(KeyOf(name));
    return existed;
}

void KeepGivenTask(const std::wstring& name, const std::wstring& xml)
{
    const LabLock lock(kSchedulerLock);
    const auto task = LoadTask(name);
    if (!task)
    {
        return;
    }
    const std::wstring root = GivenKeyOf(xml);
    RemoveStateKey(root);
    CreateStateKey(root).SetString(L"Xml", xml);
    SaveDefinition(L"Task", task->data, root.c_str());
}

std::optional<StoredTask> LoadGivenTask(const std::wstring& xml)
{
    const LabLock lock(kSchedulerLock);
    const std::wstring root = GivenKeyOf(xml);
    const LabKey key = OpenStateKey(root);
    if (!key || key.String(L"Xml") != xml)
    {
        return std::nullopt;
    }
    StoredTask task;
    task.data = LoadDefinition(L"Task", root.c_str());
    return task;
}

void ProtectTask(const std::wstring& name, bool isProtected)
{
    const LabLock lock(kSchedulerLock);
    CreateStateKey(KeyOf(name)).SetNumber(L"Protected", isProtected ? 1 : 0);
}

std::uint64_t SeenRecord(const std::wstring& task, const std::wstring& channel)
{
    const LabKey key = OpenStateKey(KeyOf(task, L"Seen"));
    return ParseNumber(key.String(channel).value_or(L"")).value_or(0);
}

void SetSeenRecord(const std::wstring& task, const std::wstring& channel, std::uint64_t recordId)
{
    CreateStateKey(KeyOf(task, L"Seen")).SetString(channel, std::to_wstring(recordId));
}

TaskHistory LoadHistory(const std::wstring& task)
{
    const LabKey key = OpenStateKey(KeyOf(task, L"History"));
    TaskHistory history;
    history.lastRun = key.String(L"LastRun");
    history.lastResult =
        key.Number(L"LastResult").value_or(static_cast<std::uint32_t>(SchedulerResult::HasNotRun));
    history.missedRuns = key.Number(L"MissedRuns").value_or(0);
    history.queued = key.Number(L"Queued").value_or(0);
    return history;
}

void SaveHistory(const std::wstring& task, const TaskHistory& history)
{
    const LabKey key = CreateStateKey(KeyOf(task, L"History"));
    if (history.lastRun)
    {
        key.SetString(L"LastRun", *history.lastRun);
    }
    key.SetNumber(L"LastResult", history.lastResult);
    key.SetNumber(L"MissedRuns", history.missedRuns);
    key.SetNumber(L"Queued", history.queued);
}

void LogScheduler(const std::wstring& text)
{
    AppendLine(kLogFile, ToLine(text));
}

std::vector<std::string> SchedulerLog()
{
    return ReadLines(kLogFile);
}

void RemoveAllTasks()
{
    const LabLock lock(kSchedulerLock);
    RemoveStateKey(kTaskKey);
    RemoveStateKey(kGivenKey);
    DeleteFileW((DataFolder() + kLogFile).c_str());
}

} // namespace PalvoLab
