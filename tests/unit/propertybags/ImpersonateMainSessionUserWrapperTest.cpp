#include "ImpersonateMainSessionUserWrapper.h"

#include "FieldOffsets.h"
#include "Journal.h"
#include "Owners.h"
#include "PrivateMember.h"
#include "Replaced.h"

#include <gtest/gtest.h>

#include <userenv.h>

#include <optional>

PRIVATE_FIELD(Impersonating, ImpersonateMainSessionUserWrapper, bool, impersonating);
PRIVATE_FIELD(UserToken, ImpersonateMainSessionUserWrapper, KernelHandle, token);
PRIVATE_FIELD(ProfileLoaded, ImpersonateMainSessionUserWrapper, bool, profileLoaded);
PRIVATE_FIELD(Profile, ImpersonateMainSessionUserWrapper, HANDLE, profile);

namespace
{
const HANDLE SessionToken = reinterpret_cast<HANDLE>(0x50);
const HANDLE FirstDuplicate = reinterpret_cast<HANDLE>(0x100);

struct ProcessEnded
{
    UINT code;
};

/// Windows as far as it impersonates. The journal holds every call with its token.
class ImpersonationTest : public testing::Test
{
protected:
    void SetUp() override { wrapper.emplace(); }
    // Before the doubles go.
    void TearDown() override { wrapper.reset(); }

    static std::wstring Text(HANDLE handle)
    {
        return std::to_wstring(reinterpret_cast<std::uintptr_t>(handle));
    }

