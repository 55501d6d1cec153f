#include "XProcess.h"

#include "FakeChildren.h"
#include "FieldOffsets.h"
#include "PrivateMember.h"
#include "TestLog.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <type_traits>

PRIVATE_FIELD(Startup, XProcess, STARTUPINFOW, startupInformation);
PRIVATE_FIELD(Child, XProcess, PROCESS_INFORMATION, processInformation);
PRIVATE_FIELD(ProcessReserve, XProcess, FileHandle, reserved);

namespace
{
using Peek = Replaced<"USER32", "PeekMessageW", decltype(PeekMessageW)>;
using Get = Replaced<"USER32", "GetMessageW", decltype(GetMessageW)>;
using Translate = Replaced<"USER32", "TranslateMessage", decltype(TranslateMessage)>;
using Dispatch = Replaced<"USER32", "DispatchMessageW", decltype(DispatchMessageW)>;
using PostQuit = Replaced<"USER32", "PostQuitMessage", decltype(PostQuitMessage)>;

static_assert(std::has_virtual_destructor_v<XProcess>);

class XProcessTest : public ::testing::Test
{
protected:
    ~XProcessTest() override { EXPECT_EQ(objects.OpenHandles(), 0U); }

    DWORD RunAsUser(const std::wstring& commandLine)
    {
        const KernelHandle token(children.Token(L"user"));
        return XProcess().RunAsUser(token.Get(), commandLine);
    }

    void ExitWith(DWORD code)
    {
        children.run = [code](const std::wstring&) { return code; };
    }

    Journal journal;
    FakeKernelObjects objects{journal};
    FakeChildren children{journal, objects};
    LogJournal logJournal{journal}; ///< no journal holds a line of it: failures are silent

