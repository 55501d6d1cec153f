#pragma once

#include "Owners.h"

#include <string>

/// Runs one child process to its end. While it runs, the thread's message queue is kept alive;
/// there is no time limit. Both ways take the whole command line, program path first, and return
/// the child's exit code, or 0 when nothing ran.
///
/// The path is not put between quotes. Windows then tries the shorter paths at its blanks first, so
/// the directories above the program must not be writable for others.
class XProcess
{
public:
    XProcess();
    virtual ~XProcess();
    XProcess(const XProcess&) = delete;
    XProcess& operator=(const XProcess&) = delete;

    /// CreateProcessW under the account of this process.
    DWORD RunAsCurrentUser(const std::wstring& commandLine);

    /// CreateProcessAsUserW under the token's account and with that account's environment. The
    /// token stays the caller's.
    DWORD RunAsUser(HANDLE token, const std::wstring& commandLine);

    /// Starts a child under the account of this process and does not wait. False when it cannot be
    /// started.
    bool Start(const std::wstring& commandLine);

private:
    bool Own(BOOL created, const PROCESS_INFORMATION& information) noexcept;
    void CloseChild() noexcept;
    [[nodiscard]] DWORD WaitForExitCode() const;

    STARTUPINFOW startupInformation = {};
    /// The last child that was started; this object owns its two handles.
    PROCESS_INFORMATION processInformation = {};
    /// Only reserves room: closed at the end if anything is put there, which nothing does.
    [[maybe_unused]] FileHandle reserved;
};
