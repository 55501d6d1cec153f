#include "UserPropertyBags.h"

#include "FakeNames.h"
#include "FakeSessions.h"
#include "FakeWmi.h"
#include "RedirectedRoot.h"
#include "RegistryJournal.h"
#include "TestLog.h"

#include <gtest/gtest.h>

namespace
{
constexpr wchar_t DeviceId[] = L"e111af0a-96c4-1d32-8aa4-4d1d8ef6daad";

/// All that happens while the users' values are written, the questions for names and hardware and
/// the loading of DLLs with it, in one journal.
class UsersInTurnTest : public ::testing::Test
{
protected:
    /// The one DLL of these without doubles: its own late load is not what the journal is about.
    static void SetUpTestSuite() { SysFreeString(nullptr); }

    UsersInTurnTest()
    {
        wmi.objects = {
            {{L"UUID", {VT_BSTR, L"4C4C4544-0042"}}, {L"IdentifyingNumber", {VT_BSTR, L"SN 17"}}}};
    }

    void LogOn(const std::wstring& name, const std::wstring& sid)
    {
        FakeSession session;
        session.id = static_cast<DWORD>(sessions.sessions.size()) + 1;
        session.name = name;
        session.sid = sid;
        session.domain = L"CORP";
        sessions.sessions.push_back(session);
        users.CreateKey(sid);
    }

    /// What happens for one of two users, each of whom has a hive.
    static Journal StepsOf(const std::wstring& name, const std::wstring& lowerName,
                           const std::wstring& userId)
    {
        const std::wstring device = std::wstring(L"set DeviceId=") + DeviceId + L" as " + name;
        return {
            L"DuplicateTokenEx(all) " + name,
            L"ImpersonateLoggedOnUser " + name + L"/all",
            L"name of the machine",
            L"name of the machine",
            L"name of the machine",
            L"set UserId=" + userId + L" as " + name,
            L"log: Updated UserPropertyBag for 'CORP\\" + name + L"': UserId='" + userId +
                L"', Src='" + lowerName + L" : pc01.corp.corp.example'",
            L"CoInitializeEx 2",
            L"CoCreateInstance",
            L"ConnectServer ROOT\\CIMV2",
            L"CoSetProxyBlanket 10 0 null 3 3 null 0",
            L"ExecQuery WQL SELECT * FROM Win32_ComputerSystemProduct 48",
            L"Next",
            L"Get UUID",
            L"Get IdentifyingNumber",
            L"Next",
            L"CoUninitialize",
            L"name of the machine",
            L"name of the machine",
            L"name of the machine",
            device,
            device,
            std::wstring(L"log: Updated UserPropertyBags: DeviceId='") + DeviceId +
                L"', Src='4c4c4544-0042 : sn 17 : pc01.corp.corp.example'",
            L"RevertToSelf",
            L"TokenElevationType " + name,
            L"DuplicateTokenEx(query) " + name,
            L"CheckTokenMembership " + name + L"/query S-1-5-32-544",
            L"CloseHandle " + name + L"/query",
            L"ImpersonateLoggedOnUser " + name + L"/all",
            L"set IsAdmin=0 as " + name,
            L"set IsAdmin=0 as " + name,
            L"RevertToSelf",
            L"CloseHandle " + name + L"/all",
        };
    }

    TestLog testLog;
    RedirectedRoot users{HKEY_USERS};
    Journal journal;
    FakeWmi wmi{journal};
    FakeNames names{&journal};
    FakeSessions sessions{journal};
    RegistryJournal registry{journal, [this] { return sessions.Impersonated(); }};
    LogJournal log{journal};

    using Load = Replaced<"KERNEL32", "LoadLibraryExA", decltype(LoadLibraryExA)>;
    const Load load{[this](LPCSTR dll, HANDLE file, DWORD flags)
                    {
                        // One after the other, which is told elsewhere.
                        if (journal.back() != L"loads")
                        {
                            journal.push_back(L"loads");
                        }
                        return Load::Original(dll, file, flags);
                    }};
};

TEST_F(UsersInTurnTest, EachUsersIdentifiersAreMadeInThatUsersName)
{
    LogOn(L"Alice", L"S-1-5-21-1-2-3-1001");
    LogOn(L"Bob", L"S-1-5-21-1-2-3-1002");
    UpdateUserPropertyBags(testLog.Log());

    Journal wanted = {
        L"WTSEnumerateSessionsW",
        L"WTSQueryUserToken 1",
        L"WTSQueryUserToken 2",
        L"loads",
    };
    for (const Journal& steps :
         {StepsOf(L"Alice", L"alice", L"e99f5482-95f6-9444-7b48-564d3e240c7c"),
          StepsOf(L"Bob", L"bob", L"d12625fb-eb8d-21a9-a318-d086f5c3f8fb"),
          Journal{L"CloseHandle Alice", L"CloseHandle Bob"}})
    {
        wanted.insert(wanted.end(), steps.begin(), steps.end());
    }
    EXPECT_EQ(journal, wanted);
    EXPECT_EQ(sessions.Impersonated(), L"itself");
    EXPECT_EQ(sessions.OpenTokens(), 0U);
}

TEST_F(UsersInTurnTest, NothingIsLoadedWhenNobodyIsLoggedOn)
{
    UpdateUserPropertyBags(testLog.Log());
    EXPECT_EQ(journal, Journal{L"WTSEnumerateSessionsW"});
}

TEST_F(UsersInTurnTest, NothingIsLoadedWhenNoTokenCanBeHad)
{
    LogOn(L"Alice", L"S-1-5-21-1-2-3-1001");
    sessions.sessions[0].hasToken = false;
    UpdateUserPropertyBags(testLog.Log());
    EXPECT_EQ(journal, (Journal{L"WTSEnumerateSessionsW", L"WTSQueryUserToken 1"}));
}
} // namespace
