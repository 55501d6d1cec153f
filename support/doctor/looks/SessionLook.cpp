#include "ImpersonateMainSessionUserWrapper.h"
#include "Looks.h"
#include "RegistryPaths.h"
#include "SessionOwners.h"
#include "Sids.h"
#include "UserHives.h"

namespace
{
/// The sessions that a run looks at.
bool HasUser(const WTS_SESSION_INFOW& session)
{
    return session.SessionId != 0 &&
           (session.State == WTSActive || session.State == WTSDisconnected);
}

/// Opens the bag for writing in the user's name, and writes nothing. 0 or the error; a bag that is
/// not there is none.
DWORD TryToWrite(HANDLE token, const std::wstring& bag)
{
    ImpersonateMainSessionUserWrapper user;
    if (!user.Impersonate(token))
    {
        return GetLastError();
    }
    RegistryHandle key;
    const LSTATUS status =
        RegOpenKeyExW(HKEY_USERS, bag.c_str(), 0, KEY_READ | KEY_WRITE, key.Receive());
    key.KeepIf(status == ERROR_SUCCESS);
    return status == ERROR_FILE_NOT_FOUND ? 0 : static_cast<DWORD>(status);
}

void LookAtBag(HANDLE token, SessionFact& fact)
{
    RegistryHandle hive;
    const LSTATUS opened =
        RegOpenKeyExW(HKEY_USERS, fact.sid.c_str(), 0, KEY_QUERY_VALUE, hive.Receive());
    fact.hasHive = hive.KeepIf(opened == ERROR_SUCCESS);
    if (!fact.hasHive)
    {
        return;
    }
    const std::wstring bag = PropertyBagPath(fact.sid);
    fact.writeError = TryToWrite(token, bag);
    fact.userId = LookAtValue(HKEY_USERS, bag, RegistryPaths::UserId);
    fact.deviceId = LookAtValue(HKEY_USERS, bag, RegistryPaths::DeviceId);
    fact.isAdministrator = LookAtValue(HKEY_USERS, bag, RegistryPaths::IsAdmin);
    fact.applications = LookAtValue(HKEY_USERS, bag, RegistryPaths::DesktopAppGuids);
}

SessionFact LookAtSession(DWORD id)
{
    SessionFact fact;
    fact.id = id;
    KernelHandle token;
    if (!token.KeepIf(WTSQueryUserToken(id, token.Receive())))
    {
        fact.tokenError = GetLastError();
        fact.isSeen = fact.tokenError != ERROR_PRIVILEGE_NOT_HELD;
        return fact;
    }
    std::wstring domain;
    if (GetTokenUserSidString(token.Get(), fact.sid))
    {
        const Sid sid = SidFromText(fact.sid);
        fact.user = fact.sid;
        LookupAccountNameFromSid(sid.Get(), fact.user, domain);
        LookAtBag(token.Get(), fact);
    }
    return fact;
}
} // namespace

SessionFacts LookAtSessions()
{
    SessionFacts facts;
    WtsMemory<WTS_SESSION_INFOW*> sessions;
    DWORD count = 0;
    if (!sessions.KeepIf(
            WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, sessions.Receive(), &count)))
    {
        facts.listError = GetLastError() == ERROR_SUCCESS ? ERROR_INVALID_DATA : GetLastError();
        return facts;
    }
    for (DWORD i = 0; i < count; ++i)
    {
        if (HasUser(sessions.Get()[i]))
        {
            facts.sessions.push_back(LookAtSession(sessions.Get()[i].SessionId));
        }
    }
    return facts;
}
