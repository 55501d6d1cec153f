#pragma once

#include "Owners.h"

#include <aclapi.h>

#include <string>

using Acl = LocalPointer<PACL>;

/// Merges one entry into a copy of `oldAcl` (null: an empty list). When the entry grants rights
/// (GRANT_ACCESS) to an account by its name, an allowing entry that already stands there for the
/// same account, with the same inheritance or with none, is replaced by one entry with the rights
/// of both, so that granting again and again does not make the list grow; the other entries stay as
/// they are. Every other entry is left to the system (SetEntriesInAclW). False, with `newAcl`
/// empty, when the system refuses.
bool AddExplicitAccessToAcl(EXPLICIT_ACCESS_W explicitAccess, PACL oldAcl, Acl& newAcl);

/// The same for an entry that grants `rights` to `trusteeName` and is inherited by what lies below.
bool AddGrantToAcl(const std::wstring& trusteeName, DWORD rights, PACL oldAcl, Acl& newAcl);
