// A program that imports from the same DLLs as the one that ships and does nothing with them. It
// loads the system's DLLs that it is given; behind "anywhere", DLLs from wherever Windows finds
// them. It ends with 2 when one cannot be loaded, and with 3 when one was not in the system's
// folder.

#include <windows.h>

#include <cwchar>

int wmain(int count, wchar_t** arguments);

int wmain(int count, wchar_t** arguments)
{
    // ADVAPI32: a call that does nothing, lest the linker leave the DLL out.
    RegCloseKey(nullptr);
    wchar_t system[MAX_PATH] = {};
    const UINT length = GetSystemDirectoryW(system, MAX_PATH);
    DWORD search = 0x800; // LOAD_LIBRARY_SEARCH_SYSTEM32
    for (int i = 1; i < count; ++i)
    {
        if (std::wcscmp(arguments[i], L"anywhere") == 0)
        {
            search = 0;
            continue;
        }
        const HMODULE dll = LoadLibraryExW(arguments[i], nullptr, search);
        if (dll == nullptr)
        {
            return 2;
        }
        wchar_t path[MAX_PATH] = {};
        GetModuleFileNameW(dll, path, MAX_PATH);
        if (_wcsnicmp(path, system, length) != 0)
        {
            return 3;
        }
    }
    return 0;
}
