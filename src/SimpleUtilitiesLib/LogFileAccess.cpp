#include "LogFileAccess.h"

#include "LogFile.h"
#include "ResourceAccessControl.h"
#include "WellKnownAccounts.h"

namespace
{
bool GrantLogAccess(const LogFile& log, const WellKnownAccount& account)
{
    const HeldMutex held = log.WaitForMutex();
    if (!held.IsHeld() || IsEmptyOrBlank(log.Path()))
    {
        return false;
    }
    FileAccessControl file(log.Path());
    return GrantAccess(file, TrusteeName(account));
}
} // namespace

bool GrantLocalServiceAccess(const LogFile& log)
{
    return GrantLogAccess(log, WellKnownAccounts::LocalService);
}

bool GrantAuthenticatedUsersAccess(const LogFile& log)
{
    return GrantLogAccess(log, WellKnownAccounts::AuthenticatedUsers);
}
