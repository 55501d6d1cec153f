#include "FolderObject.h"

#include "ComObject.h"
#include "DefinitionObjects.h"
#include "LabLock.h"
#include "TaskChecks.h"

namespace PalvoLab
{
namespace
{

using namespace SchedulerResult;

// A task's name may be written with the root's backslash.
std::wstring NameOf(BSTR path)
{
    const std::wstring name = BStrText(path);
    return !name.empty() && name[0] == L'\\' ? name.substr(1) : name;
}

bool IsTextOrNothing(const VARIANT& value)
{
    return value.vt == VT_EMPTY || value.vt == VT_NULL || value.vt == VT_BSTR;
}

std::wstring VariantText(const VARIANT& value)
{
    return value.vt == VT_BSTR ? BStrText(value.bstrVal) : std::wstring();
}

struct Registration
{
    BSTR path;
    SharedTask data;
    LONG flags;
    const VARIANT& user;
    const VARIANT& password;
    TASK_LOGON_TYPE logonType;
    const VARIANT& descriptor;
};

Verdict CheckArguments(const Registration& request)
{
    constexpr LONG known = TASK_VALIDATE_ONLY | TASK_CREATE_OR_UPDATE | TASK_DISABLE |
                           TASK_DONT_ADD_PRINCIPAL_ACE | TASK_IGNORE_REGISTRATION_TRIGGERS;
    if (!IsTextOrNothing(request.user) || !IsTextOrNothing(request.password) ||
        !IsTextOrNothing(request.descriptor) || (request.flags & ~known) != 0 ||
        (request.flags & (TASK_VALIDATE_ONLY | TASK_CREATE_OR_UPDATE)) == 0)
    {
        return {E_INVALIDARG, L"arguments"};
    }
    if ((request.flags & ~TASK_CREATE_OR_UPDATE) != 0)
    {
        return {E_NOTIMPL, L"registration flags that are not modelled"};
    }
    if (!IsTaskName(NameOf(request.path)))
    {
        return {InvalidName, L"name"};
    }
    Verdict verdict = CheckDescriptor(VariantText(request.descriptor));
    if (SUCCEEDED(verdict.result))
    {
        verdict = CheckAccount(VariantText(request.user), request.logonType);
    }
    return verdict;
}

// Whether a task of that name may be stored now.
Verdict CheckExisting(const std::wstring& name, LONG flags)
{
    const auto existing = LoadTask(name);
    if (!MayChangeTasks() || (existing && existing->isProtected))
    {
        return {E_ACCESSDENIED, L"access denied"};
    }
    if (existing && (flags & TASK_UPDATE) == 0)
    {
        return {Exists, L"exists"};
    }
    if (!existing && (flags & TASK_CREATE) == 0)
    {
        return {NotFound, L"not there"};
    }
    return {};
}

StoredTask TaskOf(const Registration& request, const TaskData& data)
{
    StoredTask task;
    task.name = NameOf(request.path);
    task.data = data;
    task.registration.Put(L"UserId", VariantText(request.user));
    task.registration.Put(L"LogonType", static_cast<std::int32_t>(request.logonType));
    task.registration.Put(L"Flags", static_cast<std::int32_t>(request.flags));
    if (request.password.vt == VT_BSTR)
    {
        task.registration.Put(L"Password", VariantText(request.password));
    }
    if (request.descriptor.vt == VT_BSTR)
    {
        task.registration.Put(L"SecurityDescriptor", VariantText(request.descriptor));
    }
    return task;
}

HRESULT Register(const Registration& request)
{
    if (request.data == nullptr || request.path == nullptr)
    {
        return E_INVALIDARG;
    }
    const LabLock lock(kSchedulerLock);
    Verdict verdict = CheckArguments(request);
    if (SUCCEEDED(verdict.result))
    {
        verdict = CheckDefinition(*request.data);
    }
    const std::wstring name = NameOf(request.path);
    if (SUCCEEDED(verdict.result))
    {
        verdict = CheckExisting(name, request.flags);
    }
    if (FAILED(verdict.result))
    {
        LogScheduler(L"refused: " + name + L": " + verdict.reason);
        return verdict.result;
    }
    SaveTask(TaskOf(request, *request.data));
    LogScheduler(L"registered: " + name);
    return S_OK;
}

HRESULT Delete(BSTR path, LONG flags)
{
    if (path == nullptr || flags != 0)
    {
        return E_INVALIDARG;
    }
    const std::wstring name = NameOf(path);
    if (!IsTaskName(name))
    {
        return InvalidName;
    }
    const LabLock lock(kSchedulerLock);
    const auto task = LoadTask(name);
    if (!task)
    {
        return NotFound;
    }
    if (task->isProtected || !MayChangeTasks())
    {
        LogScheduler(L"not deleted: " + task->name + L": access denied");
        return E_ACCESSDENIED;
    }
    RemoveTask(task->name);
    LogScheduler(L"deleted: " + task->name);
    return S_OK;
}

class FolderObject final : public ComObject<ITaskFolder>
{
public:
    FolderObject() : ComObject(L"ITaskFolder", {IID_ITaskFolder}) {}

