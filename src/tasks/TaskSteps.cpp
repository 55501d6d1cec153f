#include "TaskSteps.h"

#include "LegacyPlvException.h"
#include "StandardOutput.h"

void Require(HRESULT result, WideFormat<HRESULT> sentence)
{
    if (FAILED(result))
    {
        StandardOutput::Write(Format<HRESULT>(sentence, result));
        throw StepFailed();
    }
}

void RequireComSecurity(const ComApartment& apartment)
{
    Require(apartment.Result(), L"\nCoInitializeEx failed: %x");
    Require(CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_PKT_PRIVACY,
                                 RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, 0, nullptr),
            L"\nCoInitializeSecurity failed: %x");
}

BStr ComText(const std::wstring& text)
{
    BStr comText(SysAllocString(text.c_str()));
    if (!comText)
    {
        throw LegacyPlvComException(E_OUTOFMEMORY);
    }
    return comText;
}

TaskRoot OpenTaskRoot()
{
    TaskRoot root;
    Require(CoCreateInstance(CLSID_TaskScheduler, nullptr, CLSCTX_INPROC_SERVER, IID_ITaskService,
                             reinterpret_cast<void**>(root.service.Receive())),
            root.service, L"Failed to CoCreate an instance of the TaskService class: %x");
    const VARIANT thisMachineAndUser = {};
    Require(root.service->Connect(thisMachineAndUser, thisMachineAndUser, thisMachineAndUser,
                                  thisMachineAndUser),
            L"ITaskService::Connect failed: %x");
    Require(root.service->GetFolder(ComText(L"\\").Get(), root.folder.Receive()), root.folder,
            L"Cannot get Root Folder pointer: %x");
    return root;
}
