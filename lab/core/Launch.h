// Starting a program inside the lab: with the lab's DLL loaded before the program's first
// instruction runs.
#pragma once

#include "Owners.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace PalvoLab
{

struct LaunchRequest
{
    std::wstring program;     // full path
    std::wstring commandLine; // raw
    std::wstring account;     // empty: the lab's current account
    std::vector<std::pair<std::wstring, std::wstring>> environment; // set for it alone
    HANDLE output = nullptr; // its standard output; null: this process's
    bool ownErrors = true;   // standard error too goes to `output` when false
};

// A program that has been made but waits for Start().
class Launched
{
public:
    Launched() = default;
    Launched(KernelHandle process, KernelHandle thread, DWORD id);

    void Start() const;

    // Waits for its end and gives its exit code. Nothing when it did not end in time; then it is
    // ended.
    std::optional<DWORD> Wait(DWORD milliseconds) const;

    DWORD Id() const;

private:
    KernelHandle m_process;
    KernelHandle m_thread;
    DWORD m_id = 0;
};

// Makes the program, suspended, with the lab inside. On failure the last-error value says why.
std::optional<Launched> Launch(const LaunchRequest& request);

// Lets a program run that another process has made with Launch() and not started. False when it is
// not there, or is not suspended.
bool ResumeSuspended(DWORD processId);

// The full path of the lab's DLL: beside the running program.
std::wstring LabDll();

// Loads that DLL into a process that was made suspended. False, with the last-error value, when it
// cannot be loaded there.
bool Inject(HANDLE process, const std::wstring& dll);

// Quotes an argument so that CommandLineToArgvW gives it back.
std::wstring QuoteArgument(const std::wstring& argument);

} // namespace PalvoLab
