// Access lists of files are the lab's own, those of other objects Wine's. What a program asked for
// is told by the record of the call too: the list as text, and what it was set on.
#include "DoubleTable.h"

#include "AccessList.h"
#include "CallRecord.h"
#include "FileRights.h"
#include "Impersonation.h"
#include "LeakRecord.h"

#include <aclapi.h>
#include <sddl.h>
#include <winternl.h>

#include <string>

namespace PalvoLab
{
namespace
{

constexpr wchar_t kLocal[] = L"local memory";
constexpr SECURITY_INFORMATION kKept = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

std::wstring ListText(PACL list)
{
    SECURITY_DESCRIPTOR descriptor = {};
    InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE);
    const std::wstring text = DescriptorText(&descriptor, DACL_SECURITY_INFORMATION);
    return text.empty() ? L"no list" : text;
}

// Files with a list of the lab's.
std::optional<LabFile> KnownFile(HANDLE handle, SE_OBJECT_TYPE type)
{
    const auto file = type == SE_FILE_OBJECT ? FileOf(handle) : std::nullopt;
    return file && !SecurityOf(*file).empty() ? file : std::nullopt;
}

bool IsOpenFor(HANDLE handle, DWORD access)
{
    PUBLIC_OBJECT_BASIC_INFORMATION information = {};
    return NtQueryObject(handle, ObjectBasicInformation, &information, sizeof information,
                         nullptr) == 0 &&
           (information.GrantedAccess & access) == access;
}

// As it is stored: generic rights are those that they stand for, and nothing inherits from a file.
void MakeStored(PACL list, bool isFolder)
{
    for (DWORD i = 0; list != nullptr && i < list->AceCount; ++i)
    {
        void* entry = nullptr;
        GetAce(list, i, &entry);
        auto* ace = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        GENERIC_MAPPING rights = kFileRights;
        if (!isFolder)
        {
            ace->Header.AceFlags &= INHERITED_ACE;
        }
        if ((ace->Header.AceFlags & INHERIT_ONLY_ACE) == 0)
        {
            MapGenericMask(&ace->Mask, &rights);
        }
    }
}

DWORD SetFileList(HANDLE handle, const LabFile& file, const std::wstring& list)
{
    if (!IsOpenFor(handle, WRITE_DAC))
    {
        return ERROR_ACCESS_DENIED;
    }
    Descriptor owner = ParseDescriptor(SecurityOf(file));
    Descriptor parsed = ParseDescriptor(list);
    MakeStored(ListOf(parsed.data()), file.isFolder);
    SetSecurityOf(file, DescriptorText(owner.data(), OWNER_SECURITY_INFORMATION) +
                            DescriptorText(parsed.data(), DACL_SECURITY_INFORMATION));
    return ERROR_SUCCESS;
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
    const auto file = KnownFile(handle, type);
    if (file && (what & ~DWORD{PROTECTED_DACL_SECURITY_INFORMATION}) == DACL_SECURITY_INFORMATION)
    {
        return call.Return(SetFileList(handle, *file, ListText(dacl)));
    }
    return call.Return(SetSecurityInfo(handle, type, what, owner, group, dacl, sacl));
}

// It changes this object alone; SetSecurityInfo on Windows also what inherits from it.
BOOL WINAPI DoubleSetKernelObjectSecurity(HANDLE handle, SECURITY_INFORMATION what,
                                          PSECURITY_DESCRIPTOR descriptor)
{
    Call call(L"SetKernelObjectSecurity", handle, static_cast<DWORD>(what));
    const std::wstring list = DescriptorText(descriptor, DACL_SECURITY_INFORMATION);
    call.Add(list);
    const auto file = KnownFile(handle, SE_FILE_OBJECT);
    if (!file || what != DACL_SECURITY_INFORMATION)
    {
        return call.Return(SetKernelObjectSecurity(handle, what, descriptor));
    }
    const DWORD error = SetFileList(handle, *file, list);
    return error == ERROR_SUCCESS ? call.Return(TRUE) : call.Fail(error);
}

DWORD GetFileSecurityOf(const LabFile& file, PSID* owner, PACL* dacl,
                        PSECURITY_DESCRIPTOR* descriptor)
{
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(SecurityOf(file).c_str(),
                                                              SDDL_REVISION_1, descriptor, nullptr))
    {
        return GetLastError();
    }
    if (owner != nullptr)
    {
        BOOL defaulted = FALSE;
        GetSecurityDescriptorOwner(*descriptor, owner, &defaulted);
    }
    if (dacl != nullptr)
    {
        *dacl = ListOf(*descriptor);
    }
    return ERROR_SUCCESS;
}

DWORD WINAPI DoubleGetSecurityInfo(HANDLE object, SE_OBJECT_TYPE type, SECURITY_INFORMATION what,
                                   PSID* owner, PSID* group, PACL* dacl, PACL* sacl,
                                   PSECURITY_DESCRIPTOR* descriptor)
{
    Call call(L"GetSecurityInfo", object, static_cast<DWORD>(type), what);
    const auto file = KnownFile(object, type);
    const DWORD result =
        file && (what & kKept) != 0 && descriptor != nullptr
            ? IsOpenFor(object, READ_CONTROL) ? GetFileSecurityOf(*file, owner, dacl, descriptor)
                                              : DWORD{ERROR_ACCESS_DENIED}
            : GetSecurityInfo(object, type, what, owner, group, dacl, sacl, descriptor);
    if (result == ERROR_SUCCESS && descriptor != nullptr && *descriptor != nullptr)
    {
        CountOpened(kLocal, *descriptor, L"GetSecurityInfo");
    }
    return call.Return(result);
}

DWORD WINAPI DoubleGetNamedSecurityInfoW(LPCWSTR name, SE_OBJECT_TYPE type,
                                         SECURITY_INFORMATION what, PSID* owner, PSID* group,
                                         PACL* dacl, PACL* sacl, PSECURITY_DESCRIPTOR* descriptor)
{
    Call call(L"GetNamedSecurityInfoW", name, static_cast<DWORD>(type), what);
    const auto file = type == SE_FILE_OBJECT ? FindFile(name) : std::nullopt;
    DWORD result = ERROR_ACCESS_DENIED;
    if (!file || SecurityOf(*file).empty() || (what & kKept) == 0 || descriptor == nullptr)
    {
        result = GetNamedSecurityInfoW(name, type, what, owner, group, dacl, sacl, descriptor);
    }
    else if (MayUse(*file, EffectiveIdentity(), READ_CONTROL))
    {
        result = GetFileSecurityOf(*file, owner, dacl, descriptor);
    }
    if (result == ERROR_SUCCESS && descriptor != nullptr && *descriptor != nullptr)
    {
        CountOpened(kLocal, *descriptor, L"GetNamedSecurityInfoW");
    }
    return call.Return(result);
}

} // namespace

void AddSecurityDoubles(DoubleList& list)
{
    PALVOLAB_DOUBLE(list, "ADVAPI32", SetSecurityInfo);
    PALVOLAB_DOUBLE(list, "ADVAPI32", GetSecurityInfo);
    PALVOLAB_DOUBLE(list, "ADVAPI32", GetNamedSecurityInfoW);
    PALVOLAB_DOUBLE(list, "ADVAPI32", SetKernelObjectSecurity);
}

} // namespace PalvoLab
