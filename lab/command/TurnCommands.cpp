#include "TurnCommands.h"

#include "Command.h"

#include "Text.h"
#include "Turn.h"

#include <map>

namespace PalvoLab
{
namespace
{

struct HeldCopy
{
    FileHandle pipe;
    Launched process;
    bool stands = false; // before a call
};

using HeldCopies = std::map<DWORD, HeldCopy>;

HeldCopies& Held()
{
    static HeldCopies held;
    return held;
}

// The call before which it stops next; nothing when it ends.
std::optional<std::wstring> GoOn(HeldCopy& copy)
{
    DWORD bytes = 0;
    if (copy.stands)
    {
        WriteFile(copy.pipe.Get(), "", 1, &bytes, nullptr);
    }
    char call[4096];
    copy.stands = ReadFile(copy.pipe.Get(), call, sizeof call, &bytes, nullptr);
    return copy.stands ? std::optional(FromLine({call, bytes})) : std::nullopt;
}

int PrintEnd(HeldCopies::iterator copy)
{
    Print(L"exit " + std::to_wstring(copy->second.process.Wait(INFINITE).value_or(0)));
    Held().erase(copy);
    return kDone;
}

} // namespace

FileHandle MakeTurnPipe(LaunchRequest& request)
{
    static unsigned made = 0;
    const std::wstring name = L"\\\\.\\pipe\\PalvoLabTurns-" +
                              std::to_wstring(GetCurrentProcessId()) + L"-" +
                              std::to_wstring(++made);
    constexpr DWORD size = 4096;
    request.environment.emplace_back(kTurnVariable, name);
    return FileHandle(CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX,
                                       PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, 1, size, size, 0,
                                       nullptr));
}

void HoldInTurns(FileHandle pipe, Launched copy)
{
    const DWORD id = copy.Id();
    Held().insert_or_assign(id, HeldCopy{std::move(pipe), std::move(copy)});
}

int RunTurn(const Arguments& arguments)
{
    const bool counted = arguments.size() == 2;
    const auto id = counted || arguments.size() == 1 ? ParseNumber(arguments[0]) : std::nullopt;
    const auto calls = counted ? ParseNumber(arguments[1]) : 1;
    const auto held = id && calls ? Held().find(static_cast<DWORD>(*id)) : Held().end();
    if (held == Held().end())
    {
        return Misused(L"turn");
    }
    for (std::uint64_t passed = 0; passed < *calls; ++passed)
    {
        const auto call = GoOn(held->second);
        if (!call)
        {
            return PrintEnd(held);
        }
        Print(*call);
        if (call->starts_with(kBlocked))
        {
            break;
        }
    }
    return kDone;
}

} // namespace PalvoLab
