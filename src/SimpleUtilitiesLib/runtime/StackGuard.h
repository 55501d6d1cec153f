#pragma once

#include <cstdint>

/// What differs between two processes, and is hard to guess together from outside.
struct StackGuardSources
{
    std::uint64_t counter; ///< of QueryPerformanceCounter
    std::uint64_t time;    ///< of GetSystemTimeAsFileTime
    std::uint64_t processId;
    std::uint64_t threadId;
    std::uint64_t address; ///< on the stack
};

/// The stack guard's value. Its lowest byte is zero, so that a string copied over the guard ends
/// there.
constexpr std::uint64_t StackGuardOf(const StackGuardSources& sources) noexcept
{
    std::uint64_t value = sources.counter;
    value = value * 0x9E3779B97F4A7C15U ^ sources.time;
    value = value * 0x9E3779B97F4A7C15U ^ sources.processId;
    value = value * 0x9E3779B97F4A7C15U ^ sources.threadId;
    value = value * 0x9E3779B97F4A7C15U ^ sources.address;
    value ^= value >> 32;
    return value << 8;
}
