#include "ResourceAccessControl.h"

#include "Replaced.h"
#include "TemporaryFolder.h"
#include "VirtualSlot.h"

#include <gtest/gtest.h>

#include <type_traits>

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
        handle = file.Open();
        ASSERT_NE(handle, INVALID_HANDLE_VALUE);
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
