#include "MainDriver.h"

#include <exception>

int wmain(int argumentCount, wchar_t** arguments);

int wmain(int argumentCount, wchar_t** arguments)
{
    // The runtime allocates what it keeps of exceptions when it is first asked, and ends the
    // process when there is no memory. Now nothing is lost by that; at the first exception a
    // request could be.
    [[maybe_unused]] const volatile int none = std::uncaught_exceptions();
    return RunProgram(argumentCount, arguments);
}
