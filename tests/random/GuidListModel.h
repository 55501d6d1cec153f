#pragma once

#include <optional>
#include <string>
#include <vector>

/// What becomes of a DesktopAppGUIDs value, written down a second time and apart from the program.
namespace GuidListModel
{
std::wstring Updated(const std::wstring& value, const std::wstring& guids);
/// Nothing when there is nothing to take out and nothing is to be written.
std::optional<std::wstring> Removed(const std::wstring& value);

/// The entries of others, without the white space around them, that no sequence of updates and
/// removals may change. An entry that is this program's but for white space before it is left out:
/// it becomes this program's when a removal trims the value.
std::vector<std::wstring> OthersEntries(const std::wstring& value);
} // namespace GuidListModel
