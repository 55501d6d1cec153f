#pragma once

#include "Owners.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// An open registry key. The last owner of the shared pointer closes it.
///
/// Opening, and creating with an error text, never throw: they return null on failure. Creating
/// without one, and reading and writing a value, throw ExceptionRegistryRequest on unexpected
/// errors.
class RegistryKey
{
public:
    /// Opens an existing key (RegOpenKeyExW); null on failure.
    static std::shared_ptr<RegistryKey> OpenRegistryKey(HKEY root, const std::wstring& subKey,
                                                        REGSAM access) noexcept;

    /// Creates or opens a key (RegCreateKeyExW). Null on failure, with the reason in `errorText`,
    /// which is empty on success. Never throws.
    static std::shared_ptr<RegistryKey> CreateRegistryKey(HKEY root, const std::wstring& subKey,
                                                          REGSAM access,
                                                          std::wstring& errorText) noexcept;

    /// The same, for callers that cannot go on without the key: throws ExceptionRegistryRequest.
    static std::shared_ptr<RegistryKey> CreateRegistryKey(HKEY root, const std::wstring& subKey,
                                                          REGSAM access);

    /// Does not close a key that it does not own, such as a predefined one.
    RegistryKey(HKEY key, bool owned) noexcept;
    ~RegistryKey();
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;

    /// Writes a REG_QWORD. Throws on any failure.
    void SetValue(const std::wstring& name, std::uint64_t number);
    /// Writes a REG_SZ with one terminating zero character. Throws on any failure.
    void SetValue(const std::wstring& name, const std::wstring& text);

    /// The value's raw bytes, whatever its type. False when the value is absent, may not be read,
    /// or the handle is bad; other errors throw.
    [[nodiscard]] bool GetValue(const std::wstring& name, std::vector<std::uint8_t>& bytes) const;

    /// The value's bytes as UTF-16 text up to the first zero character, whatever the value's type;
    /// drops an odd last byte. `defaultText` if GetValue returns false.
    [[nodiscard]] std::wstring GetString(const std::wstring& name,
                                         const std::wstring& defaultText) const;

    /// The names of the immediate subkeys. False, with an empty list, if there are none or one
    /// cannot be read.
    [[nodiscard]] bool EnumerateSubKeys(std::vector<std::wstring>& names) const;

private:
    void SetValue(const std::wstring& name, DWORD type, const void* data, std::size_t size);

    HKEY handle;
    bool ownsHandle;
    [[maybe_unused]] void* reserved = nullptr; ///< only reserves room; always null
};
