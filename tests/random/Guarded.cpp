#include "Guarded.h"

#include "WindowsHeaders.h"

#include <csignal>
#include <cstdio>

namespace
{
void* returnPoint[5];
volatile bool guarding = false;
volatile DWORD fault = 0;

constexpr DWORD Abortion = 0xABABABAB;

/// Goes back to where the guarded work was begun. The frames between are left without a word: after
/// a trap nothing in them can be relied upon.
[[noreturn]] void GoBack(DWORD code)
{
    guarding = false;
    fault = code;
    __builtin_longjmp(returnPoint, 1);
}

LONG CALLBACK OnException(EXCEPTION_POINTERS* exception)
{
    const DWORD code = exception->ExceptionRecord->ExceptionCode;
    const bool isFault = code == EXCEPTION_ILLEGAL_INSTRUCTION ||
                         code == EXCEPTION_ACCESS_VIOLATION || code == EXCEPTION_BREAKPOINT ||
                         code == EXCEPTION_INT_DIVIDE_BY_ZERO;
    if (!guarding || !isFault)
    {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    GoBack(code);
}

void OnAbort(int)
{
    if (guarding)
    {
        GoBack(Abortion);
    }
}

std::string FaultText(DWORD code)
{
    if (code == Abortion)
    {
        return "aborted: an assertion of the library, or an exception that nobody catches";
    }
    if (code == EXCEPTION_ILLEGAL_INSTRUCTION)
    {
        return "trapped: undefined behaviour";
    }
    char text[40] = {};
    std::snprintf(text, sizeof text, "ended with exception 0x%08X", static_cast<unsigned>(code));
    return text;
}
} // namespace

// Not inlined: the place to go back to is in this frame.
[[gnu::noinline]] std::optional<std::string> FaultOf(const std::function<void()>& work)
{
    static void* const handler = AddVectoredExceptionHandler(1, &OnException);
    if (handler == nullptr)
    {
        return "the guard could not be set up";
    }
    std::signal(SIGABRT, &OnAbort); // each abortion takes it away
    if (__builtin_setjmp(returnPoint) != 0)
    {
        return FaultText(fault);
    }
    guarding = true;
    work();
    guarding = false;
    return std::nullopt;
}
