#pragma once

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

/// An account that every machine has, with a localised name.
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

/// This machine's names of the well-known accounts. Each is looked up once: a look-up goes to
/// another process or machine.
class AccountNames
{
public:
    /// This run's, for ResolveAccount.
    static AccountNames& OfThisRun();

    /// The account's domain and name. If the look-up fails, the fallback; the next call looks up
    /// again.
    AccountName Resolve(const WellKnownAccount& account);

    /// The SID, as bytes, of the account that was found under this trustee name; empty if none was.
    [[nodiscard]] std::vector<unsigned char> SidOf(std::wstring_view trusteeName) const;

private:
    struct Found
    {
        AccountName name;
        std::vector<unsigned char> sid;
    };

    /// False if the look-up fails.
    static bool LookUp(const WellKnownAccount& account, Found& found);

    std::map<std::wstring_view, Found> known; ///< by the SID's text
};

/// The account's domain and name on this machine; the fallback if the look-up fails. Both empty if
/// there is no memory.
AccountName ResolveAccount(const WellKnownAccount& account) noexcept;

/// The same as domain, "\" and name, for access control. Empty if there is no memory.
std::wstring TrusteeName(const WellKnownAccount& account) noexcept;
