#pragma once

#include "Facts.h"

/// "C:\" of "C:\Suite", and nothing of that.
std::wstring FolderAbove(const std::wstring& folder);

/// Adds to the facts who of the many may write into `folder` (GetNamedSecurityInfoW). One that is
/// not there is left out.
void LookAtRights(const std::wstring& folder, RightsFacts& facts);
