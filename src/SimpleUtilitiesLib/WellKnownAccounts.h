#pragma once

#include <array>
#include <map>
#include <string>
#include <string_view>

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

/// What this machine calls the well-known accounts. Each is looked up once, since every look-up
/// goes to another process, or to another machine.
class AccountNames
{
public:
    /// Those of this run, which ResolveAccount uses.
    static AccountNames& OfThisRun();

    /// The account's domain and name; the fallback when the machine cannot tell, which is asked
    /// again then at the next time.
    AccountName Resolve(const WellKnownAccount& account);

private:
    std::map<std::wstring_view, AccountName> known; ///< by SID
};

/// The account's domain and name as this machine calls them; the fallback when it cannot tell.
AccountName ResolveAccount(const WellKnownAccount& account);

/// Domain, "\" and name of the above: how access control calls the account.
std::wstring TrusteeName(const WellKnownAccount& account);
