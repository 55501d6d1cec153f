#pragma once

#include <optional>
#include <string>

// The text of the DesktopAppGUIDs value is a list of entries separated by '*', each a version key,
// ':' and a list of GUIDs. One entry is this program's; the others belong to other versions of the
// suite and are never changed.

namespace DesktopAppEntries
{
/// This program's version key.
inline constexpr wchar_t VersionKey[] = L"7.0";

/// `value` with this version's entry set to `guids`: replaced in its place, or added at the end.
std::wstring Update(const std::wstring& value, const std::wstring& guids);

/// `value` without this version's entry; nothing if it has none, and the value need not be written.
/// Removing the last entry leaves a '*' at the end, on purpose: other readers rely on it.
std::optional<std::wstring> Remove(const std::wstring& value);
} // namespace DesktopAppEntries
