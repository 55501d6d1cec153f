#include "Command.h"

#include "Accounts.h"
#include "EventChannel.h"
#include "Hives.h"
#include "LabState.h"
#include "LogonEvents.h"
#include "Text.h"

#include <wtsapi32.h>

namespace PalvoLab
{
namespace
{

constexpr std::uint32_t kConsole = 1;

std::optional<Session> SessionOf(const std::wstring& user)
{
    for (const Session& session : Sessions())
    {
        if (EqualNoCase(session.user, user))
        {
            return session;
        }
    }
    return std::nullopt;
}

// The console first; when somebody has it, a remote session.
std::uint32_t SessionForLogon()
{
    const auto console = FindSession(kConsole);
    return console && console->user.empty() ? kConsole : FreeSessionId();
}

int Logon(Arguments arguments)
{
    const auto wanted = TakeOption(arguments, L"--session");
    const auto type = TakeOption(arguments, L"--type");
    const bool isRemote = TakeFlag(arguments, L"--remote");
    const bool hiveAfter = TakeFlag(arguments, L"--hive-after");
    const auto user = arguments.size() == 1 ? FindUser(arguments[0]) : std::nullopt;
    if (!user)
    {
        return arguments.size() == 1 ? Complain(L"there is no user '" + arguments[0] + L"'")
                                     : Misused(L"user");
    }
    Session session = SessionOf(user->name).value_or(Session{});
    if (session.user.empty())
    {
        session.id = wanted ? static_cast<std::uint32_t>(ParseNumber(*wanted).value_or(0))
                            : (isRemote ? FreeSessionId() : SessionForLogon());
        const auto there = FindSession(session.id);
        if (there && !there->user.empty())
        {
            return Complain(L"session " + std::to_wstring(session.id) + L" has a user already");
        }
        session.station =
            session.id == kConsole ? L"Console" : L"RDP-Tcp#" + std::to_wstring(session.id);
    }
    session.user = user->name;
    session.state = WTSActive;
    session.hasHive = !hiveAfter;
    SaveSession(session);
    MountHives();
    const unsigned byDefault = isRemote ? kRemoteInteractiveLogon : kInteractiveLogon;
    const auto logonType =
        type ? static_cast<unsigned>(ParseNumber(*type).value_or(byDefault)) : byDefault;
    EventChannel::Find(kSecurityChannel)->Append(LogonEvents(*user, session.id, logonType));
    Print(L"session " + std::to_wstring(session.id));
    return kDone;
}

int Disconnect(const std::wstring& name)
{
    auto session = SessionOf(name);
    if (!session)
    {
        return Complain(L"'" + name + L"' is not logged on");
    }
    session->state = WTSDisconnected;
    session->station.clear();
    SaveSession(*session);
    return kDone;
}

int Logoff(const std::wstring& name)
{
    const auto session = SessionOf(name);
    if (!session)
    {
        return Complain(L"'" + name + L"' is not logged on");
    }
    if (session->id == kConsole)
    {
        SaveSession({kConsole, WTSConnected, L"Console", L""});
    }
    else
    {
        RemoveSession(session->id);
    }
    MountHives();
    return kDone;
}

int LoadHive(const std::wstring& name)
{
    auto session = SessionOf(name);
    if (!session)
    {
        return Complain(L"'" + name + L"' is not logged on");
    }
    session->hasHive = true;
    SaveSession(*session);
    MountHives();
    return kDone;
}

int AddUserCommand(const std::wstring& name, const std::wstring& kindText)
{
    const auto kind = ParseKind(kindText);
    if (!kind)
    {
        return Misused(L"user");
    }
    const auto user = AddUser(name, *kind);
    if (!user)
    {
        return Complain(L"'" + name + L"' cannot be added: it exists, or is no name for a user");
    }
    Print(user->sid);
    return kDone;
}

int ListUsers()
{
    for (const User& user : Users())
    {
        const auto session = SessionOf(user.name);
        Print(user.name + L"\t" + KindText(user.kind) + L"\t" + user.sid + L"\t" +
              (session ? L"session " + std::to_wstring(session->id) : L"logged off"));
    }
    return kDone;
}

} // namespace

int RunUser(const Arguments& arguments)
{
    const std::size_t count = arguments.size();
    const std::wstring what = count > 0 ? arguments[0] : L"";
    if (what == L"add" && count == 3)
    {
        return AddUserCommand(ReplaceEscapes(arguments[1]), arguments[2]);
    }
    if (what == L"logon" && count > 1)
    {
        return Logon(Arguments(arguments.begin() + 1, arguments.end()));
    }
    if (what == L"logoff" && count == 2)
    {
        return Logoff(arguments[1]);
    }
    if (what == L"disconnect" && count == 2)
    {
        return Disconnect(arguments[1]);
    }
    if (what == L"hive" && count == 2)
    {
        return LoadHive(arguments[1]);
    }
    if (what == L"list" && count == 1)
    {
        return ListUsers();
    }
    return Misused(L"user");
}

int RunSession(const Arguments& arguments)
{
    const std::size_t count = arguments.size();
    const auto id = count > 1 ? ParseNumber(arguments[1]) : std::nullopt;
    if (!id || *id > 0xFFFFFFFFU)
    {
        return Misused(L"session");
    }
    const auto session = static_cast<std::uint32_t>(*id);
    if (arguments[0] == L"remove" && count == 2)
    {
        RemoveSession(session);
        MountHives();
        return kDone;
    }
    const auto state = count > 2 ? ParseState(arguments[2]) : std::nullopt;
    if (arguments[0] != L"add" || !state || count > 4)
    {
        return Misused(L"session");
    }
    const std::wstring user = count == 4 ? arguments[3] : L"";
    if (!user.empty() && !FindUser(user))
    {
        return Complain(L"there is no user '" + user + L"'");
    }
    SaveSession({session, *state, L"Session" + std::to_wstring(session), user});
    MountHives();
    return kDone;
}

int RunAccount(const Arguments& arguments)
{
    if (arguments.size() > 1)
    {
        return Misused(L"account");
    }
    if (arguments.empty())
    {
        Print(CurrentAccount());
        return kDone;
    }
    const auto identity = FindIdentity(arguments[0]);
    if (!identity)
    {
        return Complain(L"there is no account '" + arguments[0] + L"'");
    }
    WriteSetting(L"Account", identity->Text());
    return kDone;
}

} // namespace PalvoLab
