#include "UserHives.h"

std::vector<std::wstring> UserHivesLastToFirst()
{
    std::vector<std::wstring> hives;
    const auto users = RegistryKey::OpenRegistryKey(HKEY_USERS, L"", KEY_READ);
    if (users == nullptr || !users->EnumerateSubKeys(hives))
    {
        return {};
    }
    return {hives.rbegin(), hives.rend()};
}

std::wstring PropertyBagPath(const std::wstring& hive)
{
    return Format(RegistryPaths::PropertyBagFormat, hive);
}
