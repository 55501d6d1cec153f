// The value that GCC and Clang put between a function's buffers and its return address, and the
// code that ends a process if it changed. Visual C++ has both in its runtime (/GS).
//
// The compilers' own library for this, libssp, gets the value from a cryptographic provider before
// wmain. That loads six DLLs that no run needs and doubles the processor time of an empty program.
// The value below is computed as Visual C++'s runtime does.

#include "WindowsHeaders.h"

#include <cstdint>

// Not in every version of the headers, with these values in all that have them.
#ifndef FAST_FAIL_STACK_COOKIE_CHECK_FAILURE
#define FAST_FAIL_STACK_COOKIE_CHECK_FAILURE 2
#endif

extern "C"
{
    // The names are the compilers' own.
    // NOLINTBEGIN(bugprone-reserved-identifier, readability-identifier-naming)
    extern std::uintptr_t __stack_chk_guard;
    [[noreturn]] void __stack_chk_fail();

    std::uintptr_t __stack_chk_guard;

    /// Ends the process at once, with no handler and no destructor run: nothing on this stack can
    /// be trusted. Windows before 8 knows no fast fail and ends the process as after an access
    /// violation.
    // GCOVR_EXCL_START: nothing is counted in a process that ends here.
    void __stack_chk_fail()
    {
        __asm__ volatile("int $0x29" : : "c"(FAST_FAIL_STACK_COOKIE_CHECK_FAILURE) : "memory");
        __builtin_unreachable();
    }
    // GCOVR_EXCL_STOP
    // NOLINTEND(bugprone-reserved-identifier, readability-identifier-naming)
}

namespace
{
/// Mixes values that another process can hardly guess together. The lowest byte is zero, so that a
/// string copied over the guard ends there.
__attribute__((no_stack_protector)) int MakeStackGuard()
{
    LARGE_INTEGER counter = {};
    QueryPerformanceCounter(&counter);
    FILETIME time = {};
    GetSystemTimeAsFileTime(&time);
    auto value = static_cast<std::uintptr_t>(counter.QuadPart);
    value = value * 0x9E3779B97F4A7C15U ^ time.dwHighDateTime;
    value = value * 0x9E3779B97F4A7C15U ^ time.dwLowDateTime;
    value = value * 0x9E3779B97F4A7C15U ^ GetCurrentProcessId();
    value = value * 0x9E3779B97F4A7C15U ^ GetCurrentThreadId();
    value = value * 0x9E3779B97F4A7C15U ^ reinterpret_cast<std::uintptr_t>(&value);
    value ^= value >> 32;
    __stack_chk_guard = value << 8;
    return 0;
}

/// The C runtime calls the functions in this section first, before any constructor.
__attribute__((section(".CRT$XIB"), used)) int (*const makeStackGuardFirst)() = &MakeStackGuard;
} // namespace
