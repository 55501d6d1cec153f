// palvotaskhost.exe: starts one instance of a task and waits for it, as the service's engine does.
#include "LabLock.h"
#include "Launch.h"
#include "SchedulerResults.h"
#include "TaskInstances.h"
#include "TaskRunner.h"
#include "Text.h"

namespace
{

using namespace PalvoLab;

// Where a task without a folder of its own runs.
std::wstring SystemFolder()
{
    wchar_t folder[MAX_PATH] = {};
    GetSystemDirectoryW(folder, MAX_PATH);
    return folder;
}

// The result of the program, or why it could not be started.
std::uint32_t Run(TaskInstance& instance)
{
    const std::wstring folder = instance.directory.empty() ? SystemFolder() : instance.directory;
    SetCurrentDirectoryW(folder.c_str());

    // A program started by the service has no console that anybody could see.
    const HANDLE nothing =
        CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
    SetHandleInformation(nothing, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    SetStdHandle(STD_INPUT_HANDLE, nothing);
    SetStdHandle(STD_OUTPUT_HANDLE, nothing);
    SetStdHandle(STD_ERROR_HANDLE, nothing);

    LaunchRequest request;
    request.program = instance.program;
    request.commandLine = instance.commandLine;
    request.account = instance.account;
    const auto launched = Launch(request);
    if (!launched)
    {
        const DWORD error = GetLastError();
        ReportStarted(instance);
        return static_cast<std::uint32_t>(SchedulerResult::FromWindows(error));
    }
    {
        const LabLock lock(kSchedulerLock);
        instance.processId = launched->Id();
        SaveInstance(instance);
    }
    ReportStarted(instance);
    launched->Start();
    // It runs for as long as it wants; the scheduler ends what runs too long.
    return launched->Wait(INFINITE).value_or(0);
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    const auto id = argc == 2 ? ParseNumber(argv[1]) : std::nullopt;
    std::optional<TaskInstance> instance;
    if (id)
    {
        const LabLock lock(kSchedulerLock);
        instance = LoadInstance(static_cast<std::uint32_t>(*id));
    }
    if (!instance)
    {
        return 2;
    }
    const std::uint32_t result = Run(*instance);
    FinishInstance(*instance, result);
    return 0;
}
