// Named values exactly as a program put them: texts, and numbers in full width, so that a COM
// boolean of 1 and one of -1 stay different.
#pragma once

#include "LabState.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>

namespace PalvoLab
{

class PropertyBag
{
public:
    using Value = std::variant<std::wstring, std::int32_t>;

    void Put(const std::wstring& name, Value value);
    void Remove(const std::wstring& name);

    // Nothing when the property was never put.
    std::optional<std::wstring> Text(const std::wstring& name) const;
    std::optional<std::int32_t> Number(const std::wstring& name) const;

    // The number as a truth: everything but 0 is true.
    bool IsTrue(const std::wstring& name, bool byDefault) const;

    const std::map<std::wstring, Value>& All() const;

    // The bag as the values of a registry key.
    void Save(const LabKey& key) const;
    static PropertyBag Load(const LabKey& key);

private:
    std::map<std::wstring, Value> m_values;
};

} // namespace PalvoLab
