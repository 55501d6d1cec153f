#include "GlobalObjects.h"

std::wstring MakeGlobalObjectName(std::wstring_view name) noexcept
{
    try
    {
        std::wstring objectName = L"Global\\";
        objectName += name;
        return objectName;
    }
    catch (...)
    {
        // Out of memory.
        return {};
    }
}

KernelHandle CreateGlobalMutex(const std::wstring& objectName,
                               SECURITY_ATTRIBUTES* security) noexcept
{
    return KernelHandle(objectName.empty() ? nullptr
                                           : CreateMutexW(security, FALSE, objectName.c_str()));
}
