// Users and sessions: see Accounts.h.
#include "Accounts.h"

#include "LabState.h"
#include "Text.h"

#include <algorithm>
#include <iterator>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kUserKey[] = L"Users";
constexpr wchar_t kSessionKey[] = L"Sessions";
constexpr wchar_t kUserSidPrefix[] = L"S-1-5-21-1480576123-2230984561-3094417255-";
constexpr std::uint32_t kFirstUserId = 1001;

constexpr const wchar_t* kKindTexts[] = {L"standard", L"admin", L"fulladmin"};

constexpr const wchar_t* kStateTexts[] = {L"active",       L"connected", L"connectquery", L"shadow",
                                          L"disconnected", L"idle",      L"listen",       L"reset",
                                          L"down",         L"init"};

std::wstring SessionPath(std::uint32_t id)
{
    return std::wstring(kSessionKey) + L"\\" + std::to_wstring(id);
}

Session ReadSession(std::uint32_t id, const LabKey& key)
{
    Session session;
    session.id = id;
    session.state = key.Number(L"State").value_or(0);
    session.station = key.String(L"Station").value_or(L"");
    session.user = key.String(L"User").value_or(L"");
    session.hasHive = key.Number(L"HasHive").value_or(1) != 0;
    return session;
}

User ReadUser(const std::wstring& name)
{
    const LabKey key = OpenStateKey(std::wstring(kUserKey) + L"\\" + name);
    User user;
    user.name = name;
    user.sid = key.String(L"Sid").value_or(L"");
    user.kind = static_cast<UserKind>(key.Number(L"Kind").value_or(0));
    return user;
}

} // namespace

std::vector<User> Users()
{
    std::vector<User> users;
    for (const std::wstring& name : OpenStateKey(kUserKey).SubkeyNames())
    {
        users.push_back(ReadUser(name));
    }
    std::sort(users.begin(), users.end(),
              [](const User& left, const User& right) { return left.sid < right.sid; });
    return users;
}

std::optional<User> FindUser(std::wstring_view name)
{
    for (const User& user : Users())
    {
        if (EqualNoCase(user.name, name))
        {
            return user;
        }
    }
    return std::nullopt;
}

std::optional<User> AddUser(const std::wstring& name, UserKind kind)
{
    if (name.empty() || name.size() > 64 ||
        name.find_first_of(L"\\/:\"[]|<>+=;,?*@") != std::wstring::npos || FindIdentity(name))
    {
        return std::nullopt;
    }
    const LabKey ids = CreateStateKey(kUserKey);
    const std::uint32_t id = ids.Number(L"NextId").value_or(kFirstUserId);
    ids.SetNumber(L"NextId", id + 1);
    const LabKey key = CreateStateKey(std::wstring(kUserKey) + L"\\" + name);
    key.SetString(L"Sid", kUserSidPrefix + std::to_wstring(id));
    key.SetNumber(L"Kind", static_cast<std::uint32_t>(kind));
    return ReadUser(name);
}

std::wstring KindText(UserKind kind)
{
    return kKindTexts[static_cast<std::size_t>(kind)];
}

std::optional<UserKind> ParseKind(std::wstring_view text)
{
    for (std::size_t i = 0; i < std::size(kKindTexts); ++i)
    {
        if (text == kKindTexts[i])
        {
            return static_cast<UserKind>(i);
        }
    }
    return std::nullopt;
}

std::vector<Session> Sessions()
{
    std::vector<Session> sessions;
    for (const std::wstring& name : OpenStateKey(kSessionKey).SubkeyNames())
    {
        const auto id = static_cast<std::uint32_t>(ParseNumber(name).value_or(0));
        sessions.push_back(ReadSession(id, OpenStateKey(SessionPath(id))));
    }
    std::sort(sessions.begin(), sessions.end(),
              [](const Session& left, const Session& right) { return left.id < right.id; });
    return sessions;
}

std::optional<Session> FindSession(std::uint32_t id)
{
    const LabKey key = OpenStateKey(SessionPath(id));
    return key ? std::optional(ReadSession(id, key)) : std::nullopt;
}

void SaveSession(const Session& session)
{
    const LabKey key = CreateStateKey(SessionPath(session.id));
    key.SetNumber(L"State", session.state);
    key.SetString(L"Station", session.station);
    key.SetString(L"User", session.user);
    key.SetNumber(L"HasHive", session.hasHive ? 1 : 0);
}

void RemoveSession(std::uint32_t id)
{
    RemoveStateKey(SessionPath(id));
}

std::uint32_t FreeSessionId()
{
    std::uint32_t id = 2;
    while (FindSession(id))
    {
        ++id;
    }
    return id;
}

std::wstring StateText(std::uint32_t state)
{
    return state < std::size(kStateTexts) ? kStateTexts[state] : std::to_wstring(state);
}

std::optional<std::uint32_t> ParseState(std::wstring_view text)
{
    for (std::size_t i = 0; i < std::size(kStateTexts); ++i)
    {
        if (text == kStateTexts[i])
        {
            return static_cast<std::uint32_t>(i);
        }
    }
    return std::nullopt;
}

} // namespace PalvoLab
