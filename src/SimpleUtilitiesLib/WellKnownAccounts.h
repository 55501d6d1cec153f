#pragma once

#include <array>
#include <string>

/// An account that is the same on every machine but for its name, which is localised.
struct WellKnownAccount
{
    const wchar_t* sid;
    const wchar_t* fallbackDomain;
    const wchar_t* fallbackName;
};

namespace WellKnownAccounts
{
/// The service account that the query program runs as.
inline constexpr WellKnownAccount LocalService = {L"S-1-5-19", L"NT AUTHORITY", L"Local Service"};
/// Installers and elevated users.
inline constexpr WellKnownAccount Administrators = {L"S-1-5-32-544", L"NT AUTHORITY",
                                                    L"Administrators"};
/// Every session user.
inline constexpr WellKnownAccount AuthenticatedUsers = {L"S-1-5-11", L"NT AUTHORITY",
                                                        L"Authenticated Users"};

/// All of them, in the order in which shared objects grant them access.
inline constexpr std::array All = {LocalService, Administrators, AuthenticatedUsers};
} // namespace WellKnownAccounts

struct AccountName
{
    std::wstring domain;
    std::wstring name;
};

/// The account's domain and name as this machine calls them; the fallback when it cannot tell.
AccountName ResolveAccount(const WellKnownAccount& account);

/// Domain, "\" and name of the above: how access control calls the account.
std::wstring TrusteeName(const WellKnownAccount& account);
