#pragma once

#include "Journal.h"
#include "Replaced.h"
#include "UserMessage.h"
#include "WindowsHeaders.h"

#include <gtest/gtest.h>

#include <wtsapi32.h>

#include <cwchar>
#include <string>
#include <vector>

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
    int listsAtTheLastBox = -1; ///< not given back then; -1 before the first box

private:
    WTS_SESSION_INFOW garbage = {};

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
            *count = 1; // what a failing call leaves there is nobody's
            *list = reinterpret_cast<PWTS_SESSION_INFOW>(&garbage);
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
            listsAtTheLastBox = lists;
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
