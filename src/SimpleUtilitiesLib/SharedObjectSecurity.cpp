#include "SharedObjectSecurity.h"

#include "WellKnownAccounts.h"

bool BuildSecurityDescriptor(PACL dacl, PACL sacl, SECURITY_DESCRIPTOR& descriptor)
{
    return InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) &&
           SetSecurityDescriptorDacl(&descriptor, TRUE, dacl, FALSE) &&
           (sacl == nullptr || SetSecurityDescriptorSacl(&descriptor, TRUE, sacl, FALSE)) &&
           IsValidSecurityDescriptor(&descriptor);
}

SharedObjectSecurityDescriptor BuildSharedObjectSecurityDescriptor()
{
    SharedObjectSecurityDescriptor shared;
    for (const WellKnownAccount& account : WellKnownAccounts::All)
    {
        Acl merged;
        if (!AddGrantToAcl(TrusteeName(account), GENERIC_ALL, shared.dacl.Get(), merged))
        {
            return shared;
        }
        shared.dacl = std::move(merged);
    }
    shared.isValid = BuildSecurityDescriptor(shared.dacl.Get(), nullptr, shared.descriptor);
    return shared;
}
