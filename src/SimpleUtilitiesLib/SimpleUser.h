#pragma once

#include <string>

/// The account that runs the thread, and the machine. An impersonated thread answers for the
/// impersonated user. A call that fails gives the empty string.
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