    /// The messages that wait; 0 stands for a request to quit, -1 for one that cannot be had.
    std::deque<int> messages;
    Peek peek{[this](LPMSG, HWND window, UINT first, UINT last, UINT remove) -> BOOL
              {
                  const bool expected =
                      window == nullptr && first == 0 && last == 0 && remove == PM_NOREMOVE;
                  journal.push_back(expected ? L"peek" : L"peek BAD");
                  return !messages.empty();
              }};
    Get get{[this](LPMSG message, HWND window, UINT first, UINT last) -> BOOL
            {
                const bool expected = window == nullptr && first == 0 && last == 0;
                const int next = messages.front();
                messages.pop_front();
                message->wParam = next == 0 ? 17 : static_cast<WPARAM>(next);
                journal.push_back(L"get " + std::to_wstring(next) + (expected ? L"" : L" BAD"));
                return next == 0 || next == -1 ? next : 1;
            }};
    Translate translate{[this](const MSG* message) -> BOOL
                        {
                            journal.push_back(L"translate " + std::to_wstring(message->wParam));
                            return FALSE;
                        }};
    Dispatch dispatch{[this](const MSG* message) -> LRESULT
                      {
                          journal.push_back(L"dispatch " + std::to_wstring(message->wParam));
                          return 0;
                      }};
    PostQuit postQuit{[this](int code)
                      {
                          journal.push_back(L"quit " + std::to_wstring(code));
                          messages.push_back(0);
                      }};
};

TEST_F(XProcessTest, FieldsStandInTheirOrderBehindTheVirtualOperations)
{
    EXPECT_EQ(
        OffsetsOf(XProcess(), MemberOf(Startup{}), MemberOf(Child{}), MemberOf(ProcessReserve{})),
        (std::vector<std::size_t>{8, 112, 136}));
    static_assert(sizeof(XProcess) == 144);
}

TEST_F(XProcessTest, NewOneHasNoChild)
{
    const XProcess process;
    const PROCESS_INFORMATION none = {};
    EXPECT_EQ(std::memcmp(&(process.*MemberOf(Child{})), &none, sizeof(none)), 0);
    EXPECT_EQ((process.*MemberOf(ProcessReserve{})).Get(), INVALID_HANDLE_VALUE);
}

TEST_F(XProcessTest, KeepsTheInformationOfItsChild)
{
    XProcess process;
    EXPECT_TRUE(process.Start(L"x"));
    const PROCESS_INFORMATION& child = process.*MemberOf(Child{});
    EXPECT_NE(child.hProcess, nullptr);
    EXPECT_NE(child.hThread, nullptr);
    EXPECT_EQ(child.dwProcessId, 0x1234U);
    EXPECT_EQ(child.dwThreadId, 0x5678U);
}

TEST_F(XProcessTest, NextChildTakesThePlaceOfTheLast)
{
    XProcess process;
    process.Start(L"x");
    process.Start(L"y");
    EXPECT_EQ(journal,
              (Journal{L"start: x", L"start: y", L"CloseHandle thread", L"CloseHandle process"}));
    EXPECT_EQ(objects.OpenHandles(), 2U);
}

TEST_F(XProcessTest, ChildThatCannotBeStartedLeavesTheLastOne)
{
    XProcess process;
    process.Start(L"x");
    children.failing = {L"CreateProcessW"};
    EXPECT_FALSE(process.Start(L"y"));
    EXPECT_EQ(journal, (Journal{L"start: x", L"cannot start y"}));
    EXPECT_EQ((process.*MemberOf(Child{})).dwProcessId, 0x1234U);
}

TEST_F(XProcessTest, ReservedHandleIsClosedAtTheEndWhenItIsValid)
{
    {
        XProcess process;
        process.*MemberOf(ProcessReserve{}) = FileHandle(children.Token(L"reserve"));
    }
    EXPECT_EQ(journal, Journal{L"CloseHandle reserve"});
}

TEST_F(XProcessTest, RunsAsTheCurrentUserAndGivesTheExitCode)
{
    ExitWith(42);
    EXPECT_EQ(XProcess().RunAsCurrentUser(L"C:\\P\\x.exe -a"), 42U);
    EXPECT_EQ(journal, (Journal{L"start: C:\\P\\x.exe -a", L"exit code 42", L"CloseHandle thread",
                                L"CloseHandle process"}));
}

TEST_F(XProcessTest, HugeExitCodesArePassedOn)
{
    ExitWith(0xC0000005);
    EXPECT_EQ(XProcess().RunAsCurrentUser(L"x"), 0xC0000005U);
}

TEST_F(XProcessTest, ChildThatCannotBeStartedGivesZero)
{
    children.failing = {L"CreateProcessW"};
    EXPECT_EQ(XProcess().RunAsCurrentUser(L"x"), 0U);
    EXPECT_EQ(journal, Journal{L"cannot start x"});
}

TEST_F(XProcessTest, CommandLineReachesTheChildWhole)
{
    const std::wstring commandLine = L"x %s%n " + std::wstring(30000, L'a') + wchar_t{0xD800};
    XProcess().RunAsCurrentUser(commandLine);
    EXPECT_EQ(journal[0], L"start: " + commandLine);
}

TEST_F(XProcessTest, RunsAsAnotherUserInThatUsersEnvironment)
{
    ExitWith(7);
    EXPECT_EQ(RunAsUser(L"q -c"), 7U);
    EXPECT_EQ(journal,
              (Journal{L"DuplicateTokenEx user", L"CreateEnvironmentBlock user/copy",
                       L"start as user/copy with its environment: q -c", L"DestroyEnvironmentBlock",
                       L"CloseHandle user/copy", L"exit code 7", L"CloseHandle thread",
                       L"CloseHandle process", L"CloseHandle user"}));
}

TEST_F(XProcessTest, TokenThatCannotBeDuplicatedIsUsedItself)
{
    children.failing = {L"DuplicateTokenEx"};
    ExitWith(3);
    EXPECT_EQ(RunAsUser(L"q"), 3U);
    EXPECT_EQ(journal, (Journal{L"DuplicateTokenEx user", L"CreateEnvironmentBlock user",
                                L"start as user with its environment: q",
                                L"DestroyEnvironmentBlock", L"exit code 3", L"CloseHandle thread",
                                L"CloseHandle process", L"CloseHandle user"}));
}

TEST_F(XProcessTest, UserWithoutAnEnvironmentGetsTheCallers)
{
    children.failing = {L"CreateEnvironmentBlock"};
    RunAsUser(L"q");
    EXPECT_EQ(journal,
              (Journal{L"DuplicateTokenEx user", L"CreateEnvironmentBlock user/copy",
                       L"start as user/copy: q", L"CloseHandle user/copy", L"exit code 0",
                       L"CloseHandle thread", L"CloseHandle process", L"CloseHandle user"}));
}

TEST_F(XProcessTest, ChildThatCannotBeStartedAsAnotherUserGivesZeroAndGivesAllBack)
{
    children.failing = {L"CreateProcessAsUserW"};
    ExitWith(7);
    EXPECT_EQ(RunAsUser(L"q"), 0U);
    EXPECT_EQ(journal, (Journal{L"DuplicateTokenEx user", L"CreateEnvironmentBlock user/copy",
                                L"cannot start q", L"DestroyEnvironmentBlock",
                                L"CloseHandle user/copy", L"CloseHandle user"}));
}

TEST_F(XProcessTest, FailedWaitGivesZero)
{
    ExitWith(42);
    children.waits = {WAIT_FAILED};
    EXPECT_EQ(XProcess().RunAsCurrentUser(L"x"), 0U);
    EXPECT_EQ(journal, (Journal{L"start: x", L"CloseHandle thread", L"CloseHandle process"}));
}

TEST_F(XProcessTest, ExitCodeThatCannotBeReadIsZero)
{
    ExitWith(42);
    children.failing = {L"GetExitCodeProcess"};
    EXPECT_EQ(XProcess().RunAsCurrentUser(L"x"), 0U);
}

TEST_F(XProcessTest, WaitsOnAtEveryOtherResultWithoutPumping)
{
    children.waits = {WAIT_ABANDONED, 77};
    ExitWith(5);
    EXPECT_EQ(XProcess().RunAsCurrentUser(L"x"), 5U);
    EXPECT_EQ(journal, (Journal{L"start: x", L"exit code 5", L"CloseHandle thread",
                                L"CloseHandle process"}));
}

TEST_F(XProcessTest, WaitsForAChildWithoutATimeLimit)
{
    children.waits.assign(10000, WAIT_TIMEOUT);
    ExitWith(5);
    EXPECT_EQ(XProcess().RunAsCurrentUser(L"x"), 5U);
    EXPECT_TRUE(children.waits.empty());
}

TEST_F(XProcessTest, LooksForMessagesWhileTheChildRuns)
{
    children.waits = {WAIT_TIMEOUT};
    XProcess().RunAsCurrentUser(L"x");
    EXPECT_EQ(journal, (Journal{L"start: x", L"peek", L"exit code 0", L"CloseHandle thread",
                                L"CloseHandle process"}));
}

TEST_F(XProcessTest, PumpsMessagesUntilThereAreNone)
{
    children.waits = {WAIT_TIMEOUT};
    messages = {1, 2};
    XProcess().RunAsCurrentUser(L"x");
    EXPECT_EQ(journal, (Journal{L"start: x", L"peek", L"get 1", L"translate 1", L"dispatch 1",
                                L"peek", L"get 2", L"translate 2", L"dispatch 2", L"peek",
                                L"exit code 0", L"CloseHandle thread", L"CloseHandle process"}));
}

TEST_F(XProcessTest, RequestToQuitIsPostedAgainAndEndsThePumpingUntilTheNextPoll)
{
    children.waits = {WAIT_TIMEOUT, WAIT_TIMEOUT};
    messages = {0, 1};
    ExitWith(9);
    EXPECT_EQ(XProcess().RunAsCurrentUser(L"x"), 9U);
    EXPECT_EQ(journal, (Journal{L"start: x", L"peek", L"get 0", L"quit 17", L"peek", L"get 1",
                                L"translate 1", L"dispatch 1", L"peek", L"get 0", L"quit 17",
                                L"exit code 9", L"CloseHandle thread", L"CloseHandle process"}));
}

TEST_F(XProcessTest, MessageThatCannotBeHadIsNotDispatchedAndEndsThePumpingUntilTheNextPoll)
{
    children.waits = {WAIT_TIMEOUT, WAIT_TIMEOUT};
    messages = {-1, 1};
    ExitWith(9);
    EXPECT_EQ(XProcess().RunAsCurrentUser(L"x"), 9U);
    EXPECT_EQ(journal, (Journal{L"start: x", L"peek", L"get -1", L"peek", L"get 1", L"translate 1",
                                L"dispatch 1", L"peek", L"exit code 9", L"CloseHandle thread",
                                L"CloseHandle process"}));
}

TEST_F(XProcessTest, StartDoesNotWait)
{
    bool waited = false;
    children.onWait = [&] { waited = true; };
    EXPECT_TRUE(XProcess().Start(L"x -w"));
    EXPECT_FALSE(waited);
    EXPECT_EQ(journal, (Journal{L"start: x -w", L"CloseHandle thread", L"CloseHandle process"}));
}

TEST_F(XProcessTest, EndOfItsLifeClosesTheHandlesOfTheChild)
{
    std::unique_ptr<XProcess> process = std::make_unique<XProcess>();
    process->Start(L"x");
    EXPECT_EQ(objects.OpenHandles(), 2U);
    process.reset();
    EXPECT_EQ(objects.OpenHandles(), 0U);
}

TEST_F(XProcessTest, StartTellsThatAChildCannotBeStarted)
{
    children.failing = {L"CreateProcessW"};
    EXPECT_FALSE(XProcess().Start(L"x"));
    EXPECT_EQ(journal, Journal{L"cannot start x"});
}
} // namespace
