// Doubles of the registry functions that an account's rights decide about. The registry itself is
// Wine's.
#include "DoubleTable.h"
#include "Impersonation.h"
#include "OddReads.h"

#include "CallRecord.h"
#include "Hives.h"
#include "LeakRecord.h"
#include "Text.h"
#include "Turn.h"

#include <winternl.h>

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kKind[] = L"registry key";
constexpr int kKeyNameInformation = 3;
constexpr REGSAM kWriteRights = KEY_SET_VALUE | KEY_CREATE_SUB_KEY | KEY_CREATE_LINK | DELETE |
                                WRITE_DAC | WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;

bool IsPredefined(HKEY key)
{
    return (reinterpret_cast<std::uintptr_t>(key) & 0xFFFFFFFFU) >= 0x80000000U;
}

std::wstring KernelName(HKEY key)
{
    using QueryKey = NTSTATUS(WINAPI*)(HANDLE, int, void*, ULONG, ULONG*);
    static const auto queryKey = reinterpret_cast<QueryKey>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll"), "NtQueryKey")));
    struct
    {
        ULONG length;
        wchar_t name[1024];
    } information = {};
    ULONG size = 0;
    if (queryKey(key, kKeyNameInformation, &information, sizeof information, &size) != 0)
    {
        return {};
    }
    return {information.name, information.length / sizeof(wchar_t)};
}

// Where a key lies, in the kernel's words; empty when the lab does not care.
std::wstring KernelPath(HKEY root, LPCWSTR subkey)
{
    std::wstring path;
    if (root == HKEY_USERS)
    {
        path = L"\\Registry\\User";
    }
    else if (root == HKEY_LOCAL_MACHINE)
    {
        path = L"\\Registry\\Machine";
    }
    else if (!IsPredefined(root))
    {
        path = KernelName(root);
    }
    if (!path.empty() && subkey != nullptr && *subkey != L'\0')
    {
        path += std::wstring(L"\\") + subkey;
    }
    return path;
}

// What Windows's access check would say: 0 or the error.
DWORD Check(const std::wstring& path, REGSAM access)
{
    if (const DWORD error = LevelError(); error != ERROR_SUCCESS)
    {
        return error;
    }
    const bool writes = (access & kWriteRights) != 0;
    const Identity identity = EffectiveIdentity();
    const auto hive = HiveOfKernelPath(path);
    if (!hive)
    {
        return writes && !identity.isAdministrator && !path.empty() ? ERROR_ACCESS_DENIED
                                                                    : ERROR_SUCCESS;
    }
    if (writes && IsHiveReadOnly(*hive))
    {
        return ERROR_ACCESS_DENIED;
    }
    if (identity.isAdministrator || EqualNoCase(identity.sid, *hive))
    {
        return ERROR_SUCCESS;
    }
    // Everybody may look into the default user's hive; nobody else's is open to others.
    return *hive == L"S-1-5-18" && !writes ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

// A hive that is not mounted cannot be made by creating a key.
bool IsUnmountedHive(HKEY root, LPCWSTR subkey)
{
    if (root != HKEY_USERS || subkey == nullptr)
    {
        return false;
    }
    const std::wstring path = subkey;
    HKEY hive = nullptr;
    if (RegOpenKeyExW(HKEY_USERS, path.substr(0, path.find(L'\\')).c_str(), 0, KEY_READ, &hive) !=
        ERROR_SUCCESS)
    {
        return true;
    }
    RegCloseKey(hive);
    return false;
}

bool Exists(HKEY root, LPCWSTR subkey)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, subkey, 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS)
    {
        return false;
    }
    RegCloseKey(key);
    return true;
}

LSTATUS WINAPI DoubleRegOpenKeyExW(HKEY root, LPCWSTR subkey, DWORD options, REGSAM access,
                                   PHKEY key)
{
    const std::wstring path = KernelPath(root, subkey);
    Call call(L"RegOpenKeyExW", path, access);
    // What is not there is told apart from what is denied before the rights are looked at.
    if (key != nullptr && Exists(root, subkey))
    {
        if (const DWORD error = Check(path, access); error != ERROR_SUCCESS)
        {
            return call.Return(static_cast<LSTATUS>(error));
        }
    }
    const LSTATUS status = RegOpenKeyExW(root, subkey, options, access, key);
    if (status == ERROR_SUCCESS && !IsPredefined(*key))
    {
        CountOpened(kKind, *key, path);
    }
    return call.Return(status);
}

