// Keys and values, in the caller's own hive under a key that does not outlive the system's start,
// and who may open what.
#include "Check.h"

#include <vector>

using namespace PalvoLab;

namespace
{

constexpr wchar_t kOutside[] = L"S-1-5-21-9-9-9-9999";
constexpr DWORD kTypes[] = {REG_NONE, REG_SZ,       REG_EXPAND_SZ, REG_BINARY,    REG_DWORD,
                            REG_LINK, REG_MULTI_SZ, REG_QWORD,     REG_DWORD + 70};

LSTATUS Open(HKEY root, const std::wstring& path, REGSAM access, HKEY* key = nullptr)
{
    HKEY opened = nullptr;
    const LSTATUS status = RegOpenKeyExW(root, path.c_str(), 0, access, &opened);
    if (key != nullptr)
    {
        *key = opened;
    }
    else if (status == ERROR_SUCCESS)
    {
        RegCloseKey(opened);
    }
    return status;
}

LSTATUS Create(const std::wstring& path, REGSAM access, HKEY& key)
{
    return RegCreateKeyExW(HKEY_USERS, path.c_str(), 0, nullptr, REG_OPTION_VOLATILE, access,
                           nullptr, &key, nullptr);
}

// A key of the caller's that is there for one statement.
class OwnKey
{
public:
    explicit OwnKey(REGSAM access) { CHECK(Create(m_path, access, m_key) == ERROR_SUCCESS); }

    OwnKey(const OwnKey&) = delete;
    OwnKey& operator=(const OwnKey&) = delete;

    ~OwnKey()
    {
        RegCloseKey(m_key);
        RegDeleteKeyW(HKEY_USERS, m_path.c_str());
    }

    [[nodiscard]] LSTATUS Set(DWORD type, const std::vector<BYTE>& bytes) const
    {
        return RegSetValueExW(m_key, L"value", 0, type, bytes.data(),
                              static_cast<DWORD>(bytes.size()));
    }

    [[nodiscard]] LSTATUS Read(DWORD& type, BYTE* bytes, DWORD& size) const
    {
        return RegQueryValueExW(m_key, L"value", nullptr, &type, bytes, &size);
    }

    [[nodiscard]] const std::wstring& Path() const { return m_path; }

private:
    std::wstring m_path = OwnSid() + L"\\Software\\PalvoContract";
    HKEY m_key = nullptr;
};

} // namespace

STATEMENT(AKeyIsGoodForWhatItWasOpenedFor, "RegSetValueExW, RegQueryValueExW", Caller::Anybody)
{
    DWORD type = 0;
    DWORD size = 0;
    CHECK(OwnKey(KEY_READ).Set(REG_SZ, {0, 0}) == ERROR_ACCESS_DENIED);
    CHECK(OwnKey(KEY_SET_VALUE).Read(type, nullptr, size) == ERROR_ACCESS_DENIED);
}

STATEMENT(AValueOfAnyTypeAndSizeIsReadAsItWasWritten, "RegSetValueExW, RegQueryValueExW",
          Caller::Anybody)
{
    const OwnKey key(KEY_READ | KEY_WRITE);
    for (const DWORD written : kTypes)
    {
        DWORD type = 0;
        std::vector<BYTE> bytes(10);
        auto size = static_cast<DWORD>(bytes.size());
        CHECK(key.Set(written, {1, 2, 3}) == ERROR_SUCCESS);
        CHECK(key.Read(type, bytes.data(), size) == ERROR_SUCCESS);
        bytes.resize(size);
        CHECK(type == written && (bytes == std::vector<BYTE>{1, 2, 3}));
    }
}

