#include "Command.h"

#include "Accounts.h"
#include "CallRecord.h"
#include "FaultPlan.h"
#include "LabState.h"
#include "Launch.h"
#include "Text.h"
#include "TurnCommands.h"

#include <algorithm>

namespace PalvoLab
{
namespace
{

// What `run` and `burst` have in common, taken from the arguments.
LaunchRequest TakeLaunchOptions(Arguments& arguments)
{
    LaunchRequest request;
    request.program = ProgramFolder() + kProgram;
    if (const auto program = TakeOption(arguments, L"--program"))
    {
        request.program = ToWindowsPath(*program);
    }
    request.account = TakeOption(arguments, L"--account").value_or(L"");
    if (const auto count = TakeOption(arguments, L"--kill-after"))
    {
        request.environment.emplace_back(L"PALVOLAB_KILL_AFTER", *count);
    }
    std::wstring faults;
    while (const auto fault = TakeOption(arguments, L"--fault"))
    {
        faults += (faults.empty() ? L"" : L";") + *fault;
    }
    if (!faults.empty())
    {
        request.environment.emplace_back(kFaultVariable, faults);
    }
    return request;
}

FileHandle CreateOutput(const std::wstring& path)
{
    SECURITY_ATTRIBUTES inheritable = {};
    inheritable.nLength = sizeof inheritable;
    inheritable.bInheritHandle = TRUE;
    return FileHandle(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  &inheritable, path == L"NUL" ? OPEN_EXISTING : CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
}

// A process id is used again once its process is gone, by any other.
bool IsTheProgram(HANDLE process)
{
    std::vector<wchar_t> path(32768);
    DWORD length = static_cast<DWORD>(path.size());
    return QueryFullProcessImageNameW(process, 0, path.data(), &length) &&
           std::wstring(path.data(), length).ends_with(std::wstring(L"\\") + kProgram);
}

int CannotStart(const LaunchRequest& request)
{
    const DWORD error = GetLastError();
    return Complain(L"'" + request.program + L"' cannot be started: error " +
                    std::to_wstring(error));
}

std::wstring WithProgram(const std::wstring& program, const std::wstring& arguments)
{
    return L"\"" + program + L"\"" + (arguments.empty() ? L"" : L" ") + arguments;
}

struct Copy
{
    std::wstring account;
    std::wstring arguments;
    FileHandle output;
    std::optional<Launched> process;
};

std::string ReadAll(HANDLE file)
{
    std::string text;
    char part[65536];
    DWORD read = 0;
    while (ReadFile(file, part, sizeof part, &read, nullptr) && read != 0)
    {
        text.append(part, read);
    }
    return text;
}

std::vector<Copy> ParseList(const std::string& text)
{
    std::vector<Copy> copies;
    for (std::wstring& line : Split(Widen(text), L'\n'))
    {
        if (!line.empty() && line.back() == L'\r')
        {
            line.pop_back();
        }
        if (line.empty() || line[0] == L'#')
        {
            continue;
        }
        Copy copy;
        copy.arguments = line;
        if (line[0] == L'@')
        {
            const std::size_t blank = line.find(L' ');
            copy.account = line.substr(1, blank == std::wstring::npos ? blank : blank - 1);
            copy.arguments = blank == std::wstring::npos ? L"" : line.substr(blank + 1);
        }
        copies.push_back(std::move(copy));
    }
    return copies;
}

} // namespace

int RunProgram(const Arguments& given)
{
    Arguments options;
    Arguments forProgram;
    const auto dashes = std::find(given.begin(), given.end(), L"--");
    options.assign(given.begin(), dashes);
    if (dashes != given.end())
    {
        forProgram.assign(dashes + 1, given.end());
    }

    LaunchRequest request = TakeLaunchOptions(options);
    const auto raw = TakeOption(options, L"--raw");
    const bool escapes = TakeFlag(options, L"--escapes");
    const bool suspended = TakeFlag(options, L"--suspended");
    const bool inTurns = TakeFlag(options, L"--in-turns");
    const bool wait = !TakeFlag(options, L"--no-wait") && !suspended && !inTurns;
    const bool printExit = TakeFlag(options, L"--print-exit");
    const auto timeout = TakeOption(options, L"--timeout");
    const auto outputPath = TakeOption(options, L"--output");
    if (!options.empty() || (raw && !forProgram.empty()))
    {
        return Misused(L"run");
    }
    if (!request.account.empty() && !FindIdentity(request.account))
    {
        return Complain(L"there is no account '" + request.account + L"'");
    }
    std::wstring arguments = raw ? (escapes ? ReplaceEscapes(*raw) : *raw) : L"";
    for (const std::wstring& argument : forProgram)
    {
        arguments += (arguments.empty() ? L"" : L" ") + QuoteArgument(argument);
    }
    request.commandLine = WithProgram(request.program, arguments);

    // A program that nobody waits for must not hold the caller's pipe open.
    FileHandle output;
    if (outputPath || !wait)
    {
        output = CreateOutput(outputPath ? ToWindowsPath(*outputPath) : L"NUL");
        request.output = output.Get();
        request.ownErrors = false;
    }
    FileHandle turns = inTurns ? MakeTurnPipe(request) : FileHandle();
    auto launched = Launch(request);
    if (!launched)
    {
        return CannotStart(request);
    }
    if (!suspended)
    {
        launched->Start();
    }
    if (!wait)
    {
        Print(L"pid " + std::to_wstring(launched->Id()));
        if (inTurns)
        {
            HoldInTurns(std::move(turns), std::move(*launched));
        }
        return kDone;
    }
    const auto code = launched->Wait(
        timeout ? static_cast<DWORD>(ParseNumber(*timeout).value_or(INFINITE)) : INFINITE);
    if (!code)
    {
        return Complain(L"pid " + std::to_wstring(launched->Id()) + L" did not end in time",
                        kTimedOut);
    }
    if (printExit)
    {
        // Not to standard output, which is the program's alone.
        Complain(L"exit " + std::to_wstring(*code) + L" pid " + std::to_wstring(launched->Id()));
    }
    return static_cast<int>(*code);
}

int RunKill(const Arguments& arguments)
{
    const auto id = arguments.size() == 1 ? ParseNumber(arguments[0]) : std::nullopt;
    if (!id)
    {
        return Misused(L"kill");
    }
    const KernelHandle process(
        OpenProcess(PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE, FALSE,
                    static_cast<DWORD>(*id)));
    if (!process || !IsTheProgram(process.Get()) || !TerminateProcess(process.Get(), kKilled))
    {
        return Complain(L"process " + arguments[0] + L" cannot be ended");
    }
    WaitForSingleObject(process.Get(), INFINITE);
    return kDone;
}

int RunResume(const Arguments& arguments)
{
    const auto id = arguments.size() == 1 ? ParseNumber(arguments[0]) : std::nullopt;
    if (!id)
    {
        return Misused(L"resume");
    }
    return ResumeSuspended(static_cast<DWORD>(*id))
               ? kDone
               : Complain(L"process " + arguments[0] + L" is not suspended");
}

int RunBurst(const Arguments& given)
{
    Arguments arguments = given;
    const LaunchRequest common = TakeLaunchOptions(arguments);
    const auto outputFolder = TakeOption(arguments, L"--output-dir");
    if (arguments.size() != 1)
    {
        return Misused(L"burst");
    }
    const auto text = arguments[0] == L"-" ? std::optional(ReadAll(GetStdHandle(STD_INPUT_HANDLE)))
                                           : ReadWholeFile(ToWindowsPath(arguments[0]));
    if (!text)
    {
        return Complain(L"'" + arguments[0] + L"' cannot be read");
    }
    std::vector<Copy> copies = ParseList(*text);
    for (std::size_t i = 0; i < copies.size(); ++i)
    {
        Copy& copy = copies[i];
        LaunchRequest request = common;
        request.account = copy.account.empty() ? common.account : copy.account;
        if (!request.account.empty() && !FindIdentity(request.account))
        {
            return Complain(L"there is no account '" + request.account + L"'");
        }
        request.commandLine = WithProgram(request.program, copy.arguments);
        copy.output = CreateOutput(outputFolder ? ToWindowsPath(*outputFolder) + L"\\" +
                                                      std::to_wstring(i + 1) + L".out"
                                                : L"NUL");
        request.output = copy.output.Get();
        request.ownErrors = false;
        copy.process = Launch(request);
        if (!copy.process)
        {
            return CannotStart(request);
        }
    }
    for (const Copy& copy : copies)
    {
        copy.process->Start();
    }
    for (const Copy& copy : copies)
    {
        const auto code = copy.process->Wait(INFINITE);
        Print(L"pid " + std::to_wstring(copy.process->Id()) + L"\texit " +
              std::to_wstring(code.value_or(0)) + L"\t" + copy.arguments);
    }
    return kDone;
}

} // namespace PalvoLab
