// What the security log gets when a user logs on.
#pragma once

#include "Accounts.h"
#include "EventChannel.h"

#include <cstdint>
#include <vector>

namespace PalvoLab
{

inline constexpr unsigned kInteractiveLogon = 2;
inline constexpr unsigned kRemoteInteractiveLogon = 10;

// Whether the Windows that Wine plays is 10 or later.
bool IsWindows10();

// The events 4624 of one logon, in their order. A user whose token UAC splits logs on twice: with
// the elevated token and with the limited one. From Windows 10 on, the events tell which
// (ElevatedToken) and whether the account is virtual, and the session's own virtual account logs
// on too; before, there are no such fields.
std::vector<Event> LogonEvents(const User& user, std::uint32_t session, unsigned logonType,
                               bool isWindows10 = IsWindows10());

} // namespace PalvoLab
