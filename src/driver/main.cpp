#include "MainDriver.h"

#include <exception>

int wmain(int argumentCount, wchar_t** arguments);

int wmain(int argumentCount, wchar_t** arguments)
{
    // Let the runtime allocate its memory for exceptions now. If that fails it ends the process:
    // here nothing is lost, at the first exception a request could be.
    [[maybe_unused]] const volatile int none = std::uncaught_exceptions();
    return RunProgram(argumentCount, arguments);
}
