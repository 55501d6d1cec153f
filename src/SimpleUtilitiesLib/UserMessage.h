#pragma once

#include <string>

/// Shows a message box to the user and returns when it was answered; there is no time-out. A
/// program that has no visible window station of its own sends the box to the first active session;
/// the ordinary box is the last resort. Failures are not reported. Keeps the last-error value.
void ShowUserMessage(const std::wstring& title, const std::wstring& message);
