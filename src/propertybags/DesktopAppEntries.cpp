#include "DesktopAppEntries.h"

#include "Text.h"

#include <algorithm>
#include <cwctype>

namespace
{
constexpr wchar_t EntrySeparator = L'*';
constexpr wchar_t KeySeparator = L':';

/// Exactly a key and a list, and the key is this version's to the letter.
bool IsOwnEntry(const std::wstring& entry)
{
    const std::vector<std::wstring> parts = Split(entry, KeySeparator);
    return parts.size() == 2 && parts[0] == DesktopAppEntries::VersionKey;
}

std::wstring Trimmed(const std::wstring& text)
{
    const auto isSpace = [](wchar_t c) { return std::iswspace(c) != 0; };
    const auto first = std::find_if_not(text.begin(), text.end(), isSpace);
    const auto last = std::find_if_not(text.rbegin(), std::make_reverse_iterator(first), isSpace);
    return {first, last.base()};
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
    std::vector<std::wstring> entries = Split(value, EntrySeparator);
    const auto own = std::find_if(entries.begin(), entries.end(), IsOwnEntry);
    if (own == entries.end())
    {
        entries.push_back(ownEntry);
    }
    else
    {
        *own = ownEntry;
    }
    std::wstring text;
    for (std::size_t i = 0; i < entries.size(); ++i)
    {
        if (i > 0)
        {
            text += EntrySeparator;
        }
        text += entries[i];
    }
    return text;
}

std::optional<std::wstring> Remove(const std::wstring& value)
{
    std::vector<std::wstring> entries = Split(value, EntrySeparator);
    const auto own = std::find_if(entries.begin(), entries.end(), IsOwnEntry);
    if (own == entries.end())
    {
        return std::nullopt;
    }
    own->clear();
    std::wstring text;
    for (std::size_t i = 0; i < entries.size(); ++i)
    {
        if (IsEmptyOrBlank(entries[i]))
        {
            continue;
        }
        text += entries[i];
        if (i + 1 < entries.size())
        {
            text += EntrySeparator;
        }
    }
    return Trimmed(text);
}
} // namespace DesktopAppEntries
