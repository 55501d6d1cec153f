#include "Identifiers.h"

#include "ComputerSystemProduct.h"
#include "IdentifierHash.h"
#include "MachineName.h"
#include "SimpleUser.h"
#include "Text.h"

namespace
{
Identifier FromSource(const std::wstring& source)
{
    return {HashToGuidText(source), LowerCase(source)};
}
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
