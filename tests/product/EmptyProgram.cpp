// A program that imports from the same DLLs as the one that ships and does nothing with them. It
// loads the system's DLLs that it is given.

#include "WindowsHeaders.h"

int wmain(int count, wchar_t** arguments);

int wmain(int count, wchar_t** arguments)
{
    // ADVAPI32: a call that does nothing, lest the linker leave the DLL out.
    RegCloseKey(nullptr);
    for (int i = 1; i < count; ++i)
    {
        if (LoadLibraryExW(arguments[i], nullptr, 0x800 /* LOAD_LIBRARY_SEARCH_SYSTEM32 */) ==
            nullptr)
        {
            return 2;
        }
    }
    return 0;
}
