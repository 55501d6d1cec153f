#pragma once

#include <string>

/// Shows a message box and waits for the answer, without a time-out. Without a visible window
/// station, shows it in the first active session, or as an ordinary box if that fails. Failures are
/// not reported. Keeps the last-error value.
void ShowUserMessage(const std::wstring& title, const std::wstring& message);
