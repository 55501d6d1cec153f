#include "AccessControlList.h"

#include "Sids.h"

#include <vector>

namespace
{
/// A grant that an entry may be the same as.
struct Grant
{
    PSID sid;
    DWORD inheritance;
    ObjectKind kind;
};

/// The entry when it is an allowing one of the object's own for the same account, null otherwise.
///
/// On a leaf, an entry without inheritance flags counts as one with them: a file stores its entries
/// without the flags that they were granted with. Otherwise every run of the program would find no
/// entry of its own and add another, and the file's list would grow for ever. On a folder such an
/// entry is for the folder alone, and what lies below it must not inherit its rights.
const ACCESS_ALLOWED_ACE* AsSameGrant(const ACE_HEADER* entry, const Grant& grant)
{
    const bool inheritsTheSame = entry->AceFlags == grant.inheritance ||
                                 (entry->AceFlags == 0 && grant.kind == ObjectKind::Leaf);
    if (entry->AceType != ACCESS_ALLOWED_ACE_TYPE || !inheritsTheSame)
    {
        return nullptr;
    }
    const auto* allowed = reinterpret_cast<const ACCESS_ALLOWED_ACE*>(entry);
    return EqualSid(const_cast<DWORD*>(&allowed->SidStart), grant.sid) ? allowed : nullptr;
}

/// Copies `oldAcl` without the entries that are the same as `grant`, whose rights are added to
/// `rights`. Null when a step fails.
Acl CopyWithoutTheSame(const Grant& grant, PACL oldAcl, DWORD& rights)
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
        if (const ACCESS_ALLOWED_ACE* same = AsSameGrant(header, grant))
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

/// The list with the entry merged into it; null when a step fails.
Acl Merge(EXPLICIT_ACCESS_W explicitAccess, PACL oldAcl, ObjectKind kind)
{
    Acl others;
    // Only a grant may take over the rights of the entries that it replaces: of a denial or of a
    // new set of rights something else would become.
    if (oldAcl != nullptr && explicitAccess.grfAccessMode == GRANT_ACCESS &&
        explicitAccess.Trustee.TrusteeForm == TRUSTEE_IS_NAME)
    {
        std::vector<BYTE> sid;
        if (LookupSidFromAccountName(explicitAccess.Trustee.ptstrName, sid))
        {
            others = CopyWithoutTheSame({sid.data(), explicitAccess.grfInheritance, kind}, oldAcl,
                                        explicitAccess.grfAccessPermissions);
            if (!others)
            {
                return {};
            }
            oldAcl = others.Get();
        }
        else if (GetLastError() != ERROR_NONE_MAPPED)
        {
            return {};
        }
        // A name that no account has may still be one that the system knows.
    }
    Acl merged;
    merged.KeepIf(SetEntriesInAclW(1, &explicitAccess, oldAcl, merged.Receive()) == ERROR_SUCCESS);
    return merged;
}
} // namespace

bool AddExplicitAccessToAcl(const EXPLICIT_ACCESS_W& explicitAccess, PACL oldAcl, ObjectKind kind,
                            Acl& newAcl) noexcept
{
    try
    {
        newAcl = Merge(explicitAccess, oldAcl, kind);
    }
    catch (...)
    {
        // Out of memory.
        newAcl.Reset();
    }
    return newAcl.IsValid();
}

bool AddGrantToAcl(const std::wstring& trusteeName, DWORD rights, PACL oldAcl, ObjectKind kind,
                   Acl& newAcl) noexcept
{
    EXPLICIT_ACCESS_W explicitAccess = {};
    // The name is only pointed to.
    BuildExplicitAccessWithNameW(&explicitAccess, const_cast<wchar_t*>(trusteeName.c_str()), rights,
                                 GRANT_ACCESS, SUB_CONTAINERS_AND_OBJECTS_INHERIT);
    return AddExplicitAccessToAcl(explicitAccess, oldAcl, kind, newAcl);
}
