#include "IdentifierDlls.h"

#include "LateLoading.h"

// The identifiers are computed while impersonating a user. The loader would search for a DLL with
// the user's rights and drive letters; it does not search for a loaded one.

namespace
{
/// The program's own delay-loaded DLLs, and those that COM, WMI and the cryptographic provider load
/// on some version of Windows.
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
