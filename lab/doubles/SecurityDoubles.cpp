// Access lists of files are Wine's, which keeps of them what fits into the mode of a Unix file.
// What a program asked for is told by the record of the call: the list as text, and what it was set
// on.
#include "DoubleTable.h"

#include "CallRecord.h"
#include "LeakRecord.h"

#include <aclapi.h>
#include <sddl.h>

#include <string>

namespace PalvoLab
{
namespace
{

std::wstring ListText(PACL list)
{
    SECURITY_DESCRIPTOR descriptor = {};
    LPWSTR text = nullptr;
    if (!InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) ||
        !SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE) ||
        !ConvertSecurityDescriptorToStringSecurityDescriptorW(
            &descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr))
    {
        return L"no list";
    }
    const std::wstring copy = text;
    LocalFree(text);
    return copy;
}

DWORD WINAPI DoubleSetSecurityInfo(HANDLE handle, SE_OBJECT_TYPE type, SECURITY_INFORMATION what,
                                   PSID owner, PSID group, PACL dacl, PACL sacl)
{
    Call call(L"SetSecurityInfo", DetailOf(L"handle", handle), static_cast<DWORD>(type),
              static_cast<DWORD>(what));
    if ((what & DACL_SECURITY_INFORMATION) != 0)
    {
        call.Add(ListText(dacl));
    }
    return call.Return(SetSecurityInfo(handle, type, what, owner, group, dacl, sacl));
}

} // namespace

void AddSecurityDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "ADVAPI32", SetSecurityInfo);
}

} // namespace PalvoLab