    STDMETHODIMP get_Name(BSTR* name) override { return Root(L"get_Name", name); }

    STDMETHODIMP get_Path(BSTR* path) override { return Root(L"get_Path", path); }

    STDMETHODIMP GetFolder(BSTR path, ITaskFolder** folder) override
    {
        const auto get = [&]() -> HRESULT
        {
            if (folder == nullptr)
            {
                return E_POINTER;
            }
            *folder = nullptr;
            const HRESULT result = CheckFolderPath(path);
            return FAILED(result) ? result : HandOut(folder, new FolderObject);
        };
        return Perform(L"GetFolder", get, static_cast<const wchar_t*>(path));
    }

    STDMETHODIMP GetTask(BSTR path, IRegisteredTask** out) override
    {
        const auto get = [&]() -> HRESULT
        {
            if (out == nullptr)
            {
                return E_POINTER;
            }
            *out = nullptr;
            const auto task = LoadTask(NameOf(path));
            return task ? HandOut(out, MakeRegisteredTask(*task)) : NotFound;
        };
        return Perform(L"GetTask", get, static_cast<const wchar_t*>(path));
    }

    STDMETHODIMP DeleteTask(BSTR name, LONG flags) override
    {
        return Perform(
            L"DeleteTask", [&] { return Delete(name, flags); }, static_cast<const wchar_t*>(name),
            flags);
    }

    STDMETHODIMP RegisterTaskDefinition(BSTR path, ITaskDefinition* definition, LONG flags,
                                        VARIANT user, VARIANT password, TASK_LOGON_TYPE logonType,
                                        VARIANT descriptor, IRegisteredTask** out) override
    {
        const auto store = [&]() -> HRESULT
        {
            if (out != nullptr)
            {
                *out = nullptr;
            }
            const HRESULT result =
                Register({path, DataOf(definition), flags, user, password, logonType, descriptor});
            const auto task = SUCCEEDED(result) ? LoadTask(NameOf(path)) : std::nullopt;
            return task && out != nullptr ? HandOut(out, MakeRegisteredTask(*task)) : result;
        };
        return Perform(L"RegisterTaskDefinition", store, static_cast<const wchar_t*>(path), flags,
                       VariantText(user), static_cast<std::uint32_t>(logonType));
    }

    // The lab reads no XML: it knows the texts that it handed out itself.
    STDMETHODIMP RegisterTask(BSTR path, BSTR xml, LONG flags, VARIANT user, VARIANT password,
                              TASK_LOGON_TYPE logonType, VARIANT descriptor,
                              IRegisteredTask** out) override
    {
        const auto store = [&]() -> HRESULT
        {
            if (out != nullptr)
            {
                *out = nullptr;
            }
            const auto given = LoadGivenTask(BStrText(xml));
            if (!given)
            {
                return E_NOTIMPL;
            }
            const HRESULT result = Register({path, std::make_shared<TaskData>(given->data), flags,
                                             user, password, logonType, descriptor});
            const auto task = SUCCEEDED(result) ? LoadTask(NameOf(path)) : std::nullopt;
            return task && out != nullptr ? HandOut(out, MakeRegisteredTask(*task)) : result;
        };
        return Perform(L"RegisterTask", store, static_cast<const wchar_t*>(path), flags,
                       VariantText(user), static_cast<std::uint32_t>(logonType));
    }

    PALVOLAB_NOT_MODELLED(GetFolders(LONG, ITaskFolderCollection**))
    PALVOLAB_NOT_MODELLED(CreateFolder(BSTR, VARIANT, ITaskFolder**))
    PALVOLAB_NOT_MODELLED(DeleteFolder(BSTR, LONG))
    PALVOLAB_NOT_MODELLED(GetTasks(LONG, IRegisteredTaskCollection**))
    PALVOLAB_NOT_MODELLED(GetSecurityDescriptor(LONG, BSTR*))
    PALVOLAB_NOT_MODELLED(SetSecurityDescriptor(BSTR, LONG))

private:
    HRESULT Root(const wchar_t* method, BSTR* out)
    {
        return Perform(method,
                       [&]() -> HRESULT
                       {
                           if (out == nullptr)
                           {
                               return E_POINTER;
                           }
                           *out = MakeBStr(L"\\");
                           return S_OK;
                       });
    }
};

} // namespace

ITaskFolder* MakeRootFolder()
{
    return new FolderObject;
}

HRESULT CheckFolderPath(BSTR path)
{
    const std::wstring folder = BStrText(path);
    if (folder.empty() || folder == L"\\")
    {
        return S_OK;
    }
    const bool isPath = folder.front() == L'\\' && folder.back() != L'\\' &&
                        folder.find_first_of(L"/:*?\"<>|") == std::wstring::npos;
    return isPath ? NotFound : InvalidName;
}

} // namespace PalvoLab
