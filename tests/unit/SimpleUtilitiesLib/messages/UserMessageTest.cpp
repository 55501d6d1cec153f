#include "UserMessage.h"

#include "UserMessageFixture.h"

namespace
{
const std::wstring Warning =
    L"\n\nWARNING: This message may have been displayed in the wrong user session because multiple "
    L"active sessions were found, and this code does not have the context information needed to "
    L"determine which session initiated the call into the print driver.";
const std::wstring OwnBoxCaption = L"T (4711|0x1267: Process: p.q.exe) (MB_SERVICE_NOTIFICATION)";

TEST_F(UserMessageTest, GoesToTheFirstActiveSession)
{
    AddSession(0, WTSDisconnected);
    AddSession(7, WTSConnected);
    AddSession(3);
    AddSession(4, WTSIdle);
    Show(L"Attach?");
    EXPECT_EQ(journal, Journal{L"send 3 14"});
    EXPECT_EQ(text, L"Attach?");
    EXPECT_EQ(lists, 0);
}

TEST_F(UserMessageTest, CaptionOfAnInteractiveProcess)
{
    AddSession(1);
    Show();
    EXPECT_EQ(caption, L"T (4711|0x1267: Process: p.q.exe)");
    EXPECT_EQ(style, 0x2000U);
}

TEST_F(UserMessageTest, CaptionOfAnInteractiveProcessWithManagedCode)
{
    AddSession(1);
    managed = true;
    Show();
    EXPECT_EQ(caption, L"T (4711|0x1267: Process with managed code: p.q.exe)");
    EXPECT_EQ(style, 0x212000U);
}

TEST_F(UserMessageTest, ProcessInSessionZeroIsNotInteractive)
{
    AddSession(1);
    ownSession = 0;
    Show();
    EXPECT_EQ(caption, L"T (4711|0x1267: Non-Interactive Process: p.q.exe)");
    EXPECT_EQ(style, 0x212000U);
    EXPECT_EQ(journal, Journal{L"send 1 2"});
}

TEST_F(UserMessageTest, NonInteractiveProcessWithManagedCodeIsNonInteractive)
{
    AddSession(1);
    ownSession = 0;
    managed = true;
    Show();
    EXPECT_EQ(caption, L"T (4711|0x1267: Non-Interactive Process: p.q.exe)");
    EXPECT_EQ(style, 0x212000U);
}

TEST_F(UserMessageTest, ProcessWhoseSessionIsUnknownIsNotInteractive)
{
    AddSession(1);
    sessionKnown = FALSE;
    Show();
    EXPECT_EQ(caption, L"T (4711|0x1267: Non-Interactive Process: p.q.exe)");
}

TEST_F(UserMessageTest, ProcessWithoutAWindowStationIsNotInteractive)
{
    AddSession(1);
    station = nullptr;
    Show();
    EXPECT_EQ(caption, L"T (4711|0x1267: Non-Interactive Process: p.q.exe)");
}

TEST_F(UserMessageTest, ProcessWhoseWindowStationCannotBeAskedIsNotInteractive)
{
    AddSession(1);
    stationReadable = FALSE;
    Show();
    EXPECT_EQ(caption, L"T (4711|0x1267: Non-Interactive Process: p.q.exe)");
}

TEST_F(UserMessageTest, ProcessWhoseWindowStationIsNotVisibleIsNotInteractive)
{
    AddSession(1);
    stationFlags = 0xFFFFFFFE;
    Show();
    EXPECT_EQ(caption, L"T (4711|0x1267: Non-Interactive Process: p.q.exe)");
}

TEST_F(UserMessageTest, SeveralActiveSessionsAddTheWarning)
{
    AddSession(5);
    AddSession(6);
    Show(L"M");
    EXPECT_EQ(text, L"M" + Warning);
    EXPECT_EQ(journal, Journal{L"send 5 " + std::to_wstring(2 * (1 + Warning.size()))});
}

TEST_F(UserMessageTest, OneActiveSessionAmongOthersAddsNone)
{
    AddSession(5);
    AddSession(6, WTSDisconnected);
    Show();
    EXPECT_EQ(text, L"M");
}

TEST_F(UserMessageTest, InteractiveProcessShowsTheBoxItselfWhenTheSendFails)
{
    AddSession(5);
    sendAnswers = {FALSE};
    Show();
    EXPECT_EQ(journal, (Journal{L"send 5 2", L"box"}));
    EXPECT_EQ(caption, OwnBoxCaption);
    EXPECT_EQ(text, L"M");
    EXPECT_EQ(style, 0x2000U);
    EXPECT_EQ(lists, 0);
}

TEST_F(UserMessageTest, BoxThatFailsTooIsTriedOnceMoreAtTheEnd)
{
    AddSession(5);
    sendAnswers = {FALSE};
    boxAnswers = {0};
    Show();
    EXPECT_EQ(journal, (Journal{L"send 5 2", L"box", L"box"}));
}

TEST_F(UserMessageTest, NonInteractiveProcessShowsTheBoxAtTheEndAlone)
{
    AddSession(5);
    ownSession = 0;
    sendAnswers = {FALSE};
    Show();
    EXPECT_EQ(journal, (Journal{L"send 5 2", L"box"}));
    EXPECT_EQ(caption, L"T (4711|0x1267: Non-Interactive Process: p.q.exe) "
                       L"(MB_SERVICE_NOTIFICATION)");
    EXPECT_EQ(style, 0x212000U);
}

TEST_F(UserMessageTest, MessageOfMoreThan4095BytesIsSentAgainCut)
{
    AddSession(5);
    ownSession = 0;
    sendAnswers = {FALSE, TRUE};
    Show(std::wstring(2048, L'x'));
    EXPECT_EQ(journal, (Journal{L"send 5 4096", L"send 5 4095"}));
}

TEST_F(UserMessageTest, ShorterMessageIsNotSentAgain)
{
    AddSession(5);
    ownSession = 0;
    sendAnswers = {FALSE, TRUE};
    Show(std::wstring(2047, L'x'));
    EXPECT_EQ(journal, (Journal{L"send 5 4094", L"box"}));
}

TEST_F(UserMessageTest, WarningCountsForTheLength)
{
    AddSession(5);
    AddSession(6);
    ownSession = 0;
    sendAnswers = {FALSE, TRUE};
    Show(std::wstring(2048 - Warning.size(), L'x'));
    EXPECT_EQ(journal, (Journal{L"send 5 4096", L"send 5 4095"}));
}

TEST_F(UserMessageTest, InteractiveProcessTriesItsBoxBetweenTheSends)
{
    AddSession(5);
    sendAnswers = {FALSE, TRUE};
    boxAnswers = {0};
    Show(std::wstring(30'000, L'x'));
    EXPECT_EQ(journal, (Journal{L"send 5 60000", L"box", L"send 5 4095"}));
}

TEST_F(UserMessageTest, ThereAreAtMostTwoSends)
{
    AddSession(5);
    sendAnswers = {FALSE};
    boxAnswers = {0};
    Show(std::wstring(30'000, L'x'));
    EXPECT_EQ(journal, (Journal{L"send 5 60000", L"box", L"send 5 4095", L"box", L"box"}));
    EXPECT_EQ(text, std::wstring(30'000, L'x'));
}

TEST_F(UserMessageTest, OtherActiveSessionsAreNotTried)
{
    AddSession(5);
    AddSession(6);
    ownSession = 0;
    sendAnswers = {FALSE};
    Show();
    ASSERT_EQ(journal.size(), 2U);
    EXPECT_TRUE(journal[0].starts_with(L"send 5 "));
    EXPECT_EQ(journal[1], L"box");
}

TEST_F(UserMessageTest, NoActiveSessionShowsTheBox)
{
    AddSession(5, WTSDisconnected);
    Show();
    EXPECT_EQ(journal, Journal{L"box"});
    EXPECT_EQ(caption, OwnBoxCaption);
    EXPECT_EQ(lists, 0);
}

TEST_F(UserMessageTest, SessionsThatCannotBeListedShowTheBox)
{
    enumerated = FALSE;
    AddSession(5);
    Show();
    EXPECT_EQ(journal, Journal{L"box"});
    EXPECT_EQ(text, L"M");
    EXPECT_EQ(lists, 0);
}

TEST_F(UserMessageTest, LastBoxIsShownAfterTheSessionsWereGivenBack)
{
    AddSession(5);
    ownSession = 0;
    sendAnswers = {FALSE};
    Show();
    EXPECT_EQ(journal.back(), L"box");
    EXPECT_EQ(listsAtTheLastBox, 0);
}

TEST_F(UserMessageTest, FailureOfTheLastBoxIsNotReported)
{
    boxAnswers = {0};
    Show();
    EXPECT_EQ(journal, Journal{L"box"});
}

TEST_F(UserMessageTest, PercentSignsAreData)
{
    AddSession(1);
    ShowUserMessage(L"%s%n", L"%s%d");
    EXPECT_EQ(caption, L"%s%n (4711|0x1267: Process: p.q.exe)");
    EXPECT_EQ(text, L"%s%d");
}

TEST_F(UserMessageTest, LastErrorIsLeftAlone)
{
    AddSession(5);
    sendAnswers = {FALSE};
    SetLastError(0xABCDE);
    Show();
    EXPECT_EQ(GetLastError(), 0xABCDEU);
}
} // namespace
