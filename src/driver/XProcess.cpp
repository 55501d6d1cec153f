#include "XProcess.h"

#include <userenv.h>

namespace
{
constexpr DWORD PollMilliseconds = 100;

struct EnvironmentTraits
{
    using Value = void*;
    static Value Nothing() noexcept { return nullptr; }
    static bool IsOwned(Value block) noexcept { return block != nullptr; }
    static void Close(Value block) noexcept { DestroyEnvironmentBlock(block); }
};

/// Dispatches all waiting messages. Posts a quit message again, for the next message loop. Stops at
/// a message that cannot be read: it would be found again at once.
void PumpMessages()
{
    MSG message = {};
    while (PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE))
    {
        const BOOL received = GetMessageW(&message, nullptr, 0, 0);
        if (received == 0)
        {
            PostQuitMessage(static_cast<int>(message.wParam));
        }
        if (received <= 0)
        {
            return;
        }
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}
} // namespace

XProcess::XProcess()
{
    startupInformation.cb = sizeof(startupInformation);
}

XProcess::~XProcess()
{
    CloseChild();
}

DWORD XProcess::RunAsCurrentUser(const std::wstring& commandLine)
{
    return Start(commandLine) ? WaitForExitCode() : 0;
}

bool XProcess::Start(const std::wstring& commandLine)
{
    std::wstring mutableCommandLine = commandLine;
    PROCESS_INFORMATION information = {};
    return Own(CreateProcessW(nullptr, mutableCommandLine.data(), nullptr, nullptr, FALSE,
                              NORMAL_PRIORITY_CLASS, nullptr, nullptr, &startupInformation,
                              &information),
               information);
}

DWORD XProcess::RunAsUser(HANDLE token, const std::wstring& commandLine)
{
    KernelHandle duplicate;
    const bool duplicated = duplicate.KeepIf(DuplicateTokenEx(
        token, MAXIMUM_ALLOWED, nullptr, SecurityImpersonation, TokenPrimary, duplicate.Receive()));
    // Without a duplicate, try the token itself.
    HANDLE account = duplicated ? duplicate.Get() : token;
    PROCESS_INFORMATION information = {};
    BOOL created = FALSE;
    {
        Owner<EnvironmentTraits> environment;
        environment.KeepIf(CreateEnvironmentBlock(environment.Receive(), account, FALSE));
        std::wstring mutableCommandLine = commandLine;
        created =
            CreateProcessAsUserW(account, nullptr, mutableCommandLine.data(), nullptr, nullptr,
                                 FALSE, CREATE_UNICODE_ENVIRONMENT | NORMAL_PRIORITY_CLASS,
                                 environment.Get(), nullptr, &startupInformation, &information);
    }
    duplicate.Reset();
    return Own(created, information) ? WaitForExitCode() : 0;
}

bool XProcess::Own(BOOL created, const PROCESS_INFORMATION& information) noexcept
{
    if (!created)
    {
        // A failed call leaves nothing that is ours.
        return false;
    }
    CloseChild();
    processInformation = information;
    return true;
}

void XProcess::CloseChild() noexcept
{
    const KernelHandle process(processInformation.hProcess);
    const KernelHandle thread(processInformation.hThread);
    processInformation = {};
}

DWORD XProcess::WaitForExitCode() const
{
    for (;;)
    {
        DWORD exitCode = 0;
        switch (WaitForSingleObject(processInformation.hProcess, PollMilliseconds))
        {
        case WAIT_OBJECT_0:
            return GetExitCodeProcess(processInformation.hProcess, &exitCode) ? exitCode : 0;
        case WAIT_TIMEOUT:
            PumpMessages();
            break;
        case WAIT_FAILED:
            return 0;
        default:
            break;
        }
    }
}
