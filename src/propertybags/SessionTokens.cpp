#include "SessionTokens.h"

#include "SessionOwners.h"

namespace
{
bool HasUser(const WTS_SESSION_INFOW& session)
{
    return session.SessionId != 0 &&
           (session.State == WTSActive || session.State == WTSDisconnected);
}
} // namespace

std::vector<KernelHandle> CollectSessionTokens()
{
    std::vector<KernelHandle> tokens;
    WtsMemory<WTS_SESSION_INFOW*> sessions;
    DWORD count = 0;
    if (!sessions.KeepIf(
            WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, sessions.Receive(), &count)))
    {
        return tokens;
    }
    for (DWORD i = 0; i < count; ++i)
    {
        const WTS_SESSION_INFOW& session = sessions.Get()[i];
        KernelHandle token;
        if (HasUser(session) && token.KeepIf(WTSQueryUserToken(session.SessionId, token.Receive())))
        {
            tokens.push_back(std::move(token));
        }
    }
    return tokens;
}
