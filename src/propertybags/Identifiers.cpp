#include "Identifiers.h"

#include "ComputerSystemProduct.h"
#include "IdentifierHash.h"
#include "LateLoading.h"
#include "SimpleUser.h"
#include "Text.h"

namespace
{
Identifier FromSource(const std::wstring& source)
{
    return {HashToGuidText(source), LowerCase(source)};
}

// The identifiers are computed while impersonating a user. The loader would search for a DLL with
// the user's rights and drive letters; it does not search for a loaded one.

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

Identifier ComputeUserId(const std::wstring& accountName)
{
    const std::wstring name = accountName.empty() ? User::GetCurrentUserName() : accountName;
    return FromSource(name + L" : " + GetMachineNameText());
}

Identifier ComputeDeviceId()
{
    const ComputerSystemProduct product = QueryComputerSystemProduct();
    return FromSource(product.uuid + L" : " + product.identifyingNumber + L" : " +
                      GetMachineNameText());
}

std::wstring DomainPart(const std::wstring& samCompatibleName)
{
    const std::size_t backslash = samCompatibleName.find(L'\\');
    return backslash == std::wstring::npos || backslash == 0
               ? samCompatibleName
               : samCompatibleName.substr(0, backslash);
}

std::wstring GetMachineNameText()
{
    return LowerCase(User::GetNetBiosComputerName()) + L"." +
           DomainPart(User::GetCurrentSamCompatibleName()) + L"." + User::GetPhysicalDnsDomain();
}

void LoadDllsOfIdentifiers()
{
    for (const char* dll : Dlls)
    {
        LoadSystemDll(dll);
    }
}
