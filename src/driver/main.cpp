#include "MainDriver.h"

#include <exception>

int wmain(int argumentCount, wchar_t** arguments);

int wmain(int argumentCount, wchar_t** arguments)
{
    // Allocate what exceptions need now: failing here loses nothing; at the first exception it
    // could lose a request.
    [[maybe_unused]] const volatile int none = std::uncaught_exceptions();
    return RunProgram(argumentCount, arguments);
}
