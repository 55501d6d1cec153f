// The list without the lab. A statement may end its process, hang, or leave it changed, so each has
// a process of its own.
#include "List.h"

#include "Owners.h"

#include <array>
#include <cstdio>
#include <optional>

namespace PalvoLab
{
namespace
{

constexpr DWORD kMilliseconds = 60000;

const char* NameOf(Caller caller)
{
    static constexpr const char* names[] = {"anybody", "SYSTEM", "an elevated administrator",
                                            "Local Service", "a standard user"};
    return names[static_cast<std::size_t>(caller)];
}

Caller OwnAccount()
{
    const KernelHandle token(OwnToken(TOKEN_QUERY));
    const std::wstring sid = OwnSid();
    TOKEN_ELEVATION elevation = {};
    DWORD size = 0;
    GetTokenInformation(token.Get(), TokenElevation, &elevation, sizeof elevation, &size);
    return sid == L"S-1-5-18"               ? Caller::System
           : sid == L"S-1-5-19"             ? Caller::LocalService
           : elevation.TokenIsElevated != 0 ? Caller::Administrator
                                            : Caller::StandardUser;
}

KernelHandle StartOne(const Statement& statement, HANDLE output)
{
    std::array<wchar_t, 1024> program = {};
    GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
    const std::string name = statement.name;
    std::wstring command =
        L"\"" + std::wstring(program.data()) + L"\" " + std::wstring(name.begin(), name.end());
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output;
    startup.hStdError = output;
    PROCESS_INFORMATION made = {};
    if (!CreateProcessW(program.data(), command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                        &startup, &made))
    {
        return KernelHandle();
    }
    CloseHandle(made.hThread);
    return KernelHandle(made.hProcess);
}

// What it said is little: it fits into the pipe until it has ended.
std::string ReadAll(HANDLE pipe)
{
    std::string text;
    std::array<char, 4096> part = {};
    DWORD read = 0;
    while (ReadFile(pipe, part.data(), static_cast<DWORD>(part.size()), &read, nullptr) &&
           read != 0)
    {
        text.append(part.data(), read);
    }
    return text;
}

enum class Outcome
{
    Holds,
    DoesNot,
    NotAsked,
};

Outcome Tell(const char* outcome, const Statement& statement, Outcome result)
{
    std::printf("%-14s %s (%s, %s)\n", outcome, statement.name, statement.call,
                NameOf(statement.caller));
    return result;
}

Outcome Judge(const Statement& statement, HANDLE process)
{
    DWORD code = 0;
    if (process == nullptr || WaitForSingleObject(process, kMilliseconds) != WAIT_OBJECT_0)
    {
        TerminateProcess(process, 1);
        return Tell("does not end", statement, Outcome::DoesNot);
    }
    GetExitCodeProcess(process, &code);
    if (code > 1)
    {
        std::printf("    its process ended with 0x%lx\n", code);
        return Tell("breaks off", statement, Outcome::DoesNot);
    }
    return code == 0 ? Tell("holds", statement, Outcome::Holds)
                     : Tell("DOES NOT HOLD", statement, Outcome::DoesNot);
}

Outcome Ask(const Statement& statement)
{
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    HANDLE reader = nullptr;
    HANDLE writer = nullptr;
    if (!CreatePipe(&reader, &writer, &inheritable, 0x10000))
    {
        return Tell("not started", statement, Outcome::DoesNot);
    }
    const KernelHandle output(reader);
    SetHandleInformation(reader, HANDLE_FLAG_INHERIT, 0);
    KernelHandle process = StartOne(statement, writer);
    CloseHandle(writer);
    const Outcome outcome = Judge(statement, process.Get());
    std::fputs(ReadAll(output.Get()).c_str(), stdout);
    return outcome;
}

Outcome AskIfPossible(const Statement& statement, Caller own)
{
    if (statement.place == Place::Lab)
    {
        std::printf("not asked      %s: needs the lab\n", statement.name);
        return Outcome::NotAsked;
    }
    if (statement.caller != Caller::Anybody && statement.caller != own)
    {
        std::printf("not asked      %s: wants to be run by %s\n", statement.name,
                    NameOf(statement.caller));
        return Outcome::NotAsked;
    }
    return Ask(statement);
}

} // namespace

int RunOnWindows()
{
    const Caller own = OwnAccount();
    std::printf("Asked by %s.\n", NameOf(own));
    std::array<int, 3> counts = {};
    for (const Statement& statement : Statements())
    {
        ++counts[static_cast<std::size_t>(AskIfPossible(statement, own))];
        std::fflush(stdout);
    }
    std::printf("%d hold, %d do not, %d were not asked.\n", counts[0], counts[1], counts[2]);
    return counts[1] == 0 && counts[0] != 0 ? 0 : 1;
}

} // namespace PalvoLab
