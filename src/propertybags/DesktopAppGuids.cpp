#include "DesktopAppGuids.h"

#include "DesktopAppEntries.h"
#include "DesktopAppGuidList.h"
#include "UserHives.h"

namespace
{
void RemoveFromHive(const std::wstring& hive)
{
    const auto bag =
        RegistryKey::OpenRegistryKey(HKEY_USERS, PropertyBagPath(hive), KEY_READ | KEY_WRITE);
    if (bag == nullptr)
    {
        return;
    }
    const auto text =
        DesktopAppEntries::Remove(bag->GetString(RegistryPaths::DesktopAppGuids, L""));
    if (text)
    {
        bag->SetValue(RegistryPaths::DesktopAppGuids, *text);
    }
}
} // namespace

void UpdateDesktopAppGuids()
{
    try
    {
        const std::wstring guids = FromNarrow(DesktopAppGuidList);
        ForEveryPropertyBag(
            [&guids](RegistryKey& bag)
            {
                const std::wstring value = bag.GetString(RegistryPaths::DesktopAppGuids, L"");
                // Written also when it is unchanged.
                bag.SetValue(RegistryPaths::DesktopAppGuids,
                             DesktopAppEntries::Update(value, guids));
            });
    }
    catch (...)
    {
        // Out of memory before the first hive: there is nobody to tell.
    }
}

void RemoveDesktopAppGuids()
{
    try
    {
        for (const std::wstring& hive : UserHivesLastToFirst())
        {
            try
            {
                RemoveFromHive(hive);
            }
            catch (...)
            {
                UserHivesDetail::NoteFailingHive();
            }
        }
    }
    catch (...)
    {
        // As above.
    }
}
