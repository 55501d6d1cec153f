#include "RedirectedRoot.h"

#include <cstring>
#include <stdexcept>

namespace
{
void Check(LSTATUS status, const char* what)
{
    if (status != ERROR_SUCCESS)
    {
        throw std::runtime_error(std::string(what) + ": " + std::to_string(status));
    }
}
} // namespace

RedirectedRoot::RedirectedRoot(HKEY replacedRoot) : root(replacedRoot)
{
    static unsigned count = 0;
    place = L"Software\\PalvoTest-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
            std::to_wstring(++count);
    Check(RegCreateKeyExW(HKEY_CURRENT_USER, place.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                          &key, nullptr),
          "RegCreateKeyExW");
    Check(RegOverridePredefKey(root, key), "RegOverridePredefKey");
}

RedirectedRoot::~RedirectedRoot()
{
    RegOverridePredefKey(root, nullptr);
    RegCloseKey(key);
    RegDeleteTreeW(HKEY_CURRENT_USER, place.c_str());
}

void RedirectedRoot::CreateKey(const std::wstring& path) const
{
    HKEY created = nullptr;
    Check(RegCreateKeyExW(key, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &created,
                          nullptr),
          "RegCreateKeyExW");
    RegCloseKey(created);
}

bool RedirectedRoot::HasKey(const std::wstring& path) const
{
    HKEY opened = nullptr;
    const bool found = RegOpenKeyExW(key, path.c_str(), 0, KEY_READ, &opened) == ERROR_SUCCESS;
    if (found)
    {
        RegCloseKey(opened);
    }
    return found;
}

void RedirectedRoot::Set(const std::wstring& path, const std::wstring& name, DWORD type,
                         const std::vector<std::uint8_t>& bytes) const
{
    HKEY created = nullptr;
    Check(RegCreateKeyExW(key, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &created,
                          nullptr),
          "RegCreateKeyExW");
    const LSTATUS status = RegSetValueExW(created, name.c_str(), 0, type, bytes.data(),
                                          static_cast<DWORD>(bytes.size()));
    RegCloseKey(created);
    Check(status, "RegSetValueExW");
}

void RedirectedRoot::SetString(const std::wstring& path, const std::wstring& name,
                               const std::wstring& text) const
{
    std::vector<std::uint8_t> bytes((text.size() + 1) * sizeof(wchar_t));
    std::memcpy(bytes.data(), text.c_str(), bytes.size());
    Set(path, name, REG_SZ, bytes);
}

void RedirectedRoot::SetNumber(const std::wstring& path, const std::wstring& name,
                               std::uint64_t number) const
{
    std::vector<std::uint8_t> bytes(sizeof(number));
    std::memcpy(bytes.data(), &number, bytes.size());
    Set(path, name, REG_QWORD, bytes);
}

std::optional<RedirectedRoot::Value> RedirectedRoot::Get(const std::wstring& path,
                                                         const std::wstring& name) const
{
    HKEY opened = nullptr;
    if (RegOpenKeyExW(key, path.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS)
    {
        return std::nullopt;
    }
    Value value;
    DWORD size = 0;
    LSTATUS status = RegQueryValueExW(opened, name.c_str(), nullptr, &value.type, nullptr, &size);
    if (status == ERROR_SUCCESS)
    {
        value.bytes.resize(size);
        status =
            RegQueryValueExW(opened, name.c_str(), nullptr, &value.type, value.bytes.data(), &size);
    }
    RegCloseKey(opened);
    return status == ERROR_SUCCESS ? std::optional(value) : std::nullopt;
}

std::wstring RedirectedRoot::String(const std::wstring& path, const std::wstring& name) const
{
    const std::optional<Value> value = Get(path, name);
    if (!value || value->type != REG_SZ || value->bytes.size() < sizeof(wchar_t) ||
        value->bytes.size() % sizeof(wchar_t) != 0)
    {
        return L"NO STRING";
    }
    std::wstring text(value->bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), value->bytes.data(), value->bytes.size());
    if (text.find(L'\0') != text.size() - 1)
    {
        return L"NO STRING";
    }
    text.pop_back();
    return text;
}

std::optional<std::uint64_t> RedirectedRoot::Number(const std::wstring& path,
                                                    const std::wstring& name) const
{
    const std::optional<Value> value = Get(path, name);
    std::uint64_t number = 0;
    if (!value || value->type != REG_QWORD || value->bytes.size() != sizeof(number))
    {
        return std::nullopt;
    }
    std::memcpy(&number, value->bytes.data(), sizeof(number));
    return number;
}
