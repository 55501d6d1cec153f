// ITaskService: the way to the root folder, once connected.
#include "ServiceObject.h"

#include "Accounts.h"
#include "ComObject.h"
#include "DefinitionObjects.h"
#include "FolderObject.h"

namespace PalvoLab
{
namespace
{

using namespace SchedulerResult;

bool IsEmpty(const VARIANT& value)
{
    return value.vt == VT_EMPTY || value.vt == VT_NULL ||
           (value.vt == VT_BSTR && SysStringLen(value.bstrVal) == 0);
}

class ServiceObject final : public ComObject<ITaskService>
{
public:
    ServiceObject() : ComObject(L"ITaskService", {IID_ITaskService}) {}

    STDMETHODIMP Connect(VARIANT server, VARIANT user, VARIANT domain, VARIANT password) override
    {
        const auto connect = [&]() -> HRESULT
        {
            if (!IsEmpty(server) || !IsEmpty(user) || !IsEmpty(domain) || !IsEmpty(password))
            {
                return E_NOTIMPL; // other machines and other users
            }
            if (Setting(L"Scheduler") == L"stopped")
            {
                return ServiceNotRunning;
            }
            m_isConnected = true;
            return S_OK;
        };
        return Perform(L"Connect", connect);
    }

    STDMETHODIMP get_Connected(VARIANT_BOOL* connected) override
    {
        return Perform(L"get_Connected",
                       [&]() -> HRESULT
                       {
                           if (connected == nullptr)
                           {
                               return E_POINTER;
                           }
                           *connected = m_isConnected ? VARIANT_TRUE : VARIANT_FALSE;
                           return S_OK;
                       });
    }

    STDMETHODIMP GetFolder(BSTR path, ITaskFolder** folder) override
    {
        const auto get = [&]() -> HRESULT
        {
            if (folder == nullptr)
            {
                return E_POINTER;
            }
            *folder = nullptr;
            if (!m_isConnected)
            {
                return NotConnected;
            }
            const HRESULT result = CheckFolderPath(path);
            return FAILED(result) ? result : HandOut(folder, MakeRootFolder());
        };
        return Perform(L"GetFolder", get, static_cast<const wchar_t*>(path));
    }

    STDMETHODIMP NewTask(DWORD flags, ITaskDefinition** definition) override
    {
        const auto make = [&]() -> HRESULT
        {
            if (definition == nullptr)
            {
                return E_POINTER;
            }
            *definition = nullptr;
            return flags != 0 ? E_INVALIDARG
                              : HandOut(definition, MakeDefinition(std::make_shared<TaskData>()));
        };
        return Perform(L"NewTask", make, flags);
    }

    STDMETHODIMP get_ConnectedUser(BSTR* user) override
    {
        return Perform(L"get_ConnectedUser",
                       [&]() -> HRESULT
                       {
                           if (user == nullptr)
                           {
                               return E_POINTER;
                           }
                           *user = m_isConnected ? MakeBStr(ProcessIdentity().name) : nullptr;
                           return m_isConnected ? S_OK : NotConnected;
                       });
    }

    PALVOLAB_NOT_MODELLED(GetRunningTasks(LONG, IRunningTaskCollection**))
    PALVOLAB_NOT_MODELLED(get_TargetServer(BSTR*))
    PALVOLAB_NOT_MODELLED(get_ConnectedDomain(BSTR*))
    PALVOLAB_NOT_MODELLED(get_HighestVersion(DWORD*))

private:
    bool m_isConnected = false;
};

} // namespace

HRESULT MakeService(REFIID id, void** service)
{
    auto* made = new ServiceObject;
    const HRESULT result = made->Find(id, service);
    made->Release();
    return result;
}

} // namespace PalvoLab
