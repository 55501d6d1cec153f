#include "DesktopAppGuids.h"

#include "DesktopAppEntries.h"
#include "DesktopAppGuidList.h"
#include "UserHives.h"

namespace
{
/// Makes a message for an engineer whose debugger stops here; it goes nowhere else. It is volatile
/// so that the compiler keeps it although nobody reads it.
void NoteFailingHive() noexcept
{
    [[maybe_unused]] const char* const volatile note =
        "Encountered an exception, likely due to registry access issues.This will be caught, but "
        "intended functionality likely failed. If this is occuring in a limited access permission "
        "environment, such as Internet Explorer Protected Mode, this is likely an expected "
        "failure.";
}

void RemoveFromHive(const std::wstring& hive)
{
    const auto bag =
        RegistryKey::OpenRegistryKey(HKEY_USERS, PropertyBagPath(hive), KEY_READ | KEY_WRITE);
    if (bag == nullptr)
    {
        return;
    }
    const auto text = DesktopAppEntries::Remove(bag->GetString(RegistryPaths::DesktopAppGuids, {}));
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
                const std::wstring value = bag.GetString(RegistryPaths::DesktopAppGuids, {});
                // Write it even if unchanged.
                bag.SetValue(RegistryPaths::DesktopAppGuids,
                             DesktopAppEntries::Update(value, guids));
            },
            &NoteFailingHive);
    }
    catch (...)
    {
        // Out of memory before the first hive. Nothing is reported.
    }
}

void RemoveDesktopAppGuids()
{
    try
    {
        ForEveryHive(&RemoveFromHive, []() noexcept {});
    }
    catch (...)
    {
        // As above.
    }
}
