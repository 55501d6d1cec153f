#include "AccessControlList.h"

#include "Sids.h"
#include "WellKnownAccounts.h"

#include <optional>
#include <vector>

namespace
{
/// A grant to compare entries with.
struct Grant
{
    PSID sid;
    DWORD inheritance;
    ObjectKind kind;
};

/// The entry if it is an allowing, not inherited one for the same account; else null.
///
/// On a leaf, an entry without inheritance flags matches too: a file stores its entries without the
/// flags that were granted. Otherwise every run would add an entry and the file's list would grow
/// without end. On a folder such an entry applies to the folder alone, and its rights must not be
/// inherited.
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

/// Whether the list has a denial for the account that is not inherited; nothing on failure.
std::optional<bool> Denies(PACL list, PSID sid)
{
    bool denies = false;
    for (DWORD index = 0; index < list->AceCount; ++index)
    {
        void* entry = nullptr;
        if (!GetAce(list, index, &entry))
        {
            return std::nullopt;
        }
        const auto* denial = static_cast<const ACCESS_DENIED_ACE*>(entry);
        denies = denies || (denial->Header.AceType == ACCESS_DENIED_ACE_TYPE &&
                            (denial->Header.AceFlags & INHERITED_ACE) == 0 &&
                            EqualSid(const_cast<DWORD*>(&denial->SidStart), sid));
    }
    return denies;
}

/// Copies `oldAcl` without the entries that match `grant`, and adds their rights to `rights`. Null
/// on failure. Where the account is denied something, all entries stay: SetEntriesInAclW would take
/// the rights off the denial.
Acl CopyWithoutTheSame(const Grant& grant, PACL oldAcl, DWORD& rights)
{
    const std::optional<bool> denies = Denies(oldAcl, grant.sid);
    ACL_SIZE_INFORMATION information = {};
    if (!denies ||
        !GetAclInformation(oldAcl, &information, sizeof(information), AclSizeInformation))
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
        if (const ACCESS_ALLOWED_ACE* same = *denies ? nullptr : AsSameGrant(header, grant))
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

/// The list with the entry merged; null on failure.
Acl Merge(EXPLICIT_ACCESS_W explicitAccess, PACL oldAcl, ObjectKind kind)
{
    Acl others;
    // Merge only grants; merging a deny or set entry would change its meaning.
    if (oldAcl != nullptr && explicitAccess.grfAccessMode == GRANT_ACCESS &&
        explicitAccess.Trustee.TrusteeForm == TRUSTEE_IS_NAME)
    {
        const std::wstring name = explicitAccess.Trustee.ptstrName;
        // A look-up goes to another process, and the log's mutex may be held meanwhile.
        std::vector<BYTE> sid = AccountNames::OfThisRun().SidOf(name);
        if (!sid.empty() || LookupSidFromAccountName(name, sid))
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
        // SetEntriesInAclW may know a name that is no account's.
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
    if (trusteeName.empty()) // no memory for it; Windows would take it for another account's
    {
        newAcl.Reset();
        return false;
    }
    EXPLICIT_ACCESS_W explicitAccess = {};
    // The entry keeps only a pointer to the name.
    BuildExplicitAccessWithNameW(&explicitAccess, const_cast<wchar_t*>(trusteeName.c_str()), rights,
                                 GRANT_ACCESS, SUB_CONTAINERS_AND_OBJECTS_INHERIT);
    return AddExplicitAccessToAcl(explicitAccess, oldAcl, kind, newAcl);
}

bool BuildSecurityDescriptor(PACL dacl, PACL sacl, SECURITY_DESCRIPTOR& descriptor) noexcept
{
    return InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) &&
           SetSecurityDescriptorDacl(&descriptor, TRUE, dacl, FALSE) &&
           (sacl == nullptr || SetSecurityDescriptorSacl(&descriptor, TRUE, sacl, FALSE)) &&
           IsValidSecurityDescriptor(&descriptor);
}

SharedObjectSecurityDescriptor BuildSharedObjectSecurityDescriptor() noexcept
{
    SharedObjectSecurityDescriptor shared;
    for (const WellKnownAccount& account : WellKnownAccounts::All)
    {
        Acl merged;
        if (!AddGrantToAcl(TrusteeName(account), GENERIC_ALL, shared.dacl.Get(), ObjectKind::Leaf,
                           merged))
        {
            return shared;
        }
        shared.dacl = std::move(merged);
    }
    shared.isValid = BuildSecurityDescriptor(shared.dacl.Get(), nullptr, shared.descriptor);
    return shared;
}
