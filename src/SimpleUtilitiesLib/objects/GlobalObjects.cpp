#include "GlobalObjects.h"

std::wstring MakeGlobalObjectName(const std::wstring& name)
{
    return L"Global\\" + name;
}
