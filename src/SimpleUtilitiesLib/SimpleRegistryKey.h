#pragma once

#include "Owners.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// An open registry key. The last owner of the shared pointer closes it.
///
/// Opening never throws, nor does creating with an error text: they tell by a null result. Creating
/// without one, and reading and writing a value, throw ExceptionRegistryRequest on errors that are
/// not expected.
class RegistryKey
{
public:
    /// Opens a key that exists (RegOpenKeyExW); null when it cannot be opened.
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

    /// A key that somebody else owns, such as a predefined one, is not closed.
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

    /// The value's bytes as UTF-16 text up to its first zero character, whatever the value's type;
    /// an odd last byte is dropped. `defaultText` when GetValue gives false.
    [[nodiscard]] std::wstring GetString(const std::wstring& name,
                                         const std::wstring& defaultText) const;

    /// The names of the immediate subkeys. False, with an empty list, when there are none or they
    /// cannot all be had.
    [[nodiscard]] bool EnumerateSubKeys(std::vector<std::wstring>& names) const;

private:
    void SetValue(const std::wstring& name, DWORD type, const void* data, std::size_t size);

    HKEY handle;
    bool ownsHandle;
    [[maybe_unused]] void* reserved = nullptr; ///< only reserves room; always null
};
