#pragma once

#include "RedirectedRoot.h"

#include <stdexcept>

/// Creates the key and writes a value of exactly these bytes. The system looks behind the end of
/// text that has no terminating zero and takes a zero that it finds there along, so something else
/// must stand there.
inline void StoreExactly(const RedirectedRoot& root, const std::wstring& path,
                         const std::wstring& name, DWORD type, std::vector<std::uint8_t> bytes)
{
    const auto size = static_cast<DWORD>(bytes.size());
    bytes.insert(bytes.end(), 4, 0xFF);
    HKEY key = nullptr;
    LSTATUS status =
        RegCreateKeyExW(root.Key(), path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
    if (status == ERROR_SUCCESS)
    {
        status = RegSetValueExW(key, name.c_str(), 0, type, bytes.data(), size);
        RegCloseKey(key);
    }
    const auto stored = root.Get(path, name);
    if (status != ERROR_SUCCESS || !stored || stored->bytes.size() != size)
    {
        throw std::runtime_error("the value cannot be stored");
    }
}
