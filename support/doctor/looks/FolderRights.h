#pragma once

#include "Facts.h"

/// Adds to the facts who of the many may write into `folder` (GetNamedSecurityInfoW).
void LookAtRights(const std::wstring& folder, SuiteFacts& facts);
