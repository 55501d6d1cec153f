#include "AccessList.h"

#include <sddl.h>

#include <algorithm>

namespace PalvoLab
{
namespace
{

bool IsAmong(PSID sid, const std::vector<std::wstring>& groups)
{
    return std::find(groups.begin(), groups.end(), SidText(sid)) != groups.end();
}

bool IsOwner(PSECURITY_DESCRIPTOR descriptor, const std::vector<std::wstring>& groups)
{
    PSID owner = nullptr;
    BOOL defaulted = FALSE;
    return GetSecurityDescriptorOwner(descriptor, &owner, &defaulted) && IsAmong(owner, groups);
}

// Entries count in their order: what one allowed no later one denies.
bool ListAllows(PACL list, const std::vector<std::wstring>& groups, DWORD wanted,
                GENERIC_MAPPING rights)
{
    for (DWORD i = 0; i < list->AceCount && wanted != 0; ++i)
    {
        void* entry = nullptr;
        GetAce(list, i, &entry);
        // Entries that deny look the same.
        auto* ace = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        const bool counts = (ace->Header.AceFlags & INHERIT_ONLY_ACE) == 0 &&
                            ace->Header.AceType <= ACCESS_DENIED_ACE_TYPE &&
                            IsAmong(&ace->SidStart, groups);
        DWORD mask = counts ? ace->Mask : 0;
        MapGenericMask(&mask, &rights);
        if (ace->Header.AceType == ACCESS_DENIED_ACE_TYPE && (mask & wanted) != 0)
        {
            return false;
        }
        wanted &= ~mask;
    }
    return wanted == 0;
}

} // namespace

Descriptor ParseDescriptor(const std::wstring& text)
{
    PSECURITY_DESCRIPTOR parsed = nullptr;
    ULONG size = 0;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1,
                                                              &parsed, &size))
    {
        return {};
    }
    const auto* bytes = static_cast<const BYTE*>(parsed);
    Descriptor descriptor(bytes, bytes + size);
    LocalFree(parsed);
    return descriptor;
}

std::wstring DescriptorText(PSECURITY_DESCRIPTOR descriptor, SECURITY_INFORMATION what)
{
    LPWSTR text = nullptr;
    if (!ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1, what,
                                                              &text, nullptr))
    {
        return {};
    }
    const std::wstring copy = text;
    LocalFree(text);
    return copy;
}

std::wstring SidText(PSID sid)
{
    LPWSTR text = nullptr;
    if (sid == nullptr || !ConvertSidToStringSidW(sid, &text))
    {
        return {};
    }
    const std::wstring copy = text;
    LocalFree(text);
    return copy;
}

PACL ListOf(PSECURITY_DESCRIPTOR descriptor)
{
    PACL list = nullptr;
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    GetSecurityDescriptorDacl(descriptor, &present, &list, &defaulted);
    return present ? list : nullptr;
}

void TakeOffDenials(PACL list, PSID account, DWORD rights)
{
    for (DWORD i = list->AceCount; i-- > 0;)
    {
        void* entry = nullptr;
        GetAce(list, i, &entry);
        auto* ace = static_cast<ACCESS_DENIED_ACE*>(entry);
        if (ace->Header.AceType != ACCESS_DENIED_ACE_TYPE ||
            (ace->Header.AceFlags & INHERITED_ACE) != 0 || !EqualSid(&ace->SidStart, account))
        {
            continue;
        }
        ace->Mask &= ~rights;
        if (ace->Mask == 0)
        {
            DeleteAce(list, i);
        }
    }
}

void PutInOrder(PACL list)
{
    std::vector<std::vector<BYTE>> entries;
    while (list->AceCount != 0)
    {
        void* entry = nullptr;
        GetAce(list, 0, &entry);
        const auto* bytes = static_cast<const BYTE*>(entry);
        entries.emplace_back(bytes, bytes + static_cast<ACE_HEADER*>(entry)->AceSize);
        DeleteAce(list, 0);
    }
    const auto rank = [](const std::vector<BYTE>& entry)
    {
        const auto& header = reinterpret_cast<const ACE_HEADER&>(entry[0]);
        return (header.AceFlags & INHERITED_ACE) != 0     ? 2
               : header.AceType == ACCESS_DENIED_ACE_TYPE ? 0
                                                          : 1;
    };
    std::stable_sort(entries.begin(), entries.end(),
                     [&rank](const auto& left, const auto& right)
                     { return rank(left) < rank(right); });
    for (std::vector<BYTE>& entry : entries)
    {
        AddAce(list, list->AclRevision, MAXDWORD, entry.data(), static_cast<DWORD>(entry.size()));
    }
}

bool Allows(PSECURITY_DESCRIPTOR descriptor, const Identity& identity, DWORD access,
            GENERIC_MAPPING rights)
{
    const std::vector<std::wstring> groups = identity.EnabledSids();
    MapGenericMask(&access, &rights);
    access &= ~DWORD{MAXIMUM_ALLOWED};
    if (IsOwner(descriptor, groups))
    {
        access &= ~DWORD{READ_CONTROL | WRITE_DAC};
    }
    const PACL list = ListOf(descriptor);
    return list == nullptr || ListAllows(list, groups, access, rights);
}

std::wstring OwnerOf(const Identity& creator)
{
    return creator.isAdministrator ? L"S-1-5-32-544" : creator.sid;
}

std::wstring DefaultList(const Identity& creator)
{
    if (creator.IsSystem())
    {
        return L"D:(A;;GA;;;SY)(A;;GRGX;;;BA)";
    }
    return L"D:(A;;GA;;;SY)(A;;GA;;;" + OwnerOf(creator) + L")";
}

} // namespace PalvoLab