LSTATUS WINAPI DoubleRegCreateKeyExW(HKEY root, LPCWSTR subkey, DWORD reserved, LPWSTR keyClass,
                                     DWORD options, REGSAM access,
                                     const LPSECURITY_ATTRIBUTES attributes, PHKEY key,
                                     LPDWORD disposition)
{
    const std::wstring path = KernelPath(root, subkey);
    Call call(L"RegCreateKeyExW", path, access);
    if (IsUnmountedHive(root, subkey))
    {
        return call.Return(LSTATUS{ERROR_INVALID_PARAMETER});
    }
    const REGSAM wanted = Exists(root, subkey) ? access : access | KEY_CREATE_SUB_KEY;
    if (const DWORD error = Check(path, wanted); error != ERROR_SUCCESS)
    {
        return call.Return(static_cast<LSTATUS>(error));
    }
    const LSTATUS status = RegCreateKeyExW(root, subkey, reserved, keyClass, options, access,
                                           attributes, key, disposition);
    if (status == ERROR_SUCCESS && !IsPredefined(*key))
    {
        CountOpened(kKind, *key, path);
    }
    return call.Return(status);
}

LSTATUS WINAPI DoubleRegCloseKey(HKEY key)
{
    Call call(L"RegCloseKey", DetailOf(kKind, key));
    if (!IsPredefined(key) && !CountClosed(kKind, key))
    {
        return call.Return(LSTATUS{ERROR_INVALID_HANDLE});
    }
    return call.Return(RegCloseKey(key));
}

// Waits for the turn before a call with a value of the machine's.
void TakeTurnWith(const wchar_t* function, HKEY key, LPCWSTR name)
{
    if (IsInTurns() && DetailOf(kKind, key).starts_with(L"\\Registry\\Machine"))
    {
        TakeTurn(std::wstring(function) + L" value " + (name == nullptr ? L"" : name));
    }
}

LSTATUS WINAPI DoubleRegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type,
                                    const BYTE* data, DWORD size)
{
    TakeTurnWith(L"RegSetValueExW", key, name);
    const RecordInOrder order;
    Call call(L"RegSetValueExW", DetailOf(kKind, key), name, type, size);
    if (type == REG_QWORD && size == sizeof(std::uint64_t) && data != nullptr)
    {
        call.Add(*reinterpret_cast<const std::uint64_t*>(data));
    }
    return call.Return(RegSetValueExW(key, name, reserved, type, data, size));
}

// A value that became shorter, or is of another type than everybody expects.
LSTATUS QueryOddly(const OddRead& odd, HKEY key, LPCWSTR name, LPDWORD type, LPBYTE data,
                   LPDWORD size)
{
    DWORD found = REG_NONE;
    DWORD length = 0;
    LSTATUS status = RegQueryValueExW(key, name, nullptr, &found, nullptr, &length);
    std::vector<BYTE> bytes(length);
    if (status == ERROR_SUCCESS)
    {
        status = RegQueryValueExW(key, name, nullptr, &found, bytes.data(), &length);
    }
    if (status != ERROR_SUCCESS || size == nullptr)
    {
        return status;
    }
    bytes.resize(length);
    if (odd.wrongType)
    {
        const bool isNumber = found == REG_DWORD || found == REG_QWORD;
        found = isNumber ? REG_SZ : REG_DWORD;
        bytes = {static_cast<BYTE>(isNumber ? 'x' : 1), 0, 0, 0};
    }
    else
    {
        bytes.resize(std::min<std::size_t>(bytes.size(), odd.bytes));
    }
    const DWORD room = std::exchange(*size, static_cast<DWORD>(bytes.size()));
    if (type != nullptr)
    {
        *type = found;
    }
    if (data == nullptr)
    {
        return ERROR_SUCCESS;
    }
    if (room < bytes.size())
    {
        return ERROR_MORE_DATA;
    }
    std::copy(bytes.begin(), bytes.end(), data);
    return ERROR_SUCCESS;
}

LSTATUS WINAPI DoubleRegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type,
                                      LPBYTE data, LPDWORD size)
{
    TakeTurnWith(L"RegQueryValueExW", key, name);
    Call call(L"RegQueryValueExW", DetailOf(kKind, key), name);
    if (const auto odd = TakeOddRead())
    {
        return call.Return(QueryOddly(*odd, key, name, type, data, size));
    }
    return call.Return(RegQueryValueExW(key, name, reserved, type, data, size));
}

LSTATUS WINAPI DoubleRegDeleteValueW(HKEY key, LPCWSTR name)
{
    Call call(L"RegDeleteValueW", DetailOf(kKind, key), name);
    return call.Return(RegDeleteValueW(key, name));
}

} // namespace

void AddRegistryDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "ADVAPI32", RegOpenKeyExW);
    PALVOLAB_DOUBLE(list, "ADVAPI32", RegCreateKeyExW);
    PALVOLAB_DOUBLE(list, "ADVAPI32", RegCloseKey);
    PALVOLAB_DOUBLE(list, "ADVAPI32", RegSetValueExW);
    PALVOLAB_DOUBLE(list, "ADVAPI32", RegQueryValueExW);
    PALVOLAB_DOUBLE(list, "ADVAPI32", RegDeleteValueW);
}

} // namespace PalvoLab