STATEMENT(AValueTellsTheSizeThatItNeeds, "RegQueryValueExW", Caller::Anybody)
{
    const OwnKey key(KEY_READ | KEY_WRITE);
    DWORD type = 0;
    DWORD size = 0;
    std::vector<BYTE> bytes(2);
    CHECK(key.Read(type, nullptr, size) == ERROR_FILE_NOT_FOUND);
    CHECK(key.Set(REG_SZ, {1, 0, 0, 0}) == ERROR_SUCCESS);
    CHECK(key.Read(type, nullptr, size) == ERROR_SUCCESS && size == 4);
    size = 2;
    CHECK(key.Read(type, bytes.data(), size) == ERROR_MORE_DATA && size == 4);
}

STATEMENT(AKeyThatWasDeletedIsNoGood, "RegSetValueExW", Caller::Anybody)
{
    const OwnKey key(KEY_READ | KEY_WRITE);
    CHECK(RegDeleteKeyW(HKEY_USERS, key.Path().c_str()) == ERROR_SUCCESS);
    CHECK(key.Set(REG_SZ, {0, 0}) == ERROR_KEY_DELETED);
    CHECK(Open(HKEY_USERS, key.Path(), KEY_READ) == ERROR_FILE_NOT_FOUND);
}

STATEMENT(AClosedKeyIsRefused, "RegCloseKey", Caller::Anybody)
{
    HKEY key = nullptr;
    CHECK(Open(HKEY_LOCAL_MACHINE, L"Software", KEY_READ, &key) == ERROR_SUCCESS);
    CHECK(RegCloseKey(key) == ERROR_SUCCESS);
    CHECK(RegCloseKey(key) == ERROR_INVALID_HANDLE);
}

STATEMENT(ACallersHiveIsAmongThoseThatAreThere, "RegEnumKeyExW", Caller::Anybody)
{
    bool isThere = false;
    wchar_t name[256] = {};
    DWORD size = 256;
    for (DWORD i = 0; RegEnumKeyExW(HKEY_USERS, i, name, &size, nullptr, nullptr, nullptr,
                                    nullptr) == ERROR_SUCCESS;
         ++i)
    {
        isThere = isThere || name == OwnSid();
        size = 256;
    }
    CHECK(isThere);
}

STATEMENT(NobodyMakesAHiveByCreatingAKey, "RegCreateKeyExW", Caller::Anybody)
{
    HKEY key = nullptr;
    CHECK(Create(kOutside, KEY_READ, key) == ERROR_INVALID_PARAMETER);
    CHECK(Open(HKEY_USERS, kOutside, KEY_READ) == ERROR_FILE_NOT_FOUND);
    if (key != nullptr)
    {
        RegCloseKey(key);
        RegDeleteKeyW(HKEY_USERS, kOutside);
    }
}

STATEMENT(UsersOpenTheDefaultHiveForReadingAndNoOthers, "RegOpenKeyExW", Caller::StandardUser)
{
    CHECK(Open(HKEY_USERS, L".Default\\Software", KEY_READ) == ERROR_SUCCESS);
    CHECK(Open(HKEY_USERS, L".Default\\Software", KEY_WRITE) == ERROR_ACCESS_DENIED);
    CHECK(Open(HKEY_USERS, L"S-1-5-19\\Software", KEY_READ) == ERROR_ACCESS_DENIED);
}

STATEMENT(AdministratorsOpenTheServicesHivesForWriting, "RegOpenKeyExW", Caller::Administrator)
{
    CHECK(Open(HKEY_USERS, L"S-1-5-18\\Software", KEY_WRITE) == ERROR_SUCCESS);
    CHECK(Open(HKEY_USERS, L"S-1-5-19\\Software", KEY_WRITE) == ERROR_SUCCESS);
}

STATEMENT(UsersWriteNothingUnderTheMachine, "RegOpenKeyExW", Caller::StandardUser)
{
    CHECK(Open(HKEY_LOCAL_MACHINE, L"Software", KEY_WRITE) == ERROR_ACCESS_DENIED);
    CHECK(Open(HKEY_LOCAL_MACHINE, L"Software", KEY_READ) == ERROR_SUCCESS);
}
