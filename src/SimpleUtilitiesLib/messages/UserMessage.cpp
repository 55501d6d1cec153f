#include "UserMessage.h"

#include "Format.h"
#include "Owners.h"
#include "ProgramFile.h"
#include "SessionOwners.h"

#include <vector>

namespace
{
constexpr DWORD LongestRetriedMessageBytes = 4095;

constexpr wchar_t SeveralSessionsWarning[] =
    L"\n\nWARNING: This message may have been displayed in the wrong user session because multiple "
    L"active sessions were found, and this code does not have the context information needed to "
    L"determine which session initiated the call into the print driver.";

bool IsInteractive()
{
    DWORD session = 0;
    if (!ProcessIdToSessionId(GetCurrentProcessId(), &session) || session == 0)
    {
        return false;
    }
    HWINSTA station = GetProcessWindowStation();
    USEROBJECTFLAGS flags = {};
    return station != nullptr &&
           GetUserObjectInformationW(station, UOI_FLAGS, &flags, sizeof(flags), nullptr) &&
           (flags.dwFlags & WSF_VISIBLE) != 0;
}

std::wstring Caption(const std::wstring& title, bool interactive, bool managed)
{
    const DWORD id = GetCurrentProcessId();
    const std::wstring file = FileNameOf(ProgramPath());
    if (!interactive)
    {
        return Format(L"%s (%ld|0x%lx: Non-Interactive Process: %s)", title, id, id, file);
    }
    if (managed)
    {
        return Format(L"%s (%ld|0x%lx: Process with managed code: %s)", title, id, id, file);
    }
    return Format(L"%s (%ld|0x%lx: Process: %s)", title, id, id, file);
}

/// One message box and the ways to show it.
class MessageBoxRequest
{
public:
    MessageBoxRequest(const std::wstring& title, std::wstring message)
        : interactive(IsInteractive()), text(std::move(message))
    {
        const bool managed = GetModuleHandleW(L"mscoree.dll") != nullptr;
        caption = Caption(title, interactive, managed);
        if (!interactive || managed)
        {
            style |= MB_SERVICE_NOTIFICATION | MB_SETFOREGROUND;
        }
    }

    void Warn() { text += SeveralSessionsWarning; }

    /// Shows the box in a session: at most two sends, the second with the message cut.
    bool ShowInSession(DWORD session)
    {
        DWORD messageBytes = Bytes(text);
        for (;;)
        {
            if (Send(session, messageBytes) || (interactive && ShowHere()))
            {
                return true;
            }
            if (messageBytes <= LongestRetriedMessageBytes)
            {
                return false;
            }
            messageBytes = LongestRetriedMessageBytes;
        }
    }

    bool ShowHere()
    {
        return MessageBoxW(nullptr, text.c_str(), (caption + L" (MB_SERVICE_NOTIFICATION)").c_str(),
                           style) != 0;
    }

private:
    static DWORD Bytes(const std::wstring& whole)
    {
        return static_cast<DWORD>(whole.size() * sizeof(wchar_t));
    }

    bool Send(DWORD session, DWORD messageBytes)
    {
        DWORD answer = 0;
        return WTSSendMessageW(WTS_CURRENT_SERVER_HANDLE, session, caption.data(), Bytes(caption),
                               text.data(), messageBytes, style, 0, &answer, TRUE) != FALSE;
    }

    bool interactive;
    std::wstring text;
    std::wstring caption;
    DWORD style = MB_OK | MB_TASKMODAL;
};

/// None if the sessions cannot be listed.
std::vector<DWORD> ActiveSessions()
{
    WtsMemory<WTS_SESSION_INFOW*> sessions;
    DWORD length = 0;
    if (!sessions.KeepIf(
            WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, sessions.Receive(), &length)))
    {
        return {};
    }
    std::vector<DWORD> active;
    for (DWORD i = 0; i < length; ++i)
    {
        if (sessions.Get()[i].State == WTSActive)
        {
            active.push_back(sessions.Get()[i].SessionId);
        }
    }
    return active;
}
} // namespace

void ShowUserMessage(const std::wstring& title, const std::wstring& message)
{
    const LastErrorKeeper keeper;
    MessageBoxRequest box(title, message);
    const std::vector<DWORD> sessions = ActiveSessions();
    if (sessions.size() > 1)
    {
        box.Warn();
    }
    if (sessions.empty() || !box.ShowInSession(sessions.front()))
    {
        box.ShowHere();
    }
}
