#include "TaskState.h"

#include "TaskSteps.h"

namespace
{
bool IsNotThere(HRESULT result)
{
    return result == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) ||
           result == HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
}

VARIANT TextVariant(BSTR text)
{
    VARIANT variant = {};
    variant.vt = VT_BSTR;
    variant.bstrVal = text;
    return variant;
}

/// COM and its security are initialised once, by the caller.
template <class Sequence> bool RunSequence(Sequence sequence)
{
    try
    {
        sequence(*OpenTaskRoot().folder.Get());
        return true;
    }
    catch (const StepFailed&)
    {
        return false;
    }
}
} // namespace

TaskXml ReadTaskXml(const std::wstring& name)
{
    TaskXml task;
    RunSequence(
        [&](ITaskFolder& folder)
        {
            ComPointer<IRegisteredTask> registered;
            const HRESULT found = folder.GetTask(ComText(name).Get(), registered.Receive());
            if (IsNotThere(found))
            {
                task.presence = TaskPresence::NotThere;
                return;
            }
            Require(found, registered, L"A task cannot be had: %x\n");
            BStr xml;
            const HRESULT read = registered->get_Xml(xml.Receive());
            xml.KeepIf(SUCCEEDED(read));
            Require(read, L"A task cannot be read: %x\n");
            // No text is no task that could be put back.
            if (xml)
            {
                task.xml = xml.Get();
                task.presence = TaskPresence::There;
            }
        });
    return task;
}

bool RegisterTaskXml(const std::wstring& name, const std::wstring& xml)
{
    return RunSequence(
        [&](ITaskFolder& folder)
        {
            const BStr user = ComText(L"NT AUTHORITY\\SYSTEM");
            // No text: the folder's own access list, as the program itself asks for.
            const BStr descriptor = ComText({});
            const VARIANT nothing = {};
            ComPointer<IRegisteredTask> registered;
            Require(folder.RegisterTask(ComText(name).Get(), ComText(xml).Get(),
                                        TASK_CREATE_OR_UPDATE, TextVariant(user.Get()), nothing,
                                        TASK_LOGON_SERVICE_ACCOUNT, TextVariant(descriptor.Get()),
                                        registered.Receive()),
                    registered, L"A task cannot be registered again: %x\n");
        });
}

bool DeleteTaskOf(const std::wstring& name)
{
    return RunSequence(
        [&](ITaskFolder& folder)
        {
            const HRESULT deleted = folder.DeleteTask(ComText(name).Get(), 0);
            Require(IsNotThere(deleted) ? S_OK : deleted, L"A task cannot be deleted: %x\n");
        });
}
