#include "WellKnownAccounts.h"

#include "Sids.h"

AccountName ResolveAccount(const WellKnownAccount& account)
{
    AccountName resolved;
    const Sid sid = SidFromText(account.sid);
    if (!sid || !LookupAccountNameFromSid(sid.Get(), resolved.name, resolved.domain) ||
        resolved.name.empty())
    {
        return {account.fallbackDomain, account.fallbackName};
    }
    return resolved;
}

std::wstring TrusteeName(const WellKnownAccount& account)
{
    const AccountName resolved = ResolveAccount(account);
    return resolved.domain + L"\\" + resolved.name;
}
