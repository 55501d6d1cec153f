#include "MainDriver.h"

int wmain(int argumentCount, wchar_t** arguments);

int wmain(int argumentCount, wchar_t** arguments)
{
    return RunProgram(argumentCount, arguments);
}
