// A small client of Task Scheduler, for the lab's own tests.
#pragma once

#include "SchedulerResults.h"

#include <string>

namespace PalvoLab
{

// An interface pointer that gives its reference back.
template <typename Interface> class Com
{
public:
    Com() = default;
    Com(const Com&) = delete;
    Com& operator=(const Com&) = delete;

    ~Com()
    {
        if (m_object != nullptr)
        {
            m_object->Release();
        }
    }

    Interface* operator->() const { return m_object; }

    Interface* Get() const { return m_object; }

    Interface** Receive() { return &m_object; }

private:
    Interface* m_object = nullptr;
};

// A text for one call.
class Text
{
public:
    explicit Text(const wchar_t* text) : m_text(SysAllocString(text)) {}

    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;

    ~Text() { SysFreeString(m_text); }

    operator BSTR() const { return m_text; }

private:
    BSTR m_text;
};

// COM for one test, with the scheduler double in place and no tasks.
class Scheduler
{
public:
    Scheduler();
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;
    ~Scheduler();

    // Lets COM go and takes it again, so that the server is unloaded and loaded.
    void Reload() const;
};

// What a test changes about the task that MakeTask registers.
struct TaskPlan
{
    const wchar_t* name = L"Lab task";
    const wchar_t* program = L"C:\\Program Files\\Lab\\program.exe";
    const wchar_t* arguments = L"-c -i Lab";
    const wchar_t* subscription = nullptr;  // not null: an event trigger
    const wchar_t* startBoundary = nullptr; // not null: a daily trigger, every four hours
    const wchar_t* interval = L"PT4H";
    const wchar_t* limit = nullptr;
    const wchar_t* user = L"NT AUTHORITY\\SYSTEM";
    const wchar_t* descriptor = L"";
    long flags = TASK_CREATE_OR_UPDATE;
    int policy = -1;
    int enabled = 1;
    int startWhenAvailable = 0;
    bool hasAction = true;
};

// The result of the first step that failed, or of the registration.
HRESULT MakeTask(const TaskPlan& plan);

HRESULT OpenRoot(Com<ITaskService>& service, Com<ITaskFolder>& folder);
HRESULT DeleteTaskNamed(const wchar_t* name);

} // namespace PalvoLab
