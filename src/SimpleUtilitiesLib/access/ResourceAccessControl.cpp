#include "ResourceAccessControl.h"

#include <sddl.h>

#include <new>
#include <utility>

namespace
{
/// The DACL and the integrity label of an object, and their memory.
struct CurrentSecurity
{
    LocalPointer<PSECURITY_DESCRIPTOR> descriptor;
    Acl dacl;
    Acl sacl;
    LocalPointer<PSID> owner;
    LocalPointer<PSID> group;
};

/// Allocates a part of a descriptor; nothing if the descriptor has no such part. Throws
/// std::bad_alloc.
template <class Part> void Allocate(DWORD size, Part& part)
{
    part = Part(size == 0 ? nullptr : static_cast<typename Part::Value>(LocalAlloc(LPTR, size)));
    if (size != 0 && !part)
    {
        throw std::bad_alloc();
    }
}

/// Splits a self-relative descriptor into parts (MakeAbsoluteSD). False on failure.
bool MakeAbsolute(PSECURITY_DESCRIPTOR relative, CurrentSecurity& absolute)
{
    DWORD size = 0;
    DWORD daclSize = 0;
    DWORD saclSize = 0;
    DWORD ownerSize = 0;
    DWORD groupSize = 0;
    MakeAbsoluteSD(relative, nullptr, &size, nullptr, &daclSize, nullptr, &saclSize, nullptr,
                   &ownerSize, nullptr, &groupSize);
    Allocate(size, absolute.descriptor);
    Allocate(daclSize, absolute.dacl);
    Allocate(saclSize, absolute.sacl);
    Allocate(ownerSize, absolute.owner);
    Allocate(groupSize, absolute.group);
    return MakeAbsoluteSD(relative, absolute.descriptor.Get(), &size, absolute.dacl.Get(),
                          &daclSize, absolute.sacl.Get(), &saclSize, absolute.owner.Get(),
                          &ownerSize, absolute.group.Get(), &groupSize) != FALSE;
}

/// The object's present lists. If its descriptor cannot be read or split, starts from an empty
/// DACL. False if that fails too.
bool ReadCurrentSecurity(const ResourceAccessControl& resource, CurrentSecurity& current)
{
    LocalPointer<PSECURITY_DESCRIPTOR> relative;
    if (relative.KeepIf(GetSecurityInfo(resource.Handle(), resource.ObjectType(),
                                        DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION,
                                        nullptr, nullptr, nullptr, nullptr,
                                        relative.Receive()) == ERROR_SUCCESS) &&
        MakeAbsolute(relative.Get(), current))
    {
        return true;
    }
    current = {};
    return relative.KeepIf(ConvertStringSecurityDescriptorToSecurityDescriptorW(
               L"D:", SDDL_REVISION_1, relative.Receive(), nullptr)) &&
           MakeAbsolute(relative.Get(), current);
}

/// An unknown object counts as a folder, where nothing is merged that other objects would inherit.
ObjectKind KindOf(HANDLE handle)
{
    BY_HANDLE_FILE_INFORMATION information = {};
    const bool isLeaf = GetFileInformationByHandle(handle, &information) &&
                        (information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
    return isLeaf ? ObjectKind::Leaf : ObjectKind::Folder;
}

bool Widen(ResourceAccessControl& resource, const std::wstring& trusteeName)
{
    CurrentSecurity current;
    if (!ReadCurrentSecurity(resource, current) || !current.dacl)
    {
        return false;
    }
    resource.CarryOver(std::move(current.sacl));
    Acl dacl;
    SECURITY_DESCRIPTOR descriptor = {};
    return AddGrantToAcl(trusteeName, GENERIC_READ | GENERIC_WRITE | DELETE, current.dacl.Get(),
                         KindOf(resource.Handle()), dacl) &&
           BuildSecurityDescriptor(dacl.Get(), resource.Sacl(), descriptor) &&
           SetSecurityInfo(resource.Handle(), resource.ObjectType(), DACL_SECURITY_INFORMATION,
                           nullptr, nullptr, dacl.Get(), resource.Sacl()) == ERROR_SUCCESS;
}
} // namespace

ResourceAccessControl::ResourceAccessControl(SE_OBJECT_TYPE type, std::wstring objectName) noexcept
    : objectType(type), name(std::move(objectName))
{
}

ResourceAccessControl::~ResourceAccessControl() = default;

void ResourceAccessControl::Reserved() const noexcept {}

void ResourceAccessControl::CarryOver(Acl newSacl) noexcept
{
    sacl = std::move(newSacl);
}

void ResourceAccessControl::Own(FileHandle opened) noexcept
{
    handle = std::move(opened);
}

FileAccessControl::FileAccessControl(std::wstring path) noexcept
    : ResourceAccessControl(SE_FILE_OBJECT, std::move(path))
{
}

HANDLE FileAccessControl::Open() noexcept
{
    // Backup semantics open directories too.
    Own(FileHandle(CreateFileW(Name().c_str(), READ_CONTROL | WRITE_DAC | WRITE_OWNER | DELETE,
                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                               OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr)));
    return Handle();
}

bool GrantAccess(ResourceAccessControl& resource, const std::wstring& trusteeName) noexcept
{
    try
    {
        return resource.Handle() != INVALID_HANDLE_VALUE && Widen(resource, trusteeName);
    }
    catch (...)
    {
        // Out of memory: the object is unchanged.
        return false;
    }
}
