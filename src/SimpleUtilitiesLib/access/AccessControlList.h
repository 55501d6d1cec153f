#pragma once

#include "Owners.h"

#include <aclapi.h>

#include <string>

using Acl = LocalPointer<PACL>;

/// Whether other objects inherit from an object.
enum class ObjectKind
{
    Folder, ///< others inherit from its list
    Leaf    ///< nothing lies below it
};

/// Merges one entry into a copy of `oldAcl` (null: an empty list) of an object of that kind. If the
/// entry grants rights (GRANT_ACCESS) to an account by name, and the list already allows that
/// account something with the same inheritance (on a leaf: or with none), one entry with the rights
/// of both replaces the old one, so that repeated grants do not make the list grow. Any other entry
/// goes to SetEntriesInAclW unchanged, and so does one where the list denies that account something
/// by an entry that is not inherited. It removes the rights to grant, and no others, from denials
/// for the same account. False, with `newAcl` empty, on failure. Never throws.
bool AddExplicitAccessToAcl(const EXPLICIT_ACCESS_W& explicitAccess, PACL oldAcl, ObjectKind kind,
                            Acl& newAcl) noexcept;

/// The same for an inheritable entry that grants `rights` to `trusteeName`. Fails if that is empty.
bool AddGrantToAcl(const std::wstring& trusteeName, DWORD rights, PACL oldAcl, ObjectKind kind,
                   Acl& newAcl) noexcept;

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
