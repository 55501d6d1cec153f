#include "Command.h"

#include "AccessList.h"
#include "FileRights.h"

namespace PalvoLab
{

int RunRights(const Arguments& arguments)
{
    if (arguments.empty() || arguments.size() > 2)
    {
        return Misused(L"rights");
    }
    const auto file = FindFile(ToWindowsPath(arguments[0]));
    if (!file)
    {
        return Complain(L"there is no '" + arguments[0] + L"'");
    }
    if (arguments.size() == 1)
    {
        Descriptor security = ParseDescriptor(SecurityOf(*file));
        Print(security.empty() ? L""
                               : DescriptorText(security.data(), OWNER_SECURITY_INFORMATION |
                                                                     DACL_SECURITY_INFORMATION));
        return kDone;
    }
    if (ParseDescriptor(arguments[1]).empty())
    {
        return Misused(L"rights");
    }
    SetSecurityOf(*file, arguments[1]);
    return kDone;
}

} // namespace PalvoLab
