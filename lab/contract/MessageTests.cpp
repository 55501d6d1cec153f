#include "Check.h"

#include "LabState.h"

#include <wtsapi32.h>

#include <algorithm>
#include <string>

using namespace PalvoLab;

namespace
{

bool Send(DWORD session, DWORD bytes)
{
    std::wstring title = L"title";
    std::wstring text = L"A message to the user";
    DWORD response = 0;
    return WTSSendMessageW(WTS_CURRENT_SERVER_HANDLE, session, title.data(),
                           static_cast<DWORD>(title.size() * 2), text.data(), bytes, MB_OK, 0,
                           &response, TRUE) &&
           response == IDOK;
}

std::string LastMessage()
{
    const auto lines = ReadLines(L"messages.log");
    return lines.empty() ? "" : lines.back();
}

bool Contains(const std::string& text, const char* part)
{
    return text.find(part) != std::string::npos;
}

} // namespace

LAB_TEST(SessionsAreListedWithTheirStates)
{
    WTS_SESSION_INFOW* sessions = nullptr;
    DWORD count = 0;
    CHECK(WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, &sessions, &count));
    CHECK(count == 4);
    CHECK(sessions[0].SessionId == 0 && sessions[0].State == WTSDisconnected);
    CHECK(sessions[1].SessionId == 1 && sessions[1].State == WTSActive);
    CHECK(sessions[2].SessionId == 2 && sessions[2].State == WTSDisconnected);
    CHECK(sessions[3].State == WTSListen);
    WTSFreeMemory(sessions);
}

STATEMENT(ThereIsAtLeastTheServicesSession, "WTSEnumerateSessionsW", Caller::Anybody)
{
    WTS_SESSION_INFOW* sessions = nullptr;
    DWORD count = 0;
    CHECK(WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, &sessions, &count));
    CHECK(std::any_of(sessions, sessions + count,
                      [](const WTS_SESSION_INFOW& session) { return session.SessionId == 0; }));
    WTSFreeMemory(sessions);
    CHECK_FAILS(WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 2, &sessions, &count),
                ERROR_INVALID_PARAMETER);
    CHECK_FAILS(WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 1, 1, &sessions, &count),
                ERROR_INVALID_PARAMETER);
}

STATEMENT(AMessageNeedsASession, "WTSSendMessageW", Caller::Anybody)
{
    CHECK_FAILS(Send(65000, 18), 7022);
}

LAB_TEST(AMessageIsAsLongAsItsByteCountSays)
{
    CHECK(Send(1, 18));
    CHECK(Contains(LastMessage(), "session=1"));
    CHECK(Contains(LastMessage(), "textBytes=18"));
    CHECK(Contains(LastMessage(), "text=\"A message\""));
    WriteSetting(L"MessageLimit", L"16");
    CHECK_FAILS(Send(1, 18), ERROR_INSUFFICIENT_BUFFER);
    RemoveSetting(L"MessageLimit");
}

LAB_TEST(AMessageBoxIsRecordedAndNeverWaits)
{
    CHECK(MessageBoxW(nullptr, L"text %s", L"caption", MB_TASKMODAL) == IDOK);
    CHECK(Contains(LastMessage(), "title=\"caption\" text=\"text %s\""));
    WriteSetting(L"BoxReturns", L"0");
    CHECK(MessageBoxW(nullptr, L"text", L"caption", MB_OK) == 0);
    RemoveSetting(L"BoxReturns");
}

namespace
{

// Of the process's window station.
bool IsVisible()
{
    USEROBJECTFLAGS flags = {};
    CHECK(GetUserObjectInformationW(GetProcessWindowStation(), UOI_FLAGS, &flags, sizeof flags,
                                    nullptr));
    return (flags.dwFlags & WSF_VISIBLE) != 0;
}

DWORD OwnSession()
{
    DWORD session = 99;
    CHECK(ProcessIdToSessionId(GetCurrentProcessId(), &session));
    return session;
}

} // namespace

LAB_TEST(AProcessIsInteractiveAsItsAccountIs)
{
    CHECK(OwnSession() == 0 && !IsVisible());
    BecomeAccount(L"bob");
    CHECK(OwnSession() == 2 && IsVisible());
}

STATEMENT(ATaskOfTheSystemIsInSessionZeroAndSeenByNobody,
          "ProcessIdToSessionId, GetUserObjectInformationW", Caller::System)
{
    CHECK(OwnSession() == 0 && !IsVisible());
}

STATEMENT(AUsersProgramHasAScreen, "ProcessIdToSessionId, GetUserObjectInformationW",
          Caller::StandardUser)
{
    CHECK(OwnSession() != 0 && IsVisible());
}

STATEMENT(AStationsFlagsNeedTheirSizeAndAStation, "GetUserObjectInformationW", Caller::Anybody)
{
    USEROBJECTFLAGS flags = {};
    CHECK_FAILS(GetUserObjectInformationW(GetProcessWindowStation(), UOI_FLAGS, &flags, 4, nullptr),
                ERROR_INSUFFICIENT_BUFFER);
    CHECK_FAILS(GetUserObjectInformationW(nullptr, UOI_FLAGS, &flags, sizeof flags, nullptr),
                ERROR_INVALID_HANDLE);
}

STATEMENT(AQuitComesAfterAllOtherMessages, "PostQuitMessage, GetMessageW", Caller::Anybody)
{
    MSG message = {};
    CHECK(!PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE));
    PostQuitMessage(3);
    CHECK(PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE));
    CHECK(!GetMessageW(&message, nullptr, 0, 0));
    CHECK(message.message == WM_QUIT && message.wParam == 3);
    CHECK(!PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE));
}

LAB_TEST(TheSuiteIsAWorkstationsUnlessToldOtherwise)
{
    OSVERSIONINFOEXW wanted = {};
    wanted.dwOSVersionInfoSize = sizeof wanted;
    wanted.wSuiteMask = VER_SUITE_SMALLBUSINESS | VER_SUITE_ENTERPRISE;
    const DWORDLONG any = VerSetConditionMask(0, VER_SUITENAME, VER_OR);
    const DWORDLONG all = VerSetConditionMask(0, VER_SUITENAME, VER_AND);
    CHECK_FAILS(VerifyVersionInfoW(&wanted, VER_SUITENAME, any), ERROR_OLD_WIN_VERSION);
    WriteSetting(L"Suite", L"enterprise");
    CHECK(VerifyVersionInfoW(&wanted, VER_SUITENAME, any));
    CHECK_FAILS(VerifyVersionInfoW(&wanted, VER_SUITENAME, all), ERROR_OLD_WIN_VERSION);
    RemoveSetting(L"Suite");
}
