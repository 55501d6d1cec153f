// folder-program: starts, asks where the machine's data lies, and ends. Whoever asks loads SHELL32.
#include <windows.h>

#include <initguid.h>
#include <knownfolders.h>
#include <shlobj.h>

int wmain();

int wmain()
{
    wchar_t* folder = nullptr;
    const HRESULT result =
        SHGetKnownFolderPath(FOLDERID_ProgramData, KF_FLAG_CREATE, nullptr, &folder);
    CoTaskMemFree(folder);
    return SUCCEEDED(result) ? 0 : 1;
}
