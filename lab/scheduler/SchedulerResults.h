#pragma once

#include "TaskSchedulerInterfaces.h"

#include <ole2.h>

#include <cstdint>

namespace PalvoLab
{

// What Task Scheduler answers. The names are those of Windows's own headers.
namespace SchedulerResult
{
inline constexpr HRESULT Running = 0x00041301;
inline constexpr HRESULT HasNotRun = 0x00041303;
inline constexpr HRESULT Terminated = 0x00041306;

constexpr HRESULT Failure(std::uint32_t code)
{
    return static_cast<HRESULT>(code);
}

constexpr HRESULT FromWindows(std::uint32_t error)
{
    return Failure(0x80070000U | error);
}

inline constexpr HRESULT ServiceNotRunning = Failure(0x80041315);
inline constexpr HRESULT InvalidValue = Failure(0x80041318);
inline constexpr HRESULT MissingNode = Failure(0x80041319);
inline constexpr HRESULT NotConnected = FromWindows(ERROR_ONLY_IF_CONNECTED);
inline constexpr HRESULT NotFound = FromWindows(ERROR_FILE_NOT_FOUND);
inline constexpr HRESULT Exists = FromWindows(ERROR_ALREADY_EXISTS);
inline constexpr HRESULT InvalidName = FromWindows(ERROR_INVALID_NAME);
inline constexpr HRESULT UnknownAccount = FromWindows(ERROR_NONE_MAPPED);
inline constexpr HRESULT InvalidQuery = FromWindows(15001);   // ERROR_EVT_INVALID_QUERY
inline constexpr HRESULT UnknownChannel = FromWindows(15007); // ERROR_EVT_CHANNEL_NOT_FOUND
} // namespace SchedulerResult

} // namespace PalvoLab
