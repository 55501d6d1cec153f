#include "GlobalObjects.h"

std::wstring MakeGlobalObjectName(const std::wstring& name)
{
    return L"Global\\" + name;
}

KernelHandle CreateGlobalMutex(const std::wstring& objectName,
                               SECURITY_ATTRIBUTES* security) noexcept
{
    return KernelHandle(CreateMutexW(security, FALSE, objectName.c_str()));
}
