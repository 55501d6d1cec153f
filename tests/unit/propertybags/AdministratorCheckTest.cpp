#include "AdministratorCheck.h"

#include "FakeSessions.h"
#include "TestLog.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{
class AdministratorCheckTest : public ::testing::Test
{
protected:
    AdministratorCheckTest() { session.name = L"U"; }

    bool Check()
    {
        const HANDLE token = sessions.Token(session);
        const bool isAdministrator = IsAdministrator(token, testLog.Log());
        EXPECT_EQ(sessions.OpenTokens(), 1U) << "the caller's token alone is left";
        CloseHandle(token);
        journal.pop_back();
        return isAdministrator;
    }

    /// Checks that a failing call gives "no" and these messages.
    void ExpectFailure(const std::wstring& function, DWORD error,
                       const std::vector<std::wstring>& messages)
    {
        session.isAdministrator = true;
        session.isFullAdministrator = true;
        sessions.failing[function] = error;
        EXPECT_FALSE(Check());
        EXPECT_EQ(testLog.Messages(), messages);
        // Nor is what the failing call left taken for a token.
        EXPECT_EQ(std::count(journal.begin(), journal.end(), L"CloseHandle BAD"), 0);
    }

    static constexpr wchar_t Conclusion[] =
        L"ERROR: Failed checking token membership for the Administrators group.";

    TestLog testLog;
    Journal journal;
    FakeSessions sessions{journal};
    FakeSession session;
};

TEST_F(AdministratorCheckTest, MemberIsAnAdministrator)
{
    session.isAdministrator = true;
    EXPECT_TRUE(Check());
    EXPECT_TRUE(testLog.Messages().empty());
}

TEST_F(AdministratorCheckTest, StandardUserIsNone)
{
    EXPECT_FALSE(Check());
    EXPECT_TRUE(testLog.Messages().empty());
}

TEST_F(AdministratorCheckTest, LimitedAdministratorIsJudgedByTheFullToken)
{
    session.elevation = TokenElevationTypeLimited;
    session.isFullAdministrator = true;
    EXPECT_TRUE(Check());
}

TEST_F(AdministratorCheckTest, LimitedUserWhoseFullTokenIsNoMemberIsNone)
{
    session.elevation = TokenElevationTypeLimited;
    session.isAdministrator = true;
    EXPECT_FALSE(Check());
}

TEST_F(AdministratorCheckTest, FullTokenIsNotLookedBehind)
{
    session.elevation = TokenElevationTypeFull;
    session.isAdministrator = true;
    EXPECT_TRUE(Check());
    EXPECT_EQ(journal,
              (Journal{L"TokenElevationType U", L"DuplicateTokenEx(query) U",
                       L"CheckTokenMembership U/query S-1-5-32-544", L"CloseHandle U/query"}));
}

TEST_F(AdministratorCheckTest, EveryStepOfALimitedTokenInOrder)
{
    session.elevation = TokenElevationTypeLimited;
    Check();
    EXPECT_EQ(journal, (Journal{L"TokenElevationType U", L"TokenLinkedToken U",
                                L"DuplicateTokenEx(query) U/full",
                                L"CheckTokenMembership U/full/query S-1-5-32-544",
                                L"CloseHandle U/full/query", L"CloseHandle U/full"}));
    EXPECT_EQ(sessions.refusedCalls, 0U);
}

TEST_F(AdministratorCheckTest, UnknownElevationIsLoggedWithItsError)
{
    ExpectFailure(L"TokenElevationType", 1309,
                  {L"ERROR: Failed trying to get token information: 1309", Conclusion});
}

TEST_F(AdministratorCheckTest, MissingLinkedTokenIsLoggedWithItsError)
{
    session.elevation = TokenElevationTypeLimited;
    ExpectFailure(L"TokenLinkedToken", 1312,
                  {L"ERROR: Failed trying to get token information: 1312", Conclusion});
}

TEST_F(AdministratorCheckTest, FailedDuplicateIsLoggedWithItsError)
{
    ExpectFailure(L"DuplicateTokenEx(query)", 5,
                  {L"ERROR: Failed trying to duplicate a token: 5", Conclusion});
}

TEST_F(AdministratorCheckTest, FailedDuplicateOfTheFullTokenGivesTheFullTokenBack)
{
    session.elevation = TokenElevationTypeLimited;
    ExpectFailure(L"DuplicateTokenEx(query)", 5,
                  {L"ERROR: Failed trying to duplicate a token: 5", Conclusion});
}

TEST_F(AdministratorCheckTest, FailedMembershipCheckIsLogged)
{
    ExpectFailure(L"CheckTokenMembership", 1309, {Conclusion});
}

TEST_F(AdministratorCheckTest, FailedSidIsLogged)
{
    using Create = Replaced<"ADVAPI32", "CreateWellKnownSid", decltype(CreateWellKnownSid)>;
    const Create create(
        [](WELL_KNOWN_SID_TYPE, PSID, PSID, DWORD*) -> BOOL
        {
            SetLastError(ERROR_INVALID_PARAMETER);
            return FALSE;
        });
    session.isAdministrator = true;
    EXPECT_FALSE(Check());
    EXPECT_EQ(testLog.Messages(), std::vector<std::wstring>{Conclusion});
}

TEST_F(AdministratorCheckTest, SidIsMadeInA68ByteBufferWithoutADomain)
{
    DWORD given = 0;
    bool withoutDomain = false;
    using Create = Replaced<"ADVAPI32", "CreateWellKnownSid", decltype(CreateWellKnownSid)>;
    const Create create(
        [&](WELL_KNOWN_SID_TYPE type, PSID domain, PSID sid, DWORD* size)
        {
            given = *size;
            withoutDomain = domain == nullptr;
            return Create::Original(type, domain, sid, size);
        });
    Check();
    EXPECT_EQ(given, 68U);
    EXPECT_TRUE(withoutDomain);
}
} // namespace
