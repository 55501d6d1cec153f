#pragma once

#include "WindowsHeaders.h"

#include <optional>
#include <string>
#include <string_view>

/// One line of the log with its line feed: "[3/7/2024 2:05:09 PM] Module(PID4120): message", with
/// "/TID" and the thread's id after the process's if there is one. `time` is local. The message
/// ends at its first zero character. Empty if it cannot be formatted.
std::wstring LogLineText(const SYSTEMTIME& time, const std::wstring& moduleName, DWORD processId,
                         std::optional<DWORD> threadId, std::wstring_view message);
