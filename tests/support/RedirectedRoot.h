#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <windows.h>

/// Puts an empty key of the test's own in the place of HKEY_LOCAL_MACHINE or HKEY_USERS, for this
/// process and for as long as the object lives.
class RedirectedRoot
{
public:
    explicit RedirectedRoot(HKEY replacedRoot);
    ~RedirectedRoot();
    RedirectedRoot(const RedirectedRoot&) = delete;
    RedirectedRoot& operator=(const RedirectedRoot&) = delete;

    /// The real key behind the root.
    [[nodiscard]] HKEY Key() const { return key; }

    void CreateKey(const std::wstring& path) const;
    [[nodiscard]] bool HasKey(const std::wstring& path) const;
    /// Creates the key and writes a value of any type.
    void Set(const std::wstring& path, const std::wstring& name, DWORD type,
             const std::vector<std::uint8_t>& bytes) const;
    void SetString(const std::wstring& path, const std::wstring& name,
                   const std::wstring& text) const;
    void SetNumber(const std::wstring& path, const std::wstring& name, std::uint64_t number) const;

    struct Value
    {
        DWORD type = REG_NONE;
        std::vector<std::uint8_t> bytes;
    };
    [[nodiscard]] std::optional<Value> Get(const std::wstring& path,
                                           const std::wstring& name) const;
    /// The text of a REG_SZ with exactly one terminating zero; "NO STRING" for anything else.
    [[nodiscard]] std::wstring String(const std::wstring& path, const std::wstring& name) const;
    /// The number of a REG_QWORD; nothing for anything else.
    [[nodiscard]] std::optional<std::uint64_t> Number(const std::wstring& path,
                                                      const std::wstring& name) const;

private:
    HKEY root;
    HKEY key = nullptr;
    std::wstring place;
};
