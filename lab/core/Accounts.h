// Who can be in the lab: the built-in accounts, the users that `palvo-lab user add` makes, and the
// terminal sessions that they are logged on to.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace PalvoLab
{

// TokenElevationType's values.
enum class Elevation : std::uint32_t
{
    Default = 1,
    Full = 2,
    Limited = 3,
};

// A security context: who a process or a token is.
struct Identity
{
    std::wstring name;   // "alice"
    std::wstring domain; // the computer's name, or "NT AUTHORITY"
    std::wstring sid;
    std::uint32_t session = 0;
    Elevation elevation = Elevation::Default;
    bool isAdministrator = false; // the Administrators group is enabled
    bool isService = false;

    bool IsSystem() const;

    // May use someone else's token for a new process.
    bool MayAssignPrimaryToken() const;

    // May act as somebody else whose token it has.
    bool MayImpersonate() const;

    // Its own SID and those of the groups that count when it asks for access.
    std::vector<std::wstring> EnabledSids() const;

    // "SYSTEM", "alice", "alice:elevated": the form in which accounts are given to commands and
    // handed down to child processes.
    std::wstring Text() const;
};

enum class UserKind
{
    Standard,
    Admin,     // a member of Administrators whose token UAC splits
    FullAdmin, // a member of Administrators with a whole token
};

struct User
{
    std::wstring name;
    std::wstring sid;
    UserKind kind = UserKind::Standard;
};

struct Session
{
    std::uint32_t id = 0;
    std::uint32_t state = 0; // WTS_CONNECTSTATE_CLASS
    std::wstring station;    // "Console", "RDP-Tcp#2"
    std::wstring user;       // empty: nobody is logged on
    bool hasHive = true;     // false: the profile of the user is still being loaded
};

// Users.
std::vector<User> Users();
std::optional<User> FindUser(std::wstring_view name);
std::optional<User> AddUser(const std::wstring& name, UserKind kind);
std::wstring KindText(UserKind kind);
std::optional<UserKind> ParseKind(std::wstring_view text);

// Sessions, in the order of their ids.
std::vector<Session> Sessions();
std::optional<Session> FindSession(std::uint32_t id);
void SaveSession(const Session& session);
void RemoveSession(std::uint32_t id);
std::uint32_t FreeSessionId();
std::wstring StateText(std::uint32_t state);
std::optional<std::uint32_t> ParseState(std::wstring_view text);

// The identity behind an account's text; nothing when there is no such account.
std::optional<Identity> FindIdentity(std::wstring_view text);

// The token of a user's session, as WTSQueryUserToken would give it.
Identity SessionIdentity(const User& user, std::uint32_t session);

// The other half of a split token.
Identity LinkedIdentity(const Identity& identity);

// The account that `palvo-lab account` set.
std::wstring CurrentAccount();

// The account of this process: what its starter gave it, else the current account.
Identity ProcessIdentity();

inline constexpr wchar_t kAccountVariable[] = L"PALVOLAB_ACCOUNT";

// A name that the lab's LookupAccount functions know in another way than Wine does.
struct KnownName
{
    std::wstring sid;
    std::wstring domain;
    std::wstring name;
    std::uint32_t use = 0; // SID_NAME_USE
};

// Users of the lab; well-known accounts too, when `palvo-lab set localised on` gives them the names
// that a German Windows has.
std::vector<KnownName> KnownNames();

std::wstring ComputerName();

} // namespace PalvoLab
