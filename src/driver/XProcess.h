#pragma once

#include "Owners.h"

#include <string>

/// Runs one child process to its end, without a time limit, and dispatches the thread's messages
/// meanwhile. Takes the whole command line, program path first. Returns the child's exit code, or 0
/// if it did not start.
///
/// The path is not quoted. Windows first tries the shorter paths that end before its blanks, so
/// others must not be able to write to the directories above the program.
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

    /// Starts a child under this process's account and does not wait for it. False if it does not
    /// start.
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
