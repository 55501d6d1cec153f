#include "LogFileAccess.h"

#include "LogFile.h"
#include "ProperFile.h"
#include "ResourceAccessControl.h"
#include "WellKnownAccounts.h"

namespace
{
bool GrantLogAccess(const LogFile& log, const WellKnownAccount& account) noexcept
{
    const HeldMutex held = log.WaitForMutex();
    if (!held.IsHeld() || IsEmptyOrBlank(log.Path()))
    {
        return false;
    }
    try
    {
        FileAccessControl file(log.Path());
        return IsProperFile(file.Open(), log.Path()) && GrantAccess(file, TrusteeName(account));
    }
    catch (...)
    {
        // Out of memory: the file is left as it is.
        return false;
    }
}
} // namespace

bool GrantLocalServiceAccess(const LogFile& log) noexcept
{
    return GrantLogAccess(log, WellKnownAccounts::LocalService);
}

bool GrantAuthenticatedUsersAccess(const LogFile& log) noexcept
{
    return GrantLogAccess(log, WellKnownAccounts::AuthenticatedUsers);
}
