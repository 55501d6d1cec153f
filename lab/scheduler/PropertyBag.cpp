#include "PropertyBag.h"

namespace PalvoLab
{

void PropertyBag::Put(const std::wstring& name, Value value)
{
    m_values[name] = std::move(value);
}

void PropertyBag::Remove(const std::wstring& name)
{
    m_values.erase(name);
}

std::optional<std::wstring> PropertyBag::Text(const std::wstring& name) const
{
    const auto entry = m_values.find(name);
    const auto* text =
        entry == m_values.end() ? nullptr : std::get_if<std::wstring>(&entry->second);
    return text == nullptr ? std::nullopt : std::optional(*text);
}

std::optional<std::int32_t> PropertyBag::Number(const std::wstring& name) const
{
    const auto entry = m_values.find(name);
    const auto* number =
        entry == m_values.end() ? nullptr : std::get_if<std::int32_t>(&entry->second);
    return number == nullptr ? std::nullopt : std::optional(*number);
}

bool PropertyBag::IsTrue(const std::wstring& name, bool byDefault) const
{
    return Number(name).value_or(byDefault ? 1 : 0) != 0;
}

const std::map<std::wstring, PropertyBag::Value>& PropertyBag::All() const
{
    return m_values;
}

void PropertyBag::Save(const LabKey& key) const
{
    for (const auto& [name, value] : m_values)
    {
        if (const auto* text = std::get_if<std::wstring>(&value))
        {
            key.SetString(name, *text);
        }
        else
        {
            key.SetNumber(name, static_cast<std::uint32_t>(std::get<std::int32_t>(value)));
        }
    }
}

PropertyBag PropertyBag::Load(const LabKey& key)
{
    PropertyBag bag;
    for (const std::wstring& name : key ? key.ValueNames() : std::vector<std::wstring>())
    {
        if (const auto number = key.Number(name))
        {
            bag.Put(name, static_cast<std::int32_t>(*number));
        }
        else
        {
            bag.Put(name, key.String(name).value_or(L""));
        }
    }
    return bag;
}

} // namespace PalvoLab
