// Doubles of the functions that make tokens and ask about them.
#include "DoubleTable.h"
#include "Impersonation.h"

#include "AccessList.h"
#include "CallRecord.h"
#include "LabState.h"
#include "Owners.h"
#include "Text.h"

#include <sddl.h>

#include <cstring>
#include <vector>

namespace PalvoLab
{
namespace
{

constexpr DWORD kNoSuchLogonSession = 1312;

// A SID as bytes.
std::vector<BYTE> SidBytes(const std::wstring& text)
{
    PSID sid = nullptr;
    if (!ConvertStringSidToSidW(text.c_str(), &sid))
    {
        return {};
    }
    const auto* bytes = static_cast<const BYTE*>(sid);
    std::vector<BYTE> copy(bytes, bytes + GetLengthSid(sid));
    LocalFree(sid);
    return copy;
}

// A value of fixed size: any other size is a wrong length.
template <typename T>
BOOL GiveFixed(Call& call, const T& value, void* buffer, DWORD size, DWORD* needed)
{
    *needed = sizeof value;
    if (buffer == nullptr || size < sizeof value)
    {
        return call.Fail(size == 0 ? ERROR_INSUFFICIENT_BUFFER : ERROR_BAD_LENGTH);
    }
    std::memcpy(buffer, &value, sizeof value);
    return call.Return(TRUE);
}

BOOL GiveUser(Call& call, const Identity& identity, void* buffer, DWORD size, DWORD* needed)
{
    const std::vector<BYTE> sid = SidBytes(identity.sid);
    *needed = static_cast<DWORD>(sizeof(TOKEN_USER) + sid.size());
    if (buffer == nullptr || size < *needed)
    {
        return call.Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    auto* user = static_cast<TOKEN_USER*>(buffer);
    BYTE* place = static_cast<BYTE*>(buffer) + sizeof(TOKEN_USER);
    std::memcpy(place, sid.data(), sid.size());
    user->User.Sid = place;
    user->User.Attributes = 0;
    return call.Return(TRUE);
}

BOOL GiveDefaultList(Call& call, const Identity& identity, void* buffer, DWORD size, DWORD* needed)
{
    Descriptor descriptor = ParseDescriptor(DefaultList(identity));
    const PACL list = ListOf(descriptor.data());
    *needed = static_cast<DWORD>(sizeof(TOKEN_DEFAULT_DACL)) + list->AclSize;
    if (buffer == nullptr || size < *needed)
    {
        return call.Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    BYTE* place = static_cast<BYTE*>(buffer) + sizeof(TOKEN_DEFAULT_DACL);
    std::memcpy(place, list, list->AclSize);
    static_cast<TOKEN_DEFAULT_DACL*>(buffer)->DefaultDacl = reinterpret_cast<PACL>(place);
    return call.Return(TRUE);
}

BOOL GiveLinkedToken(Call& call, const TokenInfo& info, void* buffer, DWORD size, DWORD* needed)
{
    if (info.identity.elevation == Elevation::Default)
    {
        *needed = 0;
        return call.Fail(kNoSuchLogonSession);
    }
    TOKEN_LINKED_TOKEN linked = {};
    *needed = sizeof linked;
    if (buffer == nullptr || size < sizeof linked)
    {
        return call.Fail(size == 0 ? ERROR_INSUFFICIENT_BUFFER : ERROR_BAD_LENGTH);
    }
    // Only who acts as part of the operating system gets a token that is good for more than
    // looking at.
    TokenInfo other;
    other.identity = LinkedIdentity(info.identity);
    other.primary = EffectiveIdentity().IsSystem();
    other.level = other.primary ? SecurityImpersonation : SecurityIdentification;
    other.access = TOKEN_ALL_ACCESS;
    linked.LinkedToken = MakeToken(other);
    if (linked.LinkedToken == nullptr)
    {
        return call.Return(FALSE);
    }
    std::memcpy(buffer, &linked, sizeof linked);
    return call.Return(TRUE);
}

BOOL WINAPI DoubleGetTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS what, LPVOID buffer,
                                      DWORD size, PDWORD needed)
{
    Call call(L"GetTokenInformation", token, static_cast<DWORD>(what), size);
    const auto info = FindToken(token);
    if (!info)
    {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (needed == nullptr)
    {
        return call.Fail(ERROR_NOACCESS);
    }
    if ((info->access & TOKEN_QUERY) == 0)
    {
        return call.Fail(ERROR_ACCESS_DENIED);
    }
    switch (what)
    {
    case TokenUser:
        return GiveUser(call, info->identity, buffer, size, needed);
    case TokenDefaultDacl:
        return GiveDefaultList(call, info->identity, buffer, size, needed);
    case TokenElevationType:
        return GiveFixed(call, static_cast<DWORD>(info->identity.elevation), buffer, size, needed);
    case TokenElevation:
        return GiveFixed(call, DWORD{info->identity.isAdministrator ? 1U : 0U}, buffer, size,
                         needed);
    case TokenLinkedToken:
        return GiveLinkedToken(call, *info, buffer, size, needed);
    case TokenSessionId:
        return GiveFixed(call, DWORD{info->identity.session}, buffer, size, needed);
    case TokenType:
        return GiveFixed(call, info->primary ? TokenPrimary : TokenImpersonation, buffer, size,
                         needed);
    case TokenImpersonationLevel:
        return info->primary ? call.Fail(ERROR_INVALID_PARAMETER)
                             : GiveFixed(call, info->level, buffer, size, needed);
    default:
        // What the lab does not know about its users it does not invent.
        return call.Fail(ERROR_NOT_SUPPORTED);
    }
}

BOOL WINAPI DoubleDuplicateTokenEx(HANDLE token, DWORD access, LPSECURITY_ATTRIBUTES,
                                   SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type,
                                   PHANDLE made)
{
    Call call(L"DuplicateTokenEx", token, access, static_cast<DWORD>(level),
              static_cast<DWORD>(type));
    auto info = FindToken(token);
    if (!info)
    {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (made == nullptr || (type != TokenPrimary && type != TokenImpersonation) ||
        level > SecurityDelegation)
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    if ((info->access & TOKEN_DUPLICATE) == 0)
    {
        return call.Fail(ERROR_ACCESS_DENIED);
    }
    // A token for looking at cannot be turned into one for acting.
    if (!info->primary &&
        (level > info->level || (type == TokenPrimary && info->level < SecurityImpersonation)))
    {
        return call.Fail(ERROR_BAD_IMPERSONATION_LEVEL);
    }
    info->access = access == 0 ? info->access : TokenAccess(access);
    info->level = level;
    info->primary = type == TokenPrimary;
    *made = MakeToken(*info);
    return call.Return(*made != nullptr ? TRUE : FALSE);
}

BOOL WINAPI DoubleCheckTokenMembership(HANDLE token, PSID sid, PBOOL isMember)
{
    Call call(L"CheckTokenMembership", token);
    if (sid == nullptr || !IsValidSid(sid))
    {
        return call.Fail(ERROR_INVALID_SID);
    }
    Identity identity = EffectiveIdentity();
    if (token != nullptr)
    {
        const auto info = FindToken(token);
        if (!info)
        {
            return call.Fail(ERROR_INVALID_HANDLE);
        }
        if (info->primary)
        {
            return call.Fail(ERROR_NO_IMPERSONATION_TOKEN);
        }
        if ((info->access & TOKEN_QUERY) == 0)
        {
            return call.Fail(ERROR_ACCESS_DENIED);
        }
        if (info->level < SecurityIdentification)
        {
            return call.Fail(ERROR_BAD_IMPERSONATION_LEVEL);
        }
        identity = info->identity;
    }
    *isMember = FALSE;
    for (const std::wstring& group : identity.EnabledSids())
    {
        std::vector<BYTE> bytes = SidBytes(group);
        *isMember = *isMember || EqualSid(bytes.data(), sid);
    }
    call.Add(*isMember);
    return call.Return(TRUE);
}

// The service accounts as LogonUser knows them, localised where Windows is.
std::wstring ServiceAccount(const std::wstring& domain, const std::wstring& name)
{
    static const wchar_t* const sids[] = {L"S-1-5-18", L"S-1-5-19", L"S-1-5-20"};
    bool localised = false;
    for (const KnownName& known : KnownNames())
    {
        for (const wchar_t* sid : sids)
        {
            if (known.sid != sid)
            {
                continue;
            }
            localised = true;
            if (EqualNoCase(known.name, name) && EqualNoCase(known.domain, domain))
            {
                return sid;
            }
        }
    }
    if (localised)
    {
        return {};
    }
    for (const wchar_t* account : {L"SYSTEM", L"LocalService", L"NetworkService"})
    {
        const Identity identity = *FindIdentity(account);
        if (EqualNoCase(identity.name, name) && EqualNoCase(identity.domain, domain))
        {
            return identity.sid;
        }
    }
    return {};
}

BOOL WINAPI DoubleLogonUserW(LPCWSTR user, LPCWSTR domain, LPCWSTR password, DWORD type,
                             DWORD provider, PHANDLE token)
{
    static_cast<void>(password);
    Call call(L"LogonUserW", user, domain, type, provider);
    if (token == nullptr || provider > LOGON32_PROVIDER_WINNT50 ||
        type < LOGON32_LOGON_INTERACTIVE || type > LOGON32_LOGON_NEW_CREDENTIALS)
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    const std::wstring sid =
        user == nullptr ? L"" : ServiceAccount(domain == nullptr ? L"" : domain, user);
    // The lab knows no passwords, so users of its own cannot log on here. The service accounts have
    // none, and only the system itself may log them on.
    if (sid.empty() || !EffectiveIdentity().IsSystem())
    {
        return call.Fail(ERROR_LOGON_FAILURE);
    }
    if (type != LOGON32_LOGON_SERVICE)
    {
        return call.Fail(ERROR_LOGON_TYPE_NOT_GRANTED);
    }
    TokenInfo info;
    info.identity = *FindIdentity(sid == L"S-1-5-18"   ? L"SYSTEM"
                                  : sid == L"S-1-5-19" ? L"LocalService"
                                                       : L"NetworkService");
    info.access = TOKEN_ALL_ACCESS;
    *token = MakeToken(info);
    return call.Return(*token != nullptr ? TRUE : FALSE);
}

} // namespace

void AddTokenDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "ADVAPI32", GetTokenInformation);
    PALVOLAB_DOUBLE(list, "ADVAPI32", DuplicateTokenEx);
    PALVOLAB_DOUBLE(list, "ADVAPI32", CheckTokenMembership);
    PALVOLAB_DOUBLE(list, "ADVAPI32", LogonUserW);
}

} // namespace PalvoLab
