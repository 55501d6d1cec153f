#pragma once

#include "Owners.h"

#include <string>
#include <vector>

// None of these throws: running out of memory is a failure like any other.

/// The SID of a text such as "S-1-5-19"; nothing when it is no SID.
Sid SidFromText(const std::wstring& text) noexcept;

/// The account and domain of a SID on the local machine (LookupAccountSidW). On failure both stay
/// as they are.
bool LookupAccountNameFromSid(PSID sid, std::wstring& name, std::wstring& domain) noexcept;

/// The SID of an account on the local machine (LookupAccountNameW), as bytes; none on failure,
/// whose reason is the thread's last-error value: ERROR_NONE_MAPPED for an account that the system
/// does not know.
bool LookupSidFromAccountName(const std::wstring& account, std::vector<BYTE>& sid) noexcept;

/// The text of the SID of a token's user. True when it is not empty.
bool GetTokenUserSidString(HANDLE token, std::wstring& sidString) noexcept;
