#include "Turn.h"

#include "Owners.h"
#include "Text.h"

namespace PalvoLab
{
namespace
{

HANDLE holder = INVALID_HANDLE_VALUE;

} // namespace

void StartTurns()
{
    const LastErrorKeeper keep;
    wchar_t pipe[MAX_PATH] = {};
    if (GetEnvironmentVariableW(kTurnVariable, pipe, MAX_PATH) == 0)
    {
        return;
    }
    // Not for the programs that this one starts.
    SetEnvironmentVariableW(kTurnVariable, nullptr);
    holder = CreateFileW(pipe, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
}

bool IsInTurns()
{
    return holder != INVALID_HANDLE_VALUE;
}

void TakeTurn(const std::wstring& call)
{
    if (!IsInTurns())
    {
        return;
    }
    const LastErrorKeeper keep;
    const std::string text = ToLine(call);
    char turn = 0;
    DWORD bytes = 0;
    // A holder that is gone holds nothing.
    if (WriteFile(holder, text.data(), static_cast<DWORD>(text.size()), &bytes, nullptr))
    {
        ReadFile(holder, &turn, sizeof turn, &bytes, nullptr);
    }
}

} // namespace PalvoLab
