// Doubles of terminal services: sessions, their users' tokens, messages to them.
#include "DoubleTable.h"
#include "Impersonation.h"
#include "MessageRecord.h"

#include "CallRecord.h"
#include "LabState.h"
#include "LeakRecord.h"

#include <wtsapi32.h>

#include <cstring>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kKind[] = L"session list";
constexpr DWORD kSessionNotFound = 7022;

BOOL WINAPI DoubleWTSEnumerateSessionsW(HANDLE server, DWORD reserved, DWORD version,
                                        PWTS_SESSION_INFOW* list, DWORD* count)
{
    Call call(L"WTSEnumerateSessionsW", server, reserved, version);
    if (server != WTS_CURRENT_SERVER_HANDLE)
    {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (reserved != 0 || version != 1 || list == nullptr || count == nullptr)
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    const std::vector<Session> sessions = Sessions();
    std::size_t size = sessions.size() * sizeof(WTS_SESSION_INFOW) + 1;
    for (const Session& session : sessions)
    {
        size += (session.station.size() + 1) * sizeof(wchar_t);
    }
    auto* block = static_cast<BYTE*>(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, size));
    auto* entries = reinterpret_cast<WTS_SESSION_INFOW*>(block);
    auto* text = reinterpret_cast<wchar_t*>(block + sessions.size() * sizeof(WTS_SESSION_INFOW));
    for (std::size_t i = 0; i < sessions.size(); ++i)
    {
        entries[i].SessionId = sessions[i].id;
        entries[i].State = static_cast<WTS_CONNECTSTATE_CLASS>(sessions[i].state);
        entries[i].pWinStationName = text;
        std::memcpy(text, sessions[i].station.c_str(),
                    (sessions[i].station.size() + 1) * sizeof(wchar_t));
        text += sessions[i].station.size() + 1;
    }
    *list = entries;
    *count = static_cast<DWORD>(sessions.size());
    CountOpened(kKind, block, L"");
    call.Add(*count);
    return call.Return(TRUE);
}

void WINAPI DoubleWTSFreeMemory(PVOID memory)
{
    Call call(L"WTSFreeMemory", memory);
    if (memory != nullptr && CountClosed(kKind, memory))
    {
        HeapFree(GetProcessHeap(), 0, memory);
    }
    call.Return(0);
}

BOOL WINAPI DoubleWTSQueryUserToken(ULONG id, PHANDLE token)
{
    Call call(L"WTSQueryUserToken", id);
    if (token == nullptr)
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    if (!EffectiveIdentity().IsSystem())
    {
        return call.Fail(ERROR_PRIVILEGE_NOT_HELD);
    }
    const auto session = FindSession(id);
    if (!session)
    {
        return call.Fail(kSessionNotFound);
    }
    const auto user = session->user.empty() ? std::nullopt : FindUser(session->user);
    if (!user)
    {
        return call.Fail(ERROR_NO_TOKEN);
    }
    TokenInfo info;
    info.identity = SessionIdentity(*user, id);
    info.access = TOKEN_ALL_ACCESS;
    *token = MakeToken(info);
    call.Add(user->name);
    return call.Return(*token != nullptr ? TRUE : FALSE);
}

BOOL WINAPI DoubleWTSSendMessageW(HANDLE server, DWORD session, LPWSTR title, DWORD titleBytes,
                                  LPWSTR text, DWORD textBytes, DWORD style, DWORD timeout,
                                  DWORD* response, BOOL wait)
{
    Call call(L"WTSSendMessageW", session, titleBytes, textBytes, style, timeout, wait);
    if (server != WTS_CURRENT_SERVER_HANDLE)
    {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    if (title == nullptr || text == nullptr || response == nullptr)
    {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    const auto target = FindSession(session);
    if (!target)
    {
        return call.Fail(kSessionNotFound);
    }
    const Identity sender = EffectiveIdentity();
    if (!sender.isAdministrator && sender.session != session)
    {
        return call.Fail(ERROR_ACCESS_DENIED);
    }
    if (textBytes > NumberSetting(L"MessageLimit", 0xFFFFFFFFU))
    {
        return call.Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    RecordSentMessage(session, std::wstring(title, titleBytes / sizeof(wchar_t)), titleBytes,
                      std::wstring(text, textBytes / sizeof(wchar_t)), textBytes, style);
    *response = wait ? NumberSetting(L"MessageResponse", IDOK) : IDASYNC;
    return call.Return(TRUE);
}

} // namespace

void AddSessionDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "WTSAPI32", WTSEnumerateSessionsW);
    PALVOLAB_DOUBLE(list, "WTSAPI32", WTSFreeMemory);
    PALVOLAB_DOUBLE(list, "WTSAPI32", WTSQueryUserToken);
    PALVOLAB_DOUBLE(list, "WTSAPI32", WTSSendMessageW);
}

} // namespace PalvoLab
