#include "IdentifierDlls.h"

#include "LateLoading.h"

#include <initializer_list>

// These DLLs are loaded at their first call, and the identifiers make it while the thread
// impersonates a user: the loader would look for them with the user's rights, and through the
// user's drive letters. What is loaded already is not looked for.
void LoadDllsOfIdentifiers()
{
    for (const char* dll : {"SECUR32.dll", "OLE32.dll", "OLEAUT32.dll"})
    {
        LoadSystemDll(dll);
    }
}
