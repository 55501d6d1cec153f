#pragma once

#include "AccessControlList.h"

/// Builds a descriptor from a DACL and, if there is one, a SACL. False if the result is not valid.
/// The descriptor points to both lists.
bool BuildSecurityDescriptor(PACL dacl, PACL sacl, SECURITY_DESCRIPTOR& descriptor) noexcept;

/// A security descriptor and the list that it points to.
struct SharedObjectSecurityDescriptor
{
    bool isValid = false;
    Acl dacl;
    SECURITY_DESCRIPTOR descriptor = {};
};

/// The descriptor of an object that every account running the program must be able to open: full
/// access for Local Service, Administrators and Authenticated Users. `isValid` is false if it could
/// not be built. Never throws.
SharedObjectSecurityDescriptor BuildSharedObjectSecurityDescriptor() noexcept;
