#pragma once

#include "WindowsHeaders.h"

#include <string>

/// The system's message text for `code` (FormatMessageW), language neutral with the default
/// sub-language. Empty if there is none. `flags` must include FORMAT_MESSAGE_ALLOCATE_BUFFER and
/// FORMAT_MESSAGE_FROM_SYSTEM.
std::wstring SystemMessage(DWORD code, DWORD flags);

/// The text of a Win32 error code as the log shows it: " = 2/0x2: " and the system's text with its
/// own line end, or "Unknown value". For code 0 ": " and the text. Keeps the last-error value.
std::wstring Win32ErrorText(DWORD code);

/// The system's text for an HRESULT, without its line end, or our own text if there is none. Keeps
/// the last-error value.
std::wstring ComErrorText(HRESULT result);
