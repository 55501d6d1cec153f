#include "WellKnownAccounts.h"

#include "Sids.h"

namespace
{
/// False if the look-up fails.
bool LookUp(const WellKnownAccount& account, AccountName& found)
{
    const Sid sid = SidFromText(account.sid);
    return sid && LookupAccountNameFromSid(sid.Get(), found.name, found.domain) &&
           !found.name.empty();
}
} // namespace

AccountNames& AccountNames::OfThisRun()
{
    static AccountNames names;
    return names;
}

AccountName AccountNames::Resolve(const WellKnownAccount& account)
{
    const auto remembered = known.find(account.sid);
    if (remembered != known.end())
    {
        return remembered->second;
    }
    AccountName found;
    if (!LookUp(account, found))
    {
        return {account.fallbackDomain, account.fallbackName};
    }
    known.emplace(account.sid, found);
    return found;
}

AccountName ResolveAccount(const WellKnownAccount& account) noexcept
{
    try
    {
        return AccountNames::OfThisRun().Resolve(account);
    }
    catch (...)
    {
        // Out of memory.
        return {};
    }
}

std::wstring TrusteeName(const WellKnownAccount& account) noexcept
{
    try
    {
        const AccountName resolved = ResolveAccount(account);
        if (!resolved.name.empty())
        {
            return resolved.domain + L"\\" + resolved.name;
        }
    }
    catch (...)
    {
        // As above.
    }
    return {};
}
