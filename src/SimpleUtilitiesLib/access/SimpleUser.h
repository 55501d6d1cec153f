#pragma once

#include <string>

/// The thread's account, which is the user's while it impersonates, and the machine. Empty on
/// failure.
namespace User
{
/// The account's name (GetUserNameW).
std::wstring GetCurrentUserName();
/// DOMAIN\name (GetUserNameExW, NameSamCompatible).
std::wstring GetCurrentSamCompatibleName();
/// The NetBIOS name of the computer (GetComputerNameW).
std::wstring GetNetBiosComputerName();
/// The computer's own DNS domain (GetComputerNameExW, ComputerNamePhysicalDnsDomain).
std::wstring GetPhysicalDnsDomain();
} // namespace User
