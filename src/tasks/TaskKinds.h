#pragma once

#include <string>

/// The kinds of the suite's scheduled tasks.
namespace TaskKind
{
inline constexpr unsigned PeriodicRefresh = 0;
inline constexpr unsigned NewOrChanged = 1;
/// Registered by a sibling component; this program only deletes it.
inline constexpr unsigned JobStart = 2;
inline constexpr unsigned UserLogon = 3;
} // namespace TaskKind

/// The name of a kind's task in the scheduler's root folder; "Unknown" for any other number.
std::wstring TaskName(unsigned kind);
