// log-lines DIRECTORY COUNT: opens the log in DIRECTORY as the program does and writes COUNT lines.
#include "LogFile.h"

#include <cwchar>

int wmain(int count, wchar_t** arguments);

int wmain(int count, wchar_t** arguments)
{
    if (count != 3)
    {
        return 2;
    }
    LogFile log(arguments[1], L"Lines");
    for (unsigned long left = std::wcstoul(arguments[2], nullptr, 10); left != 0; --left)
    {
        log.Write(L"- No supported printers need to be processed. Done. Exiting.");
    }
    return 0;
}
