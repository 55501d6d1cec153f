#include "FakeSessions.h"

#include <sddl.h>

#include <cstring>

namespace
{
/// What a failing call leaves where a handle was to be: nobody's.
HANDLE const LeftByFailure = reinterpret_cast<HANDLE>(0x5BAD0BADU);

std::wstring SidText(PSID sid)
{
    wchar_t* text = nullptr;
    if (!ConvertSidToStringSidW(sid, &text))
    {
        return {};
    }
    const std::wstring copy = text;
    LocalFree(text);
    return copy;
}

bool Fits(const std::wstring& name, DWORD size)
{
    return name.size() < size;
}

void CopyName(const std::wstring& from, LPWSTR to, DWORD* size)
{
    std::memcpy(to, from.c_str(), (from.size() + 1) * sizeof(wchar_t));
    *size = static_cast<DWORD>(from.size());
}
} // namespace

FakeSessions::FakeSessions(Journal& target)
    : journal(target),
      enumerate([this](HANDLE server, DWORD reserved, DWORD version, PWTS_SESSION_INFOW* list,
                       DWORD* count) -> BOOL
                { return Enumerate(server, reserved, version, list, count); }),
      freeMemory(
          [this](PVOID memory)
          {
              if (memory == LeftByFailure)
              {
                  journal.push_back(L"WTSFreeMemory BAD");
                  ++refusedCalls;
                  return;
              }
              --lists;
              delete[] static_cast<WTS_SESSION_INFOW*>(memory);
          }),
      queryToken([this](ULONG id, PHANDLE token) -> BOOL { return QueryToken(id, token); }),
      duplicateToken([this](HANDLE token, DWORD access, LPSECURITY_ATTRIBUTES attributes,
                            SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type,
                            PHANDLE duplicate) -> BOOL
                     { return Duplicate(token, access, attributes, level, type, duplicate); }),
      tokenInformation([this](HANDLE token, TOKEN_INFORMATION_CLASS kind, LPVOID buffer, DWORD size,
                              PDWORD needed) -> BOOL
                       { return Information(token, kind, buffer, size, needed); }),
      lookUpAccount([this](LPCWSTR, PSID sid, LPWSTR name, LPDWORD nameSize, LPWSTR domain,
                           LPDWORD domainSize, PSID_NAME_USE) -> BOOL
                    { return LookUp(sid, name, nameSize, domain, domainSize); }),
      impersonate(
          [this](HANDLE token) -> BOOL
          {
              const FakeToken* found = Find(token);
              journal.push_back(L"ImpersonateLoggedOnUser " + (found ? found->name : L"BAD TOKEN"));
              if (found == nullptr || Fails(L"ImpersonateLoggedOnUser"))
              {
                  return FALSE;
              }
              impersonated = found->session.name;
              return TRUE;
          }),
      revert(
          [this]() -> BOOL
          {
              journal.push_back(L"RevertToSelf");
              if (Fails(L"RevertToSelf"))
              {
                  return FALSE;
              }
              impersonated = L"itself";
              return TRUE;
          }),
      checkMembership([this](HANDLE token, PSID sid, PBOOL member) -> BOOL
                      { return CheckMember(token, sid, member); }),
      closeHandle(
          [this](HANDLE handle) -> BOOL
          {
              if (const FakeToken* found = Find(handle))
              {
                  journal.push_back(L"CloseHandle " + found->name);
                  tokens.erase(handle);
                  return TRUE;
              }
              const auto number = reinterpret_cast<std::uintptr_t>(handle);
              if ((number & 0xF0000000U) != 0x50000000U)
              {
                  return decltype(closeHandle)::Original(handle);
              }
              journal.push_back(L"CloseHandle BAD");
              return Refuse(ERROR_INVALID_HANDLE);
          })
{
}

HANDLE FakeSessions::Token(const FakeSession& session)
{
    return Open({session, session.name, TokenPrimary, false});
}

HANDLE FakeSessions::Open(const FakeToken& token)
{
    const auto handle = reinterpret_cast<HANDLE>(nextHandle++);
    tokens[handle] = token;
    return handle;
}

FakeSessions::FakeToken* FakeSessions::Find(HANDLE handle)
{
    const auto found = tokens.find(handle);
    return found == tokens.end() ? nullptr : &found->second;
}

BOOL FakeSessions::Refuse(DWORD code)
{
    ++refusedCalls;
    SetLastError(code);
    return FALSE;
}

bool FakeSessions::Fails(const std::wstring& function)
{
    const auto found = failing.find(function);
    if (found == failing.end())
    {
        return false;
    }
    SetLastError(found->second);
    return true;
}

bool FakeSessions::Enumerate(HANDLE server, DWORD reserved, DWORD version, PWTS_SESSION_INFOW* list,
                             DWORD* count)
{
    journal.push_back(L"WTSEnumerateSessionsW");
    if (server != WTS_CURRENT_SERVER_HANDLE || reserved != 0 || version != 1)
    {
        return Refuse(ERROR_INVALID_PARAMETER);
    }
    if (Fails(L"WTSEnumerateSessionsW"))
    {
        *list = static_cast<PWTS_SESSION_INFOW>(LeftByFailure);
        *count = 1;
        return false;
    }
    *list = new WTS_SESSION_INFOW[sessions.size() + 1]();
    *count = static_cast<DWORD>(sessions.size());
    ++lists;
    for (std::size_t i = 0; i < sessions.size(); ++i)
    {
        (*list)[i].SessionId = sessions[i].id;
        (*list)[i].State = sessions[i].state;
    }
    return true;
}

