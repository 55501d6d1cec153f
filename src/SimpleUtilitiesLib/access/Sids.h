#pragma once

#include "Owners.h"

#include <string>
#include <vector>

// None of these throws: out of memory is an ordinary failure.

/// The SID of a text such as "S-1-5-19"; empty if the text is not a SID.
Sid SidFromText(const std::wstring& text) noexcept;

/// The account and domain of a SID on the local machine (LookupAccountSidW). On failure both are
/// unchanged.
bool LookupAccountNameFromSid(PSID sid, std::wstring& name, std::wstring& domain) noexcept;

/// The SID of an account on the local machine (LookupAccountNameW), as bytes. Empty on failure,
/// with the reason in the last-error value: ERROR_NONE_MAPPED for an unknown account.
bool LookupSidFromAccountName(const std::wstring& account, std::vector<BYTE>& sid) noexcept;

/// The SID of a token's user as text. True if it is not empty.
bool GetTokenUserSidString(HANDLE token, std::wstring& sidString) noexcept;
