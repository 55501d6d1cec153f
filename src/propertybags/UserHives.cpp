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

namespace UserHivesDetail
{
void NoteFailingHive() noexcept
{
    [[maybe_unused]] const char* const note =
        "Encountered an exception, likely due to registry access issues.This will be caught, but "
        "intended functionality likely failed. If this is occuring in a limited access permission "
        "environment, such as Internet Explorer Protected Mode, this is likely an expected "
        "failure.";
}
} // namespace UserHivesDetail
