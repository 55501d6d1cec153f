#include "GuidListModel.h"

#include <algorithm>
#include <cwctype>

namespace GuidListModel
{
namespace
{
std::vector<std::wstring> Entries(const std::wstring& value)
{
    std::vector<std::wstring> entries(1);
    for (const wchar_t character : value)
    {
        if (character == L'*')
        {
            entries.emplace_back();
        }
        else
        {
            entries.back() += character;
        }
    }
    return entries;
}

/// The text before the only colon is "7.0".
bool IsOurs(const std::wstring& entry)
{
    return std::count(entry.begin(), entry.end(), L':') == 1 && entry.compare(0, 4, L"7.0:") == 0;
}

bool IsBlank(const std::wstring& text)
{
    return text.find_first_not_of(L' ') == std::wstring::npos;
}

std::wstring Trimmed(std::wstring text)
{
    while (!text.empty() && std::iswspace(static_cast<std::wint_t>(text.back())) != 0)
    {
        text.pop_back();
    }
    while (!text.empty() && std::iswspace(static_cast<std::wint_t>(text.front())) != 0)
    {
        text.erase(0, 1);
    }
    return text;
}
} // namespace

std::wstring Updated(const std::wstring& value, const std::wstring& guids)
{
    const std::wstring ours = L"7.0:" + guids;
    if (IsBlank(value))
    {
        return ours;
    }
    std::wstring updated;
    bool isThere = false;
    for (const std::wstring& entry : Entries(value))
    {
        const bool replaced = !isThere && IsOurs(entry);
        isThere = isThere || replaced;
        updated += (replaced ? ours : entry) + L"*";
    }
    if (!isThere)
    {
        return updated + ours;
    }
    updated.pop_back();
    return updated;
}

std::optional<std::wstring> Removed(const std::wstring& value)
{
    std::vector<std::wstring> entries = Entries(value);
    const auto ours = std::find_if(entries.begin(), entries.end(), IsOurs);
    if (ours == entries.end())
    {
        return std::nullopt;
    }
    ours->clear();
    std::wstring rest;
    for (std::size_t i = 0; i < entries.size(); ++i)
    {
        if (!IsBlank(entries[i]))
        {
            rest += entries[i];
            rest += i + 1 < entries.size() ? L"*" : L"";
        }
    }
    return Trimmed(rest);
}

std::vector<std::wstring> OthersEntries(const std::wstring& value)
{
    std::vector<std::wstring> others;
    for (const std::wstring& entry : Entries(value))
    {
        const std::wstring trimmed = Trimmed(entry);
        if (!trimmed.empty() && !IsOurs(trimmed))
        {
            others.push_back(trimmed);
        }
    }
    return others;
}
} // namespace GuidListModel
