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

    /// For other kinds of objects; does nothing here.
    virtual void Reserved() const noexcept;

    /// Opens the object for the edit. The handle stays this object's; an invalid one on failure.
    virtual HANDLE Open() noexcept = 0;

    [[nodiscard]] SE_OBJECT_TYPE ObjectType() const noexcept { return objectType; }
    [[nodiscard]] const std::wstring& Name() const noexcept { return name; }
    /// INVALID_HANDLE_VALUE while the object is not open.
    [[nodiscard]] HANDLE Handle() const noexcept { return handle.Get(); }

    /// The SACL to apply with a new DACL: the object's integrity label. Null if it has none.
    [[nodiscard]] PACL Sacl() const noexcept { return sacl.Get(); }
    void CarryOver(Acl newSacl) noexcept;

protected:
    /// Takes ownership of an open handle and closes the previous one.
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

/// Extends the DACL of an open object so that `trusteeName` may read, write and delete it. True
/// only if the new DACL was applied; otherwise the object is unchanged. Returns false for an object
/// without a DACL: it grants everything to everybody, and any list would take rights away. Never
/// throws.
bool GrantAccess(ResourceAccessControl& resource, const std::wstring& trusteeName) noexcept;
