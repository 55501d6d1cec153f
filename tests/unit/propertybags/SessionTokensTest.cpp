#include "SessionTokens.h"

#include "FakeSessions.h"

#include <gtest/gtest.h>

namespace
{
class SessionTokensTest : public ::testing::Test
{
protected:
    void AddSession(DWORD id, WTS_CONNECTSTATE_CLASS state)
    {
        FakeSession session;
        session.id = id;
        session.state = state;
        session.name = L"User" + std::to_wstring(id);
        sessions.sessions.push_back(session);
    }

    /// The ids of the sessions whose tokens were asked for.
    std::vector<std::wstring> Asked() const
    {
        std::vector<std::wstring> asked;
        for (const std::wstring& line : journal)
        {
            if (line.starts_with(L"WTSQueryUserToken "))
            {
                asked.push_back(line.substr(18));
            }
        }
        return asked;
    }

    Journal journal;
    FakeSessions sessions{journal};
};

TEST_F(SessionTokensTest, ActiveSessionsTokenIsTaken)
{
    AddSession(1, WTSActive);
    EXPECT_EQ(CollectSessionTokens().size(), 1U);
}

TEST_F(SessionTokensTest, DisconnectedSessionIsHandledLikeAnActiveOne)
{
    AddSession(1, WTSDisconnected);
    EXPECT_EQ(CollectSessionTokens().size(), 1U);
}

TEST_F(SessionTokensTest, SessionsInEveryOtherStateAreLeftOut)
{
    for (const auto state :
         {WTSConnected, WTSConnectQuery, WTSShadow, WTSIdle, WTSListen, WTSReset, WTSDown, WTSInit})
    {
        AddSession(static_cast<DWORD>(state) + 10, state);
    }
    EXPECT_TRUE(CollectSessionTokens().empty());
    EXPECT_TRUE(Asked().empty());
}

TEST_F(SessionTokensTest, SessionZeroIsLeftOutThoughATokenCouldBeHad)
{
    AddSession(0, WTSActive);
    AddSession(0, WTSDisconnected);
    EXPECT_TRUE(CollectSessionTokens().empty());
    EXPECT_TRUE(Asked().empty());
}

TEST_F(SessionTokensTest, TokensComeInTheOrderOfTheSessions)
{
    AddSession(7, WTSActive);
    AddSession(2, WTSDisconnected);
    AddSession(5, WTSActive);
    EXPECT_EQ(CollectSessionTokens().size(), 3U);
    EXPECT_EQ(Asked(), (std::vector<std::wstring>{L"7", L"2", L"5"}));
}

TEST_F(SessionTokensTest, SessionWithoutATokenIsLeftOut)
{
    AddSession(1, WTSActive);
    AddSession(2, WTSActive);
    sessions.sessions[0].hasToken = false;
    EXPECT_EQ(CollectSessionTokens().size(), 1U);
}

TEST_F(SessionTokensTest, NullTokenIsLeftOut)
{
    AddSession(1, WTSActive);
    sessions.tokensAreNull = true;
    EXPECT_TRUE(CollectSessionTokens().empty());
}

TEST_F(SessionTokensTest, NoSessionsGiveNoTokens)
{
    EXPECT_TRUE(CollectSessionTokens().empty());
}

TEST_F(SessionTokensTest, FailedEnumerationGivesNoTokens)
{
    AddSession(1, WTSActive);
    sessions.failing[L"WTSEnumerateSessionsW"] = ERROR_ACCESS_DENIED;
    EXPECT_TRUE(CollectSessionTokens().empty());
    EXPECT_EQ(journal, Journal{L"WTSEnumerateSessionsW"});
    EXPECT_EQ(sessions.refusedCalls, 0U);
}

TEST_F(SessionTokensTest, AsksTheCurrentServerAtVersionOneAndGivesTheListBack)
{
    AddSession(1, WTSActive);
    CollectSessionTokens();
    EXPECT_EQ(sessions.refusedCalls, 0U);
    EXPECT_EQ(sessions.SessionListsInUse(), 0U);
}

TEST_F(SessionTokensTest, CallerOwnsTheTokens)
{
    AddSession(1, WTSActive);
    {
        const std::vector<KernelHandle> tokens = CollectSessionTokens();
        EXPECT_EQ(sessions.OpenTokens(), 1U);
    }
    EXPECT_EQ(sessions.OpenTokens(), 0U);
}
} // namespace
