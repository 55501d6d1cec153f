#include "DesktopAppEntries.h"

#include "CharacterSearch.h"
#include "Text.h"

#include <algorithm>
#include <cwctype>
#include <string_view>

namespace
{
constexpr wchar_t EntrySeparator = L'*';
constexpr wchar_t KeySeparator = L':';

/// True for exactly a key and a list, if the key is this version's; case matters.
bool IsOwnEntry(std::wstring_view entry)
{
    const std::size_t keyEnd = FindCharacter(entry, KeySeparator);
    if (keyEnd == entry.size() || entry.substr(0, keyEnd) != DesktopAppEntries::VersionKey)
    {
        return false;
    }
    const std::wstring_view list = entry.substr(keyEnd + 1);
    return FindCharacter(list, KeySeparator) == list.size();
}

/// The entry that begins at `start`. The next one begins after its separator.
std::wstring_view EntryAt(std::wstring_view value, std::size_t start)
{
    const std::wstring_view rest = value.substr(start);
    return rest.substr(0, FindCharacter(rest, EntrySeparator));
}

/// This version's first entry in `value`; empty if there is none.
std::wstring_view FindOwnEntry(std::wstring_view value)
{
    for (std::size_t start = 0; start <= value.size();)
    {
        const std::wstring_view entry = EntryAt(value, start);
        if (IsOwnEntry(entry))
        {
            return entry;
        }
        start += entry.size() + 1;
    }
    return {};
}

/// Without the white space at both ends. Not copied: it may be long.
void Trim(std::wstring& text)
{
    const auto isSpace = [](wchar_t c) { return std::iswspace(c) != 0; };
    text.erase(std::find_if_not(text.rbegin(), text.rend(), isSpace).base(), text.end());
    text.erase(text.begin(), std::find_if_not(text.begin(), text.end(), isSpace));
}
} // namespace

namespace DesktopAppEntries
{
std::wstring Update(const std::wstring& value, const std::wstring& guids)
{
    std::wstring ownEntry = VersionKey + std::wstring(1, KeySeparator) + guids;
    if (IsEmptyOrBlank(value))
    {
        return ownEntry;
    }
    // The value is as long as a user made it: it is copied once.
    std::wstring updated;
    updated.reserve(value.size() + 1 + ownEntry.size());
    updated = value;
    const std::wstring_view old = FindOwnEntry(value);
    if (old.empty())
    {
        updated += EntrySeparator;
        updated += ownEntry;
    }
    else
    {
        updated.replace(static_cast<std::size_t>(old.data() - value.data()), old.size(), ownEntry);
    }
    return updated;
}

std::optional<std::wstring> Remove(const std::wstring& value)
{
    const std::wstring_view own = FindOwnEntry(value);
    if (own.empty())
    {
        return std::nullopt;
    }
    std::wstring text;
    text.reserve(value.size());
    for (std::size_t start = 0; start <= value.size();)
    {
        const std::wstring_view entry = EntryAt(value, start);
        if (entry.data() != own.data() && !IsEmptyOrBlank(entry))
        {
            // With the separator after it; the last entry has none.
            text.append(value, start, entry.size() + 1);
        }
        start += entry.size() + 1;
    }
    Trim(text);
    return text;
}
} // namespace DesktopAppEntries
