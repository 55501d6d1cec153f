#include "GlobalObjects.h"

std::wstring MakeGlobalObjectName(const std::wstring& name)
{
    return L"Global\\" + name;
}

KernelHandle CreateGlobalMutex(const std::wstring& objectName,
                               SECURITY_DESCRIPTOR* security) noexcept
{
    SECURITY_ATTRIBUTES attributes = {sizeof(attributes), security, FALSE};
    return KernelHandle(
        CreateMutexW(security == nullptr ? nullptr : &attributes, FALSE, objectName.c_str()));
}
