#include "ResourceAccessControl.h"

#include "Replaced.h"
#include "ScarceMemory.h"
#include "TemporaryFolder.h"
#include "WellKnownAccounts.h"

#include <gtest/gtest.h>

#include <sddl.h>

#include <set>

namespace
{
/// Grants Local Service access to a file and follows every buffer that the system or the program
/// allocates for it.
class GrantAccessMemoryTest : public testing::Test
{
protected:
    TemporaryFolder folder;
    const std::wstring path = folder.WriteFile(L"file", "x");

    bool Grant()
    {
        given = 0;
        allocations = 0;
        makeAbsoluteCalls = 0;
        applied = 0;
        owned.clear();
        FileAccessControl file(path);
        file.Open();
        return GrantAccess(file, trustee);
    }

    /// Grants and expects so many buffers, all of them given back.
    bool GrantWithBuffers(int expected)
    {
        const bool granted = Grant();
        EXPECT_EQ(given, expected);
        EXPECT_TRUE(owned.empty()) << owned.size() << " left";
        return granted;
    }

    /// What the object's security is; null when it cannot be read.
    const wchar_t* current = L"O:BAG:SYD:(A;;GA;;;BA)S:(ML;;NW;;;LW)";
    DWORD applyResult = ERROR_SUCCESS;
    DWORD mergeResult = ERROR_SUCCESS;
    /// The call of MakeAbsoluteSD that fails, counted from 1, and the allocation that does.
    int failingMakeAbsolute = 0;
    int failingAllocation = 0;

    const std::wstring trustee = TrusteeName(WellKnownAccounts::LocalService);
    std::set<void*> owned;
    /// How often LocalAlloc was called for the last grant.
    int allocations = 0;
    /// How often a DACL was set in the last grant.
    int applied = 0;

private:
    void* Own(void* memory)
    {
        if (memory != nullptr)
        {
            ++given;
            owned.insert(memory);
        }
        return memory;
    }

    int given = 0;
    int makeAbsoluteCalls = 0;

