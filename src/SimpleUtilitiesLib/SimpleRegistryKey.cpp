#include "SimpleRegistryKey.h"

#include "CharacterSearch.h"
#include "Format.h"
#include "LegacyPlvException.h"
#include "SystemMessage.h"

namespace
{
constexpr wchar_t SourceFile[] = L"src\\SimpleUtilitiesLib\\SimpleRegistryKey";

/// Support knows a key that could not be created by this line, which therefore never moves.
constexpr std::uint32_t CreateFailureLine = 239;

RegistryHandle Create(HKEY root, const std::wstring& subKey, REGSAM access,
                      LSTATUS& status) noexcept
{
    RegistryHandle key;
    status = RegCreateKeyExW(root, subKey.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, access,
                             nullptr, key.Receive(), nullptr);
    key.KeepIf(status == ERROR_SUCCESS);
    return key;
}

std::shared_ptr<RegistryKey> Share(RegistryHandle key)
{
    auto shared = std::make_shared<RegistryKey>(key.Get(), true);
    static_cast<void>(key.Release());
    return shared;
}

/// Errors of a read that mean no more than "nothing to read here".
bool IsExpected(LSTATUS status)
{
    return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND ||
           status == ERROR_ACCESS_DENIED || status == ERROR_INVALID_HANDLE;
}
} // namespace

std::shared_ptr<RegistryKey> RegistryKey::OpenRegistryKey(HKEY root, const std::wstring& subKey,
                                                          REGSAM access) noexcept
{
    RegistryHandle key;
    if (!key.KeepIf(RegOpenKeyExW(root, subKey.c_str(), 0, access, key.Receive()) == ERROR_SUCCESS))
    {
        return nullptr;
    }
    try
    {
        return Share(std::move(key));
    }
    catch (...)
    {
        // Out of memory: the key is closed again, as if it could not be opened.
        return nullptr;
    }
}

std::shared_ptr<RegistryKey> RegistryKey::CreateRegistryKey(HKEY root, const std::wstring& subKey,
                                                            REGSAM access,
                                                            std::wstring& errorText) noexcept
{
    try
    {
        errorText.clear();
        LSTATUS status = ERROR_SUCCESS;
        RegistryHandle key = Create(root, subKey, access, status);
        if (status == ERROR_SUCCESS)
        {
            return Share(std::move(key));
        }
        errorText = Format("RegCreateKeyEx(%s) failed! %s", subKey,
                           Win32ErrorText(static_cast<DWORD>(status)));
    }
    catch (...)
    {
        // Out of memory: no key, and as much of the text as there was room for.
    }
    return nullptr;
}

std::shared_ptr<RegistryKey> RegistryKey::CreateRegistryKey(HKEY root, const std::wstring& subKey,
                                                            REGSAM access)
{
    LSTATUS status = ERROR_SUCCESS;
    RegistryHandle key = Create(root, subKey, access, status);
    if (status != ERROR_SUCCESS)
    {
        throw ExceptionRegistryRequest(L"", SourceFile, CreateFailureLine,
                                       L"RegistryKey::CreateRegistryKey");
    }
    return Share(std::move(key));
}

RegistryKey::RegistryKey(HKEY key, bool owned) noexcept : handle(key), ownsHandle(owned) {}

RegistryKey::~RegistryKey()
{
    if (ownsHandle)
    {
        const RegistryHandle closer(handle);
    }
}

void RegistryKey::SetValue(const std::wstring& name, std::uint64_t number)
{
    static_assert(sizeof(number) == 8, "a REG_QWORD has 8 bytes");
    SetValue(name, REG_QWORD, &number, sizeof(number));
}

void RegistryKey::SetValue(const std::wstring& name, const std::wstring& text)
{
    SetValue(name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

void RegistryKey::SetValue(const std::wstring& name, DWORD type, const void* data, std::size_t size)
{
    if (RegSetValueExW(handle, name.c_str(), 0, type, static_cast<const BYTE*>(data),
                       static_cast<DWORD>(size)) != ERROR_SUCCESS)
    {
        throw ExceptionRegistryRequest(L"", SourceFile, __LINE__, L"RegistryKey::SetValue");
    }
}

bool RegistryKey::GetValue(const std::wstring& name, std::vector<std::uint8_t>& bytes) const
{
    bytes.clear();
    DWORD size = 0;
    LSTATUS status = RegQueryValueExW(handle, name.c_str(), nullptr, nullptr, nullptr, &size);
    const bool found = status == ERROR_SUCCESS;
    if (found && size != 0)
    {
        bytes.resize(size);
        status = RegQueryValueExW(handle, name.c_str(), nullptr, nullptr, bytes.data(), &size);
        // A value that has shrunk meanwhile gives fewer bytes; one that has gone gives none.
        bytes.resize(status == ERROR_SUCCESS ? size : 0);
    }
    if (!IsExpected(status))
    {
        throw ExceptionRegistryRequest(L"", SourceFile, __LINE__, L"RegistryKey::GetValue");
    }
    return found;
}

std::wstring RegistryKey::GetString(const std::wstring& name, const std::wstring& defaultText) const
{
    std::vector<std::uint8_t> bytes;
    if (!GetValue(name, bytes))
    {
        return defaultText;
    }
    const std::wstring_view text(reinterpret_cast<const wchar_t*>(bytes.data()),
                                 bytes.size() / sizeof(wchar_t));
    return std::wstring(text.substr(0, FindCharacter(text, L'\0')));
}

bool RegistryKey::EnumerateSubKeys(std::vector<std::wstring>& names) const
{
    names.clear();
    DWORD count = 0;
    DWORD longest = 0;
    if (handle == nullptr ||
        RegQueryInfoKeyW(handle, nullptr, nullptr, nullptr, &count, &longest, nullptr, nullptr,
                         nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS ||
        count == 0)
    {
        return false;
    }
    std::wstring name(longest + 1, L'\0');
    LSTATUS status = ERROR_SUCCESS;
    for (DWORD index = 0;; ++index)
    {
        auto length = static_cast<DWORD>(name.size());
        status =
            RegEnumKeyExW(handle, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
        if (status != ERROR_SUCCESS)
        {
            break;
        }
        names.emplace_back(name, 0, length);
    }
    if (status != ERROR_NO_MORE_ITEMS)
    {
        // A list with holes would leave hives out unseen.
        names.clear();
        return false;
    }
    return true;
}
