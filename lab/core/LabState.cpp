#include "LabState.h"

#include "Text.h"

#include <utility>

namespace PalvoLab
{
namespace
{

std::optional<std::vector<std::uint8_t>> ReadValue(HKEY key, const std::wstring& name, DWORD type)
{
    std::vector<std::uint8_t> bytes(256);
    while (true)
    {
        DWORD size = static_cast<DWORD>(bytes.size());
        DWORD found = 0;
        const LSTATUS status =
            RegQueryValueExW(key, name.c_str(), nullptr, &found, bytes.data(), &size);
        if (status == ERROR_MORE_DATA)
        {
            bytes.resize(size);
            continue;
        }
        if (status != ERROR_SUCCESS || found != type)
        {
            return std::nullopt;
        }
        bytes.resize(size);
        return bytes;
    }
}

std::wstring AsText(const std::vector<std::uint8_t>& bytes)
{
    return {reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t)};
}

std::wstring StatePath(const std::wstring& path)
{
    return path.empty() ? std::wstring(kStateKey) : std::wstring(kStateKey) + L"\\" + path;
}

} // namespace

LabKey::LabKey(HKEY key) : m_key(key) {}

LabKey::LabKey(LabKey&& other) noexcept : m_key(std::exchange(other.m_key, nullptr)) {}

LabKey& LabKey::operator=(LabKey&& other) noexcept
{
    std::swap(m_key, other.m_key);
    return *this;
}

LabKey::~LabKey()
{
    if (m_key != nullptr)
    {
        RegCloseKey(m_key);
    }
}

LabKey LabKey::Create(HKEY root, const std::wstring& path)
{
    HKEY key = nullptr;
    RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE | DELETE, nullptr, &key,
                    nullptr);
    return LabKey(key);
}

LabKey LabKey::Open(HKEY root, const std::wstring& path, REGSAM access)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, path.c_str(), 0, access, &key) != ERROR_SUCCESS)
    {
        key = nullptr;
    }
    return LabKey(key);
}

LabKey::operator bool() const
{
    return m_key != nullptr;
}

HKEY LabKey::Get() const
{
    return m_key;
}

std::optional<std::wstring> LabKey::String(const std::wstring& name) const
{
    const auto bytes = ReadValue(m_key, name, REG_SZ);
    if (!bytes)
    {
        return std::nullopt;
    }
    std::wstring text = AsText(*bytes);
    if (!text.empty() && text.back() == L'\0')
    {
        text.pop_back();
    }
    return text;
}

std::optional<std::uint32_t> LabKey::Number(const std::wstring& name) const
{
    const auto bytes = ReadValue(m_key, name, REG_DWORD);
    if (!bytes || bytes->size() != sizeof(std::uint32_t))
    {
        return std::nullopt;
    }
    return *reinterpret_cast<const std::uint32_t*>(bytes->data());
}

std::vector<std::wstring> LabKey::Strings(const std::wstring& name) const
{
    std::vector<std::wstring> values;
    const auto bytes = ReadValue(m_key, name, REG_MULTI_SZ);
    if (bytes)
    {
        for (std::wstring& part : Split(AsText(*bytes), L'\0'))
        {
            if (!part.empty())
            {
                values.push_back(std::move(part));
            }
        }
    }
    return values;
}

void LabKey::SetString(const std::wstring& name, std::wstring_view value) const
{
    const std::wstring text(value);
    RegSetValueExW(m_key, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                   static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

void LabKey::SetNumber(const std::wstring& name, std::uint32_t value) const
{
    RegSetValueExW(m_key, name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                   sizeof value);
}

void LabKey::SetStrings(const std::wstring& name, const std::vector<std::wstring>& values) const
{
    std::wstring text;
    for (const std::wstring& value : values)
    {
        text += value;
        text += L'\0';
    }
    text += L'\0';
    RegSetValueExW(m_key, name.c_str(), 0, REG_MULTI_SZ, reinterpret_cast<const BYTE*>(text.data()),
                   static_cast<DWORD>(text.size() * sizeof(wchar_t)));
}

bool LabKey::Remove(const std::wstring& name) const
{
    return RegDeleteValueW(m_key, name.c_str()) == ERROR_SUCCESS;
}

std::vector<std::wstring> LabKey::ValueNames() const
{
    std::vector<std::wstring> names;
    std::vector<wchar_t> name(16384);
    for (DWORD i = 0;; ++i)
    {
        DWORD length = static_cast<DWORD>(name.size());
        if (RegEnumValueW(m_key, i, name.data(), &length, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS)
        {
            return names;
        }
        names.emplace_back(name.data(), length);
    }
}

std::vector<std::wstring> LabKey::SubkeyNames() const
{
    std::vector<std::wstring> names;
    wchar_t name[256] = {};
    for (DWORD i = 0;; ++i)
    {
        DWORD length = 256;
        if (RegEnumKeyExW(m_key, i, name, &length, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS)
        {
            return names;
        }
        names.emplace_back(name, length);
    }
}

LabKey CreateStateKey(const std::wstring& path)
{
    return LabKey::Create(HKEY_LOCAL_MACHINE, StatePath(path));
}

LabKey OpenStateKey(const std::wstring& path)
{
    return LabKey::Open(HKEY_LOCAL_MACHINE, StatePath(path));
}

void RemoveStateKey(const std::wstring& path)
{
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, StatePath(path).c_str());
}

std::wstring Setting(const std::wstring& name, const std::wstring& byDefault)
{
    return OpenStateKey(L"Settings").String(name).value_or(byDefault);
}

std::uint32_t NumberSetting(const std::wstring& name, std::uint32_t byDefault)
{
    const auto number = ParseNumber(Setting(name));
    return number ? static_cast<std::uint32_t>(*number) : byDefault;
}

void WriteSetting(const std::wstring& name, std::wstring_view value)
{
    CreateStateKey(L"Settings").SetString(name, value);
}

void RemoveSetting(const std::wstring& name)
{
    CreateStateKey(L"Settings").Remove(name);
}

std::uint32_t SecondsSetBack()
{
    return OpenStateKey(L"Clock").Number(L"SetBack").value_or(0);
}

} // namespace PalvoLab