    std::optional<ImpersonateMainSessionUserWrapper> wrapper;
    Journal journal;
    BOOL duplicated = TRUE;
    BOOL impersonated = TRUE;
    BOOL reverted = TRUE;
    BOOL threadTokenSet = TRUE;

private:
    BYTE* next = static_cast<BYTE*>(FirstDuplicate);
    Replaced<"ADVAPI32", "DuplicateTokenEx", decltype(DuplicateTokenEx)> duplicate{
        [this](HANDLE token, DWORD access, LPSECURITY_ATTRIBUTES security,
               SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type, PHANDLE result)
        {
            EXPECT_EQ(token, SessionToken);
            EXPECT_EQ(access, 0x02000000U);
            EXPECT_EQ(security, nullptr);
            EXPECT_EQ(level, 2);
            EXPECT_EQ(type, 2);
            journal.push_back(L"duplicate");
            // What a call that failed leaves there is nobody's.
            *result = next++;
            return duplicated;
        }};
    Replaced<"ADVAPI32", "ImpersonateLoggedOnUser", decltype(ImpersonateLoggedOnUser)> impersonate{
        [this](HANDLE token)
        {
            journal.push_back(L"impersonate " + Text(token));
            return impersonated;
        }};
    Replaced<"ADVAPI32", "RevertToSelf", decltype(RevertToSelf)> revert{
        [this]
        {
            journal.push_back(L"revert");
            SetLastError(1);
            return reverted;
        }};
    Replaced<"ADVAPI32", "SetThreadToken", decltype(SetThreadToken)> setThreadToken{
        [this](PHANDLE thread, HANDLE token)
        {
            EXPECT_EQ(thread, nullptr);
            EXPECT_EQ(token, nullptr);
            journal.push_back(L"take the token");
            return threadTokenSet;
        }};
    Replaced<"USERENV", "UnloadUserProfile", decltype(UnloadUserProfile)> unload{
        [this](HANDLE token, HANDLE profile)
        {
            journal.push_back(L"unload " + Text(token) + L" " + Text(profile));
            return TRUE;
        }};
    Replaced<"KERNEL32", "CloseHandle", decltype(CloseHandle)> close{
        [this](HANDLE handle)
        {
            journal.push_back(L"close " + Text(handle));
            SetLastError(2);
            return TRUE;
        }};
    Replaced<"KERNEL32", "ExitProcess", void(UINT)> exitProcess{[](UINT code)
                                                                { throw ProcessEnded{code}; }};
};

static_assert(std::has_virtual_destructor_v<ImpersonateMainSessionUserWrapper>);

TEST_F(ImpersonationTest, FieldsStandInTheirOrderBehindTheVirtualOperations)
{
    EXPECT_EQ(OffsetsOf(*wrapper, MemberOf(Impersonating{}), MemberOf(UserToken{}),
                        MemberOf(ProfileLoaded{}), MemberOf(Profile{})),
              (std::vector<std::size_t>{8, 16, 24, 32}));
    static_assert(sizeof(ImpersonateMainSessionUserWrapper) == 40);
}

TEST_F(ImpersonationTest, ImpersonatesADuplicateOfTheToken)
{
    EXPECT_TRUE(wrapper->Impersonate(SessionToken));
    EXPECT_EQ(journal, (Journal{L"duplicate", L"impersonate 256"}));
}

TEST_F(ImpersonationTest, EndRevertsAndThenClosesTheDuplicate)
{
    wrapper->Impersonate(SessionToken);
    journal.clear();
    wrapper.reset();
    EXPECT_EQ(journal, (Journal{L"revert", L"close 256"}));
}

TEST_F(ImpersonationTest, EndUnloadsALoadedProfileFirst)
{
    wrapper->Impersonate(SessionToken);
    (*wrapper).*MemberOf(ProfileLoaded{}) = true;
    (*wrapper).*MemberOf(Profile{}) = reinterpret_cast<HANDLE>(0x77);
    journal.clear();
    wrapper.reset();
    EXPECT_EQ(journal, (Journal{L"unload 256 119", L"revert", L"close 256"}));
}

TEST_F(ImpersonationTest, EndWithoutATokenDoesNothing)
{
    (*wrapper).*MemberOf(ProfileLoaded{}) = true;
    wrapper.reset();
    EXPECT_TRUE(journal.empty());
}

TEST_F(ImpersonationTest, EndLeavesTheLastErrorAlone)
{
    wrapper->Impersonate(SessionToken);
    SetLastError(0xABCDE);
    wrapper.reset();
    EXPECT_EQ(GetLastError(), 0xABCDEU);
}

TEST_F(ImpersonationTest, TokenThatCannotBeDuplicatedIsNotImpersonated)
{
    duplicated = FALSE;
    EXPECT_FALSE(wrapper->Impersonate(SessionToken));
    wrapper.reset();
    EXPECT_EQ(journal, Journal{L"duplicate"});
}

TEST_F(ImpersonationTest, FailedImpersonationIsNotRevertedButItsTokenClosed)
{
    impersonated = FALSE;
    EXPECT_FALSE(wrapper->Impersonate(SessionToken));
    wrapper.reset();
    EXPECT_EQ(journal, (Journal{L"duplicate", L"impersonate 256", L"close 256"}));
}

TEST_F(ImpersonationTest, RevertIsCalledOnce)
{
    wrapper->Impersonate(SessionToken);
    wrapper->Revert();
    wrapper->Revert();
    wrapper.reset();
    EXPECT_EQ(journal, (Journal{L"duplicate", L"impersonate 256", L"revert", L"close 256"}));
}

TEST_F(ImpersonationTest, SameUserIsImpersonatedAgain)
{
    wrapper->Impersonate(SessionToken);
    wrapper->Revert();
    journal.clear();
    EXPECT_TRUE(wrapper->ImpersonateAgain());
    EXPECT_EQ(journal, Journal{L"impersonate 256"});
    wrapper.reset();
    EXPECT_EQ(journal, (Journal{L"impersonate 256", L"revert", L"close 256"}));
}

TEST_F(ImpersonationTest, ImpersonatingAgainMayFail)
{
    wrapper->Impersonate(SessionToken);
    wrapper->Revert();
    impersonated = FALSE;
    EXPECT_FALSE(wrapper->ImpersonateAgain());
    journal.clear();
    wrapper.reset();
    EXPECT_EQ(journal, Journal{L"close 256"});
}

TEST_F(ImpersonationTest, FailingToImpersonateAgainStillRevertsAtTheEnd)
{
    wrapper->Impersonate(SessionToken);
    impersonated = FALSE;
    EXPECT_FALSE(wrapper->ImpersonateAgain());
    journal.clear();
    wrapper.reset();
    EXPECT_EQ(journal, (Journal{L"revert", L"close 256"}));
}

TEST_F(ImpersonationTest, ImpersonatingAgainFailsWhenNobodyWasImpersonated)
{
    EXPECT_FALSE(wrapper->ImpersonateAgain());
    EXPECT_TRUE(journal.empty());
}

TEST_F(ImpersonationTest, NextUserTakesThePlaceOfTheFirst)
{
    wrapper->Impersonate(SessionToken);
    journal.clear();
    EXPECT_TRUE(wrapper->Impersonate(SessionToken));
    wrapper.reset();
    EXPECT_EQ(journal, (Journal{L"duplicate", L"revert", L"close 256", L"impersonate 257",
                                L"revert", L"close 257"}));
}

TEST_F(ImpersonationTest, ProfileIsUnloadedWithTheTokenOfItsOwnUserWhenTheNextOneComes)
{
    wrapper->Impersonate(SessionToken);
    (*wrapper).*MemberOf(ProfileLoaded{}) = true;
    (*wrapper).*MemberOf(Profile{}) = reinterpret_cast<HANDLE>(0x77);
    journal.clear();
    EXPECT_TRUE(wrapper->Impersonate(SessionToken));
    wrapper.reset();
    EXPECT_EQ(journal, (Journal{L"duplicate", L"unload 256 119", L"revert", L"close 256",
                                L"impersonate 257", L"revert", L"close 257"}));
}

TEST_F(ImpersonationTest, NextUserWhoCannotBeImpersonatedLeavesTheThreadItself)
{
    wrapper->Impersonate(SessionToken);
    impersonated = FALSE;
    journal.clear();
    EXPECT_FALSE(wrapper->Impersonate(SessionToken));
    wrapper.reset();
    EXPECT_EQ(journal,
              (Journal{L"duplicate", L"revert", L"close 256", L"impersonate 257", L"close 257"}));
}

TEST_F(ImpersonationTest, NextUserWhoCannotBeHadLeavesTheFirst)
{
    wrapper->Impersonate(SessionToken);
    duplicated = FALSE;
    journal.clear();
    EXPECT_FALSE(wrapper->Impersonate(SessionToken));
    EXPECT_EQ(journal, Journal{L"duplicate"});
    wrapper.reset();
    EXPECT_EQ(journal, (Journal{L"duplicate", L"revert", L"close 256"}));
}

TEST_F(ImpersonationTest, FailedRevertTakesTheTokenFromTheThread)
{
    wrapper->Impersonate(SessionToken);
    reverted = FALSE;
    journal.clear();
    wrapper->Revert();
    EXPECT_EQ(journal, (Journal{L"revert", L"take the token"}));
    wrapper.reset();
    EXPECT_EQ(journal, (Journal{L"revert", L"take the token", L"close 256"}));
}

TEST_F(ImpersonationTest, ProcessEndsRatherThanGoOnAsTheWrongUser)
{
    wrapper->Impersonate(SessionToken);
    reverted = FALSE;
    threadTokenSet = FALSE;
    UINT code = 0;
    try
    {
        wrapper->Revert();
    }
    catch (const ProcessEnded& end)
    {
        code = end.code;
    }
    EXPECT_EQ(code, 1U);
    reverted = TRUE;
}

/// Whether this thread has a token of its own.
bool IsImpersonating()
{
    KernelHandle token;
    return OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Receive()) != FALSE;
}

TEST(RealImpersonationTest, LastsAsLongAsTheObject)
{
    KernelHandle token;
    ASSERT_TRUE(
        OpenProcessToken(GetCurrentProcess(), TOKEN_DUPLICATE | TOKEN_QUERY, token.Receive()));
    {
        ImpersonateMainSessionUserWrapper wrapper;
        EXPECT_TRUE(wrapper.Impersonate(token.Get()));
        EXPECT_TRUE(IsImpersonating());
        wrapper.Revert();
        EXPECT_FALSE(IsImpersonating());
        EXPECT_TRUE(wrapper.ImpersonateAgain());
        EXPECT_TRUE(IsImpersonating());
    }
    EXPECT_FALSE(IsImpersonating());
    DWORD flags = 0;
    EXPECT_TRUE(GetHandleInformation(token.Get(), &flags)) << "the token is the caller's";
}
} // namespace
