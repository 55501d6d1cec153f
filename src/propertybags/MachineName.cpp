#include "MachineName.h"

#include "SimpleUser.h"
#include "Text.h"

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
