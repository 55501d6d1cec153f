// The registry hives of the lab's accounts. Wine has two; the others are kept under the lab's own
// key and appear in HKEY_USERS as links, for as long as their user is logged on.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace PalvoLab
{

// Whether Wine's own user has the hive that the lab knows. Where it has another, the lab would take
// that one for a left-over and delete what is in it.
bool HasWinesUser();

// Makes every hive that should be mounted appear in HKEY_USERS, and the others disappear. Cheap
// when nothing has to change. The links go away with the last Wine process; any command of the lab
// brings them back.
void MountHives();

// Unmounts all and forgets what they hold.
void ResetHives();

// Where the printer property bag lies below a hive.
inline constexpr wchar_t kBagPath[] =
    L"\\Software\\Classes\\Local Settings\\Printers\\PropertyBags\\Manufacturers\\Palvo";

// The names in HKEY_USERS, in the registry's order.
std::vector<std::wstring> MountedHives();

// The key inside a hive that an absolute kernel path or a path under HKEY_USERS lies in: its first
// component, always as the SID that owns it. Nothing when the path is in no hive.
std::optional<std::wstring> HiveOfKernelPath(const std::wstring& path);

// Whether `palvo-lab set hive-readonly` made the hive one that nobody can write.
bool IsHiveReadOnly(const std::wstring& sid);
void SetHiveReadOnly(const std::wstring& sid, bool readOnly);

} // namespace PalvoLab
