#include "WellKnownAccounts.h"

#include "Sids.h"

namespace
{
std::wstring AsTrustee(const AccountName& account)
{
    return account.domain + L"\\" + account.name;
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
        return remembered->second.name;
    }
    Found found;
    if (!LookUp(account, found))
    {
        return {account.fallbackDomain, account.fallbackName};
    }
    known.emplace(account.sid, found);
    return found.name;
}

std::vector<BYTE> AccountNames::SidOf(std::wstring_view trusteeName) const
{
    for (const auto& [text, found] : known)
    {
        if (AsTrustee(found.name) == trusteeName)
        {
            return found.sid;
        }
    }
    return {};
}

bool AccountNames::LookUp(const WellKnownAccount& account, Found& found)
{
    const Sid sid = SidFromText(account.sid);
    if (!sid || !LookupAccountNameFromSid(sid.Get(), found.name.name, found.name.domain) ||
        found.name.name.empty())
    {
        return false;
    }
    const auto* bytes = static_cast<const BYTE*>(sid.Get());
    found.sid.assign(bytes, bytes + GetLengthSid(sid.Get()));
    return true;
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
            return AsTrustee(resolved);
        }
    }
    catch (...)
    {
        // As above.
    }
    return {};
}
