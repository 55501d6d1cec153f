#include "ResourceAccessControl.h"

#include "Journal.h"
#include "Replaced.h"
#include "SecurityText.h"
#include "TemporaryFolder.h"
#include "WellKnownAccounts.h"

#include <gtest/gtest.h>

#include <sddl.h>

namespace
{
using Entries = std::multiset<std::wstring>;
using CreateFileDouble = Replaced<"KERNEL32", "CreateFileW", decltype(CreateFileW)>;
using MakeAbsoluteDouble = Replaced<"ADVAPI32", "MakeAbsoluteSD", decltype(MakeAbsoluteSD)>;
using ConvertDouble = Replaced<"ADVAPI32", "ConvertStringSecurityDescriptorToSecurityDescriptorW",
                               decltype(ConvertStringSecurityDescriptorToSecurityDescriptorW)>;

const std::wstring Grant = L"(A;OICI;0xc0010000;;;LS)";

/// Grants Local Service access to a file whose descriptor the test chooses.
class GrantAccessTest : public testing::Test
{
protected:
    bool GrantTo(const std::wstring& path)
    {
        FileAccessControl file(path);
        return GrantAccess(file, TrusteeName(WellKnownAccounts::LocalService));
    }
    bool GrantTo() { return GrantTo(folder.WriteFile(L"file", "x")); }

    static Entries Normal(const std::wstring& text) { return ListFromText(text).Entries(); }

    TemporaryFolder folder;

    /// What the object's security is: SDDL text, and the result of the call.
    std::wstring current = L"D:(A;;GA;;;BA)";
    DWORD readResult = ERROR_SUCCESS;
    DWORD applyResult = ERROR_SUCCESS;

