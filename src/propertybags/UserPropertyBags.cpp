#include "UserPropertyBags.h"

#include "AdministratorCheck.h"
#include "Identifiers.h"
#include "ImpersonateMainSessionUserWrapper.h"
#include "LegacyPlvException.h"
#include "LogFile.h"
#include "RegistryValues.h"
#include "SessionTokens.h"
#include "Sids.h"
#include "UserHives.h"

namespace
{
/// A session's user: the SID as text, and its account.
struct SessionUser
{
    std::wstring sid;
    std::wstring name;
    std::wstring domain;
};

bool FindUser(HANDLE token, SessionUser& user)
{
    if (!GetTokenUserSidString(token, user.sid))
    {
        return false;
    }
    const Sid sid = SidFromText(user.sid);
    return sid && LookupAccountNameFromSid(sid.Get(), user.name, user.domain);
}

bool WriteUserId(const SessionUser& user, const std::wstring& userId)
{
    try
    {
        std::wstring reason;
        return WriteUserString(user.sid + L"\\" + RegistryPaths::UserPropertyBag,
                               RegistryPaths::UserId, userId, reason);
    }
    catch (const LegacyPlvException&)
    {
        // The user's hive may be unloaded or read-only; still write the other values.
        return false;
    }
}

void WriteIdentifiers(HANDLE token, LogFile& log)
{
    SessionUser user;
    if (!FindUser(token, user))
    {
        return;
    }
    const Identifier userId = ComputeUserId(user.name);
    if (WriteUserId(user, userId.id))
    {
        log.WriteFormat(L"Updated UserPropertyBag for '%s\\%s': UserId='%s', Src='%s'", user.domain,
                        user.name, userId.id, userId.sourceText);
    }
    const Identifier deviceId = ComputeDeviceId();
    SetValueInAllUserPropertyBags(RegistryPaths::DeviceId, deviceId.id);
    log.WriteFormat(L"Updated UserPropertyBags: DeviceId='%s', Src='%s'", deviceId.id,
                    deviceId.sourceText);
}

void UpdateForSession(HANDLE token, LogFile& log)
{
    ImpersonateMainSessionUserWrapper user;
    if (user.Impersonate(token))
    {
        WriteIdentifiers(token, log);
    }
    // Check membership under our own account; the user may lack the right.
    user.Revert();
    const bool isAdministrator = IsAdministrator(token, log);
    if (user.ImpersonateAgain())
    {
        SetValueInAllUserPropertyBags(RegistryPaths::IsAdmin, isAdministrator ? L"1" : L"0");
    }
}
} // namespace

void SetValueInAllUserPropertyBags(const std::wstring& name, const std::wstring& data)
{
    ForEveryPropertyBag([&](RegistryKey& bag) { bag.SetValue(name, data); }, []() noexcept {});
}

void UpdateUserPropertyBags(LogFile& log)
{
    // Get all tokens before handling any user.
    const std::vector<KernelHandle> tokens = CollectSessionTokens();
    if (!tokens.empty())
    {
        LoadDllsOfIdentifiers();
    }
    for (const KernelHandle& token : tokens)
    {
        UpdateForSession(token.Get(), log);
    }
}
