#include "UserHives.h"

#include <algorithm>

std::vector<std::wstring> UserHivesLastToFirst()
{
    std::vector<std::wstring> hives;
    const auto users = RegistryKey::OpenRegistryKey(HKEY_USERS, {}, KEY_READ);
    if (users == nullptr || !users->EnumerateSubKeys(hives))
    {
        return {};
    }
    std::reverse(hives.begin(), hives.end());
    return hives;
}

std::wstring PropertyBagPath(const std::wstring& hive)
{
    return Format(RegistryPaths::PropertyBagFormat, hive);
}
