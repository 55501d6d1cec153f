// IRegisteredTask: a look at a task that is stored.
#include "ComObject.h"
#include "DefinitionObjects.h"
#include "TaskXml.h"

namespace PalvoLab
{
namespace
{

class RegisteredTaskObject final : public ComObject<IRegisteredTask>
{
public:
    explicit RegisteredTaskObject(const StoredTask& task)
        : ComObject(L"IRegisteredTask", {IID_IRegisteredTask}), m_task(task)
    {
    }

    STDMETHODIMP get_Name(BSTR* name) override { return Text(L"get_Name", name, m_task.name); }

    STDMETHODIMP get_Path(BSTR* path) override
    {
        return Text(L"get_Path", path, L"\\" + m_task.name);
    }

    STDMETHODIMP get_Xml(BSTR* xml) override
    {
        const std::wstring text = TaskXml(m_task);
        KeepGivenTask(m_task.name, text);
        return Text(L"get_Xml", xml, text);
    }

    STDMETHODIMP get_Enabled(VARIANT_BOOL* enabled) override
    {
        return Perform(L"get_Enabled",
                       [&]() -> HRESULT
                       {
                           if (enabled == nullptr)
                           {
                               return E_POINTER;
                           }
                           const bool isEnabled = m_task.data.settings.IsTrue(L"Enabled", true);
                           *enabled = isEnabled ? VARIANT_TRUE : VARIANT_FALSE;
                           return S_OK;
                       });
    }

    STDMETHODIMP get_LastTaskResult(LONG* result) override
    {
        return Perform(L"get_LastTaskResult",
                       [&]() -> HRESULT
                       {
                           if (result == nullptr)
                           {
                               return E_POINTER;
                           }
                           *result = static_cast<LONG>(LoadHistory(m_task.name).lastResult);
                           return S_OK;
                       });
    }

    PALVOLAB_NOT_MODELLED(get_State(TASK_STATE*))
    PALVOLAB_NOT_MODELLED(put_Enabled(VARIANT_BOOL))
    PALVOLAB_NOT_MODELLED(Run(VARIANT, IRunningTask**))
    PALVOLAB_NOT_MODELLED(RunEx(VARIANT, LONG, LONG, BSTR, IRunningTask**))
    PALVOLAB_NOT_MODELLED(GetInstances(LONG, IRunningTaskCollection**))
    PALVOLAB_NOT_MODELLED(get_LastRunTime(DATE*))
    PALVOLAB_NOT_MODELLED(get_NumberOfMissedRuns(LONG*))
    PALVOLAB_NOT_MODELLED(get_NextRunTime(DATE*))
    PALVOLAB_NOT_MODELLED(get_Definition(ITaskDefinition**))
    PALVOLAB_NOT_MODELLED(GetSecurityDescriptor(LONG, BSTR*))
    PALVOLAB_NOT_MODELLED(SetSecurityDescriptor(BSTR, LONG))
    PALVOLAB_NOT_MODELLED(Stop(LONG))
    PALVOLAB_NOT_MODELLED(GetRunTimes(const LPSYSTEMTIME, const LPSYSTEMTIME, DWORD*,
                                      LPSYSTEMTIME*))

private:
    HRESULT Text(const wchar_t* method, BSTR* out, const std::wstring& text)
    {
        return Perform(method,
                       [&]() -> HRESULT
                       {
                           if (out == nullptr)
                           {
                               return E_POINTER;
                           }
                           *out = MakeBStr(text);
                           return S_OK;
                       });
    }

    StoredTask m_task;
};

} // namespace

IRegisteredTask* MakeRegisteredTask(const StoredTask& task)
{
    return new RegisteredTaskObject(task);
}

} // namespace PalvoLab