    int applied = 0;
    Entries dacl;
    bool hasSacl = false;
    int notGivenBack = 0;

private:
    Replaced<"ADVAPI32", "GetSecurityInfo", decltype(GetSecurityInfo)> getSecurity{
        [this](HANDLE handle, SE_OBJECT_TYPE type, SECURITY_INFORMATION wanted, PSID* owner,
               PSID* group, PACL* list, PACL* sacl, PSECURITY_DESCRIPTOR* descriptor)
        {
            EXPECT_NE(handle, INVALID_HANDLE_VALUE);
            EXPECT_EQ(type, 1);
            EXPECT_EQ(wanted, 0x14U);
            EXPECT_TRUE(owner == nullptr && group == nullptr && list == nullptr && sacl == nullptr);
            if (readResult == ERROR_SUCCESS && !current.empty())
            {
                *descriptor = ListFromText(current).Release();
                ++notGivenBack;
            }
            return readResult;
        }};
    Replaced<"ADVAPI32", "SetSecurityInfo", decltype(SetSecurityInfo)> setSecurity{
        [this](HANDLE handle, SE_OBJECT_TYPE type, SECURITY_INFORMATION changed, PSID owner,
               PSID group, PACL list, PACL sacl)
        {
            EXPECT_NE(handle, INVALID_HANDLE_VALUE);
            EXPECT_EQ(type, 1);
            EXPECT_EQ(changed, 4U);
            EXPECT_EQ(owner, nullptr);
            EXPECT_EQ(group, nullptr);
            ++applied;
            dacl = EntriesOf(SecurityText(list));
            hasSacl = sacl != nullptr;
            return applyResult;
        }};
};

TEST_F(GrantAccessTest, AddsReadWriteAndDeleteToTheDacl)
{
    EXPECT_TRUE(GrantTo());
    EXPECT_EQ(applied, 1);
    EXPECT_EQ(dacl, Normal(L"D:(A;;GA;;;BA)" + Grant));
}

TEST_F(GrantAccessTest, IntegrityLabelIsCarriedOver)
{
    EXPECT_TRUE(GrantTo());
    EXPECT_FALSE(hasSacl);
    current = L"D:(A;;GA;;;BA)S:(ML;;NW;;;LW)";
    EXPECT_TRUE(GrantTo());
    EXPECT_TRUE(hasSacl);
}

TEST_F(GrantAccessTest, OwnerAndGroupDoNotMatter)
{
    current = L"O:BAG:SYD:(A;;GA;;;BA)";
    EXPECT_TRUE(GrantTo());
    EXPECT_EQ(dacl, Normal(L"D:(A;;GA;;;BA)" + Grant));
}

TEST_F(GrantAccessTest, DescriptorThatCannotBeReadIsReplacedByAnEmptyDacl)
{
    readResult = ERROR_ACCESS_DENIED;
    EXPECT_TRUE(GrantTo());
    EXPECT_EQ(dacl, Normal(L"D:" + Grant));
}

TEST_F(GrantAccessTest, ObjectWithoutADescriptorStartsFromAnEmptyDacl)
{
    current = L"";
    EXPECT_TRUE(GrantTo());
    EXPECT_EQ(dacl, Normal(L"D:" + Grant));
}

TEST_F(GrantAccessTest, DescriptorThatCannotBeTakenApartIsReplacedByAnEmptyDacl)
{
    int calls = 0;
    const MakeAbsoluteDouble makeAbsolute(
        [&](PSECURITY_DESCRIPTOR from, PSECURITY_DESCRIPTOR to, LPDWORD size, PACL list,
            LPDWORD listSize, PACL sacl, LPDWORD saclSize, PSID owner, LPDWORD ownerSize,
            PSID group, LPDWORD groupSize)
        {
            return ++calls == 2 ? FALSE
                                : decltype(makeAbsolute)::Original(from, to, size, list, listSize,
                                                                   sacl, saclSize, owner, ownerSize,
                                                                   group, groupSize);
        });
    EXPECT_TRUE(GrantTo());
    EXPECT_EQ(dacl, Normal(L"D:" + Grant));
}

TEST_F(GrantAccessTest, EmptyDaclComesFromTheTextD)
{
    readResult = ERROR_ACCESS_DENIED;
    const ConvertDouble convert(
        [](LPCWSTR text, DWORD revision, PSECURITY_DESCRIPTOR* descriptor, PULONG size)
        {
            EXPECT_STREQ(text, L"D:");
            EXPECT_EQ(revision, 1U);
            return decltype(convert)::Original(text, revision, descriptor, size);
        });
    EXPECT_TRUE(GrantTo());
}

TEST_F(GrantAccessTest, NoDescriptorAtAllLeavesTheObjectAlone)
{
    readResult = ERROR_ACCESS_DENIED;
    const ConvertDouble convert([](LPCWSTR, DWORD, PSECURITY_DESCRIPTOR*, PULONG)
                                { return FALSE; });
    EXPECT_FALSE(GrantTo());
    EXPECT_EQ(applied, 0);
}

TEST_F(GrantAccessTest, NoMemoryLeavesTheObjectAlone)
{
    const std::wstring path = folder.WriteFile(L"file", "x");
    const Replaced<"KERNEL32", "LocalAlloc", decltype(LocalAlloc)> localAlloc(
        [](UINT flags, SIZE_T) -> HLOCAL
        {
            EXPECT_EQ(flags, 0x40U);
            return nullptr;
        });
    EXPECT_FALSE(GrantTo(path));
    EXPECT_EQ(applied, 0);
}

TEST_F(GrantAccessTest, EntryThatCannotBeAddedLeavesTheObjectAlone)
{
    const Replaced<"ADVAPI32", "SetEntriesInAclW", decltype(SetEntriesInAclW)> setEntries(
        [](ULONG, PEXPLICIT_ACCESSW, PACL, PACL*) -> DWORD { return ERROR_INVALID_ACL; });
    EXPECT_FALSE(GrantTo());
    EXPECT_EQ(applied, 0);
}

TEST_F(GrantAccessTest, InvalidDescriptorLeavesTheObjectAlone)
{
    const Replaced<"ADVAPI32", "IsValidSecurityDescriptor", decltype(IsValidSecurityDescriptor)>
        isValid([](PSECURITY_DESCRIPTOR) { return FALSE; });
    EXPECT_FALSE(GrantTo());
    EXPECT_EQ(applied, 0);
}

TEST_F(GrantAccessTest, RefusedDaclIsAFailure)
{
    applyResult = ERROR_ACCESS_DENIED;
    EXPECT_FALSE(GrantTo());
    EXPECT_EQ(applied, 1);
}

TEST_F(GrantAccessTest, FileThatCannotBeOpenedIsLeftAlone)
{
    EXPECT_FALSE(GrantTo(folder.Of(L"none")));
    EXPECT_EQ(applied, 0);
}

TEST_F(GrantAccessTest, DirectoryIsAccepted)
{
    EXPECT_TRUE(GrantTo(folder.Path()));
    EXPECT_EQ(applied, 1);
}

TEST_F(GrantAccessTest, EveryBufferIsGivenBack)
{
    const std::wstring path = folder.WriteFile(L"file", "x");
    std::multiset<void*> owned;
    const Replaced<"KERNEL32", "LocalAlloc", decltype(LocalAlloc)> localAlloc(
        [&](UINT flags, SIZE_T size)
        {
            HLOCAL memory = decltype(localAlloc)::Original(flags, size);
            owned.insert(memory);
            return memory;
        });
    const Replaced<"ADVAPI32", "SetEntriesInAclW", decltype(SetEntriesInAclW)> setEntries(
        [&](ULONG count, PEXPLICIT_ACCESSW entries, PACL old, PACL* merged)
        {
            const DWORD result = decltype(setEntries)::Original(count, entries, old, merged);
            owned.insert(*merged);
            return result;
        });
    int frees = 0;
    const Replaced<"KERNEL32", "LocalFree", decltype(LocalFree)> localFree(
        [&](HLOCAL memory)
        {
            ++frees;
            const auto found = owned.find(memory);
            if (found != owned.end())
            {
                owned.erase(found);
            }
            return decltype(localFree)::Original(memory);
        });
    current = L"O:BAG:SYD:(A;;GA;;;BA)S:(ML;;NW;;;LW)";
    EXPECT_TRUE(GrantTo(path));
    EXPECT_TRUE(owned.empty()) << owned.size() << " left";
    EXPECT_GT(frees, 6);
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
