#pragma once

#include "Owners.h"

#include <string>
#include <vector>

/// The SID of a text such as "S-1-5-19"; nothing when it is no SID.
Sid SidFromText(const std::wstring& text);

/// The account and domain of a SID on the local machine (LookupAccountSidW).
bool LookupAccountNameFromSid(PSID sid, std::wstring& name, std::wstring& domain);

/// The SID of an account on the local machine (LookupAccountNameW), as bytes.
bool LookupSidFromAccountName(const std::wstring& account, std::vector<BYTE>& sid);

/// The text of the SID of a token's user. True when it is not empty.
bool GetTokenUserSidString(HANDLE token, std::wstring& sidString);
