#pragma once

#include "AccessControlList.h"

#include <string>

/// An object whose DACL can be edited.
class ResourceAccessControl
{
public:
    ResourceAccessControl(SE_OBJECT_TYPE type, std::wstring objectName);
    /// Closes the handle if one is open.
    virtual ~ResourceAccessControl();
    ResourceAccessControl(const ResourceAccessControl&) = delete;
    ResourceAccessControl& operator=(const ResourceAccessControl&) = delete;

    /// A slot that other kinds of objects fill; it does nothing here.
    virtual void Reserved() const noexcept;

    /// Opens the object for the edit. The handle stays this object's; an invalid one on failure.
    virtual HANDLE Open() = 0;

    [[nodiscard]] SE_OBJECT_TYPE ObjectType() const noexcept { return objectType; }
    [[nodiscard]] const std::wstring& Name() const noexcept { return name; }

protected:
    FileHandle handle;

private:
    SE_OBJECT_TYPE objectType;
    std::wstring name;
};

/// A file or directory.
class FileAccessControl : public ResourceAccessControl
{
public:
    explicit FileAccessControl(std::wstring path);
    HANDLE Open() override;
};

/// Widens the object's DACL so that `trusteeName` may read, write and delete it. True only when the
/// new DACL was applied; otherwise the object is unchanged. Never throws.
bool GrantAccess(ResourceAccessControl& resource, const std::wstring& trusteeName) noexcept;
