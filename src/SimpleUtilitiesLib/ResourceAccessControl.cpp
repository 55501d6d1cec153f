#include "ResourceAccessControl.h"

#include "SharedObjectSecurity.h"

#include <sddl.h>

#include <utility>

namespace
{
/// The DACL and the integrity label of an object, and the memory that they lie in.
struct CurrentSecurity
{
    LocalPointer<PSECURITY_DESCRIPTOR> descriptor;
    Acl dacl;
    Acl sacl;
    LocalPointer<PSID> owner;
    LocalPointer<PSID> group;
};

/// Memory for a part of a descriptor; none when the descriptor has no such part. False when there
/// is none to be had.
template <class Part> bool Allocate(DWORD size, Part& part)
{
    part = Part(size == 0 ? nullptr : static_cast<typename Part::Value>(LocalAlloc(LPTR, size)));
    return size == 0 || part;
}

/// Takes a self-relative descriptor apart (MakeAbsoluteSD).
bool MakeAbsolute(PSECURITY_DESCRIPTOR relative, CurrentSecurity& absolute)
{
    DWORD size = 0;
    DWORD daclSize = 0;
    DWORD saclSize = 0;
    DWORD ownerSize = 0;
    DWORD groupSize = 0;
    MakeAbsoluteSD(relative, nullptr, &size, nullptr, &daclSize, nullptr, &saclSize, nullptr,
                   &ownerSize, nullptr, &groupSize);
    return Allocate(size, absolute.descriptor) && Allocate(daclSize, absolute.dacl) &&
           Allocate(saclSize, absolute.sacl) && Allocate(ownerSize, absolute.owner) &&
           Allocate(groupSize, absolute.group) &&
           MakeAbsoluteSD(relative, absolute.descriptor.Get(), &size, absolute.dacl.Get(),
                          &daclSize, absolute.sacl.Get(), &saclSize, absolute.owner.Get(),
                          &ownerSize, absolute.group.Get(), &groupSize);
}

/// What the object has now. An object whose descriptor cannot be read or taken apart starts from an
/// empty DACL.
bool ReadCurrentSecurity(HANDLE handle, SE_OBJECT_TYPE objectType, CurrentSecurity& current)
{
    LocalPointer<PSECURITY_DESCRIPTOR> relative;
    if (GetSecurityInfo(handle, objectType, DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION,
                        nullptr, nullptr, nullptr, nullptr, relative.Receive()) == ERROR_SUCCESS &&
        relative && MakeAbsolute(relative.Get(), current))
    {
        return true;
    }
    current = {};
    return ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:", SDDL_REVISION_1,
                                                                relative.Receive(), nullptr) &&
           MakeAbsolute(relative.Get(), current);
}
} // namespace

ResourceAccessControl::ResourceAccessControl(SE_OBJECT_TYPE type, std::wstring objectName)
    : objectType(type), name(std::move(objectName))
{
}

ResourceAccessControl::~ResourceAccessControl() = default;

void ResourceAccessControl::Reserved() const noexcept {}

FileAccessControl::FileAccessControl(std::wstring path)
    : ResourceAccessControl(SE_FILE_OBJECT, std::move(path))
{
}

HANDLE FileAccessControl::Open()
{
    // Backup semantics let directories open too.
    handle = FileHandle(CreateFileW(Name().c_str(), READ_CONTROL | WRITE_DAC | WRITE_OWNER | DELETE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    return handle.Get();
}

bool GrantAccess(ResourceAccessControl& resource, const std::wstring& trusteeName) noexcept
{
    try
    {
        HANDLE handle = resource.Open();
        if (handle == INVALID_HANDLE_VALUE)
        {
            return false;
        }
        CurrentSecurity current;
        Acl dacl;
        SECURITY_DESCRIPTOR descriptor = {};
        return ReadCurrentSecurity(handle, resource.ObjectType(), current) &&
               AddGrantToAcl(trusteeName, GENERIC_READ | GENERIC_WRITE | DELETE, current.dacl.Get(),
                             dacl) &&
               BuildSecurityDescriptor(dacl.Get(), current.sacl.Get(), descriptor) &&
               SetSecurityInfo(handle, resource.ObjectType(), DACL_SECURITY_INFORMATION, nullptr,
                               nullptr, dacl.Get(), current.sacl.Get()) == ERROR_SUCCESS;
    }
    catch (...)
    {
        // Out of memory: the object is left as it is.
        return false;
    }
}
