#pragma once

#include "AccessControlList.h"

/// Makes a descriptor of a DACL and, when there is one, a SACL. False when the system finds the
/// result not valid. The descriptor points into both lists.
bool BuildSecurityDescriptor(PACL dacl, PACL sacl, SECURITY_DESCRIPTOR& descriptor) noexcept;

/// A security descriptor and the list that it points into.
struct SharedObjectSecurityDescriptor
{
    bool isValid = false;
    Acl dacl;
    SECURITY_DESCRIPTOR descriptor = {};
};

/// The descriptor of an object that every account which runs the program must be able to open: full
/// access for Local Service, Administrators and Authenticated Users. `isValid` is false when it
/// could not be built. Never throws.
SharedObjectSecurityDescriptor BuildSharedObjectSecurityDescriptor() noexcept;
