// Where the lab keeps what outlives a process: the registry for what is small and named, files for
// what grows. Everything lies under HKEY_LOCAL_MACHINE\Software\PalvoLab and
// C:\ProgramData\PalvoLab.
#pragma once

#include "WindowsHeaders.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace PalvoLab
{

inline constexpr wchar_t kStateKey[] = L"Software\\PalvoLab";

// An open registry key. Reading what is not there gives nothing; writing fails silently only when
// the registry itself does.
class LabKey
{
public:
    LabKey() = default;
    explicit LabKey(HKEY key);
    LabKey(LabKey&& other) noexcept;
    LabKey& operator=(LabKey&& other) noexcept;
    ~LabKey();

    // Opens or creates `path` under `root` for reading and writing.
    static LabKey Create(HKEY root, const std::wstring& path);
    static LabKey Open(HKEY root, const std::wstring& path, REGSAM access = KEY_READ);

    explicit operator bool() const;
    HKEY Get() const;

    std::optional<std::wstring> String(const std::wstring& name) const;
    std::optional<std::uint32_t> Number(const std::wstring& name) const;
    std::vector<std::wstring> Strings(const std::wstring& name) const;
    void SetString(const std::wstring& name, std::wstring_view value) const;
    void SetNumber(const std::wstring& name, std::uint32_t value) const;
    void SetStrings(const std::wstring& name, const std::vector<std::wstring>& values) const;
    bool Remove(const std::wstring& name) const;

    std::vector<std::wstring> ValueNames() const;
    std::vector<std::wstring> SubkeyNames() const;

private:
    HKEY m_key = nullptr;
};

// Keys of the lab's own state; `path` is relative to kStateKey.
LabKey CreateStateKey(const std::wstring& path);
LabKey OpenStateKey(const std::wstring& path);

// Removes a key of the lab's state with everything under it.
void RemoveStateKey(const std::wstring& path);

// Switches that `palvo-lab set` writes.
std::wstring Setting(const std::wstring& name, const std::wstring& byDefault = L"");
std::uint32_t NumberSetting(const std::wstring& name, std::uint32_t byDefault);
void WriteSetting(const std::wstring& name, std::wstring_view value);
void RemoveSetting(const std::wstring& name);

// By how many seconds `palvo-lab clock back` set the machine's clock back.
std::uint32_t SecondsSetBack();

// The folder of the lab's files, with a backslash at its end. It exists after the call.
const std::wstring& DataFolder();

// The folder in which the program and its siblings lie, with a backslash at its end. Its blanks are
// on purpose.
std::wstring ProgramFolder();

// Appends a line of UTF-8 to a file of the lab. Safe between processes.
void AppendLine(const std::wstring& fileName, const std::string& line);

// All lines of a file of the lab; none when there is no such file.
std::vector<std::string> ReadLines(const std::wstring& fileName);

// The bytes of a file; nothing when it cannot be read.
std::optional<std::string> ReadWholeFile(const std::wstring& path);

} // namespace PalvoLab
