// Stands in for the query program: writes what it finds as its operands to standard output, a zero
// after each, as the C runtime library reads them from the command line.

#include "WindowsHeaders.h"

#include <string>

int wmain(int count, wchar_t** arguments);

int wmain(int count, wchar_t** arguments)
{
    std::wstring operands;
    for (int i = 1; i < count; ++i)
    {
        operands.append(arguments[i]).push_back(L'\0');
    }
    DWORD written = 0;
    return WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), operands.data(),
                     static_cast<DWORD>(operands.size() * sizeof(wchar_t)), &written, nullptr)
               ? 0
               : 1;
}
