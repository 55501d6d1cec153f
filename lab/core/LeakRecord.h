// What a process opened and did not give back.
#pragma once

#include <string>
#include <vector>

namespace PalvoLab
{

// Something that was opened: `kind` ("event handle"), `detail` to recognise it by (a name or path).
void CountOpened(const wchar_t* kind, const void* value, const std::wstring& detail);

// It was given back. False when it was not open: the call is an error of the program and is
// counted as such.
bool CountClosed(const wchar_t* kind, const void* value);

// Whether it is open.
bool IsOpen(const wchar_t* kind, const void* value);

// What was opened as, or an empty text.
std::wstring DetailOf(const wchar_t* kind, const void* value);

// An error of the program in the use of what it opened: a second close, a use after the close.
void CountMisuse(const wchar_t* kind, const std::wstring& detail);

// Writes what is still open and what was misused, a line each; called when the process ends.
void WriteLeaks(bool impersonating);

// The lines "<process id> <program> leak|misuse <kind> <detail>" of all processes so far.
std::vector<std::string> LeakLines();

} // namespace PalvoLab
