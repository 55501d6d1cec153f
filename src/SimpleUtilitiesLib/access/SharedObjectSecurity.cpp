#include "SharedObjectSecurity.h"

#include "WellKnownAccounts.h"

namespace
{
bool AddFullAccess(const WellKnownAccount& account, PACL dacl, Acl& merged) noexcept
{
    try
    {
        return AddGrantToAcl(TrusteeName(account), GENERIC_ALL, dacl, ObjectKind::Leaf, merged);
    }
    catch (...)
    {
        // No memory for the account's name.
        return false;
    }
}
} // namespace

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
        if (!AddFullAccess(account, shared.dacl.Get(), merged))
        {
            return shared;
        }
        shared.dacl = std::move(merged);
    }
    shared.isValid = BuildSecurityDescriptor(shared.dacl.Get(), nullptr, shared.descriptor);
    return shared;
}
