#include "AccessControlList.h"

#include "Sids.h"

#include <vector>

namespace
{
/// The entry when it is an allowing one of the object's own for `sid`, null otherwise.
///
/// An entry without inheritance flags counts as one with them: a file, below which nothing lies,
/// stores its entries without the flags that they were granted with. Otherwise every run of the
/// program would find no entry of its own and add another, and the file's list would grow for ever.
const ACCESS_ALLOWED_ACE* AsSameGrant(const ACE_HEADER* entry, PSID sid, DWORD inheritance)
{
    if (entry->AceType != ACCESS_ALLOWED_ACE_TYPE ||
        (entry->AceFlags != inheritance && entry->AceFlags != 0))
    {
        return nullptr;
    }
    const auto* allowed = reinterpret_cast<const ACCESS_ALLOWED_ACE*>(entry);
    return EqualSid(const_cast<DWORD*>(&allowed->SidStart), sid) ? allowed : nullptr;
}

/// Copies `oldAcl` without the grants for `sid`, whose rights are added to `rights`. Null when the
/// list cannot be read.
Acl CopyWithoutGrantsFor(PSID sid, PACL oldAcl, DWORD inheritance, DWORD& rights)
{
    ACL_SIZE_INFORMATION information = {};
    if (!GetAclInformation(oldAcl, &information, sizeof(information), AclSizeInformation))
    {
        return {};
    }
    const DWORD size = information.AclBytesInUse;
    Acl copy(static_cast<PACL>(LocalAlloc(LPTR, size)));
    if (!copy || !InitializeAcl(copy.Get(), size, oldAcl->AclRevision))
    {
        return {};
    }
    DWORD gathered = 0;
    for (DWORD index = 0; index < information.AceCount; ++index)
    {
        void* entry = nullptr;
        if (!GetAce(oldAcl, index, &entry))
        {
            return {};
        }
        const auto* header = static_cast<const ACE_HEADER*>(entry);
        if (const ACCESS_ALLOWED_ACE* same = AsSameGrant(header, sid, inheritance))
        {
            gathered |= same->Mask;
        }
        else if (!AddAce(copy.Get(), oldAcl->AclRevision, MAXDWORD, entry, header->AceSize))
        {
            return {};
        }
    }
    rights |= gathered;
    return copy;
}
} // namespace

bool AddExplicitAccessToAcl(EXPLICIT_ACCESS_W explicitAccess, PACL oldAcl, Acl& newAcl)
{
    Acl others;
    std::vector<BYTE> sid;
    // Only a grant may take over the rights of the entries that it replaces: of a denial or of a
    // new set of rights something else would become.
    if (oldAcl != nullptr && explicitAccess.grfAccessMode == GRANT_ACCESS &&
        explicitAccess.Trustee.TrusteeForm == TRUSTEE_IS_NAME &&
        LookupSidFromAccountName(explicitAccess.Trustee.ptstrName, sid))
    {
        others = CopyWithoutGrantsFor(sid.data(), oldAcl, explicitAccess.grfInheritance,
                                      explicitAccess.grfAccessPermissions);
    }
    // When the account or the list cannot be read, the system decides what it makes of the two.
    PACL base = others ? others.Get() : oldAcl;
    Acl merged;
    if (SetEntriesInAclW(1, &explicitAccess, base, merged.Receive()) != ERROR_SUCCESS)
    {
        newAcl.Reset();
        return false;
    }
    newAcl = std::move(merged);
    return newAcl.IsValid();
}

bool AddGrantToAcl(const std::wstring& trusteeName, DWORD rights, PACL oldAcl, Acl& newAcl)
{
    std::wstring name = trusteeName;
    EXPLICIT_ACCESS_W explicitAccess = {};
    BuildExplicitAccessWithNameW(&explicitAccess, name.data(), rights, GRANT_ACCESS,
                                 SUB_CONTAINERS_AND_OBJECTS_INHERIT);
    return AddExplicitAccessToAcl(explicitAccess, oldAcl, newAcl);
}
