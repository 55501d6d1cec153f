// The value that GCC and Clang put between a function's buffers and its return address, and the
// code that ends a process if it changed. Visual C++ has both in its runtime (/GS).
//
// The compilers' own library for this, libssp, gets the value from a cryptographic provider before
// wmain. That loads six DLLs that no run needs and doubles the processor time of an empty program.
// The value below is computed as Visual C++'s runtime does.

#include "StackGuard.h"

#include "WindowsHeaders.h"

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
__attribute__((no_stack_protector)) int MakeStackGuard()
{
    LARGE_INTEGER counter = {};
    QueryPerformanceCounter(&counter);
    FILETIME time = {};
    GetSystemTimeAsFileTime(&time);
    StackGuardSources sources = {};
    sources.counter = static_cast<std::uint64_t>(counter.QuadPart);
    sources.time = std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
    sources.processId = GetCurrentProcessId();
    sources.threadId = GetCurrentThreadId();
    sources.address = reinterpret_cast<std::uintptr_t>(&counter);
    __stack_chk_guard = StackGuardOf(sources);
    return 0;
}

/// The C runtime calls the functions in this section first, before any constructor.
__attribute__((section(".CRT$XIB"), used)) int (*const makeStackGuardFirst)() = &MakeStackGuard;
} // namespace
