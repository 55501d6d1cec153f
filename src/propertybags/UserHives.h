#pragma once

#include "Format.h"
#include "RegistryPaths.h"
#include "SimpleRegistryKey.h"

#include <string>
#include <vector>

// The hives that are loaded under HKEY_USERS, all of them: users, their _Classes companions,
// .DEFAULT and the service accounts.

/// The names of the hives, from the last enumerated to the first. Empty when they cannot be had.
std::vector<std::wstring> UserHivesLastToFirst();

/// The path of a hive's printer property bag under HKEY_USERS.
std::wstring PropertyBagPath(const std::wstring& hive);

/// Runs `work` with every hive's open property bag, which is created where it is missing. Whatever
/// goes wrong in one hive is dropped: `failed` is called, and the next hive follows.
template <class Work> void ForEveryPropertyBag(Work work, void (*failed)() noexcept)
{
    for (const std::wstring& hive : UserHivesLastToFirst())
    {
        try
        {
            const auto bag = RegistryKey::CreateRegistryKey(HKEY_USERS, PropertyBagPath(hive),
                                                            KEY_READ | KEY_WRITE);
            work(*bag);
        }
        catch (...)
        {
            failed();
        }
    }
}
