#pragma once

#include "Owners.h"

#include <aclapi.h>

#include <string>

using Acl = LocalPointer<PACL>;

/// Merges one entry into a copy of `oldAcl` (null: an empty list). An allowing entry that already
/// stands there for the same account with the same inheritance is replaced by one entry with the
/// rights of both, so that granting again and again does not make the list grow. The other entries
/// stay as they are. False, with `newAcl` empty, when the system refuses.
bool AddExplicitAccessToAcl(EXPLICIT_ACCESS_W explicitAccess, PACL oldAcl, Acl& newAcl);

/// The same for an entry that grants `rights` to `trusteeName` and is inherited by what lies below.
bool AddGrantToAcl(const std::wstring& trusteeName, DWORD rights, PACL oldAcl, Acl& newAcl);
