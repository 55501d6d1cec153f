#pragma once

#include "Owners.h"

#include <aclapi.h>

#include <string>

using Acl = LocalPointer<PACL>;

/// What an object is to those that lie below it.
enum class ObjectKind
{
    Folder, ///< others inherit from its list
    Leaf    ///< nothing lies below it
};

/// Merges one entry into a copy of `oldAcl` (null: an empty list) of an object of that kind. When
/// the entry grants rights (GRANT_ACCESS) to an account by its name, an allowing entry that already
/// stands there for the same account, with the same inheritance or, on a leaf, with none, is
/// replaced by one entry with the rights of both, so that granting again and again does not make
/// the list grow. Every other entry is given to the system as it is (SetEntriesInAclW), which may
/// take what is granted out of a denial for the same account. False, with `newAcl` empty, when the
/// system refuses or a step fails. Never throws.
bool AddExplicitAccessToAcl(const EXPLICIT_ACCESS_W& explicitAccess, PACL oldAcl, ObjectKind kind,
                            Acl& newAcl) noexcept;

/// The same for an entry that grants `rights` to `trusteeName` and is inherited by what lies below.
bool AddGrantToAcl(const std::wstring& trusteeName, DWORD rights, PACL oldAcl, ObjectKind kind,
                   Acl& newAcl) noexcept;
