#pragma once

#include "Format.h"
#include "RegistryPaths.h"
#include "SimpleRegistryKey.h"

#include <string>
#include <vector>

// All hives loaded under HKEY_USERS: users, their _Classes, .DEFAULT and the service accounts.

/// The names of the hives, from the last enumerated to the first. Empty on failure.
std::vector<std::wstring> UserHivesLastToFirst();

/// The path of a hive's printer property bag under HKEY_USERS.
std::wstring PropertyBagPath(const std::wstring& hive);

/// Runs `work` with every hive's name. If a hive fails, calls `failed` and goes on with the next.
template <class Work> void ForEveryHive(Work work, void (*failed)() noexcept)
{
    for (const std::wstring& hive : UserHivesLastToFirst())
    {
        try
        {
            work(hive);
        }
        catch (...)
        {
            failed();
        }
    }
}

/// The same with every hive's open property bag; creates missing ones.
template <class Work> void ForEveryPropertyBag(Work work, void (*failed)() noexcept)
{
    ForEveryHive(
        [&work](const std::wstring& hive) {
            work(*RegistryKey::CreateRegistryKey(HKEY_USERS, PropertyBagPath(hive),
                                                 KEY_READ | KEY_WRITE));
        },
        failed);
}