    Replaced<"ADVAPI32", "ConvertStringSecurityDescriptorToSecurityDescriptorW",
             decltype(ConvertStringSecurityDescriptorToSecurityDescriptorW)>
        convert{[this](LPCWSTR text, DWORD revision, PSECURITY_DESCRIPTOR* descriptor, PULONG size)
                {
                    const BOOL result =
                        decltype(convert)::Original(text, revision, descriptor, size);
                    Own(*descriptor);
                    return result;
                }};
    Replaced<"ADVAPI32", "GetSecurityInfo", decltype(GetSecurityInfo)> getSecurity{
        [this](HANDLE, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID*, PSID*, PACL*, PACL*,
               PSECURITY_DESCRIPTOR* descriptor) -> DWORD
        {
            if (current == nullptr)
            {
                *descriptor = this;
                return ERROR_ACCESS_DENIED;
            }
            decltype(convert)::Original(current, SDDL_REVISION_1, descriptor, nullptr);
            Own(*descriptor);
            return ERROR_SUCCESS;
        }};
    Replaced<"ADVAPI32", "MakeAbsoluteSD", decltype(MakeAbsoluteSD)> makeAbsolute{
        [this](PSECURITY_DESCRIPTOR from, PSECURITY_DESCRIPTOR to, LPDWORD size, PACL list,
               LPDWORD listSize, PACL sacl, LPDWORD saclSize, PSID owner, LPDWORD ownerSize,
               PSID group, LPDWORD groupSize)
        {
            return ++makeAbsoluteCalls == failingMakeAbsolute
                       ? FALSE
                       : decltype(makeAbsolute)::Original(from, to, size, list, listSize, sacl,
                                                          saclSize, owner, ownerSize, group,
                                                          groupSize);
        }};
    Replaced<"ADVAPI32", "SetEntriesInAclW", decltype(SetEntriesInAclW)> setEntries{
        [this](ULONG count, PEXPLICIT_ACCESSW entries, PACL old, PACL* merged)
        {
            if (mergeResult != ERROR_SUCCESS)
            {
                return mergeResult;
            }
            const DWORD result = decltype(setEntries)::Original(count, entries, old, merged);
            Own(*merged);
            return result;
        }};
    Replaced<"ADVAPI32", "SetSecurityInfo", decltype(SetSecurityInfo)> setSecurity{
        [this](HANDLE, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID, PSID, PACL, PACL)
        {
            ++applied;
            return applyResult;
        }};
    Replaced<"KERNEL32", "LocalAlloc", decltype(LocalAlloc)> localAlloc{
        [this](UINT flags, SIZE_T size) -> HLOCAL
        {
            EXPECT_EQ(flags, 0x40U);
            return ++allocations == failingAllocation
                       ? nullptr
                       : Own(decltype(localAlloc)::Original(flags, size));
        }};
    Replaced<"KERNEL32", "LocalFree", decltype(LocalFree)> localFree{
        [this](HLOCAL memory)
        {
            EXPECT_EQ(owned.erase(memory), 1U) << "freed what is not owned";
            return decltype(localFree)::Original(memory);
        }};
};

// The descriptor that was read, its five parts, the list without the old grants, the new list.
TEST_F(GrantAccessMemoryTest, EveryBufferOfAGrantIsGivenBack)
{
    EXPECT_TRUE(GrantWithBuffers(8));
}

// The empty descriptor, its two parts, the list without the old grants, the new list.
TEST_F(GrantAccessMemoryTest, EveryBufferOfAGrantToAnEmptyDaclIsGivenBack)
{
    current = nullptr;
    EXPECT_TRUE(GrantWithBuffers(5));
}

// The descriptor that was read, and then all of an empty DACL.
TEST_F(GrantAccessMemoryTest, EveryBufferOfADescriptorOfUnknownSizeIsGivenBack)
{
    failingMakeAbsolute = 1;
    EXPECT_TRUE(GrantWithBuffers(1 + 5));
}

// The descriptor that was read and its five parts, and then all of an empty DACL.
TEST_F(GrantAccessMemoryTest, EveryBufferOfADescriptorThatCannotBeTakenApartIsGivenBack)
{
    failingMakeAbsolute = 2;
    EXPECT_TRUE(GrantWithBuffers(6 + 5));
}

TEST_F(GrantAccessMemoryTest, EveryBufferOfARefusedEntryIsGivenBack)
{
    mergeResult = ERROR_INVALID_ACL;
    EXPECT_FALSE(GrantWithBuffers(7));
}

TEST_F(GrantAccessMemoryTest, EveryBufferOfAnInvalidDescriptorIsGivenBack)
{
    const Replaced<"ADVAPI32", "IsValidSecurityDescriptor", decltype(IsValidSecurityDescriptor)>
        isValid([](PSECURITY_DESCRIPTOR) { return FALSE; });
    EXPECT_FALSE(GrantWithBuffers(8));
}

TEST_F(GrantAccessMemoryTest, EveryBufferOfARefusedDaclIsGivenBack)
{
    applyResult = ERROR_ACCESS_DENIED;
    EXPECT_FALSE(GrantWithBuffers(8));
}

TEST_F(GrantAccessMemoryTest, AnyBufferThatCannotBeHadChangesNoDacl)
{
    for (failingAllocation = 1; failingAllocation <= 6; ++failingAllocation)
    {
        EXPECT_FALSE(Grant()) << "allocation " << failingAllocation;
        EXPECT_EQ(allocations, failingAllocation) << "it goes no other way";
        EXPECT_EQ(applied, 0) << "allocation " << failingAllocation;
        EXPECT_TRUE(owned.empty()) << "allocation " << failingAllocation;
    }
    EXPECT_TRUE(Grant());
    EXPECT_EQ(allocations, 6);
    EXPECT_EQ(applied, 1);
}

TEST_F(GrantAccessMemoryTest, NoBuffersAtAllAreAFailure)
{
    current = nullptr;
    failingAllocation = 1;
    EXPECT_FALSE(GrantWithBuffers(1));
}

// On the real system, since the doubles above need memory of their own.
TEST(GrantAccessWithoutMemoryTest, IsAFailureAndDoesNotThrow)
{
    const ScarceMemory memory;
    const TemporaryFolder folder;
    const std::wstring path = folder.WriteFile(L"file", "x");
    const std::wstring trustee = TrusteeName(WellKnownAccounts::LocalService);
    FileAccessControl file(path);
    ASSERT_NE(file.Open(), INVALID_HANDLE_VALUE);
    bool granted = false;
    int refusals = 0;
    ScarceMemory::ForEveryRoom([&] { granted = GrantAccess(file, trustee); },
                               [&] { refusals += granted ? 0 : 1; });
    EXPECT_TRUE(granted);
    EXPECT_GT(refusals, 0);
}
} // namespace
