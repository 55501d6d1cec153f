// The COM server: palvotasks.dll, which stands in Task Scheduler's place.
#include "ComObject.h"
#include "MethodFaults.h"
#include "ServiceObject.h"

namespace PalvoLab
{
namespace
{

long serverLocks = 0;

// One object for the whole process, without a count of its own.
class Factory final : public IClassFactory
{
public:
    STDMETHODIMP QueryInterface(REFIID id, void** object) override
    {
        if (object == nullptr)
        {
            return E_POINTER;
        }
        const bool known = id == IID_IUnknown || id == IID_IClassFactory;
        *object = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }

    STDMETHODIMP_(ULONG) AddRef() override { return 2; }

    STDMETHODIMP_(ULONG) Release() override { return 1; }

    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID id, void** object) override
    {
        if (object == nullptr)
        {
            return E_POINTER;
        }
        *object = nullptr;
        return outer != nullptr ? CLASS_E_NOAGGREGATION : MakeService(id, object);
    }

    STDMETHODIMP LockServer(BOOL lock) override
    {
        serverLocks += lock ? 1 : -1;
        return S_OK;
    }
};

} // namespace
} // namespace PalvoLab

extern "C"
{

    HRESULT WINAPI DllGetClassObject(REFCLSID classId, REFIID id, void** object)
    {
        static PalvoLab::Factory factory;
        if (classId != CLSID_TaskScheduler)
        {
            return CLASS_E_CLASSNOTAVAILABLE;
        }
        return factory.QueryInterface(id, object);
    }

    HRESULT WINAPI DllCanUnloadNow()
    {
        return PalvoLab::livingObjects.empty() && PalvoLab::serverLocks == 0 ? S_OK : S_FALSE;
    }

    // The program is about to uninitialise COM for the last time: what is not released now is a
    // leak,
    // and to release it later is an error.
    void WINAPI PalvoLabComEnds()
    {
        if (PalvoLab::livingObjects.empty())
        {
            return;
        }
        PalvoLab::WriteLeaks(false);
        for (const auto& [object, name] : PalvoLab::livingObjects)
        {
            PalvoLab::CountClosed(name, object);
        }
        // As on Windows, nobody who still holds one keeps the server loaded.
        PalvoLab::livingObjects.clear();
    }

    BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID)
    {
        if (reason == DLL_PROCESS_ATTACH)
        {
            DisableThreadLibraryCalls(instance);
            PalvoLab::StartRecording();
        }
        else if (reason == DLL_PROCESS_DETACH)
        {
            // COM lets go of the server when the program uninitialises it for the last time: what
            // is not released now never will be.
            PalvoLab::WriteLeaks(false);
            PalvoLab::LeaveMethodCounts();
        }
        return TRUE;
    }
}
