#include "IdentifierDlls.h"

#include "LateLoading.h"

// The identifiers are computed while the thread impersonates a user: the loader would look for a
// DLL with the user's rights, and through the user's drive letters. What is loaded already is not
// looked for.

namespace
{
/// The program's own late DLLs, and what COM, WMI and the cryptographic provider load in turn on
/// one version of Windows or another.
constexpr const char* Dlls[] = {
    // names
    "SECUR32.dll",
    "SSPICLI.dll",
    // COM and WMI
    "OLE32.dll",
    "OLEAUT32.dll",
    "CLBCATQ.dll",
    "wbemcomn.dll",
    "wbem\\wbemprox.dll",
    "wbem\\wbemsvc.dll",
    "wbem\\fastprox.dll",
    // the hash
    "CRYPTSP.dll",
    "CRYPTBASE.dll",
    "BCRYPT.dll",
    "BCRYPTPRIMITIVES.dll",
    "RSAENH.dll",
};
} // namespace

void LoadDllsOfIdentifiers()
{
    for (const char* dll : Dlls)
    {
        LoadSystemDll(dll);
    }
}
