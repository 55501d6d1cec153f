#include "IdentifierDlls.h"

#include "WindowsHeaders.h"

#include <array>
#include <string>

// These DLLs are loaded at their first call, and the identifiers make it while the thread
// impersonates a user: the loader would look for a bare name with the user's rights, and through
// the user's drive letters. What is loaded already is not looked for. LOAD_LIBRARY_SEARCH_SYSTEM32
// would be shorter, but Windows Vista and 7 know it only with an update. They stay loaded until the
// process ends, as a late import does.
void LoadDllsOfIdentifiers()
{
    std::array<wchar_t, MAX_PATH> folder = {};
    const UINT length = GetSystemDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
    if (length == 0 || length >= folder.size())
    {
        return;
    }
    for (const wchar_t* dll : {L"SECUR32.dll", L"OLE32.dll", L"OLEAUT32.dll"})
    {
        LoadLibraryW((std::wstring(folder.data(), length) + L"\\" + dll).c_str());
    }
}
