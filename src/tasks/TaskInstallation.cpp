#include "TaskInstallation.h"

#include "StandardOutput.h"
#include "TaskDefinition.h"
#include "TaskKinds.h"

#include <utility>

namespace
{
/// A VARIANT that borrows a COM text.
VARIANT TextVariant(BSTR text)
{
    VARIANT variant = {};
    variant.vt = VT_BSTR;
    variant.bstrVal = text;
    return variant;
}

void Register(ITaskFolder& folder, BSTR name, ITaskDefinition& definition)
{
    const BStr user = ComText(L"NT AUTHORITY\\SYSTEM");
    const BStr securityDescriptor = ComText({});
    const VARIANT noPassword = {};
    ComPointer<IRegisteredTask> registered;
    Require(folder.RegisterTaskDefinition(
                name, &definition, TASK_CREATE_OR_UPDATE, TextVariant(user.Get()), noPassword,
                TASK_LOGON_SERVICE_ACCOUNT, TextVariant(securityDescriptor.Get()),
                registered.Receive()),
            registered, L"\nError saving the Task : %x");
}

void InstallSequence(const TaskRequest& task, BSTR timeLimit)
{
    const TaskRoot root = OpenTaskRoot();
    const BStr name = ComText(TaskName(task.kind));
    // Delete an older task of that name; there may be none.
    root.folder->DeleteTask(name.Get(), 0);

    ComPointer<ITaskDefinition> definition;
    Require(root.service->NewTask(0, definition.Receive()), definition,
            L"Failed to create an instance of the task: %x");
    SetRegistrationInfo(*definition.Get());
    SetPrincipal(*definition.Get());
    SetSettings(*definition.Get(), timeLimit);
    AddTrigger(*definition.Get(), task.kind, timeLimit);
    AddAction(*definition.Get(), task);
    Register(*root.folder.Get(), name.Get(), *definition.Get());
    StandardOutput::Write(L"\n Success! Task successfully registered.");
}

int DeleteByName(const std::wstring& name)
{
    return RunComSequence(
        [&]
        {
            const TaskRoot root = OpenTaskRoot();
            // A missing task is no failure.
            root.folder->DeleteTask(ComText(name).Get(), 0);
        });
}
} // namespace

int InstallTask(const std::wstring& programPath, const std::wstring& arguments, unsigned kind)
{
    BStr timeLimit(SysAllocString(TaskTimeLimit));
    if (!timeLimit)
    {
        return 1;
    }
    return RunComSequence(
        [&programPath, &arguments, kind, limit = std::move(timeLimit)]
        {
            const TaskRequest task = {programPath, arguments, kind};
            InstallSequence(task, limit.Get());
        });
}

int DeleteTask(unsigned kind)
{
    return DeleteByName(TaskName(kind));
}

int DeleteJobStartTask()
{
    return DeleteByName(TaskName(TaskKind::JobStart));
}
