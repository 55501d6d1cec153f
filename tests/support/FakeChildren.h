#pragma once

#include "FakeKernelObjects.h"
#include "Journal.h"
#include "Replaced.h"

#include <userenv.h>

#include <deque>
#include <functional>
#include <set>
#include <string>

/// Stands in for the starting of processes, under the program's account or another. Calls are
/// written into the journal; arguments that are not the expected ones are marked BAD.
class FakeChildren
{
public:
    FakeChildren(Journal& target, FakeKernelObjects& objects);

    /// Functions that fail, by their names.
    std::set<std::wstring> failing;
    /// Called with the command line when a child starts; gives its exit code.
    std::function<DWORD(const std::wstring&)> run = [](const std::wstring&) { return DWORD{0}; };
    /// What the waits for the next child give, one after the other; then WAIT_OBJECT_0.
    std::deque<DWORD> waits;
    std::function<void()> onWait; ///< called at each wait for a child
    bool writesTokens = true;     ///< journal the calls about tokens, environments and handles

    /// A token of the caller's.
    HANDLE Token(const std::wstring& name);

private:
    BOOL Refuse(LPCWSTR commandLine, PROCESS_INFORMATION* information);
    BOOL Start(const std::wstring& how, LPCWSTR application, LPWSTR commandLine, bool defaults,
               DWORD flags, const STARTUPINFOW* startup, PROCESS_INFORMATION* information);
    BOOL StartAsUser(HANDLE token, LPCWSTR application, LPWSTR commandLine, bool defaults,
                     DWORD flags, LPVOID environment, const STARTUPINFOW* startup,
                     PROCESS_INFORMATION* information);
    void Note(const std::wstring& line);
    std::wstring NameOf(HANDLE token) const;

    Journal& journal;
    FakeKernelObjects& kernel;
    std::map<HANDLE, std::wstring> tokens;
    std::map<HANDLE, DWORD> exitCodes;
    int environmentBlock = 0; ///< its address stands for the block

    Replaced<"KERNEL32", "CreateProcessW", decltype(CreateProcessW)> createProcess;
    Replaced<"ADVAPI32", "CreateProcessAsUserW", decltype(CreateProcessAsUserW)> createAsUser;
    Replaced<"KERNEL32", "GetExitCodeProcess", decltype(GetExitCodeProcess)> getExitCode;
    Replaced<"ADVAPI32", "LogonUserW", decltype(LogonUserW)> logOn;
    Replaced<"ADVAPI32", "DuplicateTokenEx", decltype(DuplicateTokenEx)> duplicateToken;
    Replaced<"USERENV", "CreateEnvironmentBlock", decltype(CreateEnvironmentBlock)> createBlock;
    Replaced<"USERENV", "DestroyEnvironmentBlock", decltype(DestroyEnvironmentBlock)> destroyBlock;
};
