// Lab tokens: real kernel handles about which the lab knows whom they stand for.
#pragma once

#include "WindowsHeaders.h"

#include "Accounts.h"

#include <optional>

namespace PalvoLab
{

struct TokenInfo
{
    Identity identity;
    bool primary = true;
    SECURITY_IMPERSONATION_LEVEL level = SecurityImpersonation; // of an impersonation token
    DWORD access = 0;                                           // what the handle was opened for
};

// Makes a handle for a token. Null, with the last-error value, when Windows gives none.
HANDLE MakeToken(const TokenInfo& info);

// What a handle stands for; nothing when it is no open token. A handle that the program closed is
// counted as misused.
std::optional<TokenInfo> FindToken(HANDLE token);

// Forgets a token that is being closed. False when the handle is no token.
bool ForgetToken(HANDLE token);

// TOKEN_* rights of a request, with MAXIMUM_ALLOWED and the generic ones resolved.
DWORD TokenAccess(DWORD desired);

// The thread's impersonation, if any.
std::optional<TokenInfo> ThreadToken();
void SetThreadIdentity(const std::optional<TokenInfo>& info);
bool IsAnyThreadImpersonating();

// Who the calling thread acts as.
Identity EffectiveIdentity();

// A thread that only identifies its user gets nothing in that user's name: 0 or the error.
DWORD LevelError();

} // namespace PalvoLab
