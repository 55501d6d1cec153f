#include "Impersonation.h"

#include "DoubleTable.h"

#include "CallRecord.h"
#include "LeakRecord.h"
#include "Owners.h"

#include <algorithm>
#include <map>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kKind[] = L"token";

SRWLOCK tokenLock = SRWLOCK_INIT;

struct Tokens
{
    std::map<HANDLE, TokenInfo> open;
    std::map<DWORD, TokenInfo> threads;
};

Tokens& Table()
{
    static auto* tokens = new Tokens;
    return *tokens;
}

class Guard
{
public:
    Guard() { AcquireSRWLockExclusive(&tokenLock); }

    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

    ~Guard() { ReleaseSRWLockExclusive(&tokenLock); }
};

// Who may not impersonate can only look at who somebody else is, and is not told so.
void LimitLevel(TokenInfo& info)
{
    const Identity own = ProcessIdentity();
    if (!own.MayImpersonate() && own.sid != info.identity.sid)
    {
        info.level = std::min(info.level, SecurityIdentification);
    }
}

BOOL WINAPI DoubleImpersonateLoggedOnUser(HANDLE token)
{
    Call call(L"ImpersonateLoggedOnUser", token);
    auto info = FindToken(token);
    if (!info)
    {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    const DWORD needed = TOKEN_QUERY | (info->primary ? TOKEN_DUPLICATE : TOKEN_IMPERSONATE);
    if ((info->access & needed) != needed)
    {
        return call.Fail(ERROR_ACCESS_DENIED);
    }
    if (!ImpersonateLoggedOnUser(token))
    {
        return call.Return(FALSE);
    }
    info->level = info->primary ? SecurityImpersonation : info->level;
    info->primary = false;
    LimitLevel(*info);
    call.Add(info->identity.Text());
    SetThreadIdentity(info);
    return call.Return(TRUE);
}

BOOL WINAPI DoubleRevertToSelf()
{
    Call call(L"RevertToSelf");
    const BOOL reverted = RevertToSelf();
    if (reverted)
    {
        SetThreadIdentity(std::nullopt);
    }
    return call.Return(reverted);
}

BOOL WINAPI DoubleSetThreadToken(PHANDLE thread, HANDLE token)
{
    Call call(L"SetThreadToken", token);
    if (thread != nullptr && *thread != GetCurrentThread())
    {
        return call.Fail(ERROR_NOT_SUPPORTED);
    }
    if (token == nullptr)
    {
        SetThreadIdentity(std::nullopt);
        return call.Return(SetThreadToken(nullptr, nullptr));
    }
    auto info = FindToken(token);
    if (!info)
    {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (info->primary)
    {
        return call.Fail(ERROR_BAD_TOKEN_TYPE);
    }
    LimitLevel(*info);
    if ((info->access & TOKEN_IMPERSONATE) == 0)
    {
        return call.Fail(ERROR_ACCESS_DENIED);
    }
    if (!SetThreadToken(nullptr, token))
    {
        return call.Return(FALSE);
    }
    SetThreadIdentity(info);
    return call.Return(TRUE);
}

BOOL WINAPI DoubleOpenThreadToken(HANDLE thread, DWORD access, BOOL asSelf, PHANDLE token)
{
    Call call(L"OpenThreadToken", thread, access, asSelf);
    auto info = ThreadToken();
    if (thread != GetCurrentThread() || !info)
    {
        return call.Fail(ERROR_NO_TOKEN);
    }
    info->primary = false;
    info->access = TokenAccess(access);
    *token = MakeToken(*info);
    return call.Return(*token != nullptr ? TRUE : FALSE);
}

BOOL WINAPI DoubleOpenProcessToken(HANDLE process, DWORD access, PHANDLE token)
{
    Call call(L"OpenProcessToken", process, access);
    if (process != GetCurrentProcess())
    {
        return call.Return(OpenProcessToken(process, access, token));
    }
    TokenInfo info;
    info.identity = ProcessIdentity();
    info.access = TokenAccess(access);
    *token = MakeToken(info);
    return call.Return(*token != nullptr ? TRUE : FALSE);
}

} // namespace

HANDLE MakeToken(const TokenInfo& info)
{
    HANDLE process = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, &process))
    {
        return nullptr;
    }
    const KernelHandle owner(process);
    HANDLE token = nullptr;
    const DWORD access = info.access == 0 ? TOKEN_QUERY_SOURCE : info.access;
    if (!DuplicateTokenEx(process, access, nullptr, info.level,
                          info.primary ? TokenPrimary : TokenImpersonation, &token))
    {
        return nullptr;
    }
    CountOpened(kKind, token, info.identity.Text() + (info.primary ? L" primary" : L""));
    const Guard guard;
    Table().open[token] = info;
    return token;
}

std::optional<TokenInfo> FindToken(HANDLE token)
{
    {
        const Guard guard;
        const auto entry = Table().open.find(token);
        if (entry != Table().open.end())
        {
            return entry->second;
        }
    }
    CountMisuse(kKind, L"used that is not open");
    return std::nullopt;
}

bool ForgetToken(HANDLE token)
{
    {
        const Guard guard;
        if (Table().open.erase(token) == 0)
        {
            return false;
        }
    }
    CountClosed(kKind, token);
    return true;
}

DWORD TokenAccess(DWORD desired)
{
    GENERIC_MAPPING mapping = {TOKEN_READ, TOKEN_WRITE, TOKEN_EXECUTE, TOKEN_ALL_ACCESS};
    if ((desired & MAXIMUM_ALLOWED) != 0)
    {
        return TOKEN_ALL_ACCESS;
    }
    MapGenericMask(&desired, &mapping);
    return desired & TOKEN_ALL_ACCESS;
}

std::optional<TokenInfo> ThreadToken()
{
    const Guard guard;
    const auto entry = Table().threads.find(GetCurrentThreadId());
    return entry == Table().threads.end() ? std::nullopt : std::optional(entry->second);
}

void SetThreadIdentity(const std::optional<TokenInfo>& info)
{
    const Guard guard;
    if (info)
    {
        Table().threads[GetCurrentThreadId()] = *info;
    }
    else
    {
        Table().threads.erase(GetCurrentThreadId());
    }
}

bool IsAnyThreadImpersonating()
{
    return !Table().threads.empty();
}

Identity EffectiveIdentity()
{
    const auto info = ThreadToken();
    return info ? info->identity : ProcessIdentity();
}

DWORD LevelError()
{
    const auto token = ThreadToken();
    return token && token->level < SecurityImpersonation ? ERROR_BAD_IMPERSONATION_LEVEL
                                                         : ERROR_SUCCESS;
}

void AddImpersonationDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "ADVAPI32", ImpersonateLoggedOnUser);
    PALVOLAB_DOUBLE(list, "ADVAPI32", RevertToSelf);
    PALVOLAB_DOUBLE(list, "ADVAPI32", SetThreadToken);
    PALVOLAB_DOUBLE(list, "ADVAPI32", OpenThreadToken);
    PALVOLAB_DOUBLE(list, "ADVAPI32", OpenProcessToken);
}

} // namespace PalvoLab
