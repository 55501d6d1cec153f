#include "Accounts.h"

#include "LabState.h"
#include "Text.h"
#include "WindowsHeaders.h"

namespace PalvoLab
{
namespace
{

constexpr wchar_t kElevated[] = L":elevated";

struct BuiltIn
{
    const wchar_t* text;
    const wchar_t* name;
    const wchar_t* domain; // null: the computer
    const wchar_t* sid;
    bool isAdministrator;
    bool isService;
};

// Wine has one user with a hive of its own; that one plays the built-in administrator.
constexpr BuiltIn kBuiltIns[] = {
    {L"SYSTEM", L"SYSTEM", L"NT AUTHORITY", L"S-1-5-18", true, true},
    {L"LocalService", L"LOCAL SERVICE", L"NT AUTHORITY", L"S-1-5-19", false, true},
    {L"NetworkService", L"NETWORK SERVICE", L"NT AUTHORITY", L"S-1-5-20", false, true},
    {L"Administrator", L"Administrator", nullptr, L"S-1-5-21-0-0-0-1000", true, false},
};

std::uint32_t SessionOf(std::wstring_view user)
{
    for (const Session& session : Sessions())
    {
        if (EqualNoCase(session.user, user))
        {
            return session.id;
        }
    }
    return 1;
}

} // namespace

bool Identity::IsSystem() const
{
    return sid == L"S-1-5-18";
}

bool Identity::MayAssignPrimaryToken() const
{
    return isService;
}

bool Identity::MayImpersonate() const
{
    return isService || isAdministrator;
}

std::vector<std::wstring> Identity::EnabledSids() const
{
    std::vector<std::wstring> sids = {sid, L"S-1-1-0", L"S-1-5-11", L"S-1-5-32-545"};
    sids.push_back(isService ? L"S-1-5-6" : L"S-1-5-4");
    if (isAdministrator)
    {
        sids.push_back(L"S-1-5-32-544");
    }
    return sids;
}

std::wstring Identity::Text() const
{
    for (const BuiltIn& account : kBuiltIns)
    {
        if (sid == account.sid)
        {
            return account.text;
        }
    }
    return elevation == Elevation::Full ? name + kElevated : name;
}

std::optional<Identity> FindIdentity(std::wstring_view text)
{
    for (const BuiltIn& account : kBuiltIns)
    {
        if (EqualNoCase(text, account.text) || EqualNoCase(text, account.name))
        {
            Identity identity;
            identity.name = account.name;
            identity.domain = account.domain == nullptr ? ComputerName() : account.domain;
            identity.sid = account.sid;
            identity.isAdministrator = account.isAdministrator;
            identity.isService = account.isService;
            identity.session = account.isService ? 0 : 1;
            return identity;
        }
    }
    const std::wstring_view suffix = kElevated;
    const bool elevated = text.size() > suffix.size() &&
                          EqualNoCase(text.substr(text.size() - suffix.size()), suffix);
    const auto user = FindUser(elevated ? text.substr(0, text.size() - suffix.size()) : text);
    if (!user || (elevated && user->kind != UserKind::Admin))
    {
        return std::nullopt;
    }
    const Identity identity = SessionIdentity(*user, SessionOf(user->name));
    return elevated ? LinkedIdentity(identity) : identity;
}

Identity SessionIdentity(const User& user, std::uint32_t session)
{
    Identity identity;
    identity.name = user.name;
    identity.domain = ComputerName();
    identity.sid = user.sid;
    identity.session = session;
    identity.isAdministrator = user.kind == UserKind::FullAdmin;
    identity.elevation = user.kind == UserKind::Admin ? Elevation::Limited : Elevation::Default;
    return identity;
}

Identity LinkedIdentity(const Identity& identity)
{
    Identity linked = identity;
    const bool limited = identity.elevation == Elevation::Limited;
    linked.elevation = limited ? Elevation::Full : Elevation::Limited;
    linked.isAdministrator = limited;
    return linked;
}

std::wstring CurrentAccount()
{
    return Setting(L"Account", L"SYSTEM");
}

Identity ProcessIdentity()
{
    wchar_t account[128] = {};
    const DWORD length = GetEnvironmentVariableW(kAccountVariable, account, 128);
    if (length > 0 && length < 128)
    {
        if (auto identity = FindIdentity(account))
        {
            return *identity;
        }
    }
    return FindIdentity(CurrentAccount()).value_or(*FindIdentity(L"SYSTEM"));
}

std::vector<KnownName> KnownNames()
{
    std::vector<KnownName> names;
    for (const User& user : Users())
    {
        names.push_back({user.sid, ComputerName(), user.name, SidTypeUser});
    }
    names.push_back({L"S-1-5-21-0-0-0-1000", ComputerName(), L"Administrator", SidTypeUser});
    if (Setting(L"Localised") == L"on")
    {
        const std::wstring authority = L"NT-AUTORIT\u00C4T";
        names.push_back({L"S-1-5-18", authority, L"SYSTEM", SidTypeWellKnownGroup});
        names.push_back({L"S-1-5-19", authority, L"LOKALER DIENST", SidTypeWellKnownGroup});
        names.push_back({L"S-1-5-20", authority, L"NETZWERKDIENST", SidTypeWellKnownGroup});
        names.push_back(
            {L"S-1-5-11", authority, L"Authentifizierte Benutzer", SidTypeWellKnownGroup});
        names.push_back({L"S-1-5-32-544", L"VORDEFINIERT", L"Administratoren", SidTypeAlias});
    }
    return names;
}

std::wstring ComputerName()
{
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
    GetComputerNameW(name, &size);
    return name;
}

} // namespace PalvoLab