bool FakeSessions::QueryToken(ULONG id, HANDLE* token)
{
    journal.push_back(L"WTSQueryUserToken " + std::to_wstring(id));
    for (const FakeSession& session : sessions)
    {
        if (session.id == id && session.hasToken)
        {
            *token = tokensAreNull ? nullptr : Token(session);
            return true;
        }
    }
    *token = LeftByFailure;
    SetLastError(ERROR_NO_TOKEN);
    return false;
}

bool FakeSessions::Duplicate(HANDLE token, DWORD access, const SECURITY_ATTRIBUTES* attributes,
                             SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type, HANDLE* duplicate)
{
    const FakeToken* found = Find(token);
    const std::wstring kind = access == MAXIMUM_ALLOWED ? L"all"
                              : access == TOKEN_QUERY   ? L"query"
                                                        : L"BAD";
    journal.push_back(L"DuplicateTokenEx(" + kind + L") " + (found ? found->name : L"BAD TOKEN"));
    if (found == nullptr || attributes != nullptr || level != SecurityImpersonation ||
        type != TokenImpersonation)
    {
        return Refuse(ERROR_INVALID_PARAMETER);
    }
    if (Fails(L"DuplicateTokenEx(" + kind + L")"))
    {
        *duplicate = LeftByFailure;
        return false;
    }
    FakeToken copy = *found;
    copy.name += L"/" + kind;
    copy.type = type;
    *duplicate = Open(copy);
    return true;
}

bool FakeSessions::Information(HANDLE token, TOKEN_INFORMATION_CLASS kind, void* buffer, DWORD size,
                               DWORD* needed)
{
    const FakeToken* found = Find(token);
    if (found == nullptr)
    {
        return Refuse(ERROR_INVALID_HANDLE);
    }
    if (kind == TokenUser)
    {
        return !Fails(L"TokenUser") && UserInformation(*found, buffer, size, needed);
    }
    if (kind == TokenElevationType && size == sizeof(TOKEN_ELEVATION_TYPE))
    {
        journal.push_back(L"TokenElevationType " + found->name);
        if (Fails(L"TokenElevationType"))
        {
            return false;
        }
        std::memcpy(buffer, &found->session.elevation, size);
        return true;
    }
    if (kind == TokenLinkedToken && size == sizeof(TOKEN_LINKED_TOKEN))
    {
        journal.push_back(L"TokenLinkedToken " + found->name);
        if (Fails(L"TokenLinkedToken"))
        {
            std::memcpy(buffer, &LeftByFailure, sizeof(LeftByFailure));
            return false;
        }
        FakeToken full = *found;
        full.name += L"/full";
        full.isLinked = true;
        const TOKEN_LINKED_TOKEN linked = {Open(full)};
        std::memcpy(buffer, &linked, size);
        return true;
    }
    return Refuse(ERROR_INVALID_PARAMETER);
}

bool FakeSessions::UserInformation(const FakeToken& token, void* buffer, DWORD size, DWORD* needed)
{
    PSID sid = nullptr;
    if (!ConvertStringSidToSidW(token.session.sid.c_str(), &sid))
    {
        SetLastError(ERROR_INVALID_SID);
        return false;
    }
    const DWORD length = GetLengthSid(sid);
    *needed = static_cast<DWORD>(sizeof(TOKEN_USER)) + length;
    const bool fits = size >= *needed;
    if (fits)
    {
        auto* user = static_cast<TOKEN_USER*>(buffer);
        *user = {};
        user->User.Sid = user + 1;
        std::memcpy(user->User.Sid, sid, length);
    }
    LocalFree(sid);
    if (!fits)
    {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return false;
    }
    return !Fails(L"TokenUser(filled)");
}

bool FakeSessions::LookUp(PSID sid, LPWSTR name, DWORD* nameSize, LPWSTR domain, DWORD* domainSize)
{
    if (Fails(L"LookupAccountSidW"))
    {
        return false;
    }
    const std::wstring wanted = SidText(sid);
    for (const FakeSession& session : sessions)
    {
        if (session.sid == wanted)
        {
            if (!Fits(session.name, *nameSize) || !Fits(session.domain, *domainSize))
            {
                // Nothing is copied. Both sizes are those that are required, with the zero.
                *nameSize = static_cast<DWORD>(session.name.size() + 1);
                *domainSize = static_cast<DWORD>(session.domain.size() + 1);
                SetLastError(ERROR_INSUFFICIENT_BUFFER);
                return false;
            }
            CopyName(session.name, name, nameSize);
            CopyName(session.domain, domain, domainSize);
            return true;
        }
    }
    SetLastError(ERROR_NONE_MAPPED);
    return false;
}

bool FakeSessions::CheckMember(HANDLE token, PSID sid, BOOL* member)
{
    const FakeToken* found = Find(token);
    journal.push_back(L"CheckTokenMembership " + (found ? found->name : L"BAD TOKEN") + L" " +
                      SidText(sid));
    if (found == nullptr || found->type != TokenImpersonation)
    {
        return Refuse(ERROR_NO_IMPERSONATION_TOKEN);
    }
    if (Fails(L"CheckTokenMembership"))
    {
        return false;
    }
    *member = found->isLinked ? found->session.isFullAdministrator : found->session.isAdministrator;
    return true;
}
