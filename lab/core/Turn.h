// Copies of the program that are held one against the other: each stops before every call that
// another process can notice, until its holder gives it the turn. `palvo-lab run --in-turns` holds.
//
// Nothing passes but by turns, not even time: a wait that gets nothing stops again, and a sleep
// takes none.
#pragma once

#include "WindowsHeaders.h"

#include <string>

namespace PalvoLab
{

// The environment variable with the name of the pipe on which a process is told to go on. Each
// message from the process is the call before which it stands; a byte back is its turn.
inline constexpr wchar_t kTurnVariable[] = L"PALVOLAB_TURNS";

// Begins the message of a process that stands before a wait which got nothing when it had the turn.
inline constexpr wchar_t kBlocked[] = L"blocked ";

// Called once when the lab enters a process.
void StartTurns();

bool IsInTurns();

// Waits for the turn. Does nothing in a process that nobody holds. Keeps the last-error value.
void TakeTurn(const std::wstring& call);

} // namespace PalvoLab
