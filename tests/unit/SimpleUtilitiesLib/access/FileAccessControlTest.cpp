#include "ResourceAccessControl.h"

#include "FieldOffsets.h"
#include "PrivateMember.h"
#include "Replaced.h"
#include "TemporaryFolder.h"
#include "VirtualSlot.h"

#include <gtest/gtest.h>

#include <type_traits>

PRIVATE_FIELD(ResourceType, ResourceAccessControl, SE_OBJECT_TYPE, objectType);
PRIVATE_FIELD(ResourceName, ResourceAccessControl, std::wstring, name);
PRIVATE_FIELD(ResourceHandle, ResourceAccessControl, FileHandle, handle);
PRIVATE_FIELD(ResourceSacl, ResourceAccessControl, Acl, sacl);

namespace
{
using CreateFileDouble = Replaced<"KERNEL32", "CreateFileW", decltype(CreateFileW)>;

TEST(ResourceAccessControlTest, VirtualOperationsStandInTheirSlots)
{
    static_assert(std::is_abstract_v<ResourceAccessControl>);
    static_assert(std::has_virtual_destructor_v<ResourceAccessControl>);
    EXPECT_EQ(VirtualSlot(&ResourceAccessControl::Reserved), FirstSlotAfterDestructor);
    EXPECT_EQ(VirtualSlot(&ResourceAccessControl::Open), FirstSlotAfterDestructor + 1);
}

TEST(ResourceAccessControlTest, FieldsStandInTheirOrder)
{
    const FileAccessControl file(L"C:\\x");
    EXPECT_EQ(OffsetsOf<ResourceAccessControl>(file, MemberOf(ResourceType{}),
                                               MemberOf(ResourceName{}), MemberOf(ResourceHandle{}),
                                               MemberOf(ResourceSacl{})),
              (std::vector<std::size_t>{8, 16, 48, 56}));
    static_assert(sizeof(FileAccessControl) == 64);
}

TEST(ResourceAccessControlTest, HoldsNoSaclUntilThereIsOneToCarryOver)
{
    FileAccessControl file(L"C:\\x");
    EXPECT_EQ(file.Sacl(), nullptr);
    auto* sacl = static_cast<PACL>(LocalAlloc(LPTR, sizeof(ACL)));
    int freed = 0;
    const Replaced<"KERNEL32", "LocalFree", decltype(LocalFree)> localFree(
        [&](HLOCAL memory)
        {
            freed += memory == sacl ? 1 : 0;
            return decltype(localFree)::Original(memory);
        });
    file.CarryOver(Acl(sacl));
    EXPECT_EQ(file.Sacl(), sacl);
    EXPECT_EQ(freed, 0);
    file.CarryOver(Acl());
    EXPECT_EQ(file.Sacl(), nullptr);
    EXPECT_EQ(freed, 1);
}

TEST(FileAccessControlTest, OpensForTheDaclOwnerAndDeletionAndDeniesNothing)
{
    const CreateFileDouble createFile(
        [](LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security,
           DWORD disposition, DWORD flags, HANDLE other)
        {
            EXPECT_STREQ(path, L"C:\\x y");
            EXPECT_EQ(access, 0xF0000U);
            EXPECT_EQ(sharing, 7U);
            EXPECT_EQ(security, nullptr);
            EXPECT_EQ(disposition, 3U);
            EXPECT_EQ(flags, 0x02000000U);
            EXPECT_EQ(other, nullptr);
            return INVALID_HANDLE_VALUE;
        });
    FileAccessControl file(L"C:\\x y");
    EXPECT_EQ(file.Open(), INVALID_HANDLE_VALUE);
}

TEST(FileAccessControlTest, IsAFileOfItsPath)
{
    FileAccessControl file(L"C:\\x");
    file.Reserved();
    EXPECT_EQ(file.ObjectType(), 1);
    EXPECT_EQ(file.Name(), L"C:\\x");
}

TEST(FileAccessControlTest, ClosesItsHandle)
{
    const TemporaryFolder folder;
    HANDLE handle = nullptr;
    {
        FileAccessControl file(folder.Path());
        EXPECT_EQ(file.Handle(), INVALID_HANDLE_VALUE);
        handle = file.Open();
        ASSERT_NE(handle, INVALID_HANDLE_VALUE);
        EXPECT_EQ(file.Handle(), handle);
    }
    DWORD flags = 0;
    EXPECT_FALSE(GetHandleInformation(handle, &flags));
}

TEST(FileAccessControlTest, ClosesNothingWhenItIsNotOpen)
{
    int closings = 0;
    const Replaced<"KERNEL32", "CloseHandle", decltype(CloseHandle)> close(
        [&](HANDLE)
        {
            ++closings;
            return TRUE;
        });
    {
        const FileAccessControl never(L"C:\\x");
        FileAccessControl failed(L"C:\\no\\such\\file");
        failed.Open();
    }
    EXPECT_EQ(closings, 0);
}
} // namespace
