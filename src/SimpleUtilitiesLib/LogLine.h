#pragma once

#include "WindowsHeaders.h"

#include <optional>
#include <string>

/// A local time as the log shows it: "3/7/2024 2:05:09 PM".
std::wstring TimeStampText(const SYSTEMTIME& time);

/// One line of the log with its line feed; with the thread's id when there is one.
std::wstring LogLineText(const std::wstring& timeStamp, const std::wstring& moduleName,
                         DWORD processId, std::optional<DWORD> threadId,
                         const std::wstring& message);
