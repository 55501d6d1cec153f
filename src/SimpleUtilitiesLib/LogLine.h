#pragma once

#include "WindowsHeaders.h"

#include <optional>
#include <string>
#include <string_view>

/// One line of the log with its line feed: "[3/7/2024 2:05:09 PM] Module(PID4120): message", with
/// "/TID" and the thread's id behind that of the process when there is one. `time` is local. Of a
/// message with a zero character as much as stands before it. Empty when it cannot be formatted.
std::wstring LogLineText(const SYSTEMTIME& time, const std::wstring& moduleName, DWORD processId,
                         std::optional<DWORD> threadId, std::wstring_view message);
