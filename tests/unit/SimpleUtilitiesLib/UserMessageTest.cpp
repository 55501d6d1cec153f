#include "UserMessage.h"

#include "Journal.h"
#include "Replaced.h"
#include "WindowsHeaders.h"

#include <gtest/gtest.h>

#include <wtsapi32.h>

#include <cwchar>

namespace
{
const std::wstring Warning =
    L"\n\nWARNING: This message may have been displayed in the wrong user session because multiple "
    L"active sessions were found, and this code does not have the context information needed to "
    L"determine which session initiated the call into the print driver.";
const std::wstring OwnBoxCaption = L"T (4711|0x1267: Process: p.q.exe) (MB_SERVICE_NOTIFICATION)";

/// A process, its sessions and its boxes as the test wants them. The journal holds the sends and
/// the boxes: "send SESSION BYTES" and "box".
class UserMessageTest : public testing::Test
{
protected:
    void Show(const std::wstring& message = L"M") { ShowUserMessage(L"T", message); }

    void AddSession(DWORD id, WTS_CONNECTSTATE_CLASS state = WTSActive)
    {
        sessions.push_back({id, nullptr, state});
    }

    // What Windows answers.
    BOOL sessionKnown = TRUE;
    DWORD ownSession = 1;
    HWINSTA station = reinterpret_cast<HWINSTA>(0x11);
    BOOL stationReadable = TRUE;
    DWORD stationFlags = 1;
    bool managed = false;
    BOOL enumerated = TRUE;
    std::vector<WTS_SESSION_INFOW> sessions;
    std::vector<BOOL> sendAnswers = {TRUE};
    std::vector<int> boxAnswers = {IDOK};

    // What came of it.
    Journal journal;
    std::wstring caption;
    std::wstring text;
    DWORD style = 0;
    int lists = 0;

private:
    template <class Answer> static Answer Next(std::vector<Answer>& answers)
    {
        const Answer answer = answers.front();
        if (answers.size() > 1)
        {
            answers.erase(answers.begin());
        }
        return answer;
    }

    Replaced<"KERNEL32", "GetCurrentProcessId", decltype(GetCurrentProcessId)> processId{
        [] { return 4711; }};
    Replaced<"KERNEL32", "GetModuleFileNameW", decltype(GetModuleFileNameW)> moduleName{
        [](HMODULE, LPWSTR buffer, DWORD) -> DWORD
        {
            const std::wstring path = L"C:\\x y\\p.q.exe";
            std::wmemcpy(buffer, path.c_str(), path.size() + 1);
            return static_cast<DWORD>(path.size());
        }};
    Replaced<"KERNEL32", "ProcessIdToSessionId", decltype(ProcessIdToSessionId)> sessionId{
        [this](DWORD process, DWORD* session)
        {
            EXPECT_EQ(process, 4711U);
            *session = ownSession;
            return sessionKnown;
        }};
    Replaced<"USER32", "GetProcessWindowStation", decltype(GetProcessWindowStation)> windowStation{
        [this] { return station; }};
    Replaced<"USER32", "GetUserObjectInformationW", decltype(GetUserObjectInformationW)> flags{
        [this](HANDLE handle, int index, PVOID information, DWORD size, LPDWORD)
        {
            EXPECT_EQ(handle, station);
            EXPECT_EQ(index, 1);
            EXPECT_EQ(size, sizeof(USEROBJECTFLAGS));
            static_cast<USEROBJECTFLAGS*>(information)->dwFlags = stationFlags;
            return stationReadable;
        }};
    Replaced<"WTSAPI32", "WTSEnumerateSessionsW", decltype(WTSEnumerateSessionsW)> enumerate{
        [this](HANDLE server, DWORD reserved, DWORD version, PWTS_SESSION_INFOW* list, DWORD* count)
        {
            EXPECT_EQ(server, nullptr);
            EXPECT_EQ(reserved, 0U);
            EXPECT_EQ(version, 1U);
            SetLastError(1);
            if (enumerated)
            {
                ++lists;
                *list = sessions.empty() ? reinterpret_cast<PWTS_SESSION_INFOW>(&lists)
                                         : sessions.data();
                *count = static_cast<DWORD>(sessions.size());
            }
            return enumerated;
        }};
    Replaced<"WTSAPI32", "WTSFreeMemory", decltype(WTSFreeMemory)> freeMemory{[this](PVOID)
                                                                              { --lists; }};
    Replaced<"WTSAPI32", "WTSSendMessageW", decltype(WTSSendMessageW)> send{
        [this](HANDLE server, DWORD session, LPWSTR title, DWORD titleBytes, LPWSTR message,
               DWORD messageBytes, DWORD boxStyle, DWORD timeout, DWORD* answer, BOOL wait)
        {
            EXPECT_EQ(server, nullptr);
            EXPECT_EQ(titleBytes, 2 * std::wcslen(title));
            EXPECT_EQ(timeout, 0U);
            EXPECT_NE(answer, nullptr);
            EXPECT_TRUE(wait);
            caption = title;
            text = message;
            style = boxStyle;
            journal.push_back(L"send " + std::to_wstring(session) + L" " +
                              std::to_wstring(messageBytes));
            SetLastError(2);
            return Next(sendAnswers);
        }};
    Replaced<"USER32", "MessageBoxW", decltype(MessageBoxW)> box{
        [this](HWND owner, LPCWSTR message, LPCWSTR title, UINT boxStyle)
        {
            EXPECT_EQ(owner, nullptr);
            caption = title;
            text = message;
            style = boxStyle;
            journal.push_back(L"box");
            SetLastError(3);
            return Next(boxAnswers);
        }};
    Replaced<"KERNEL32", "GetModuleHandleW", decltype(GetModuleHandleW)> moduleHandle{
        [this](LPCWSTR name) -> HMODULE
        {
            if (name == nullptr)
            {
                return decltype(moduleHandle)::Original(name);
            }
            EXPECT_STREQ(name, L"mscoree.dll");
            return managed ? reinterpret_cast<HMODULE>(0x10000) : nullptr;
        }};
};

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
