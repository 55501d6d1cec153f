#include "Hives.h"

#include "Accounts.h"
#include "LabLock.h"
#include "LabState.h"
#include "Text.h"

#include <winternl.h>

#include <algorithm>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kHiveLock[] = L"Global\\PalvoLabHives";
constexpr wchar_t kDataPath[] = L"\\Registry\\Machine\\Software\\PalvoLab\\Hives\\";
constexpr wchar_t kLinkValue[] = L"SymbolicLinkValue";
constexpr wchar_t kClasses[] = L"_Classes";

struct Mount
{
    std::wstring name;   // in HKEY_USERS
    std::wstring target; // kernel path
};

// Windows keeps the hives of the service accounts loaded always and a user's while he is logged on,
// each user's with a second one for Software\Classes.
std::vector<Mount> WantedMounts()
{
    std::vector<Mount> mounts = {
        {L"S-1-5-18", L"\\Registry\\User\\.Default"},
        {L"S-1-5-19", std::wstring(kDataPath) + L"S-1-5-19"},
        {L"S-1-5-20", std::wstring(kDataPath) + L"S-1-5-20"},
    };
    for (const Session& session : Sessions())
    {
        const auto user = session.user.empty() ? std::nullopt : FindUser(session.user);
        if (user && session.hasHive)
        {
            const std::wstring data = kDataPath + user->sid;
            mounts.push_back({user->sid, data});
            mounts.push_back({user->sid + kClasses, data + L"\\Software\\Classes"});
        }
    }
    return mounts;
}

HKEY OpenLink(const std::wstring& name, REGSAM access)
{
    HKEY key = nullptr;
    return RegOpenKeyExW(HKEY_USERS, name.c_str(), REG_OPTION_OPEN_LINK, access, &key) ==
                   ERROR_SUCCESS
               ? key
               : nullptr;
}

std::wstring LinkTarget(const std::wstring& name)
{
    const LabKey key(OpenLink(name, KEY_READ));
    wchar_t target[512] = {};
    DWORD size = sizeof target - sizeof(wchar_t);
    DWORD type = 0;
    const bool isLink =
        key && RegQueryValueExW(key.Get(), kLinkValue, nullptr, &type,
                                reinterpret_cast<BYTE*>(target), &size) == ERROR_SUCCESS;
    return isLink && type == REG_LINK ? std::wstring(target, size / sizeof(wchar_t)) : L"";
}

void Unmount(const std::wstring& name)
{
    if (LinkTarget(name).empty())
    {
        // A plain key: something wrote to the hive while it was not mounted.
        RegDeleteTreeW(HKEY_USERS, name.c_str());
        return;
    }
    const LabKey key(OpenLink(name, DELETE));
    using DeleteKey = NTSTATUS(WINAPI*)(HANDLE);
    static const auto deleteKey = reinterpret_cast<DeleteKey>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll"), "NtDeleteKey")));
    deleteKey(key.Get());
}

void MountOne(const Mount& mount)
{
    if (LinkTarget(mount.name) == mount.target)
    {
        return;
    }
    Unmount(mount.name);
    const std::wstring machine = L"\\Registry\\Machine\\";
    if (StartsWithNoCase(mount.target, machine))
    {
        LabKey::Create(HKEY_LOCAL_MACHINE, mount.target.substr(machine.size()) + L"\\Software");
    }
    HKEY key = nullptr;
    if (RegCreateKeyExW(HKEY_USERS, mount.name.c_str(), 0, nullptr,
                        REG_OPTION_VOLATILE | REG_OPTION_CREATE_LINK, KEY_ALL_ACCESS, nullptr, &key,
                        nullptr) == ERROR_SUCCESS)
    {
        // A link's target has no terminator.
        RegSetValueExW(key, kLinkValue, 0, REG_LINK,
                       reinterpret_cast<const BYTE*>(mount.target.c_str()),
                       static_cast<DWORD>(mount.target.size() * sizeof(wchar_t)));
        RegCloseKey(key);
    }
}

constexpr wchar_t kWinesUser[] = L"S-1-5-21-0-0-0-1000";

bool IsWinesOwn(const std::wstring& name)
{
    return EqualNoCase(name, L".Default") || StartsWithNoCase(name, kWinesUser);
}

std::wstring ReadOnlyName(const std::wstring& sid)
{
    return L"HiveReadOnly " + sid;
}

} // namespace

bool HasWinesUser()
{
    return static_cast<bool>(LabKey::Open(HKEY_USERS, kWinesUser));
}

void MountHives()
{
    const LabLock lock(kHiveLock);
    const std::vector<Mount> wanted = WantedMounts();
    for (const std::wstring& name : MountedHives())
    {
        const bool keep =
            std::any_of(wanted.begin(), wanted.end(),
                        [&name](const Mount& mount) { return EqualNoCase(mount.name, name); });
        if (!keep && !IsWinesOwn(name))
        {
            Unmount(name);
        }
    }
    for (const Mount& mount : wanted)
    {
        MountOne(mount);
    }
}

void ResetHives()
{
    const LabLock lock(kHiveLock);
    for (const std::wstring& name : MountedHives())
    {
        if (!IsWinesOwn(name))
        {
            Unmount(name);
        }
    }
    RemoveStateKey(L"Hives");
}

std::vector<std::wstring> MountedHives()
{
    return LabKey::Open(HKEY_USERS, L"").SubkeyNames();
}

std::optional<std::wstring> HiveOfKernelPath(const std::wstring& path)
{
    for (const wchar_t* prefix : {L"\\Registry\\User\\", kDataPath})
    {
        if (!StartsWithNoCase(path, prefix))
        {
            continue;
        }
        const std::size_t begin = std::wstring_view(prefix).size();
        std::wstring name = path.substr(begin, path.find(L'\\', begin) - begin);
        const std::wstring_view classes = kClasses;
        if (name.size() > classes.size() &&
            EqualNoCase(std::wstring_view(name).substr(name.size() - classes.size()), classes))
        {
            name.resize(name.size() - classes.size());
        }
        return EqualNoCase(name, L".Default") ? L"S-1-5-18" : name;
    }
    return std::nullopt;
}

bool IsHiveReadOnly(const std::wstring& sid)
{
    return Setting(ReadOnlyName(sid)) == L"on";
}

void SetHiveReadOnly(const std::wstring& sid, bool readOnly)
{
    if (readOnly)
    {
        WriteSetting(ReadOnlyName(sid), L"on");
    }
    else
    {
        RemoveSetting(ReadOnlyName(sid));
    }
}

} // namespace PalvoLab
