#pragma once

#include "AccessControlList.h"

#include <string>

/// An object whose DACL can be edited.
class ResourceAccessControl
{
public:
    ResourceAccessControl(SE_OBJECT_TYPE type, std::wstring objectName) noexcept;
    /// Closes the handle if one is open.
    virtual ~ResourceAccessControl();
    ResourceAccessControl(const ResourceAccessControl&) = delete;
    ResourceAccessControl& operator=(const ResourceAccessControl&) = delete;

    /// A slot that other kinds of objects fill; it does nothing here.
    virtual void Reserved() const noexcept;

    /// Opens the object for the edit. The handle stays this object's; an invalid one on failure.
    virtual HANDLE Open() noexcept = 0;

    [[nodiscard]] SE_OBJECT_TYPE ObjectType() const noexcept { return objectType; }
    [[nodiscard]] const std::wstring& Name() const noexcept { return name; }
    /// INVALID_HANDLE_VALUE while the object is not open.
    [[nodiscard]] HANDLE Handle() const noexcept { return handle.Get(); }

    /// The list that a new DACL is applied together with: the object's integrity label. Null when
    /// there is none to carry over.
    [[nodiscard]] PACL Sacl() const noexcept { return sacl.Get(); }
    void CarryOver(Acl newSacl) noexcept;

protected:
    /// Takes an open handle over and closes the one before.
    void Own(FileHandle opened) noexcept;

private:
    SE_OBJECT_TYPE objectType;
    std::wstring name;
    FileHandle handle;
    Acl sacl;
};

/// A file or directory.
class FileAccessControl : public ResourceAccessControl
{
public:
    explicit FileAccessControl(std::wstring path) noexcept;
    HANDLE Open() noexcept override;
};

/// Widens the DACL of an open object so that `trusteeName` may read, write and delete it. True only
/// when the new DACL was applied; otherwise the object is unchanged. An object that has no DACL at
/// all is left alone, with false: everybody may do everything with it, and any list would take
/// something away. Never throws.
bool GrantAccess(ResourceAccessControl& resource, const std::wstring& trusteeName) noexcept;
